// SPDX-License-Identifier: MIT
// The message written back: folding, delimiter lines, full values, files.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "message/mail_message.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

std::string Rewritten(std::string text) {
  MailMessage message;
  message.ParseText(std::move(text));
  return message.Serialise().value_or("(nothing)");
}

// The header block's one line as it is written for this value.
std::string Folded(const std::string& value) {
  return Rewritten("X: " + value + "\r\n");
}

TEST(Serialise, WritesFieldsInOrderAndTheBodyAsItStands) {
  EXPECT_EQ(Rewritten("B:2\r\nno colon\r\na :  1  \r\n\r\nline\r\n.\r\n\r\nend"),
            "B: 2\r\na: 1\r\n\r\nline\r\n.\r\n\r\nend");
}

TEST(Serialise, WritesAnEmptyValue) {
  EXPECT_EQ(Rewritten("X:\r\n\r\n"), "X: \r\n\r\n");
}

TEST(Serialise, AMessageWithoutBodyGetsNone) {
  EXPECT_EQ(Rewritten("A: 1\r\nB: 2"), "A: 1\r\nB: 2\r\n");
}

TEST(Serialise, FoldsAtTheLastBlankWithinSeventyBytes) {
  EXPECT_EQ(
      Folded("word00 word01 word02 word03 word04 word05 word06 word07 word08 word09 word10 word11 word12 "
             "word13 word14"),
      "X: word00 word01 word02 word03 word04 word05 word06 word07 word08 word09\r\n"
      "\tword10 word11 word12 word13 word14\r\n");
}

TEST(Serialise, FoldsAsOftenAsTheRestIsLonger) {
  const std::string block = std::string(60, 'a');
  EXPECT_EQ(Folded(block + " " + block + " " + block),
            "X: " + block + "\r\n\t" + block + "\r\n\t" + block + "\r\n");
}

TEST(Serialise, AValueOfSeventyBytesStaysWhole) {
  const std::string value = std::string(34, 'a') + " " + std::string(35, 'b');
  ASSERT_EQ(value.size(), 70u);
  EXPECT_EQ(Folded(value), "X: " + value + "\r\n");
}

TEST(Serialise, AValueOfSeventyOneBytesIsFolded) {
  EXPECT_EQ(Folded(std::string(34, 'a') + " " + std::string(36, 'b')),
            "X: " + std::string(34, 'a') + "\r\n\t" + std::string(36, 'b') + "\r\n");
}

TEST(Serialise, FoldsAtIndex69ButNotAt70) {
  EXPECT_EQ(Folded(std::string(69, 'a') + " b"), "X: " + std::string(69, 'a') + "\r\n\tb\r\n");
  EXPECT_EQ(Folded(std::string(70, 'a') + " b"), "X: " + std::string(70, 'a') + " b\r\n");
}

TEST(Serialise, NeverFoldsAtIndexOneOrZero) {
  EXPECT_EQ(Folded("a " + std::string(100, 'b')), "X: a " + std::string(100, 'b') + "\r\n");
  EXPECT_EQ(Folded("ab " + std::string(100, 'c')), "X: ab\r\n\t" + std::string(100, 'c') + "\r\n");
  // The rest behind the first fold begins with a blank, and has no other.
  EXPECT_EQ(Folded(std::string(69, 'a') + "  " + std::string(100, 'b')),
            "X: " + std::string(69, 'a') + "\r\n\t " + std::string(100, 'b') + "\r\n");
}

TEST(Serialise, ATabIsNoPlaceToFold) {
  const std::string value = std::string(30, 'a') + "\t" + std::string(60, 'b');
  EXPECT_EQ(Folded(value), "X: " + value + "\r\n");
}

TEST(Serialise, AValueWithoutBlanksStaysOnOneLine) {
  const std::string value(150, 'v');
  EXPECT_EQ(Folded(value), "X: " + value + "\r\n");
}

TEST(Serialise, RefoldsWhatCameFolded) {
  EXPECT_EQ(Rewritten("Subject: A\r\n\tB\r\n  C\r\n\r\nbody"), "Subject: A B  C\r\n\r\nbody");
}

TEST(Serialise, IsStableWhenItsOutputIsParsedAgain) {
  const std::string once = Rewritten(
      "Subject: " + std::string(69, 'a') + "  " + std::string(80, 'b') +
      " c\r\nX: word00 word01 word02 word03 word04 word05 word06 word07 word08 word09 word10 word11\r\nY: " +
      std::string(150, 'v') + "\r\n\r\nbody\r\n");
  EXPECT_EQ(Rewritten(once), once);
}

TEST(Serialise, WritesNamesAndValuesBeyondTheLookUpLimitsInFull) {
  const std::string name(300, 'n');
  const std::string value(2000, 'v');
  MailMessage message;
  message.ParseText("X:" + value + "\r\n" + name + ": y\r\n\r\n");
  EXPECT_EQ(message.FindField("X").value_or("").size(), 1023u);
  EXPECT_EQ(message.Serialise(), "X: " + value + "\r\n" + name + ": y\r\n\r\n");
}

TEST(Serialise, ALongFoldedValueLosesNoWord) {
  std::string value = "<id000@example>";
  for (int i = 0; i < 200; ++i) value += " <id" + std::to_string(100 + i) + "@example>";
  MailMessage again;
  again.ParseText(Folded(value) + "\r\nbody");
  ASSERT_EQ(again.root()->fields.size(), 1u);
  EXPECT_EQ(again.root()->fields[0].full_value, value);
}

TEST(Serialise, KeepsBytesOfAnyValue) {
  const std::string text("Subject: \xE4\0x\r\n\r\nA\0B\xFF\r\n", 22);
  EXPECT_EQ(Rewritten(text), text);
}

TEST(Serialise, WritesDelimitersAroundPartsAndDropsTheEpilogue) {
  EXPECT_EQ(
      Rewritten("Content-Type: multipart/mixed; boundary=\"XY\"\r\n\r\npreamble\r\n"
                "--xyz\r\nContent-Type: text/plain\r\n\r\none\r\n--XY\r\n\r\ntwo\r\n--XY--\r\nepilogue\r\n"),
      "Content-Type: multipart/mixed; boundary=\"XY\"\r\n\r\npreamble\r\n"
      "--XY\r\nContent-Type: text/plain\r\n\r\none\r\n--XY\r\n\r\ntwo\r\n--XY--\r\n");
}

TEST(Serialise, WritesTheClosingLineThatWasMissing) {
  EXPECT_EQ(Rewritten("Content-Type: multipart/mixed; boundary=XY\r\n\r\n--XY\r\n\r\none"),
            "Content-Type: multipart/mixed; boundary=XY\r\n\r\n--XY\r\n\r\none\r\n--XY--\r\n");
}

TEST(Serialise, KeepsThePartBehindANestedMultipartAndBothClosingLines) {
  const std::string text =
      "Content-Type: multipart/mixed; boundary=outer\r\n"
      "\r\n--outer\r\nContent-Type: multipart/alternative; boundary=inner\r\n"
      "\r\n--inner\r\nContent-Type: text/plain\r\n\r\nplain"
      "\r\n--inner\r\nContent-Type: text/html\r\n\r\n<p>html"
      "\r\n--inner--\r\n"
      "\r\n--outer\r\nContent-Type: application/pdf\r\n\r\nPDF bytes"
      "\r\n--outer--\r\n";
  EXPECT_EQ(Rewritten(text), text);
}

TEST(Serialise, AMultipartWithoutChildrenGetsNoClosingLine) {
  const std::string text =
      "Content-Type: multipart/mixed; boundary=outer\r\n"
      "\r\n--outer\r\nContent-Type: text/plain\r\n\r\nplain"
      "\r\n--outer\r\nContent-Type: multipart/alternative; boundary=inner\r\n"
      "\r\n--inner\r\n\r\none\r\n--inner\r\n\r\ntwo\r\n--inner--"
      "\r\n--outer--\r\n";
  const std::string once = Rewritten(text);
  EXPECT_EQ(once, text);
  EXPECT_EQ(Rewritten(once), once);
  EXPECT_EQ(Rewritten("Content-Type: multipart/mixed; boundary=b\r\n\r\nonly text\r\n"),
            "Content-Type: multipart/mixed; boundary=b\r\n\r\nonly text\r\n");
}

TEST(Serialise, GivesNothingForAnEmptyRecord) {
  const MailMessage empty;
  EXPECT_FALSE(empty.Serialise());
}

TEST(Serialise, WritesAddedFieldsBehindTheOthers) {
  MailMessage message;
  message.ParseText("A: 1\r\n\r\nbody");
  message.AddField("Subject", "added");
  EXPECT_EQ(message.Serialise(), "A: 1\r\nSubject: added\r\n\r\nbody");
}

TEST(Serialise, WhatWasSavedLoadsAgain) {
  const test::TestDirectory directory;
  MailMessage message;
  message.ParseText("Subject: " + std::string(60, 's') + " and " + std::string(60, 't') + "\r\n\r\nbody");
  ASSERT_TRUE(directory.Put("m.eml", message.Serialise().value()));
  MailMessage again;
  ASSERT_EQ(again.LoadFromFile(directory.PathOf("m.eml")), MailMessage::kLoaded);
  EXPECT_EQ(again.FindField(kHeaderSubject), std::string(60, 's') + " and " + std::string(60, 't'));
  EXPECT_EQ(again.root()->body, "\r\nbody");
  EXPECT_EQ(again.Serialise(), message.Serialise());
}

}  // namespace
}  // namespace quillbeaker
