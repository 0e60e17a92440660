// SPDX-License-Identifier: MIT
// The training area: what is kept of a message, the bytes of its index, listing, marking and removing.
#include <gtest/gtest.h>

#include <list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "stores/training_area.h"
#include "support/training_fixture.h"

namespace quillbeaker {
namespace {

using test::kTrainingHeader;
using test::TrainingMail;
using test::TrainingName;

constexpr char kHello[] = "\r\nHello\r\n";

class TrainingAreaContractTest : public test::TrainingFixture {
 protected:
  // The only entry after adding this message.
  test::IndexElement EntryOf(std::string_view text) {
    EXPECT_TRUE(Add(text));
    const auto entries = Entries();
    EXPECT_EQ(entries.size(), 1U);
    return entries.empty() ? test::IndexElement{} : entries.front();
  }
};

TEST_F(TrainingAreaContractTest, MakesItsDirectory) {
  EXPECT_FALSE(HasFile(""));
  EXPECT_EQ(area().directory(), surroundings.directory.utf8() + "training/");
  EXPECT_EQ(area().index_path(), surroundings.directory.utf8() + "training/training.xml");
  EXPECT_TRUE(HasFile(""));
  EXPECT_FALSE(HasFile("training.xml"));
}

TEST_F(TrainingAreaContractTest, KeepsTheDecodedTextUnderItsChecksum) {
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(MessageFiles(), Names({"9299837f.eml"}));
  EXPECT_EQ(GetFile("9299837f.eml"), kHello);
}

TEST_F(TrainingAreaContractTest, WritesTheIndexByteForByte) {
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(Index(), std::string(kTrainingHeader) +
                         "<training>\n"
                         "  <message filename=\"9299837f.eml\" sender=\"Ann Smith\" mail=\"ann@example.org\" "
                         "subject=\"Meeting\" date=\"2452676\" time=\"09:41\" size=\"9\"/>\n"
                         "</training>\n");
}

TEST_F(TrainingAreaContractTest, AddsBehindTheEntriesThatAreThere) {
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_TRUE(Add(TrainingMail("World\r\n")));
  EXPECT_EQ(EntryNames(), "9299837f.eml " + TrainingName("\r\nWorld\r\n") + " ");
}

TEST_F(TrainingAreaContractTest, TheNameHasNoLeadingZeros) {
  // "\r\n" and a number whose checksum begins with a zero digit.
  for (int number = 0;; ++number) {
    ASSERT_LT(number, 1000);
    const std::string text = "\r\n" + std::to_string(number) + "\r\n";
    if (test::SlowCrc32(text) >= 0x10000000) continue;
    EXPECT_TRUE(Add(TrainingMail(std::to_string(number) + "\r\n")));
    EXPECT_LT(TrainingName(text).size(), 12U);
    EXPECT_EQ(MessageFiles(), std::vector<std::string>{TrainingName(text)});
    return;
  }
}

TEST_F(TrainingAreaContractTest, AMessageWithoutTextIsKeptAsAnEmptyFile) {
  const test::IndexElement entry =
      EntryOf(TrainingMail("GIF89a\r\n", "Picture", "Content-Type: image/gif\r\n"));
  EXPECT_EQ(entry["filename"], "0.eml");
  EXPECT_EQ(entry["size"], "0");
  EXPECT_EQ(GetFile("0.eml"), "");
  EXPECT_FALSE(Add(TrainingMail("GIF89b\r\n", "Picture 2", "Content-Type: image/gif\r\n")));
  EXPECT_EQ(EntryNames(), "0.eml ");
}

TEST_F(TrainingAreaContractTest, NothingAtAllIsNotKept) {
  MailMessage nothing;
  EXPECT_FALSE(area().Add(nothing));
  EXPECT_FALSE(Add(""));
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_FALSE(HasFile("training.xml"));
}

TEST_F(TrainingAreaContractTest, TheSameTextIsKeptOnce) {
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n", "First")));
  const std::string index = Index();
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n", "First")));
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n", "Another subject")));
  EXPECT_EQ(Index(), index);
  EXPECT_EQ(MessageFiles().size(), 1U);
}

TEST_F(TrainingAreaContractTest, TransferEncodingAndHtmlAreUndoneInTheFile) {
  EXPECT_TRUE(Add(TrainingMail("<p>Hi<BR>there&nbsp;you</p>\r\n", "s", "Content-Type: text/html\r\n")));
  EXPECT_EQ(GetFile(TrainingName("\r\nHi\r\nthere you\r\n")), "\r\nHi\r\nthere you\r\n");
  EXPECT_TRUE(Add(TrainingMail("SGVsbG8=\r\n", "s", "Content-Transfer-Encoding: base64\r\n")));
  EXPECT_EQ(GetFile(TrainingName("Hello")), "Hello");
  EXPECT_TRUE(Add(TrainingMail("a=3Db=\r\nc_d\r\n", "s", "Content-Transfer-Encoding: quoted-printable\r\n")));
  EXPECT_EQ(GetFile(TrainingName("\r\na=bc d\r\n")), "\r\na=bc d\r\n");
  EXPECT_EQ(Entries().size(), 3U);
}

TEST_F(TrainingAreaContractTest, ZeroBytesAndEightBitBytesAreKept) {
  const std::string body("a\0b\xFF\xE4\r\n", 7);
  EXPECT_TRUE(Add(TrainingMail(body)));
  EXPECT_EQ(MessageFiles().size(), 1U);
  EXPECT_EQ(GetFile(MessageFiles().front()), "\r\n" + body);
}

TEST_F(TrainingAreaContractTest, TheSubjectIsDecodedUpToItsFirstEncodedWord) {
  const test::IndexElement entry =
      EntryOf(TrainingMail("Hello\r\n", "Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x"));
  EXPECT_EQ(entry["subject"],
            "Re: Gr\xFC\xDF"
            "e");
  EXPECT_EQ(OnlyRow().subject,
            "Re: Gr\xFC\xDF"
            "e");
}

TEST_F(TrainingAreaContractTest, SubjectOnlyWhenThereIsOne) {
  EXPECT_EQ(EntryOf("From: a@b.example\r\n\r\nHello\r\n").Order(), "filename sender mail date time size ");
  EXPECT_FALSE(OnlyRow().subject.has_value());
}

TEST_F(TrainingAreaContractTest, AnEmptySubjectIsASubject) {
  EXPECT_EQ(EntryOf("From: a@b.example\r\nSubject:\r\n\r\nHello\r\n").Order(),
            "filename sender mail subject date time size ");
  EXPECT_EQ(OnlyRow().subject, "");
}

TEST_F(TrainingAreaContractTest, WithoutFromBothSenderTextsAreEmpty) {
  const test::IndexElement entry = EntryOf("Subject: s\r\n\r\nHello\r\n");
  EXPECT_EQ(entry.Order(), "filename sender mail subject date time size ");
  EXPECT_EQ(entry["sender"], "");
  EXPECT_EQ(entry["mail"], "");
}

TEST_F(TrainingAreaContractTest, TheSenderIsSplitAndItsNameDecoded) {
  const test::IndexElement entry =
      EntryOf("From: \"=?iso-8859-1?Q?J=F6rg?=\" <joerg@example.org>\r\n\r\nHello\r\n");
  EXPECT_EQ(entry["sender"], "J\xF6rg");
  EXPECT_EQ(entry["mail"], "joerg@example.org");
}

TEST_F(TrainingAreaContractTest, EightBitTextsAreLatin1InTheFileAndBack) {
  const test::IndexElement entry = EntryOf(
      "From: J\xF6rg \xA4 <j\xF6@b\xFC.example>\r\nSubject: caf\xE9 <&\"'> \xFF\x80\r\n\r\nHello\r\n");
  EXPECT_EQ(entry["sender"], "J\xF6rg \xA4");
  EXPECT_EQ(entry["mail"], "j\xF6@b\xFC.example");
  EXPECT_EQ(entry["subject"], "caf\xE9 <&\"'> \xFF\x80");
  EXPECT_TRUE(test::IsXmlWithRoot(Index(), "training"));
  const TrainingEntry row = OnlyRow();
  EXPECT_EQ(row.sender, "J\xF6rg \xA4");
  EXPECT_EQ(row.address, "j\xF6@b\xFC.example");
  EXPECT_EQ(row.subject, "caf\xE9 <&\"'> \xFF\x80");
}

TEST_F(TrainingAreaContractTest, ControlBytesBecomeBlanks) {
  constexpr char kText[] =
      "From: A\x01"
      "B <a\x02@b.example>\r\nSubject: one\x1B[0mtwo\0three\x7F\r\n\r\nHello\r\n";
  const test::IndexElement entry = EntryOf(std::string_view(kText, sizeof(kText) - 1));
  EXPECT_EQ(entry["sender"], "A B");
  EXPECT_EQ(entry["mail"], "a @b.example");
  EXPECT_EQ(entry["subject"], "one [0mtwo three\x7F");
  EXPECT_TRUE(test::IsXmlWithRoot(Index(), "training"));
  EXPECT_EQ(OnlyRow().subject, "one [0mtwo three\x7F");
}

TEST_F(TrainingAreaContractTest, TheDateIsUtc) {
  const test::IndexElement entry =
      EntryOf("Date: Tue, 4 Feb 03 23:30:00 -0200\r\nFrom: a@b.example\r\n\r\nHello\r\n");
  EXPECT_EQ(entry["date"], "2452676");
  EXPECT_EQ(entry["time"], "01:30");
  const TrainingEntry row = OnlyRow();
  EXPECT_EQ(row.day, 2452676);
  EXPECT_EQ(row.minutes, 90);
}

TEST_F(TrainingAreaContractTest, WithoutDateTheEntryIsFromTheAllZeroDay) {
  const test::IndexElement entry = EntryOf("From: a@b.example\r\n\r\nHello\r\n");
  EXPECT_EQ(entry["date"], "25657560");
  EXPECT_EQ(entry["time"], "00:00");
  EXPECT_EQ(OnlyRow().day, 25657560);
  EXPECT_EQ(OnlyRow().minutes, 0);
}

TEST_F(TrainingAreaContractTest, ManyAtOnceEqualOneByOne) {
  const std::vector<std::string> texts = {
      TrainingMail("one\r\n"),
      TrainingMail("two\r\n", "=?iso-8859-1?B?RPxja2U=?="),
      "",
      TrainingMail("one\r\n", "again"),
      TrainingMail("old\r\n"),
      TrainingMail("x\r\n", "p", "Content-Type: image/png\r\n"),
      TrainingMail("orphan\r\n"),
      TrainingMail("y\r\n", "q", "Content-Type: image/png\r\n"),
      "\r\nno header\r\n",
      TrainingMail("three\r\n", "\x01"),
  };
  std::list<MailMessage> messages;
  std::vector<const MailMessage*> pointers;
  for (const std::string& text : texts) {
    messages.emplace_back().ParseText(text);
    pointers.push_back(&messages.back());
  }
  test::TestProgram single;
  test::TestProgram batch;
  std::vector<bool> single_results;
  std::vector<bool> batch_results;
  for (test::TestProgram* const one : {&single, &batch}) {
    TrainingArea store(one->program());
    MailMessage old;
    old.ParseText(TrainingMail("old\r\n"));
    ASSERT_TRUE(store.Add(old));
    ASSERT_TRUE(one->directory.Put("training/" + TrainingName("\r\norphan\r\n"), "\r\norphan\r\n"));
    if (one == &batch) {
      batch_results = store.Add(std::span<const MailMessage* const>(pointers));
    } else {
      for (const MailMessage* const message : pointers) single_results.push_back(store.Add(*message));
    }
  }
  EXPECT_EQ(single_results,
            (std::vector<bool>{true, true, false, false, false, true, true, false, true, true}));
  EXPECT_EQ(batch_results, single_results);
  EXPECT_EQ(batch.directory.Get("training/training.xml"), single.directory.Get("training/training.xml"));
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(single.directory.path() / "training")) {
    const std::string name = "training/" + test::Utf8Of(entry.path().filename());
    EXPECT_EQ(batch.directory.Get(name), single.directory.Get(name)) << name;
    ++files;
  }
  for ([[maybe_unused]] const auto& entry :
       std::filesystem::directory_iterator(batch.directory.path() / "training"))
    --files;
  EXPECT_EQ(files, 0U);
}

TEST_F(TrainingAreaContractTest, ABatchOfNoneTouchesNothing) {
  EXPECT_TRUE(area().Add(std::span<const MailMessage* const>()).empty());
  EXPECT_FALSE(HasFile("training.xml"));
}

TEST_F(TrainingAreaContractTest, AFileWithoutAnEntryGetsItsEntryBack) {
  ASSERT_TRUE(PutFile("9299837f.eml", kHello));
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
  EXPECT_EQ(GetFile("9299837f.eml"), kHello);
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
}

TEST_F(TrainingAreaContractTest, AFileWithoutAnEntryIsKeptWhenItsEntryCanNotBeWritten) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\"/>"));
  ASSERT_TRUE(PutFile("9299837f.eml", kHello));
  surroundings.directory.SetReadOnly("training/training.xml", true);
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n")));
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_EQ(GetFile("9299837f.eml"), kHello);
  EXPECT_EQ(EntryNames(), "1.eml ");
}

TEST_F(TrainingAreaContractTest, AnEntryWithoutItsFileDoesNotStopTheTextFromBeingKept) {
  ASSERT_TRUE(PutIndex("<message filename=\"9299837f.eml\" date=\"1\"/><message filename=\"1.eml\"/>"));
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(GetFile("9299837f.eml"), kHello);
  // One entry per text: the old one's age would soon take the new one's file.
  EXPECT_EQ(EntryNames(), "1.eml 9299837f.eml ");
  EXPECT_NE(Entries().back()["date"], "1");
}

// -- listing
// ----------------------------------------------------------------------------------------------------
TEST_F(TrainingAreaContractTest, ListingWithoutAnIndexMakesAnEmptyOne) {
  EXPECT_TRUE(Rows().empty());
  EXPECT_EQ(Index(), std::string(kTrainingHeader) + "<training/>\n");
}

TEST_F(TrainingAreaContractTest, ListingSavesTheIndexIndented) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\"/><note/><message filename=\"2.eml\"/>"));
  EXPECT_EQ(Rows().size(), 2U);
  EXPECT_EQ(Index(),
            std::string(kTrainingHeader) +
                "<training>\n  <message filename=\"1.eml\"/>\n  <note/>\n  <message filename=\"2.eml\"/>\n"
                "</training>\n");
}

TEST_F(TrainingAreaContractTest, RowsHoldWhatTheIndexHolds) {
  ASSERT_TRUE(PutIndex(
      "<message filename=\"3f1a9c2e.eml\" sender=\"Ann Smith\" mail=\"ann.smith\" subject=\"Meeting\" "
      "date=\"2452676\" time=\"09:41\" size=\"1532\"/>"));
  const TrainingEntry row = OnlyRow();
  EXPECT_EQ(row.name, "3f1a9c2e.eml");
  EXPECT_EQ(row.sender, "Ann Smith");
  EXPECT_EQ(row.address, "ann.smith");
  EXPECT_EQ(row.subject, "Meeting");
  EXPECT_EQ(row.day, 2452676);
  EXPECT_EQ(row.minutes, 9 * 60 + 41);
  EXPECT_EQ(row.size, 1532U);
  EXPECT_EQ(row.mark, TrainingMark::kNone);
}

TEST_F(TrainingAreaContractTest, MissingAttributesAreZeroAndEmpty) {
  ASSERT_TRUE(PutIndex("<message/>"));
  const TrainingEntry row = OnlyRow();
  EXPECT_EQ(row.name, "");
  EXPECT_EQ(row.sender, "");
  EXPECT_EQ(row.address, "");
  EXPECT_FALSE(row.subject.has_value());
  EXPECT_EQ(row.day, 0);
  EXPECT_EQ(row.minutes, 0);
  EXPECT_EQ(row.size, 0U);
  EXPECT_EQ(row.mark, TrainingMark::kNone);
}

TEST_F(TrainingAreaContractTest, ATimeCountsOnlyWithFiveCharacters) {
  for (const auto& [text, minutes] : {std::pair{"9:41", 0},
                                      {"009:41", 0},
                                      {"", 0},
                                      {"23:59", 23 * 60 + 59},
                                      {"09-41", 9 * 60 + 41},
                                      {"00:01", 1}}) {
    ASSERT_TRUE(PutIndex("<message filename=\"1.eml\" time=\"" + std::string(text) + "\"/>"));
    EXPECT_EQ(OnlyRow().minutes, minutes) << text;
  }
}

TEST_F(TrainingAreaContractTest, CharactersBeyondLatin1AreShownAsQuestionMarks) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\" subject=\"5 &#8364; &#xE9;\" sender=\"&#x4E2D;\"/>"));
  const TrainingEntry row = OnlyRow();
  EXPECT_EQ(row.subject, "5 ? \xE9");
  EXPECT_EQ(row.sender, "?");
}

// -- marks
// ------------------------------------------------------------------------------------------------------
TEST_F(TrainingAreaContractTest, TheMarkIsTheEighthAttribute) {
  ASSERT_TRUE(Add(TrainingMail("Hello\r\n")));
  const std::string unmarked = Index();
  EXPECT_TRUE(area().SetMark(Names({"9299837f.eml"}), TrainingMark::kSpam));
  EXPECT_EQ(Entries()[0].Order(), "filename sender mail subject date time size mark ");
  EXPECT_EQ(Entries()[0]["mark"], "1");
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kSpam);
  std::string as_good = unmarked;
  as_good.insert(as_good.find("/>"), " mark=\"0\"");
  EXPECT_TRUE(area().SetMark(Names({"9299837f.eml"}), TrainingMark::kGood));
  EXPECT_EQ(Index(), as_good);
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kGood);
  EXPECT_EQ(Index(), as_good);
  EXPECT_TRUE(area().SetMark(Names({"9299837f.eml"}), TrainingMark::kNone));
  EXPECT_EQ(Index(), unmarked);
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kNone);
}

TEST_F(TrainingAreaContractTest, AMarkOutlivesTheProcessAndOtherChanges) {
  ASSERT_TRUE(Add(TrainingMail("Hello\r\n")));
  ASSERT_TRUE(area().SetMark(Names({"9299837f.eml"}), TrainingMark::kSpam));
  ASSERT_TRUE(Add(TrainingMail("World\r\n")));
  Rows();
  TrainingArea another(program());
  const auto rows = another.List();
  ASSERT_TRUE(rows.has_value());
  ASSERT_EQ(rows->size(), 2U);
  EXPECT_EQ((*rows)[0].mark, TrainingMark::kSpam);
  EXPECT_EQ((*rows)[0].size, 9U);
  EXPECT_EQ((*rows)[0].subject, "Meeting");
  EXPECT_EQ((*rows)[0].minutes, 581);
  EXPECT_EQ((*rows)[1].mark, TrainingMark::kNone);
}

TEST_F(TrainingAreaContractTest, SeveralAreMarkedInOneStep) {
  ASSERT_TRUE(
      PutIndex("<message filename=\"1.eml\"/><message filename=\"2.eml\"/><message filename=\"3.eml\"/>"));
  EXPECT_TRUE(area().SetMark(Names({"3.eml", "nobody.eml", "1.eml"}), TrainingMark::kGood));
  const auto rows = Rows();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].mark, TrainingMark::kGood);
  EXPECT_EQ(rows[1].mark, TrainingMark::kNone);
  EXPECT_EQ(rows[2].mark, TrainingMark::kGood);
}

TEST_F(TrainingAreaContractTest, MarkingAnUnknownNameChangesNothing) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\"/>"));
  const std::string index = Index();
  EXPECT_FALSE(area().SetMark(Names({"2.eml", "1.EML", "1.eml "}), TrainingMark::kGood));
  EXPECT_FALSE(area().SetMark({}, TrainingMark::kGood));
  EXPECT_EQ(Index(), index);
}

TEST_F(TrainingAreaContractTest, AMarkThatIsNeitherOneNorZeroIsNone) {
  for (const std::string mark : {"", "2", "-1", "x", "10", "spam"}) {
    ASSERT_TRUE(PutIndex("<message filename=\"1.eml\" mark=\"" + mark + "\"/>"));
    EXPECT_EQ(OnlyRow().mark, TrainingMark::kNone) << mark;
  }
}

// -- removing
// ---------------------------------------------------------------------------------------------------
TEST_F(TrainingAreaContractTest, RemovingTakesTheFirstEntryOfThatNameAndNoFile) {
  ASSERT_TRUE(
      PutIndex("<message filename=\"1.eml\" size=\"1\"/><message filename=\"2.eml\"/>"
               "<message filename=\"1.eml\" size=\"2\"/>"));
  ASSERT_TRUE(PutFile("1.eml"));
  EXPECT_TRUE(area().RemoveEntries(Names({"1.eml"})));
  EXPECT_EQ(EntryNames(), "2.eml 1.eml ");
  EXPECT_EQ(Entries()[1]["size"], "2");
  EXPECT_TRUE(HasFile("1.eml"));
  EXPECT_EQ(Index(),
            std::string(kTrainingHeader) +
                "<training>\n  <message filename=\"2.eml\"/>\n  <message filename=\"1.eml\" size=\"2\"/>\n"
                "</training>\n");
}

TEST_F(TrainingAreaContractTest, RemovingAnUnknownNameSavesNothing) {
  EXPECT_FALSE(area().RemoveEntries(Names({"1.eml"})));
  EXPECT_FALSE(HasFile("training.xml"));
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\"/>"));
  const std::string index = Index();
  EXPECT_FALSE(area().RemoveEntries(Names({"1.EML", "", "2.eml"})));
  EXPECT_FALSE(area().RemoveEntries({}));
  EXPECT_EQ(Index(), index);
}

TEST_F(TrainingAreaContractTest, DeletingTakesFilesAndEntries) {
  ASSERT_TRUE(Add(TrainingMail("Hello\r\n")));
  ASSERT_TRUE(Add(TrainingMail("World\r\n")));
  ASSERT_TRUE(
      PutIndex("<message filename=\"9299837f.eml\"/><message filename=\"gone.eml\"/><message filename=\"" +
               TrainingName("\r\nWorld\r\n") + "\"/>"));
  EXPECT_TRUE(area().DeleteMessages(Names({"gone.eml", "9299837f.eml"})));
  EXPECT_EQ(EntryNames(), TrainingName("\r\nWorld\r\n") + " ");
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{TrainingName("\r\nWorld\r\n")});
  // A deleted text may come again.
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
}

TEST_F(TrainingAreaContractTest, DeletingKeepsTheFileWhenTheEntryCanNotBeTakenOut) {
  ASSERT_TRUE(Add(TrainingMail("Hello\r\n")));
  surroundings.directory.SetReadOnly("training/training.xml", true);
  EXPECT_FALSE(area().DeleteMessages(Names({"9299837f.eml"})));
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
  EXPECT_TRUE(HasFile("9299837f.eml"));
}

// -- sender
// -----------------------------------------------------------------------------------------------------
TEST_F(TrainingAreaContractTest, TheSenderOfAnEntryNeedsNameAndAddress) {
  ASSERT_TRUE(
      PutIndex("<message filename=\"1.eml\" sender=\"J&#xF6;rg\" mail=\"j@b.example\"/>"
               "<message filename=\"2.eml\" sender=\"\" mail=\"a@b.example\"/>"
               "<message filename=\"3.eml\" sender=\"A\" mail=\"\"/><message filename=\"4.eml\"/>"));
  const std::string index = Index();
  const auto sender = area().SenderOf("1.eml");
  ASSERT_TRUE(sender.has_value());
  EXPECT_EQ(sender->name, "J\xF6rg");
  EXPECT_EQ(sender->address, "j@b.example");
  for (const char* const name : {"2.eml", "3.eml", "4.eml", "5.eml", ""})
    EXPECT_FALSE(area().SenderOf(name).has_value()) << name;
  EXPECT_EQ(Index(), index);
}

TEST_F(TrainingAreaContractTest, AskingForASenderMakesNoIndex) {
  EXPECT_FALSE(area().SenderOf("1.eml").has_value());
  EXPECT_FALSE(HasFile("training.xml"));
}

}  // namespace
}  // namespace quillbeaker
