// SPDX-License-Identifier: MIT
#include "ui/presenter/expression_dialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "presenter/recording_page_view.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

class ExpressionDialogTest : public testing::Test {
 protected:
  // Whether OK takes these; else what is told, and in `view.focus` where.
  std::string Ok(std::string_view expression, std::string_view probability) {
    view = {};
    view.SetText(EXPRESSION_TEXT, expression);
    view.SetText(EXPRESSION_PROBABILITY, probability);
    if (dialog.Ok(view)) return "taken";
    return view.warnings.size() == 1 ? view.warnings[0] : "(not one box)";
  }

  test::RecordingPageView view;
  ExpressionDialog dialog{[](const std::string& word) { return word == "listed"; }};
};

TEST_F(ExpressionDialogTest, TakesOneLineWithoutOuterBlanks) {
  dialog.Load(view);
  EXPECT_EQ(view.limits[EXPRESSION_TEXT], 254u);
  EXPECT_EQ(dialog.Caption(), "");
  EXPECT_EQ(Ok("  free\r\nmoney\t", "70"), "taken");
  EXPECT_EQ(dialog.expression(), "free  money");
  EXPECT_EQ(dialog.probability(), 70);
}

TEST_F(ExpressionDialogTest, AnEmptyExpressionIsAskedForAgain) {
  for (const char* text : {"", "   ", "\t"}) {
    EXPECT_EQ(Ok(text, "70"), "Enter a value!");
    EXPECT_EQ(view.focus, EXPRESSION_TEXT);
  }
}

TEST_F(ExpressionDialogTest, WhatTheFileCanNotHoldIsRefused) {
  for (const char* text : {"a=b", ";a", "[a", "=", " ;a"}) {
    EXPECT_EQ(Ok(text, "70"), "Expressions can not contain \"=\" or begin with \";\" or \"[\".") << text;
    EXPECT_EQ(view.focus, EXPRESSION_TEXT);
  }
  EXPECT_EQ(Ok("a;[b", "70"), "taken");
}

TEST_F(ExpressionDialogTest, TheProbabilityIsAWholeNumberUpToAHundred) {
  for (const char* text : {"", "abc", "-1", "101", "1.5", "5 ", "99999999999999999999"}) {
    EXPECT_EQ(Ok("free", text), "Please enter a value between 0 and 100.") << text;
    EXPECT_EQ(view.focus, EXPRESSION_PROBABILITY);
  }
  EXPECT_EQ(Ok("free", "0"), "taken");
  EXPECT_EQ(Ok("free", "100"), "taken");
}

TEST_F(ExpressionDialogTest, WhatIsListedIsRefused) {
  EXPECT_EQ(Ok(" listed ", "70"), "This expression has already been added to the list.");
  EXPECT_EQ(view.focus, EXPRESSION_TEXT);
}

TEST_F(ExpressionDialogTest, ALongExpressionIsCutBetweenCharacters) {
  EXPECT_EQ(Ok(std::string(300, 'x'), "70"), "taken");
  EXPECT_EQ(dialog.expression(), std::string(254, 'x'));
  // A euro sign is no ISO-8859-1: it stays three bytes of UTF-8.
  EXPECT_EQ(Ok("\xE2\x82\xAC" + std::string(250, 'x') + "\xE2\x82\xAC", "70"), "taken");
  EXPECT_EQ(dialog.expression(), "\xE2\x82\xAC" + std::string(250, 'x'));
}

TEST(ExpressionDialog, OnlyTheProbabilityOfAnOldOneCanChange) {
  test::RecordingPageView view;
  ExpressionDialog dialog("gr\xFCn", 40);
  EXPECT_EQ(dialog.Caption(), "Edit expression");
  dialog.Load(view);
  EXPECT_EQ(view.TextIn(EXPRESSION_TEXT), "gr\xC3\xBCn");
  EXPECT_FALSE(view.IsEnabled(EXPRESSION_TEXT));
  EXPECT_EQ(view.TextIn(EXPRESSION_PROBABILITY), "40");
  view.SetText(EXPRESSION_TEXT, "other");
  view.SetText(EXPRESSION_PROBABILITY, "0");
  EXPECT_TRUE(dialog.Ok(view));
  EXPECT_EQ(dialog.expression(), "gr\xFCn");
  EXPECT_EQ(dialog.probability(), 0);
}

}  // namespace
}  // namespace quillbeaker
