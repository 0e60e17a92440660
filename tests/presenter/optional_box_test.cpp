// SPDX-License-Identifier: MIT
#include "ui/presenter/optional_box.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

// Every character is ten wide.
int TenEach(std::wstring_view line) {
  return static_cast<int>(line.size()) * 10;
}

std::wstring Wrapped(std::wstring_view text, int widest) {
  return WrapLines(text, widest, TenEach);
}

TEST(IsSilenced, MissingZeroAndTextMeanShow) {
  test::TestProgram one;
  ASSERT_TRUE(one.Configure("", "[OPTIONALMESSAGEBOXES]\r\nZero=0\r\nText=abc\r\nOne=1\r\nTwo=2\r\n"));
  EXPECT_FALSE(IsSilenced(one.program(), "Missing"));
  EXPECT_FALSE(IsSilenced(one.program(), "Zero"));
  EXPECT_FALSE(IsSilenced(one.program(), "Text"));
  EXPECT_TRUE(IsSilenced(one.program(), "One"));
  EXPECT_TRUE(IsSilenced(one.program(), "Two"));
  EXPECT_TRUE(IsSilenced(one.program(), "ONE"));  // keys are found without regard to case
}

TEST(KeepSilence, OnlyATickIsKept) {
  test::TestProgram one;
  EXPECT_TRUE(KeepSilence(one.program(), "Box", false));
  EXPECT_FALSE(one.directory.Has("Quillbeaker.ini"));
  EXPECT_TRUE(KeepSilence(one.program(), "Box", true));
  EXPECT_NE(one.directory.Get("Quillbeaker.ini")->find("Box=1"), std::string::npos);
  EXPECT_TRUE(IsSilenced(one.program(), "Box"));
  // Without the tick nothing is taken back either.
  EXPECT_TRUE(KeepSilence(one.program(), "Box", false));
  EXPECT_TRUE(IsSilenced(one.program(), "Box"));
}

TEST(KeepSilence, TellsWhenItCouldNotBeSaved) {
  test::TestProgram one;
  ASSERT_TRUE(one.Configure(""));
  one.directory.SetReadOnly("Quillbeaker.ini", true);
  EXPECT_FALSE(KeepSilence(one.program(), "Box", true));
  EXPECT_TRUE(KeepSilence(one.program(), "Box", false));
  EXPECT_FALSE(IsSilenced(one.program(), "Box"));
  one.directory.SetReadOnly("Quillbeaker.ini", false);
}

TEST(WrapLines, LeavesWhatFits) {
  EXPECT_EQ(Wrapped(L"", 100), L"");
  EXPECT_EQ(Wrapped(L"0123456789", 100), L"0123456789");
  EXPECT_EQ(Wrapped(L"one\n\ntwo\n", 100), L"one\n\ntwo\n");
}

TEST(WrapLines, BreaksAtTheLastBlankThatFits) {
  EXPECT_EQ(Wrapped(L"aaa bbb ccc", 100), L"aaa bbb\nccc");
  EXPECT_EQ(Wrapped(L"aaa bbb ccc", 70), L"aaa bbb\nccc");
  EXPECT_EQ(Wrapped(L"aaa bbb ccc", 69), L"aaa\nbbb\nccc");
  // The blank behind a line that fills it to the last pixel.
  EXPECT_EQ(Wrapped(L"aaaaa bbbbb", 50), L"aaaaa\nbbbbb");
  EXPECT_EQ(Wrapped(L"one\naaa bbb ccc\ntwo", 70), L"one\naaa bbb\nccc\ntwo");
}

TEST(WrapLines, BreaksWordsThatAreWiderThanALine) {
  EXPECT_EQ(Wrapped(L"abcdefghij", 40), L"abcd\nefgh\nij");
  EXPECT_EQ(Wrapped(L"ab cdefghij", 40), L"ab\ncdef\nghij");
}

TEST(WrapLines, ABlankAtTheEndMakesNoLine) {
  EXPECT_EQ(Wrapped(L"aaaaa ", 50), L"aaaaa");
  EXPECT_EQ(Wrapped(L"aaaaa \nb", 50), L"aaaaa\nb");
}

TEST(WrapLines, GoesOnWhereNothingFits) {
  EXPECT_EQ(Wrapped(L"abc", 5), L"a\nb\nc");
  EXPECT_EQ(Wrapped(L"abc", 0), L"a\nb\nc");
}

TEST(WrapLines, NoLineIsWiderAndNoLetterIsLost) {
  std::wstring text;
  for (int i = 0; i < 60; ++i) text += std::wstring(static_cast<std::size_t>(i % 9), L'x') + L' ';
  for (const int widest : {10, 35, 70, 123, 640}) {
    const std::wstring wrapped = Wrapped(text, widest);
    std::wstring letters;
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::wstring::npos; start = end + 1) {
      end = wrapped.find(L'\n', start);
      const std::wstring line = wrapped.substr(start, end == std::wstring::npos ? end : end - start);
      EXPECT_LE(TenEach(line), widest) << widest;
    }
    for (const wchar_t c : wrapped) {
      if (c == L'x') letters += c;
    }
    EXPECT_EQ(letters.size(), static_cast<std::size_t>(std::count(text.begin(), text.end(), L'x')));
  }
}

OptionalBoxSizes Sizes() {
  OptionalBoxSizes sizes;
  sizes.text_width = 300;
  sizes.text_height = 26;
  sizes.icon = 32;
  sizes.check_width = 190;
  sizes.check_height = 16;
  sizes.button_width = 80;
  sizes.button_height = 24;
  sizes.margin = 12;
  return sizes;
}

bool IsInside(const Box& part, const Box& client) {
  return part.left >= 0 && part.top >= 0 && part.right() <= client.width && part.bottom() <= client.height;
}

TEST(LayOut, PairsStandFourPixelsFromTheCentre) {
  for (const BoxButtons buttons : {BoxButtons::kYesNo, BoxButtons::kOkCancel}) {
    const OptionalBoxLayout layout = LayOut(Sizes(), buttons);
    const int centre = layout.client.width / 2;
    EXPECT_EQ(layout.first_button.right(), centre - 4);
    EXPECT_EQ(layout.second_button.left, centre + 4);
    EXPECT_EQ(layout.first_button.top, layout.second_button.top);
  }
}

TEST(LayOut, OkAloneIsCentred) {
  const OptionalBoxLayout layout = LayOut(Sizes(), BoxButtons::kOk);
  EXPECT_EQ(layout.first_button.left + layout.first_button.width / 2, layout.client.width / 2);
  EXPECT_EQ(layout.second_button.width, 0);
}

TEST(LayOut, PartsStandBelowEachOtherAndInside) {
  for (const int text_height : {13, 26, 400}) {
    for (const int icon : {0, 32}) {
      OptionalBoxSizes sizes = Sizes();
      sizes.text_height = text_height;
      sizes.icon = icon;
      const OptionalBoxLayout layout = LayOut(sizes, BoxButtons::kYesNo);
      for (const Box& part :
           {layout.icon, layout.text, layout.check, layout.first_button, layout.second_button}) {
        EXPECT_TRUE(IsInside(part, layout.client));
      }
      EXPECT_GE(layout.text.left, layout.icon.right());
      EXPECT_GE(layout.check.top, std::max(layout.text.bottom(), layout.icon.bottom()));
      EXPECT_GE(layout.first_button.top, layout.check.bottom());
      EXPECT_EQ(layout.text.height, text_height);
    }
  }
}

TEST(LayOut, IsWideEnoughForItsWidestPart) {
  OptionalBoxSizes sizes = Sizes();
  sizes.text_width = 10;
  sizes.check_width = 10;
  EXPECT_GE(LayOut(sizes, BoxButtons::kYesNo).client.width, 2 * 80 + 8 + 2 * 12);
  EXPECT_GE(LayOut(sizes, BoxButtons::kOk).client.width, 80 + 2 * 12);
  sizes.check_width = 500;
  EXPECT_GE(LayOut(sizes, BoxButtons::kOk).client.width, 500 + 2 * 12);
  sizes.text_width = 900;
  EXPECT_GE(LayOut(sizes, BoxButtons::kOk).client.width, 900 + 32 + 3 * 12);
}

}  // namespace
}  // namespace quillbeaker
