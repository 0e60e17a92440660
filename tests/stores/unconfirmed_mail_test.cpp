// SPDX-License-Identifier: MIT

#include "stores/unconfirmed_mail.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kFile = "recycle/unconfirmed.xml";
constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

using Mails = std::vector<UnconfirmedMail>;

std::string AllBytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

class UnconfirmedMailTest : public testing::Test {
 protected:
  UnconfirmedMailStore& store() {
    if (!store_) store_.emplace(surroundings.program());
    return *store_;
  }
  [[nodiscard]] bool Put(std::string_view content) { return surroundings.directory.Put(kFile, content); }
  [[nodiscard]] bool PutElements(std::string_view elements) {
    return Put(std::string(kDeclaration) + "<unconfirmed>" + std::string(elements) + "</unconfirmed>\n");
  }
  std::string Get() const { return surroundings.directory.Get(kFile).value_or("(missing)"); }
  // Of another object, as another program would see it.
  std::optional<Mails> RowsOf(const MailboxName& mailbox) {
    return UnconfirmedMailStore(surroundings.program()).Rows(mailbox);
  }

  test::TestProgram surroundings;
  const MailboxName ann{"pop.example.org", 110, "ann"};
  const MailboxName bob{"pop.example.org", 110, "bob"};
  const Mails two{{"first", "2452676_232007_1a2b3c4.recycle", true, true, true},
                  {"second", "", false, true, false}};

 private:
  std::optional<UnconfirmedMailStore> store_;
};

TEST_F(UnconfirmedMailTest, AMissingFileHasNoRowsAndIsNotMade) {
  EXPECT_EQ(store().Rows(ann), Mails{});
  EXPECT_TRUE(store().FilesNotDue().empty());
  EXPECT_TRUE(store().Replace(ann, {}));
  EXPECT_TRUE(surroundings.directory.Names().empty());
}

TEST_F(UnconfirmedMailTest, RowsReadBackInTheirOrder) {
  ASSERT_TRUE(store().Replace(ann, two));
  EXPECT_EQ(RowsOf(ann), two);
  const Mails turned{two[1], two[0]};
  ASSERT_TRUE(store().Replace(ann, turned));
  EXPECT_EQ(RowsOf(ann), turned);
}

TEST_F(UnconfirmedMailTest, EveryFlagIsItsOwn) {
  Mails rows;
  for (int flags = 0; flags < 8; ++flags) {
    rows.push_back({std::to_string(flags), "", (flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0});
  }
  ASSERT_TRUE(store().Replace(ann, rows));
  EXPECT_EQ(RowsOf(ann), rows);
}

TEST_F(UnconfirmedMailTest, EveryByteOfIdsAndNamesReadsBack) {
  const MailboxName strange{AllBytes(), 65535, AllBytes() + AllBytes()};
  Mails rows{{AllBytes(), "2452676_232007_1.recycle", true, false, true}};
  for (int byte = 0; byte < 256; ++byte) rows.push_back({std::string(1, static_cast<char>(byte)), "", true});
  for (const char* text : {"%", "%%", "%4", "%41", "A%", "%zz", "%0", "%00", " ", "  a  ", "&#0;", "\r\n\t"})
    rows.push_back({text, "", true});
  ASSERT_TRUE(store().Replace(strange, rows));
  EXPECT_EQ(RowsOf(strange), rows);
}

TEST_F(UnconfirmedMailTest, AMailboxIsServerPortAndUser) {
  const std::vector<MailboxName> mailboxes = {
      ann,         bob,           {"pop.example.org", 995, "ann"}, {"POP.example.org", 110, "ann"},
      {"", 0, ""}, {"x", -1, "y"}};
  for (const MailboxName& mailbox : mailboxes)
    ASSERT_TRUE(store().Replace(mailbox, {{mailbox.server + std::to_string(mailbox.port) + mailbox.user}}));
  for (const MailboxName& mailbox : mailboxes) {
    EXPECT_EQ(RowsOf(mailbox), (Mails{{mailbox.server + std::to_string(mailbox.port) + mailbox.user}}));
  }
  ASSERT_TRUE(store().Replace(bob, {}));
  EXPECT_EQ(RowsOf(bob), Mails{});
  EXPECT_EQ(RowsOf(ann)->size(), 1U);
}

TEST_F(UnconfirmedMailTest, TheFileGoesWithItsLastRow) {
  ASSERT_TRUE(store().Replace(ann, two));
  ASSERT_TRUE(store().Replace(bob, two));
  ASSERT_TRUE(store().Replace(ann, {}));
  EXPECT_NE(Get(), "(missing)");
  ASSERT_TRUE(store().Replace(bob, {}));
  EXPECT_EQ(Get(), "(missing)");
  EXPECT_EQ(RowsOf(bob), Mails{});
}

TEST_F(UnconfirmedMailTest, NothingIsWrittenWhereNothingChanges) {
  ASSERT_TRUE(store().Replace(ann, two));
  ASSERT_TRUE(store().Replace(bob, two));
  // The same rows in another layout: a write would bring the store's own back.
  ASSERT_TRUE(PutElements("<mail server=\"s\" port=\"1\" user=\"u\" uid=\"a\" counted=\"1\"/>"));
  const std::string before = Get();
  const FileState state = StateOfFile(surroundings.directory.PathOf(kFile));
  EXPECT_TRUE(store().Replace({"s", 1, "u"}, {{"a", "", true}}));
  EXPECT_TRUE(store().Replace(ann, {}));
  EXPECT_EQ(Get(), before);
  EXPECT_EQ(StateOfFile(surroundings.directory.PathOf(kFile)), state);
}

TEST_F(UnconfirmedMailTest, MissingColumnsReadAsNothing) {
  ASSERT_TRUE(
      PutElements("<mail uid=\"a\"/><mail server=\"pop.example.org\" port=\"110\" user=\"ann\" "
                  "uid=\"b\" due=\"0\" counted=\"yes\" learnt=\"\"/>"));
  EXPECT_EQ(store().Rows({"", 0, ""}), Mails{{"a"}});
  EXPECT_EQ(store().Rows(ann), Mails{{"b"}});
}

// A name that this file's encoding does not have would leave a file behind that cannot be read again.
TEST_F(UnconfirmedMailTest, WhatAnotherEncodingHoldsBesidesDoesNotKeepRowsOut) {
  ASSERT_TRUE(
      Put("<?xml version=\"1.0\" encoding=\"ISO-8859-2\"?>\n<unconfirmed><mail server=\"pop.example.org\" "
          "port=\"110\" user=\"ann\" uid=\"a\" se\xFF=\"x\"/></unconfirmed>\n"));
  const MailboxName other{"other", -7, "new"};
  EXPECT_TRUE(store().Replace(other, {{"added"}}));
  EXPECT_EQ(store().Rows(other), Mails{{"added"}});
  EXPECT_EQ(store().Rows(ann), Mails{{"a"}});
}

TEST_F(UnconfirmedMailTest, ARowWithoutIdIsPassedOver) {
  ASSERT_TRUE(
      PutElements("<mail server=\"pop.example.org\" port=\"110\" user=\"ann\" file=\"1.recycle\"/>"
                  "<mail server=\"pop.example.org\" port=\"110\" user=\"ann\" uid=\"\"/><other/>"));
  EXPECT_EQ(store().Rows(ann), Mails{});
}

TEST_F(UnconfirmedMailTest, AFileNameThatLeadsElsewhereReadsAsNone) {
  for (const char* name : {"../x.recycle", "..\\x.recycle", "a/b.recycle", "a\\b.recycle", "C:x.recycle",
                           "x..recycle", "recyclebin.xml", "x.eml", "x", "%00.recycle", "a%2Fb.recycle",
                           "%2E%2E%2Fx.recycle", "x.recycle%00"}) {
    ASSERT_TRUE(PutElements("<mail server=\"pop.example.org\" port=\"110\" user=\"ann\" uid=\"a\" file=\"" +
                            std::string(name) + "\" counted=\"1\"/>"));
    EXPECT_EQ(store().Rows(ann), (Mails{{"a", "", true}})) << name;
    EXPECT_TRUE(store().FilesNotDue().empty()) << name;
  }
}

TEST_F(UnconfirmedMailTest, RowsThatWouldNotReadBackAreRefused) {
  ASSERT_TRUE(store().Replace(ann, two));
  const std::string before = Get();
  EXPECT_FALSE(store().Replace(ann, {{"", "1.recycle"}}));
  EXPECT_FALSE(store().Replace(ann, {{"a", "../1.recycle"}}));
  EXPECT_FALSE(store().Replace(ann, {{"a", "recyclebin.xml"}}));
  // Longer than the parser takes an attribute.
  EXPECT_FALSE(store().Replace(ann, {{std::string(11'000'000, 'a')}}));
  EXPECT_EQ(Get(), before);
}

TEST_F(UnconfirmedMailTest, FilesNotDueAreThoseOfEveryMailbox) {
  ASSERT_TRUE(store().Replace(ann, {{"a", "1.recycle"}, {"b", "2.recycle", true, true, true}, {"c"}}));
  ASSERT_TRUE(store().Replace(bob, {{"a", "3.recycle", true}}));
  EXPECT_EQ(store().FilesNotDue(), (std::vector<std::string>{"1.recycle", "3.recycle"}));
}

TEST_F(UnconfirmedMailTest, AFileThatIsDueForAnyRowIsNoneThatMayGo) {
  ASSERT_TRUE(store().Replace(ann, {{"a", "1.recycle"}, {"b", "2.recycle"}}));
  ASSERT_TRUE(store().Replace(bob, {{"a", "1.recycle", true, true, true}}));
  EXPECT_EQ(store().FilesNotDue(), (std::vector<std::string>{"2.recycle"}));
}

TEST_F(UnconfirmedMailTest, AFileThatIsNoneOfOursIsSetAside) {
  const std::string damaged[] = {"", "<unconfirmed><mail", std::string(kDeclaration) + "<recyclebin/>",
                                 "<!DOCTYPE unconfirmed><unconfirmed/>"};
  for (const std::string& content : damaged) {
    ASSERT_TRUE(Put(content));
    EXPECT_EQ(store().Rows(ann), Mails{});
    EXPECT_EQ(Get(), "(missing)");
  }
  for (const char* end : {".bad", ".bad2", ".bad3", ".bad4"}) {
    EXPECT_EQ(surroundings.directory.Get(std::string(kFile) + end), damaged[end[4] == 0 ? 0 : end[4] - '1']);
  }
  ASSERT_TRUE(Put("no XML"));
  EXPECT_TRUE(store().Replace(ann, two));
  EXPECT_EQ(RowsOf(ann), two);
  EXPECT_EQ(surroundings.directory.Get(std::string(kFile) + ".bad5"), "no XML");
  ASSERT_TRUE(Put("no XML"));
  EXPECT_TRUE(store().FilesNotDue().empty());
  EXPECT_TRUE(surroundings.directory.Has(std::string(kFile) + ".bad6"));
}

TEST_F(UnconfirmedMailTest, AFileThatCanNotBeReadIsLeftAlone) {
  // What cannot be read as a file: the same as one whose reading fails.
  ASSERT_TRUE(surroundings.directory.Put("recycle/unconfirmed.xml/inside", "x"));
  EXPECT_EQ(store().Rows(ann), std::nullopt);
  EXPECT_TRUE(store().FilesNotDue().empty());
  EXPECT_FALSE(store().Replace(ann, two));
  EXPECT_FALSE(store().Replace(ann, {}));
  EXPECT_EQ(surroundings.directory.Get("recycle/unconfirmed.xml/inside"), "x");
}

TEST_F(UnconfirmedMailTest, AReadOnlyFileStaysAsItIs) {
  ASSERT_TRUE(store().Replace(ann, {{"a"}}));
  const std::string before = Get();
  surroundings.directory.SetReadOnly(kFile, true);
  EXPECT_FALSE(store().Replace(ann, two));
  EXPECT_EQ(Get(), before);
  EXPECT_EQ(store().Rows(ann), Mails{{"a"}});
  surroundings.directory.SetReadOnly(kFile, false);
}

TEST_F(UnconfirmedMailTest, AFullDiskLeavesTheOldFileWhole) {
  ASSERT_TRUE(store().Replace(ann, {{"a"}}));
  const std::string before = Get();
  for (const std::size_t bytes : {0U, 1U, 50U, 100U, 250U}) {
    FileResult replaced;
    {
      const test::FullDisk full(bytes);
      if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
      replaced = store().Replace(ann, two);
    }
    EXPECT_FALSE(replaced) << bytes;
    EXPECT_NE(replaced.Text().find("unconfirmed.xml"), std::string::npos) << replaced.Text();
    EXPECT_EQ(Get(), before) << bytes;
  }
  EXPECT_FALSE(surroundings.directory.Has("recycle/unconfirmed.xml.new"));
  EXPECT_TRUE(store().Replace(ann, two));
}

TEST_F(UnconfirmedMailTest, TwoThatWriteUndoNothingOfEachOther) {
  constexpr int kRounds = 30;
  Program& program = surroundings.program();
  const auto fill = [&program](const MailboxName& mailbox) {
    UnconfirmedMailStore own(program);
    Mails rows;
    for (int i = 0; i < kRounds; ++i) {
      rows.push_back({std::to_string(i)});
      EXPECT_TRUE(own.Replace(mailbox, rows));
    }
  };
  std::thread other(fill, bob);
  fill(ann);
  other.join();
  EXPECT_EQ(RowsOf(ann)->size(), std::size_t{kRounds});
  EXPECT_EQ(RowsOf(bob)->size(), std::size_t{kRounds});
}

TEST_F(UnconfirmedMailTest, ManyRowsCostNoSearchThroughAllForEach) {
  constexpr int kRows = 20000;
  Mails rows;
  for (int i = 0; i < kRows; ++i)
    rows.push_back({"uid" + std::to_string(i), std::to_string(i) + ".recycle", true, true, i % 2 == 0});
  const auto started = std::chrono::steady_clock::now();
  ASSERT_TRUE(store().Replace(ann, rows));
  EXPECT_EQ(RowsOf(ann), rows);
  EXPECT_EQ(store().FilesNotDue().size(), std::size_t{kRows / 2});
  // Some microseconds a row and pass where nothing checks the memory.
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
}

// The example of the page on file formats, as it stands there.
std::string ExampleOfThePage() {
  std::ifstream in(std::filesystem::path(QUILLBEAKER_FORMATS_PAGE), std::ios::binary);
  const std::string page((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  constexpr std::string_view kMark = "<!-- example: unconfirmed.xml -->\n```xml\n";
  const std::size_t mark = page.find(kMark);
  if (mark == std::string::npos) return "(missing)";
  const std::size_t from = mark + kMark.size();
  return page.substr(from, page.find("```\n", from) - from);
}

TEST_F(UnconfirmedMailTest, TheExampleOfThePageIsReadAndWrittenAsShown) {
  const MailboxName jane{"pop.example.org", 110, "jane"};
  const MailboxName joe{"pop.example.net", 995, "joe"};
  const Mails of_jane{{"0000001a3f6b2c11", "2452676_232007_1a2b3c4.recycle", true, true, true},
                      {"AAAAE2kR3lAAAAAD", "2452676_232007_1a2b3c5.recycle"}};
  const Mails of_joe{{"100%\x01", "", false, true, true}};
  ASSERT_TRUE(Put(ExampleOfThePage()));
  EXPECT_EQ(store().Rows(jane), of_jane);
  EXPECT_EQ(store().Rows(joe), of_joe);
  EXPECT_EQ(store().FilesNotDue(), (std::vector<std::string>{"2452676_232007_1a2b3c5.recycle"}));
  ASSERT_TRUE(store().Replace(jane, {}));
  ASSERT_TRUE(store().Replace(joe, {}));
  ASSERT_EQ(Get(), "(missing)");
  ASSERT_TRUE(store().Replace(jane, of_jane));
  ASSERT_TRUE(store().Replace(joe, of_joe));
  EXPECT_EQ(Get(), ExampleOfThePage());
}

}  // namespace
}  // namespace quillbeaker
