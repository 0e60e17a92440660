// SPDX-License-Identifier: MIT
#include "ui/presenter/mail_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "presenter/recording_mail_view.h"

namespace quillbeaker {
namespace {

using Rows = std::vector<std::size_t>;

struct Mail {
  std::string name;
  std::string subject;
  std::uint32_t size = 0;
};

// Two columns: a text and a number.
class Mails : public MailListOf<Mail> {
 public:
  using MailListOf::FocusedEntry;
  using MailListOf::kNone;
  using MailListOf::MailListOf;
  using MailListOf::SelectedNames;
  using MailListOf::SelectWhere;
  using MailListOf::ShowEntries;

  void Open() override {}
  std::optional<MailToView> MailOf(std::string_view) const override { return std::nullopt; }
  bool Run(int) override { return false; }
  bool CanRun(int) const override { return IsAnySelected(); }
  std::vector<std::string> Columns() const override { return {"Subject", "Size"}; }

 private:
  std::string EntryText(std::size_t entry, std::size_t column) const override {
    return column == 0 ? entries_[entry].subject : std::to_string(entries_[entry].size);
  }
  bool IsNumber(std::size_t column) const override { return column == 1; }
  double NumberIn(std::size_t entry, std::size_t) const override { return entries_[entry].size; }
  bool Has(std::size_t entry, const SearchedText& text) const override {
    return text.IsIn(entries_[entry].subject);
  }
};

class MailListTest : public testing::Test {
 protected:
  MailListTest() {
    mails.ShowEntries({{"a", "Zebra", 1000}, {"b", "apple", 900}, {"c", "Mango", 10'000}, {"d", "apple", 5}});
  }
  std::vector<std::string> Subjects() const {
    std::vector<std::string> subjects;
    for (std::size_t row = 0; row < mails.RowCount(); ++row) subjects.push_back(mails.RowText(row, 0));
    return subjects;
  }

  test::RecordingMailView view;
  Mails mails{view};
};

TEST_F(MailListTest, OpensInTheOrderOfTheIndexAndSaysHowManyThereAre) {
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"Zebra", "apple", "Mango", "apple"}));
  EXPECT_EQ(view.counts, "4 messages - 11.63 KB");
  EXPECT_EQ(view.place, (ListPlace{{}, 0, 0}));
  EXPECT_GE(mails.Order().column, mails.Columns().size());  // no heading has an arrow
  EXPECT_EQ(mails.RowText(99, 0), "");
  EXPECT_EQ(mails.RowPicture(99), -1);
}

TEST_F(MailListTest, SortsTextsWithoutCaseAndNumbersByValue) {
  mails.SortBy(0);
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"apple", "apple", "Mango", "Zebra"}));
  EXPECT_EQ(mails.RowText(0, 1), "900");  // equal ones keep the order of the index
  mails.SortBy(0);
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"Zebra", "Mango", "apple", "apple"}));
  EXPECT_EQ(mails.RowText(2, 1), "900");
  mails.SortBy(1);
  EXPECT_EQ(mails.RowText(0, 1), "5");
  EXPECT_EQ(mails.RowText(3, 1), "10000");
  EXPECT_EQ(mails.Order(), (SortOrder{1, false}));
  mails.SortBy(7);
  EXPECT_EQ(mails.Order(), (SortOrder{1, false}));
}

TEST_F(MailListTest, TheSelectionStaysOnItsMailsWhenSorted) {
  view.Select({0, 3});
  mails.SortBy(1);
  EXPECT_EQ(view.place.selected, (Rows{0, 2}));
  EXPECT_EQ(mails.SelectedNames(), (std::vector<std::string>{"d", "a"}));
  EXPECT_EQ(view.place.focused, 2);
}

TEST_F(MailListTest, WithoutASelectionSortingGoesToTheTop) {
  view.place = {{}, 2, 2};
  mails.SortBy(0);
  EXPECT_EQ(view.place, (ListPlace{{}, 0, 0}));
}

TEST_F(MailListTest, MergesByNameAndAppendsWhatIsNew) {
  view.place = {{1, 2}, 2, 1};
  mails.ShowEntries({{"b", "apple", 900}, {"c", "Mango", 10'000}, {"d", "apple", 5}, {"e", "new", 1}});
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"apple", "Mango", "apple", "new"}));
  EXPECT_EQ(view.place, (ListPlace{{0, 1}, 1, 0}));
  EXPECT_EQ(view.counts, "4 messages - 10.65 KB");
}

TEST_F(MailListTest, WhatWasRemovedHandsItsPlaceToTheRowAfterIt) {
  view.place = {{1, 3}, 1, 1};
  mails.ShowEntries({{"a", "Zebra", 1000}, {"c", "Mango", 10'000}, {"d", "apple", 5}});
  EXPECT_EQ(view.place, (ListPlace{{2}, 1, 1}));
  mails.ShowEntries({{"a", "Zebra", 1000}});  // the last row: to the one before it
  EXPECT_EQ(view.place, (ListPlace{{}, 0, 0}));
  mails.ShowEntries({});
  EXPECT_EQ(view.place, ListPlace());
  EXPECT_EQ(mails.FocusedEntry(), Mails::kNone);
}

TEST_F(MailListTest, ASortedListTakesNewMailsWhereTheyBelong) {
  mails.SortBy(1);
  view.Select({3});
  mails.ShowEntries({{"a", "Zebra", 1000}, {"b", "x", 900}, {"c", "Mango", 10'000}, {"e", "new", 20'000}});
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"x", "Zebra", "Mango", "new"}));
  EXPECT_EQ(view.place.selected, Rows{2});
}

TEST_F(MailListTest, EntriesOfOneNameAreToldApartByTheirOrder) {
  mails.ShowEntries({{"x", "first", 1}, {"x", "second", 2}, {"x", "third", 3}, {"", "unnamed", 4}});
  view.Select({1});
  mails.ShowEntries({{"new", "new", 1}, {"x", "first", 1}, {"x", "second", 2}, {"", "unnamed", 4}});
  EXPECT_EQ(view.place.selected, Rows{2});
  view.Select({3});
  mails.ShowEntries({{"", "unnamed", 4}, {"x", "first", 1}});
  EXPECT_EQ(view.place.selected, Rows{0});
}

TEST_F(MailListTest, ASearchShowsWhatHasTheTextAndKeepsTheSelectionOfThat) {
  view.Select({1, 2});
  mails.Search("APP");
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"apple", "apple"}));
  EXPECT_EQ(view.place.selected, Rows{0});
  EXPECT_EQ(view.counts, "2 messages - 0.88 KB");
  mails.ShowEntries({{"d", "apple", 5}, {"e", "new", 1}, {"f", "pineapple", 1}});
  EXPECT_EQ(Subjects(), (std::vector<std::string>{"apple", "pineapple"}));
  mails.Search("");
  EXPECT_EQ(mails.RowCount(), 3U);
  mails.Search("nothing like it");
  EXPECT_EQ(view.counts, "0 messages - 0.00 KB");
}

TEST_F(MailListTest, ASearchFindsBothWaysOfWritingALetter) {
  mails.ShowEntries({{"a",
                      "Gr\xFC\xDF"
                      "e",
                      1},
                     {"b",
                      "Gr\xC3\xBC\xC3\x9F"
                      "e",
                      1},
                     {"c", "\xE2\x82\xAC 5", 1}});
  mails.Search("gr\xC3\xBC");
  EXPECT_EQ(mails.RowCount(), 2U);
  mails.Search("\xE2\x82\xAC");
  EXPECT_EQ(mails.RowCount(), 1U);
}

TEST_F(MailListTest, TheSelectionIsByNameWhateverTheOrder) {
  EXPECT_FALSE(mails.CanRun(1));
  view.Select({0});
  EXPECT_TRUE(mails.CanRun(1));
  mails.SortBy(0);
  EXPECT_EQ(mails.SelectedNames(), std::vector<std::string>{"a"});
  EXPECT_EQ(mails.FocusedEntry(), 0U);
  view.place = {{99}, 99, 0};  // rows that there are not
  EXPECT_TRUE(mails.SelectedNames().empty());
  EXPECT_EQ(mails.FocusedEntry(), Mails::kNone);
}

TEST_F(MailListTest, SelectsTheRowsThatAreAskedFor) {
  mails.SortBy(1);
  view.place = {{3}, 2, 1};
  mails.SelectWhere([](std::size_t entry) { return entry < 2; });  // "a" and "b"
  EXPECT_EQ(view.place, (ListPlace{{1, 2}, 2, 1}));
}

TEST_F(MailListTest, TheViewerWalksTheRowsAsTheyAreShown) {
  mails.SortBy(1);
  EXPECT_EQ(mails.NextTo("a", 1), "c");
  EXPECT_EQ(mails.NextTo("a", -1), "b");
  EXPECT_EQ(mails.NextTo("c", 1), "");
  EXPECT_EQ(mails.NextTo("d", -1), "");
  EXPECT_EQ(mails.NextTo("gone", 1), "");
  EXPECT_EQ(mails.NextTo("gone", 2), "");
  view.Select({0, 1});
  mails.WasShown("c");
  EXPECT_EQ(mails.SelectedNames(), std::vector<std::string>{"c"});
  mails.WasShown("gone");
  EXPECT_EQ(mails.SelectedNames(), std::vector<std::string>{"c"});
  mails.Search("apple");
  EXPECT_EQ(mails.NextTo("d", 1), "b");
}

TEST(MailDate, IsEmptyWithoutADate) {
  EXPECT_EQ(MailDate(2452675, 22 * 60 + 15), "04.02.2003, 22:15");
  EXPECT_EQ(MailDate(0, 5), "");
  EXPECT_EQ(MailDate(25657560, 0), "");
}

}  // namespace
}  // namespace quillbeaker
