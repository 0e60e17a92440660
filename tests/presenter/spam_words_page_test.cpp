// SPDX-License-Identifier: MIT
#include "ui/presenter/spam_words_page.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "presenter/recording_list_view.h"
#include "presenter/settings_page_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Rows = std::vector<std::string>;
using Places = std::vector<std::size_t>;

class SpamWordsPageTest : public test::SettingsPageTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(one.directory.Put("spampoints.ini", "[PROBABILITIES]\ncash=80\nfree=40\n"));
    ASSERT_TRUE(one.directory.Put("spampoints_user.ini", kUserFile));
  }
  void OpenPage() {
    list = std::make_unique<test::RecordingListView>();
    words = std::make_unique<SpamWordsPage>(surroundings, *list);
    list->page = words.get();
    list->controls.page = words.get();
    words->Open(program(), list->controls);
  }
  bool PressOk() {
    AppliedSettings pressed;
    words->Apply(pressed);
    return pressed.changes.Save(program()).empty();
  }
  // The next dialog is filled in like this; what it refuses is cancelled.
  void Type(const std::string& expression, const std::string& probability) {
    list->person = [expression, probability](SmallDialog& dialog) {
      test::RecordingPageView fields;
      dialog.Load(fields);
      if (!expression.empty()) fields.SetText(EXPRESSION_TEXT, expression);
      fields.SetText(EXPRESSION_PROBABILITY, probability);
      return dialog.Ok(fields);
    };
  }
  std::string UserFile() const { return one.directory.Get("spampoints_user.ini").value_or("(missing)"); }

  static constexpr const char* kUserFile = "; mine\r\n[PROBABILITIES]\r\nviagra=90\r\nCheap=20\r\n";
  std::unique_ptr<test::RecordingListView> list;
  std::unique_ptr<SpamWordsPage> words;
};

TEST_F(SpamWordsPageTest, ListsBothFilesSortedWithACount) {
  OpenPage();
  EXPECT_EQ(words->Columns(), (Rows{"Expression", "Probability of Spam"}));
  EXPECT_EQ(list->Rows(), (Rows{"cash | 80 %", "Cheap | 20 %", "free | 40 %", "viagra | 90 %"}));
  EXPECT_EQ(list->TextIn(WORDS_COUNT), "Entries: 4");
  EXPECT_FALSE(list->controls.IsEnabled(WORDS_EDIT));
  EXPECT_FALSE(list->controls.IsEnabled(WORDS_DELETE));
}

TEST_F(SpamWordsPageTest, OkWithoutAChangeLeavesTheWordsAlone) {
  OpenPage();
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), kUserFile);
  EXPECT_EQ(Configuration(), "[Quillbeaker]\r\nShowPredefinedWords=1\r\n");
}

TEST_F(SpamWordsPageTest, PredefinedOnesAreHiddenAndTheSelectionStays) {
  OpenPage();
  list->Select({0, 3});
  list->SetChecked(WORDS_SHOW_PREDEFINED, false);
  words->Pressed(WORDS_SHOW_PREDEFINED);
  EXPECT_EQ(list->Rows(), (Rows{"Cheap | 20 %", "viagra | 90 %"}));
  EXPECT_EQ(list->selected, Places{1});
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(Configuration(), "[Quillbeaker]\r\nShowPredefinedWords=0\r\n");
  OpenPage();
  EXPECT_EQ(list->count, 2u);
}

TEST_F(SpamWordsPageTest, OfAWordInBothFilesTheUsersRowTakesTheSelection) {
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\nfree=20\r\n"));
  OpenPage();
  EXPECT_EQ(list->Rows(), (Rows{"cash | 80 %", "free | 20 %", "free | 40 %"}));
  list->Select({2});
  list->SetChecked(WORDS_SHOW_PREDEFINED, false);
  words->Pressed(WORDS_SHOW_PREDEFINED);
  EXPECT_EQ(list->selected, Places{0});
}

TEST_F(SpamWordsPageTest, AnAddedWordIsSelectedAndWrittenByOkOnly) {
  OpenPage();
  Type("lottery", "75");
  words->Pressed(WORDS_ADD);
  EXPECT_EQ(list->opened, std::vector<int>{4012});
  EXPECT_EQ(list->selected, Places{3});
  EXPECT_EQ(words->RowText(3, 0), "lottery");
  EXPECT_EQ(UserFile(), kUserFile);
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), std::string(kUserFile) + "lottery=75\r\n");
}

TEST_F(SpamWordsPageTest, AWordThatDiffersOnlyInCaseIsNotAdded) {
  OpenPage();
  Type("FREE", "75");
  words->Pressed(WORDS_ADD);
  EXPECT_EQ(words->RowCount(), 4u);
  // While the predefined words are hidden the list does not have it.
  list->SetChecked(WORDS_SHOW_PREDEFINED, false);
  words->Pressed(WORDS_SHOW_PREDEFINED);
  words->Pressed(WORDS_ADD);
  EXPECT_EQ(list->Rows(), (Rows{"Cheap | 20 %", "FREE | 75 %", "viagra | 90 %"}));
}

TEST_F(SpamWordsPageTest, EditingAPredefinedWordMakesARowOfTheUsersAboveIt) {
  OpenPage();
  list->Select({2});
  EXPECT_TRUE(list->controls.IsEnabled(WORDS_EDIT));
  Type("", "0");
  words->Pressed(WORDS_EDIT);
  EXPECT_EQ(list->Rows(),
            (Rows{"cash | 80 %", "Cheap | 20 %", "free | 0 %", "free | 40 %", "viagra | 90 %"}));
  EXPECT_EQ(list->selected, Places{2});
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), std::string(kUserFile) + "free=0\r\n");
  EXPECT_EQ(one.directory.Get("spampoints.ini"), "[PROBABILITIES]\ncash=80\nfree=40\n");
}

TEST_F(SpamWordsPageTest, AWordThatNoFileCanTakeIsNotEditedAndCanBeDeleted) {
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\n[odd=90\r\n"));
  OpenPage();
  ASSERT_EQ(list->Rows().front(), "[odd | 90 %");
  list->Select({0});
  Type("", "0");
  words->Pressed(WORDS_EDIT);
  EXPECT_EQ(list->controls.warnings.size(), 1u);
  EXPECT_TRUE(PressOk());
  list->Select({0});
  words->Pressed(WORDS_DELETE);
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), "[PROBABILITIES]\r\n");
}

TEST_F(SpamWordsPageTest, UnsavedChangesSurviveHidingThePredefinedWords) {
  OpenPage();
  list->Select({2});
  Type("", "10");
  words->Pressed(WORDS_EDIT);
  for (const bool shown : {false, true}) {
    list->SetChecked(WORDS_SHOW_PREDEFINED, shown);
    words->Pressed(WORDS_SHOW_PREDEFINED);
  }
  EXPECT_EQ(words->RowText(2, 1), "10 %");
  EXPECT_EQ(list->selected, Places{2});
}

TEST_F(SpamWordsPageTest, APredefinedWordIsNotDeleted) {
  OpenPage();
  list->Select({0});
  words->Pressed(WORDS_DELETE);
  ASSERT_EQ(list->controls.warnings.size(), 1u);
  EXPECT_TRUE(list->controls.warnings[0].starts_with("This is a predefined expression"));
  EXPECT_TRUE(list->controls.questions.empty());
  // Nor is anything beside it.
  list->Select({0, 1});
  words->Pressed(WORDS_DELETE);
  EXPECT_EQ(list->controls.warnings.size(), 2u);
  EXPECT_EQ(words->RowCount(), 4u);
}

TEST_F(SpamWordsPageTest, ADeletedWordGoesAfterAQuestionAndItsNeighbourIsSelected) {
  OpenPage();
  list->Select({3});
  list->controls.answer = false;
  words->Pressed(WORDS_DELETE);
  EXPECT_EQ(words->RowCount(), 4u);
  list->controls.answer = true;
  words->Pressed(WORDS_DELETE);
  EXPECT_EQ(list->controls.questions.back(), "Do you really want to delete \"viagra\" from the list?");
  EXPECT_EQ(list->Rows(), (Rows{"cash | 80 %", "Cheap | 20 %", "free | 40 %"}));
  EXPECT_EQ(list->selected, Places{2});
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), "; mine\r\n[PROBABILITIES]\r\nCheap=20\r\n");
}

TEST_F(SpamWordsPageTest, SeveralAreDeletedAfterOneQuestion) {
  OpenPage();
  list->Select({1, 3});
  words->Pressed(WORDS_DELETE);
  EXPECT_EQ(list->controls.questions, Rows{"Do you really want to delete 2 entries from the list?"});
  EXPECT_EQ(words->RowCount(), 2u);
  EXPECT_EQ(list->selected, Places{1});
  EXPECT_EQ(list->TextIn(WORDS_COUNT), "Entries: 2");
}

TEST_F(SpamWordsPageTest, AddedAndDeletedAgainLeavesNothing) {
  OpenPage();
  Type("lottery", "75");
  words->Pressed(WORDS_ADD);
  words->Pressed(WORDS_DELETE);
  EXPECT_TRUE(PressOk());
  EXPECT_EQ(UserFile(), kUserFile);
}

TEST_F(SpamWordsPageTest, SeveralLinesOfAWordBecomeOneWhenItIsEdited) {
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\nwin=10\r\nodd=5\r\nWIN=20\r\n"));
  ASSERT_TRUE(one.directory.Remove("spampoints.ini"));
  OpenPage();
  EXPECT_EQ(words->RowCount(), 3u);
  list->Select({1});
  Type("", "50");
  words->Pressed(WORDS_EDIT);
  EXPECT_EQ(words->RowCount(), 2u);
  EXPECT_TRUE(PressOk());
  const std::vector<SpamWord> saved = ReadSpamWords(program());
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_EQ(saved[0].probability, 50);
}

TEST_F(SpamWordsPageTest, SortsByValueAndTheOtherWayRoundAtTheSecondClick) {
  OpenPage();
  list->Select({0});
  words->SortBy(1);
  EXPECT_EQ(list->Rows(), (Rows{"Cheap | 20 %", "free | 40 %", "cash | 80 %", "viagra | 90 %"}));
  EXPECT_EQ(list->selected, Places{2});
  words->SortBy(1);
  EXPECT_EQ(list->Rows(), (Rows{"viagra | 90 %", "cash | 80 %", "free | 40 %", "Cheap | 20 %"}));
  words->SortBy(0);
  EXPECT_EQ(list->Rows().front(), "cash | 80 %");
  words->SortBy(0);
  EXPECT_EQ(list->Rows().front(), "viagra | 90 %");
}

TEST_F(SpamWordsPageTest, SearchSelectsWhileTypingAndHidesNothing) {
  OpenPage();
  list->controls.Type(WORDS_SEARCH, "C");
  EXPECT_EQ(list->selected, Places{0});
  list->controls.Type(WORDS_SEARCH, "CH");
  EXPECT_EQ(list->selected, Places{1});
  list->controls.Type(WORDS_SEARCH, "ree");
  EXPECT_EQ(list->selected, Places{2});
  list->controls.Type(WORDS_SEARCH, "reed");
  EXPECT_TRUE(list->selected.empty());
  EXPECT_EQ(words->RowCount(), 4u);
  EXPECT_TRUE(words->ClearSearch());
  EXPECT_EQ(list->TextIn(WORDS_SEARCH), "");
  EXPECT_FALSE(words->ClearSearch());
}

TEST_F(SpamWordsPageTest, IsDisabledWithoutFilterOrSpamWords) {
  for (const char* line : {"Enable=0", "FilterWordEnable=0"}) {
    ASSERT_TRUE(one.Configure(line));
    OpenPage();
    EXPECT_TRUE(list->controls.page_disabled) << line;
    words->Pressed(WORDS_ADD);
    EXPECT_TRUE(list->opened.empty());
    EXPECT_TRUE(PressOk());
    EXPECT_EQ(Main("ShowPredefinedWords"), "(missing)");
  }
}

TEST_F(SpamWordsPageTest, SortingKeepsASelectionOfEveryRowOfMany) {
  constexpr std::size_t kWords = 20'000;
  std::string file = "[PROBABILITIES]\n";
  for (std::size_t i = 0; i < kWords; ++i) {
    file += "word" + std::to_string(i) + "=" + std::to_string(i % 101) + "\n";
  }
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", file));
  ASSERT_TRUE(one.directory.Put("spampoints.ini", ""));
  OpenPage();
  list->selected.clear();
  for (std::size_t row = 0; row < words->RowCount(); ++row) list->selected.push_back(row);
  ASSERT_EQ(list->selected.size(), kWords);
  const auto begin = std::chrono::steady_clock::now();
  words->SortBy(1);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(list->selected.size(), kWords);
  // Each row compared with each takes minutes.
  EXPECT_LT(taken, std::chrono::seconds(5));
}

TEST_F(SpamWordsPageTest, OpensAtTheWordThatIsWanted) {
  *surroundings.word_to_show = "CASH";
  ASSERT_TRUE(one.directory.Put("Quillbeaker.ini", "[Quillbeaker]\r\nShowPredefinedWords=0\r\n"));
  OpenPage();
  const auto selected = list->SelectedRows();
  ASSERT_EQ(selected.size(), 1u);
  EXPECT_EQ(words->RowText(selected[0], 0), "cash");
  EXPECT_EQ(*surroundings.word_to_show, "");
  OpenPage();
  EXPECT_TRUE(list->SelectedRows().empty());
  *surroundings.word_to_show = "no such word";
  OpenPage();
  EXPECT_TRUE(list->SelectedRows().empty());
}

}  // namespace
}  // namespace quillbeaker
