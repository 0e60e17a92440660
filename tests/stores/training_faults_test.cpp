// SPDX-License-Identifier: MIT
// The training area's daily purge, and the area among damaged indexes, doctored names, full disks and other
// threads.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "stores/training_area.h"
#include "support/full_disk.h"
#include "support/training_fixture.h"

namespace quillbeaker {
namespace {

using test::kTrainingHeader;
using test::TrainingMail;
using test::TrainingName;

// Today is day 2453797.
class TrainingPurgeTest : public test::TrainingFixture {
 protected:
  static std::string Element(std::string_view name, std::string_view date) {
    return "<message filename=\"" + std::string(name) + "\" date=\"" + std::string(date) + "\"/>";
  }
  // Elements and message files of these dates, called "<date>.eml".
  [[nodiscard]] bool PutEntries(std::initializer_list<const char*> dates) {
    std::string elements;
    for (const char* const date : dates) {
      const std::string name = std::string(date) + ".eml";
      elements += Element(name, date);
      if (!PutFile(name)) return false;
    }
    return PutIndex(elements);
  }
  std::int32_t Last() { return program().Read(keys::kTrainingAreaDeleteOldMessagesLast); }
};

TEST_F(TrainingPurgeTest, AnEntryExactlyThreeDaysOldGoesAndAYoungerOneStays) {
  ASSERT_TRUE(PutEntries({"2453793", "2453794", "2453795", "2453797", "2453800"}));
  area().Purge(3);
  EXPECT_EQ(EntryNames(), "2453795.eml 2453797.eml 2453800.eml ");
  EXPECT_EQ(MessageFiles(), Names({"2453795.eml", "2453797.eml", "2453800.eml"}));
}

TEST_F(TrainingPurgeTest, SavesIndentedAndKeepsWhatItDoesNotKnow) {
  ASSERT_TRUE(PutIndex("<note date=\"1\"/>" + Element("a.eml", "1") + Element("b.eml", "2453797")));
  area().Purge(3);
  EXPECT_EQ(Index(),
            std::string(kTrainingHeader) +
                "<training>\n  <note date=\"1\"/>\n  <message filename=\"b.eml\" date=\"2453797\"/>\n"
                "</training>\n");
}

TEST_F(TrainingPurgeTest, RemembersTheDayAndPurgesOnceADay) {
  ASSERT_TRUE(PutEntries({"2453794", "2453795"}));
  EXPECT_EQ(Last(), 0);
  area().Purge(3);
  EXPECT_EQ(Last(), 2453797);
  EXPECT_EQ(EntryNames(), "2453795.eml ");
  const std::string index = Index();
  area().Purge(0);
  area().Purge(1);
  EXPECT_EQ(Index(), index);
  surroundings.clock.local = CalendarTime{2006, 3, 5, 3, 0, 0, 0, 0};
  area().Purge(3);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_EQ(Last(), 2453798);
}

// The number of days comes from the configuration too: one that cannot be used must not cost mail.
TEST_F(TrainingPurgeTest, WithoutNotingTheDayNothingIsRemoved) {
  ASSERT_TRUE(PutEntries({"2453794", "2453795"}));
  ASSERT_TRUE(program().Write(keys::kTrainingAreaDeleteOldMessagesLast, 1));
  surroundings.directory.SetReadOnly("Quillbeaker.ini", true);
  area().Purge(3);
  surroundings.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_EQ(EntryNames(), "2453794.eml 2453795.eml ");
  EXPECT_TRUE(HasFile("2453794.eml"));
  EXPECT_EQ(Last(), 1);
}

TEST_F(TrainingPurgeTest, AnIndexThatCanNotBeWrittenKeepsItsTexts) {
  ASSERT_TRUE(PutEntries({"2453794", "2453795"}));
  surroundings.directory.SetReadOnly("training/training.xml", true);
  area().Purge(3);
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_EQ(EntryNames(), "2453794.eml 2453795.eml ");
  EXPECT_EQ(MessageFiles(), Names({"2453794.eml", "2453795.eml"}));
}

TEST_F(TrainingPurgeTest, GoesByTheLocalDay) {
  surroundings.clock.utc = CalendarTime{2006, 3, 3, 1, 23, 0, 0, 0};
  surroundings.clock.local = CalendarTime{2006, 3, 4, 2, 0, 0, 0, 0};
  ASSERT_TRUE(PutEntries({"2453794"}));
  area().Purge(3);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_EQ(Last(), 2453797);
}

TEST_F(TrainingPurgeTest, ZeroDaysRemovesTodaysToo) {
  ASSERT_TRUE(PutEntries({"2453796", "2453797", "2453798"}));
  area().Purge(0);
  EXPECT_EQ(EntryNames(), "2453798.eml ");
}

TEST_F(TrainingPurgeTest, AMessageWithoutADateIsNeverPurged) {
  ASSERT_TRUE(Add("From: a@b.example\r\n\r\nHello\r\n"));
  for (int day = 1; day < 28; ++day) {
    surroundings.clock.local = CalendarTime{2099, 12, 0, static_cast<std::uint16_t>(day), 0, 0, 0, 0};
    area().Purge(day % 4);
  }
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
  EXPECT_TRUE(HasFile("9299837f.eml"));
}

TEST_F(TrainingPurgeTest, AMissingDateIsVeryOld) {
  ASSERT_TRUE(
      PutIndex("<message filename=\"1.eml\"/><message filename=\"2.eml\" date=\"x\"/>"
               "<message filename=\"3.eml\" date=\"4294967295\"/>"));
  ASSERT_TRUE(PutFile("1.eml"));
  area().Purge(1000);
  EXPECT_EQ(EntryNames(), "3.eml ");
  EXPECT_FALSE(HasFile("1.eml"));
}

TEST_F(TrainingPurgeTest, SoManyDaysAsNeverRemoveNothing) {
  for (const std::int32_t days : {2453798, 9999999, 999999999, std::numeric_limits<std::int32_t>::max()}) {
    ASSERT_TRUE(program().Write(keys::kTrainingAreaDeleteOldMessagesLast, 0));
    ASSERT_TRUE(PutEntries({"0", "1", "2453797"}));
    area().Purge(days);
    EXPECT_EQ(EntryNames(), "0.eml 1.eml 2453797.eml ") << days;
    EXPECT_EQ(MessageFiles().size(), 3U);
  }
}

TEST_F(TrainingPurgeTest, MarkedEntriesAgeAsWell) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\" date=\"2453790\" mark=\"1\"/>"));
  area().Purge(3);
  EXPECT_EQ(EntryNames(), "");
}

TEST_F(TrainingPurgeTest, ADoctoredNameReachesNoOtherFile) {
  ASSERT_TRUE(surroundings.directory.Put("outside.eml", "precious"));
  ASSERT_TRUE(surroundings.directory.Put("training/inner/inside.eml", "precious"));
  ASSERT_TRUE(PutFile("good.Quillbeaker.wordlist", "precious"));
  const std::string absolute = surroundings.directory.PathOf("outside.eml");
  std::string elements;
  for (const std::string& name :
       {std::string("../outside.eml"), std::string("..\\outside.eml"), std::string("inner/inside.eml"),
        absolute, std::string("good.Quillbeaker.wordlist"), std::string("training.xml"),
        std::string("../Quillbeaker.ini"), std::string(""), std::string("../../x")})
    elements += Element(name, "1");
  ASSERT_TRUE(PutIndex(elements));
  area().Purge(3);
  EXPECT_EQ(Entries().size(), 0U);
  EXPECT_EQ(surroundings.directory.Get("outside.eml"), "precious");
  EXPECT_EQ(surroundings.directory.Get("training/inner/inside.eml"), "precious");
  EXPECT_EQ(GetFile("good.Quillbeaker.wordlist"), "precious");
  EXPECT_TRUE(HasFile("training.xml"));
  EXPECT_TRUE(surroundings.directory.Has("Quillbeaker.ini"));
}

class TrainingFaultsTest : public test::TrainingFixture {};

constexpr std::string_view kOther = "<recyclebin><message filename=\"1.eml\"/></recyclebin>\n";

TEST_F(TrainingFaultsTest, AWrongRootIsReplacedAndKeptAsideByAddListAndPurge) {
  ASSERT_TRUE(PutFile("training.xml", kOther));
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
  EXPECT_EQ(GetFile("training.xml.bad"), kOther);

  ASSERT_TRUE(surroundings.directory.Remove("training/training.xml.bad"));
  ASSERT_TRUE(PutFile("training.xml", kOther));
  EXPECT_TRUE(Rows().empty());
  EXPECT_EQ(Index(), std::string(kTrainingHeader) + "<training/>\n");
  EXPECT_EQ(GetFile("training.xml.bad"), kOther);

  ASSERT_TRUE(surroundings.directory.Remove("training/training.xml.bad"));
  ASSERT_TRUE(PutFile("training.xml", kOther));
  area().Purge(3);
  EXPECT_EQ(Index(), std::string(kTrainingHeader) + "<training/>\n");
  EXPECT_EQ(GetFile("training.xml.bad"), kOther);
}

TEST_F(TrainingFaultsTest, AnUnreadableIndexIsReplacedAndKeptAside) {
  for (const std::string text :
       {"<training><message filename=\"1.eml\"", "<training>\x01</training>", "not xml at all",
        "<?xml version=\"1.0\"?>\n", "<training></training><training/>",
        "<!DOCTYPE training [<!ENTITY a \"b\">]><training><message filename=\"1.eml\"/></training>"}) {
    ASSERT_TRUE(PutFile("training.xml", text));
    EXPECT_TRUE(Rows().empty()) << text;
    EXPECT_EQ(Index(), std::string(kTrainingHeader) + "<training/>\n");
    EXPECT_EQ(GetFile("training.xml.bad"), text);
  }
}

TEST_F(TrainingFaultsTest, AnIndexThatCanNotBeKeptAsideIsNotReplaced) {
  ASSERT_TRUE(PutFile("training.xml", kOther));
  ASSERT_TRUE(surroundings.directory.MakeFolder("training/training.xml.bad"));
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n")));
  EXPECT_TRUE(area().List().has_value());
  area().Purge(3);
  EXPECT_EQ(Index(), kOther);
  EXPECT_TRUE(MessageFiles().empty());
}

TEST_F(TrainingFaultsTest, AnExternalEntityIsNotRead) {
  ASSERT_TRUE(surroundings.directory.Put("secret.txt", "secret"));
  ASSERT_TRUE(PutFile("training.xml",
                      "<!DOCTYPE t [<!ENTITY x SYSTEM \"../secret.txt\">]><training><message "
                      "filename=\"1.eml\" subject=\"&x;\"/></training>"));
  EXPECT_TRUE(Rows().empty());
  EXPECT_EQ(Index().find("secret"), std::string::npos);
}

TEST_F(TrainingFaultsTest, AnEmptyIndexFileIsStartedAnew) {
  ASSERT_TRUE(PutFile("training.xml", ""));
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
}

TEST_F(TrainingFaultsTest, WhatFindsNoEntryLeavesADamagedIndexAlone) {
  for (const std::string_view text : {kOther, std::string_view("<training><message")}) {
    ASSERT_TRUE(PutFile("training.xml", text));
    EXPECT_FALSE(area().SetMark(Names({"1.eml"}), TrainingMark::kSpam));
    EXPECT_FALSE(area().RemoveEntries(Names({"1.eml"})));
    EXPECT_FALSE(area().SenderOf("1.eml").has_value());
    EXPECT_EQ(Index(), text);
    EXPECT_FALSE(HasFile("training.xml.bad"));
  }
}

TEST_F(TrainingFaultsTest, ANewFileIsDeletedAgainWhenTheIndexCanNotBeWritten) {
  ASSERT_TRUE(PutIndex("<message filename=\"1.eml\"/>"));
  const std::string index = Index();
  surroundings.directory.SetReadOnly("training/training.xml", true);
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n")));
  EXPECT_FALSE(area().SetMark(Names({"1.eml"}), TrainingMark::kSpam));
  EXPECT_FALSE(area().RemoveEntries(Names({"1.eml"})));
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_EQ(Index(), index);
  EXPECT_TRUE(Add(TrainingMail("Hello\r\n")));
}

TEST_F(TrainingFaultsTest, AFullDiskKeepsTheOldIndexAndNoNewFile) {
  std::string elements;
  for (int i = 0; i < 200; ++i) elements += "<message filename=\"" + std::to_string(i) + ".eml\"/>";
  ASSERT_TRUE(PutIndex(elements));
  const std::string index = Index();
  area();
  bool added = true;
  {
    const test::FullDisk full(1000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    added = Add(TrainingMail("Hello\r\n"));
  }
  EXPECT_FALSE(added);
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_EQ(Index(), index);
}

TEST_F(TrainingFaultsTest, AMessageThatDoesNotFitOnTheDiskLeavesNothing) {
  area();
  MailMessage small;
  small.ParseText(TrainingMail("Hello\r\n"));
  MailMessage big;
  big.ParseText(TrainingMail(std::string(100000, 'x') + "\r\n"));
  const MailMessage* const messages[] = {&big, &small};
  std::vector<bool> added;
  {
    const test::FullDisk full(20000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    added = area().Add(std::span<const MailMessage* const>(messages));
  }
  EXPECT_EQ(added, (std::vector<bool>{false, true}));
  EXPECT_EQ(MessageFiles(), Names({"9299837f.eml"}));
  EXPECT_EQ(EntryNames(), "9299837f.eml ");
}

TEST_F(TrainingFaultsTest, WithoutItsDirectoryNothingIsKept) {
  area();
  std::filesystem::remove_all(surroundings.directory.path() / "training");
  EXPECT_FALSE(Add(TrainingMail("Hello\r\n")));
  EXPECT_FALSE(area().SetMark(Names({"1.eml"}), TrainingMark::kSpam));
  area().Purge(3);
}

TEST_F(TrainingFaultsTest, OnlyABareMessageFileNameHasAPath) {
  const std::string directory = area().directory();
  EXPECT_EQ(area().PathOfMessage("9299837f.eml"), directory + "9299837f.eml");
  EXPECT_EQ(area().PathOfMessage("0.eml"), directory + "0.eml");
  for (const std::string_view name : {"", "../x.eml", "..\\x.eml", "a/b.eml", "a\\b.eml", "/x.eml", "\\x.eml",
                                      "C:x.eml", "x:y.eml", "..", ".", "training.xml", "training.xml.bad",
                                      "good.Quillbeaker.wordlist", "x.eml.txt", "x", "eml", "../../x"}) {
    EXPECT_EQ(area().PathOfMessage(name), "") << name;
  }
  // A NUL would cut the path where the system reads it.
  EXPECT_EQ(area().PathOfMessage(std::string_view("training.xml\0.eml", 17)), "");
  EXPECT_EQ(area().PathOfMessage("a\nb.eml"), "");
}

TEST_F(TrainingFaultsTest, DeletingADoctoredNameTakesTheEntryOnly) {
  ASSERT_TRUE(surroundings.directory.Put("outside.eml", "precious"));
  ASSERT_TRUE(PutFile("bad.Quillbeaker.wordlist", "precious"));
  ASSERT_TRUE(
      PutIndex("<message filename=\"../outside.eml\"/><message filename=\"bad.Quillbeaker.wordlist\"/>"
               "<message filename=\"1.eml\"/>"));
  EXPECT_TRUE(area().DeleteMessages(Names({"../outside.eml", "bad.Quillbeaker.wordlist"})));
  EXPECT_EQ(EntryNames(), "1.eml ");
  EXPECT_EQ(surroundings.directory.Get("outside.eml"), "precious");
  EXPECT_EQ(GetFile("bad.Quillbeaker.wordlist"), "precious");
  // Neither without any entry.
  area().DeleteMessages(Names({"../outside.eml", "bad.Quillbeaker.wordlist", "training.xml"}));
  EXPECT_EQ(surroundings.directory.Get("outside.eml"), "precious");
  EXPECT_TRUE(HasFile("training.xml"));
}

TEST_F(TrainingFaultsTest, ALinkedOrSharedIndexOfManyAttributesIsNoDanger) {
  std::string element = "<message filename=\"1.eml\"";
  for (int i = 0; i < 20000; ++i) element += " a" + std::to_string(i) + "=\"\"";
  ASSERT_TRUE(PutIndex(element + "/>"));
  EXPECT_TRUE(Rows().empty());
  std::string nested;
  for (int i = 0; i < 5000; ++i) nested += "<a>";
  ASSERT_TRUE(PutIndex(nested));
  EXPECT_TRUE(Rows().empty());
}

TEST_F(TrainingFaultsTest, ManyThreadsLoseNoEntry) {
  constexpr int kThreads = 6;
  constexpr int kEach = 15;
  area();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      TrainingArea own(program());
      for (int i = 0; i < kEach; ++i) {
        MailMessage message;
        message.ParseText(TrainingMail(std::to_string(thread) + "/" + std::to_string(i) + "\r\n"));
        // Half through an object of its own, half through the shared one.
        EXPECT_TRUE((i % 2 == 0 ? own : area()).Add(message));
        if (i % 5 == 0) {
          EXPECT_TRUE(own.List().has_value());
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Rows().size(), static_cast<std::size_t>(kThreads * kEach));
  EXPECT_EQ(MessageFiles().size(), static_cast<std::size_t>(kThreads * kEach));
}

TEST_F(TrainingFaultsTest, ALargeBatchIntoALargeAreaIsLinear) {
  std::string elements;
  for (int i = 0; i < 10000; ++i)
    elements +=
        "<message filename=\"old" + std::to_string(i) + ".eml\" sender=\"A\" mail=\"b\" date=\"2453797\"/>";
  ASSERT_TRUE(PutIndex(elements));
  std::vector<MailMessage> messages(1000);
  std::vector<const MailMessage*> pointers;
  for (MailMessage& message : messages) {
    message.ParseText(TrainingMail("number " + std::to_string(pointers.size()) + "\r\n"));
    pointers.push_back(&message);
  }
  EXPECT_EQ(area().Add(std::span<const MailMessage* const>(pointers)), std::vector<bool>(1000, true));
  EXPECT_EQ(area().Add(std::span<const MailMessage* const>(pointers)), std::vector<bool>(1000, false));
  EXPECT_EQ(Rows().size(), 11000U);
}

}  // namespace
}  // namespace quillbeaker
