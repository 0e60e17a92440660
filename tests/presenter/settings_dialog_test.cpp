// SPDX-License-Identifier: MIT
#include "ui/presenter/settings_dialog.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "presenter/settings_page_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// Makes the pages as a window does, and answers the message to apply.
class RecordingDialog : public SettingsDialogView {
 public:
  explicit RecordingDialog(const SettingsSurroundings& around) : surroundings(around) {}

  void ShowPage(const SettingsPageRow& page) override {
    shown.push_back(page.id);
    if (page.make == nullptr || pages.contains(page.id)) return;
    pages[page.id] = page.make(surroundings, views[page.id]);
    views[page.id].page = pages[page.id].get();
    pages[page.id]->Open(surroundings.program, views[page.id]);
  }
  void SendApply(const bool* address) override {
    for (const auto& [id, page] : pages) applied += presenter->ApplyPage(*page, address) ? 1 : 0;
  }
  void Inform(std::string_view text) override { told.emplace_back(text); }
  void Warn(std::string_view text) override { warned.emplace_back(text); }
  void RearmUpdateCheck() override { ++rearmed; }
  void Close() override { ++closed; }

  const SettingsSurroundings& surroundings;
  SettingsDialogPresenter* presenter = nullptr;
  std::map<int, test::RecordingPageView> views;
  std::map<int, std::unique_ptr<SettingsPage>> pages;
  std::vector<int> shown;
  int applied = 0;
  std::vector<std::string> told;
  std::vector<std::string> warned;
  int rearmed = 0;
  int closed = 0;
};

class SettingsDialogTest : public test::SettingsPageTest {
 protected:
  void OpenAt(int wanted) {
    dialog = std::make_unique<RecordingDialog>(surroundings);
    presenter = std::make_unique<SettingsDialogPresenter>(surroundings, *dialog, last_page, wanted);
    dialog->presenter = presenter.get();
    presenter->Select(presenter->selected());
  }

  int last_page = 0;
  std::unique_ptr<RecordingDialog> dialog;
  std::unique_ptr<SettingsDialogPresenter> presenter;
};

TEST_F(SettingsDialogTest, TenPagesStandInTheirOrderBelowTheirParents) {
  std::vector<int> ids;
  std::vector<int> parents;
  for (const SettingsPageRow& page : SettingsPages()) {
    ids.push_back(page.id);
    parents.push_back(page.parent);
    EXPECT_EQ(static_cast<int>(page.label), page.id);
  }
  EXPECT_EQ(ids, (std::vector<int>{4008, 4015, 4003, 4010, 4016, 4009, 4011, 4005, 4001, 4006}));
  EXPECT_EQ(parents, (std::vector<int>{0, 4008, 4008, 0, 4010, 4010, 4010, 0, 4005, 4005}));
}

TEST_F(SettingsDialogTest, APageIsPlainOrAListNeverBoth) {
  for (const SettingsPageRow& page : SettingsPages()) {
    EXPECT_FALSE(page.make != nullptr && page.make_list != nullptr) << page.id;
  }
  for (const int id : {PAGE_SPAM_WORDS, PAGE_BLOCKED_SENDERS, PAGE_FRIENDS}) {
    ASSERT_NE(FindSettingsPage(id), nullptr);
    EXPECT_NE(FindSettingsPage(id)->make_list, nullptr) << id;
  }
}

TEST_F(SettingsDialogTest, OpensAtTheFirstPageThenAtTheLastOneShown) {
  OpenAt(0);
  EXPECT_EQ(presenter->selected(), 4008);
  presenter->Select(4003);
  OpenAt(0);
  EXPECT_EQ(presenter->selected(), 4003);
  OpenAt(4011);
  EXPECT_EQ(presenter->selected(), 4011);
  OpenAt(4007);  // a template, but no page
  EXPECT_EQ(presenter->selected(), 4011);
}

TEST_F(SettingsDialogTest, HelpIsThatOfThePage) {
  OpenAt(0);
  EXPECT_EQ(presenter->HelpPage(), "configgeneral.htm");
  presenter->Select(4016);
  EXPECT_EQ(presenter->HelpPage(), "configtrainingarea.htm");
}

TEST_F(SettingsDialogTest, OkWritesTheShownPagesOnlyAndCloses) {
  OpenAt(4015);
  presenter->Ok();
  EXPECT_EQ(Configuration(), "[QUILLBEAKER]\r\nShowBubble=1\r\nTrayNumSeconds=180\r\nTrayDblClk=40005\r\n");
  EXPECT_EQ(dialog->applied, 1);
  EXPECT_EQ(dialog->rearmed, 1);
  EXPECT_EQ(dialog->closed, 1);
  EXPECT_TRUE(dialog->told.empty());
}

TEST_F(SettingsDialogTest, ARestartIsToldAfterAnotherPort) {
  OpenAt(4003);
  presenter->Select(4015);
  dialog->views[4003].Type(CONNECTION_PORT, "2110");
  presenter->Ok();
  EXPECT_EQ(dialog->told,
            std::vector<std::string>{"You have to restart the program to make the changes take affect."});
  EXPECT_EQ(Value("SERVER", "Port"), "2110");
  EXPECT_EQ(Main("ShowBubble"), "1");
}

TEST_F(SettingsDialogTest, WhatCouldNotBeSavedIsToldAndTheDialogStays) {
  ASSERT_TRUE(one.Configure("ShowBubble=0"));
  OpenAt(4015);
  one.directory.SetReadOnly("Quillbeaker.ini", true);
  presenter->Ok();
  ASSERT_EQ(dialog->warned.size(), 1u);
  EXPECT_NE(dialog->warned[0].find("Quillbeaker.ini"), std::string::npos);
  EXPECT_EQ(dialog->closed, 0);
  one.directory.SetReadOnly("Quillbeaker.ini", false);
  presenter->Ok();
  EXPECT_EQ(dialog->closed, 1);
}

TEST_F(SettingsDialogTest, ARestartIsToldWhenTheSecondTryWritesThePort) {
  ASSERT_TRUE(one.directory.Put("spampoints.ini", "[THRESHOLD]\nlevel50=150\n"));
  one.directory.MakeFolder("spampoints_user.ini.new");  // where the next content would be written
  OpenAt(PAGE_CONNECTION);
  dialog->views[PAGE_CONNECTION].Type(CONNECTION_PORT, "1110");
  presenter->Select(PAGE_AGGRESSIVENESS);
  dialog->views[PAGE_AGGRESSIVENESS].Type(LEVEL_THRESHOLD, "140");
  presenter->Ok();
  EXPECT_EQ(dialog->warned.size(), 1u);
  EXPECT_EQ(Value("SERVER", "Port"), "(missing)") << "Cancel would leave everything as it was";
  one.directory.Remove("spampoints_user.ini.new");
  presenter->Ok();
  EXPECT_EQ(Value("SERVER", "Port"), "1110");
  EXPECT_EQ(dialog->told.size(), 1u);
}

TEST_F(SettingsDialogTest, TheStartWithTheSystemIsSetWhenTheFilesAreSaved) {
  one.directory.MakeFolder("Quillbeaker.ini.new");
  OpenAt(PAGE_GENERAL);
  dialog->views[PAGE_GENERAL].Check(GENERAL_RUN_AT_START_UP, true);
  presenter->Ok();
  EXPECT_FALSE(starts_with_system);
  one.directory.Remove("Quillbeaker.ini.new");
  system_takes_it = false;
  presenter->Ok();
  ASSERT_EQ(dialog->warned.size(), 2u);
  EXPECT_EQ(dialog->warned[1],
            "The start together with Windows could not be changed. Everything else was saved.");
  EXPECT_EQ(dialog->closed, 1);
}

TEST_F(SettingsDialogTest, AMessageFromElsewhereAppliesNothing) {
  OpenAt(4015);
  const bool theirs = false;
  EXPECT_FALSE(presenter->ApplyPage(*dialog->pages[4015], &theirs));
  EXPECT_FALSE(presenter->ApplyPage(*dialog->pages[4015], nullptr));
  // The right address, but nobody pressed OK.
  EXPECT_FALSE(presenter->ApplyPage(*dialog->pages[4015], presenter->ApplyAddress()));
  EXPECT_FALSE(one.directory.Has("Quillbeaker.ini"));
}

}  // namespace
}  // namespace quillbeaker
