// SPDX-License-Identifier: MIT
#include "ui/presenter/sender_dialog.h"

#include <gtest/gtest.h>

#include <string>

#include "presenter/recording_page_view.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

class SenderDialogTest : public testing::Test {
 protected:
  SenderDialog Make(const SenderRecord& shown, bool is_new) {
    return SenderDialog(shown, is_new, "/there/Quillbeaker.ini", [this](const SenderRecord& record) {
      saved = record;
      ++saves;
      return answer;
    });
  }
  // Whether OK closes the dialog; else what is told.
  std::string Ok(SenderDialog& dialog, std::string_view name, std::string_view address) {
    view.warnings.clear();
    view.SetText(SENDER_NAME, name);
    view.SetText(SENDER_ADDRESS, address);
    if (dialog.Ok(view)) return "closed";
    return view.warnings.size() == 1 ? view.warnings[0] : "(not one box)";
  }

  test::RecordingPageView view;
  SenderRecord saved;
  int saves = 0;
  SenderChange answer = SenderChange::kDone;
};

TEST_F(SenderDialogTest, IsEmptyForANewOneAndSavesWhatIsTyped) {
  SenderDialog dialog = Make({}, true);
  dialog.Load(view);
  EXPECT_EQ(dialog.Caption(), "");
  EXPECT_EQ(view.TextIn(SENDER_NAME), "");
  EXPECT_EQ(view.limits[SENDER_NAME], 254u);
  EXPECT_EQ(view.limits[SENDER_ADDRESS], 260u);
  EXPECT_EQ(Ok(dialog, " J\xC3\xB6rg\r\nX ", " joerg@example.org "), "closed");
  EXPECT_EQ(saved.name, "J\xF6rg  X");
  EXPECT_EQ(saved.address, "joerg@example.org");
}

TEST_F(SenderDialogTest, IsFilledForAnOldOne) {
  SenderDialog dialog = Make({"J\xF6rg", "joerg@example.org", kSenderFriend, {}}, false);
  dialog.Load(view);
  EXPECT_EQ(dialog.Caption(), "Edit sender");
  EXPECT_EQ(view.TextIn(SENDER_NAME), "J\xC3\xB6rg");
  EXPECT_EQ(view.TextIn(SENDER_ADDRESS), "joerg@example.org");
  EXPECT_EQ(Ok(dialog, "Other", "joerg@example.org"), "closed");
  EXPECT_EQ(saved.kind, kSenderFriend);
}

TEST_F(SenderDialogTest, WhatNobodyTouchedKeepsItsBytes) {
  SenderDialog dialog = Make({"\x80 Ltd", "a\x80@example.org", kSenderBlocked, {}}, false);
  dialog.Load(view);
  ASSERT_TRUE(dialog.Ok(view));
  EXPECT_EQ(saved.name, "\x80 Ltd");
  EXPECT_EQ(saved.address, "a\x80@example.org");
}

TEST_F(SenderDialogTest, BothFieldsMustBeFilled) {
  SenderDialog dialog = Make({}, true);
  EXPECT_EQ(Ok(dialog, " ", "a@example.org"), "Enter a value!");
  EXPECT_EQ(view.focus, SENDER_NAME);
  EXPECT_EQ(Ok(dialog, "Ann", "\t"), "Enter a value!");
  EXPECT_EQ(view.focus, SENDER_ADDRESS);
  EXPECT_EQ(saves, 0);
}

TEST_F(SenderDialogTest, StaysOpenWhenTheListsRefuseOrTheFileDoes) {
  SenderDialog dialog = Make({}, true);
  answer = SenderChange::kRefused;
  EXPECT_EQ(Ok(dialog, "Ann", "a@example.org"), "This sender has already been added to this/another list.");
  EXPECT_EQ(view.focus, SENDER_ADDRESS);
  answer = SenderChange::kNotSaved;
  EXPECT_EQ(Ok(dialog, "Ann", "a@example.org"), "(not one box)");
  ASSERT_EQ(view.told.size(), 1u);
  EXPECT_NE(view.told[0].find("/there/Quillbeaker.ini"), std::string::npos);
}

TEST_F(SenderDialogTest, WholeDomainReplacesWhatStandsBeforeTheLastAt) {
  SenderDialog dialog = Make({"", "ann@example.org", kSenderBlocked, {}}, true);
  dialog.Load(view);
  dialog.Pressed(view, SENDER_WHOLE_DOMAIN);
  EXPECT_EQ(view.TextIn(SENDER_ADDRESS), "*@example.org");
  dialog.Pressed(view, SENDER_WHOLE_DOMAIN);
  EXPECT_EQ(view.TextIn(SENDER_ADDRESS), "*@example.org");
  EXPECT_EQ(WholeDomain("\"a@b\"@example.org"), "*@example.org");
  EXPECT_EQ(WholeDomain("example.org"), "example.org");
  EXPECT_EQ(WholeDomain(""), "");
}

TEST_F(SenderDialogTest, APatternForEverybodyIsSaidWhileTyping) {
  SenderDialog dialog = Make({}, true);
  dialog.Load(view);
  EXPECT_EQ(view.TextIn(SENDER_MATCH_NOTE), "");
  view.SetText(SENDER_ADDRESS, "*@*");
  dialog.Edited(view, SENDER_ADDRESS);
  EXPECT_EQ(view.TextIn(SENDER_MATCH_NOTE), "This address matches every sender.");
  view.SetText(SENDER_ADDRESS, "*@*.org");
  dialog.Edited(view, SENDER_ADDRESS);
  EXPECT_EQ(view.TextIn(SENDER_MATCH_NOTE), "");
  for (const char* all : {"*", "?*", "*@*.*", " * "}) EXPECT_TRUE(MatchesEverybody(all)) << all;
  for (const char* some : {"", " ", "*a", "a@b", "@", ".", "@."})
    EXPECT_FALSE(MatchesEverybody(some)) << some;
  EXPECT_TRUE(view.warnings.empty());
}

}  // namespace
}  // namespace quillbeaker
