// SPDX-License-Identifier: MIT
#include "pop3/check/unconfirmed_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

const MailboxName kJane{"pop.example.org", 110, "jane"};
constexpr bool kWhole = true;

class UnconfirmedRowsTest : public ::testing::Test {
 protected:
  UnconfirmedRowsTest() { mailbox_.SetName(kJane); }

  MessageEntry& List(const std::string& unique_id, Fate fate = Fate::kNew, bool is_its_own = true) {
    MessageEntry entry;
    entry.server_number = ++number_;
    entry.unique_id = unique_id;
    entry.unique_id_is_its_own = is_its_own;
    entry.fate = fate;
    return mailbox_.Insert(std::move(entry));
  }
  [[nodiscard]] bool Store(const std::vector<std::string>& unique_ids) {
    std::vector<UnconfirmedMail> rows;
    for (const std::string& id : unique_ids) rows.push_back({.unique_id = id, .counted = true});
    return static_cast<bool>(UnconfirmedMailStore(world_.program()).Replace(kJane, rows));
  }
  std::vector<std::string> Stored() {
    std::vector<std::string> ids;
    const auto rows = UnconfirmedMailStore(world_.program()).Rows(kJane);
    for (const UnconfirmedMail& row : *rows) ids.push_back(row.unique_id);
    return ids;
  }
  void Load(bool whole) { UnconfirmedRows(world_.program()).Load(mailbox_, whole); }

  test::TestProgram world_;
  Mailbox mailbox_;
  std::uint32_t number_ = 0;
};

TEST_F(UnconfirmedRowsTest, GivesItsRowToANewMessageWhoseIdIsItsOwn) {
  ASSERT_TRUE(Store({"a", "b"}));
  const MessageEntry& own = List("a");
  const MessageEntry& shared = List("b", Fate::kNew, false);
  const MessageEntry& other = List("c");
  Load(kWhole);
  ASSERT_TRUE(own.unconfirmed);
  EXPECT_TRUE(own.unconfirmed->counted);
  EXPECT_FALSE(shared.unconfirmed);
  EXPECT_FALSE(other.unconfirmed);
  EXPECT_EQ(Stored(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(UnconfirmedRowsTest, ARowWhoseIdAWholeListingLacksIsRemoved) {
  ASSERT_TRUE(Store({"a", "b"}));
  List("a");
  Load(!kWhole);
  EXPECT_EQ(Stored(), (std::vector<std::string>{"a", "b"}));
  Load(kWhole);
  EXPECT_EQ(Stored(), std::vector<std::string>{"a"});
}

TEST_F(UnconfirmedRowsTest, ARowIsRemovedWhenItsMessageIsKnownByItsStoredId) {
  ASSERT_TRUE(Store({"a", "b"}));
  List("a", Fate::kKnown);
  List("b", Fate::kKnown, false);
  Load(!kWhole);
  EXPECT_EQ(Stored(), std::vector<std::string>{"b"}) << "two messages have that id";
}

TEST_F(UnconfirmedRowsTest, MakesNoRowWhereTheIdTellsNothing) {
  EXPECT_EQ(UnconfirmedRows::RowOf(List("a", Fate::kSpam, false)), nullptr);
  UnconfirmedMail* const row = UnconfirmedRows::RowOf(List("b", Fate::kSpam));
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(*row, (UnconfirmedMail{.unique_id = "b"}));
}

TEST_F(UnconfirmedRowsTest, SavesNothingWhereTheRowsCouldNotBeReadAndSaysWhy) {
  world_.directory.MakeFolder("recycle");
  world_.directory.MakeFolder("recycle/unconfirmed.xml");
  UnconfirmedRows rows(world_.program());
  UnconfirmedRows::RowOf(List("a", Fate::kSpam));
  rows.Load(mailbox_, kWhole);
  world_.directory.Remove("recycle/unconfirmed.xml");
  const FileResult saved = rows.Save(mailbox_);
  EXPECT_FALSE(saved) << "rows of this mailbox that nobody has seen would be lost";
  EXPECT_NE(saved.Text().find("unconfirmed.xml"), std::string::npos);
  EXPECT_FALSE(world_.directory.Has("recycle/unconfirmed.xml"));
}

}  // namespace
}  // namespace quillbeaker
