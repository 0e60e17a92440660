// SPDX-License-Identifier: MIT
#include "ui/presenter/import_dialogs.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "presenter/recording_page_view.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Texts = std::vector<std::string>;

TEST(ImportSourceDialog, NamesTheFirstChoiceOfBlockedSendersOnly) {
  test::RecordingPageView view;
  ImportSourceDialog("The list of another program").Load(view);
  EXPECT_EQ(view.TextIn(SOURCE_SYSTEM), "The list of another program");
  test::RecordingPageView of_friends;
  ImportSourceDialog(std::nullopt).Load(of_friends);
  EXPECT_FALSE(of_friends.texts.contains(SOURCE_SYSTEM));
}

TEST(ImportSourceDialog, TellsTheChoiceThatIsTicked) {
  test::RecordingPageView view;
  ImportSourceDialog dialog(std::nullopt);
  EXPECT_EQ(dialog.choice(), ImportChoice::kCancel);
  dialog.Load(view);
  EXPECT_TRUE(view.IsChecked(SOURCE_SYSTEM));
  EXPECT_TRUE(dialog.Ok(view));
  EXPECT_EQ(dialog.choice(), ImportChoice::kListed);
  view.checked = {{SOURCE_TEXT_FILE, true}};
  EXPECT_TRUE(dialog.Ok(view));
  EXPECT_EQ(dialog.choice(), ImportChoice::kFile);
}

TEST(ImportColumnsDialog, ShowsTheFieldsInBothListsAndTheGuess) {
  test::RecordingPageView view;
  ImportColumnsDialog dialog({"B\xF6"
                              "b",
                              "x", "b@x"},
                             CsvColumns{.name = 0, .address = 2});
  dialog.Load(view);
  const Texts shown{
      "B\xC3\xB6"
      "b",
      "x", "b@x"};
  EXPECT_EQ(view.choices[COLUMNS_ADDRESS], shown);
  EXPECT_EQ(view.choices[COLUMNS_NAME], shown);
  EXPECT_EQ(view.ChosenIn(COLUMNS_ADDRESS), 2);
  EXPECT_EQ(view.ChosenIn(COLUMNS_NAME), 0);
  EXPECT_FALSE(dialog.columns());
  view.chosen[COLUMNS_NAME] = 1;
  EXPECT_TRUE(dialog.Ok(view));
  EXPECT_EQ(dialog.columns()->name, 1U);
  EXPECT_EQ(dialog.columns()->address, 2U);
}

TEST(ImportColumnsDialog, StaysUntilBothColumnsAreChosen) {
  test::RecordingPageView view;
  ImportColumnsDialog dialog({"one", "two"}, std::nullopt);
  dialog.Load(view);
  EXPECT_FALSE(dialog.Ok(view));
  EXPECT_EQ(view.focus, COLUMNS_ADDRESS);
  view.chosen[COLUMNS_ADDRESS] = 1;
  EXPECT_FALSE(dialog.Ok(view));
  EXPECT_EQ(view.focus, COLUMNS_NAME);
  EXPECT_EQ(view.warnings, (Texts{"Enter a value!", "Enter a value!"}));
  EXPECT_FALSE(dialog.columns());
  // One column may be both.
  view.chosen[COLUMNS_NAME] = 1;
  EXPECT_TRUE(dialog.Ok(view));
}

class ImportOfferDialogTest : public testing::Test {
 protected:
  std::string TextOf(const FoundSender& found) {
    view.texts[OFFER_TEXT] = "Found: %s (%s), 100%% sure?";
    ImportOfferDialog(found).Load(view);
    return view.TextIn(OFFER_TEXT);
  }
  test::RecordingPageView view;
};

TEST_F(ImportOfferDialogTest, FillsInTheTranslatedText) {
  EXPECT_EQ(TextOf({"Ann", "a@x"}), "Found: Ann (a@x), 100% sure?");
}

TEST_F(ImportOfferDialogTest, TakesNoFormatFromWhatWasFound) {
  EXPECT_EQ(TextOf({"%s%n%d", "%s@x"}), "Found: %s%n%d (%s@x), 100% sure?");
}

TEST_F(ImportOfferDialogTest, ShowsBothEndsOfALongAddress) {
  const std::string text = TextOf({"Ann", std::string(200, 'a') + "\xFC@example.org"});
  EXPECT_EQ(text, "Found: Ann (" + std::string(40, 'a') + "\xE2\x80\xA6" + std::string(27, 'a') +
                      "\xC3\xBC@example.org), 100% sure?");
}

TEST_F(ImportOfferDialogTest, IsAnsweredByEachButton) {
  for (const auto& [button, answer] :
       {std::pair{BUTTON_YES, OfferAnswer::kYes}, std::pair{OFFER_YES_TO_ALL, OfferAnswer::kYesToAll},
        std::pair{BUTTON_NO, OfferAnswer::kNo}}) {
    ImportOfferDialog dialog({"Ann", "a@x"});
    EXPECT_EQ(dialog.answer(), OfferAnswer::kCancel);
    EXPECT_FALSE(dialog.IsAnswered());
    EXPECT_FALSE(dialog.Ok(view));
    dialog.Pressed(view, button);
    EXPECT_TRUE(dialog.IsAnswered());
    EXPECT_EQ(dialog.answer(), answer);
  }
}

}  // namespace
}  // namespace quillbeaker
