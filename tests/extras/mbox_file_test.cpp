// SPDX-License-Identifier: MIT
// Which lines begin a new mail, what belongs to each mail, and that it does not matter how the file is cut.

#include "extras/mbox_file.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

using Mails = std::vector<std::string>;

Mails Split(const std::string& file, std::size_t piece) {
  Mails mails;
  MboxSplitter splitter(
      [&](const MboxMail& mail) { mails.push_back(file.substr(mail.offset, mail.length)); });
  for (std::size_t at = 0; at < file.size(); at += piece)
    splitter.Feed(std::string_view(file).substr(at, piece));
  splitter.Finish();
  return mails;
}

Mails Split(const std::string& file) {
  return Split(file, file.size() + 1);
}

const std::string kFrom = "From bob@example.org Sat Nov 21 15:06:00 2026\n";

TEST(MboxFile, EachMailIsWhatStandsBetweenItsLines) {
  EXPECT_EQ(Split(kFrom + "A: 1\n\none\n\n" + kFrom + "B: 2\n\ntwo\n\n"),
            (Mails{"A: 1\n\none\n", "B: 2\n\ntwo\n"}));
}

TEST(MboxFile, OnlyOneEmptyLineBelongsToTheMbox) {
  EXPECT_EQ(Split(kFrom + "A: 1\n\none\n\n\n" + kFrom + "B: 2\n\ntwo\n\n\n"),
            (Mails{"A: 1\n\none\n\n", "B: 2\n\ntwo\n\n"}));
}

TEST(MboxFile, LineEndsMayBeCrLf) {
  EXPECT_EQ(Split("From b Sat Nov 21 15:06:00 2026\r\nA: 1\r\n\r\none\r\n\r\nFrom b Sat Nov 21 15:06:00 "
                  "2026\r\nB: 2\r\n"),
            (Mails{"A: 1\r\n\r\none\r\n", "B: 2\r\n"}));
}

TEST(MboxFile, AMailMayFollowWithoutAnEmptyLine) {
  EXPECT_EQ(Split(kFrom + "A: 1\n\none\n" + kFrom + "B: 2\n"), (Mails{"A: 1\n\none\n", "B: 2\n"}));
}

TEST(MboxFile, TheLastLineMayHaveNoEnd) {
  EXPECT_EQ(Split(kFrom + "A: 1\n\none"), Mails{"A: 1\n\none"});
  EXPECT_EQ(Split(kFrom + "A: 1\n\none\n\n" + kFrom.substr(0, kFrom.size() - 1)), Mails{"A: 1\n\none\n"});
}

TEST(MboxFile, EmptyMailsAreNone) {
  EXPECT_EQ(Split(kFrom + kFrom + "\n" + kFrom + "A: 1\n"), Mails{"A: 1\n"});
  EXPECT_EQ(Split(kFrom), Mails{});
  EXPECT_EQ(Split(""), Mails{});
}

TEST(MboxFile, TheFirstLineNeedsNoDate) {
  EXPECT_EQ(Split("From somewhere\nA: 1\n"), Mails{"A: 1\n"});
}

TEST(MboxFile, ASentenceDoesNotCutAMail) {
  const std::string mail = "A: 1\n\nFrom here on\n\nFrom Monday to Friday\n\nFrom 12:30 on Sat Nov 21\n";
  EXPECT_EQ(Split(kFrom + mail), Mails{mail});
}

// Both halves of the test: each of these lines begins a mail, and would not without its date.
TEST(MboxFile, SeparatorsOfManyProgramsAreKnown) {
  for (const std::string line : {
           "From - Sat Nov 21 15:06:00 2026",
           "From MAILER-DAEMON Sat Nov 21 15:06:00 2026",
           "From bob@example.org  Sun Nov  1 05:06:00 2026",
           "From bob@example.org Sat Nov 21 15:06 2026",
           "From bob@example.org Sat Nov 21 15:06:00 MET 2026",
           "From bob@example.org Sat Nov 21 15:06:00 +0000 2026",
           "From 1234567890@xxx Sat Nov 21 15:06:00 +0000 2026",
           "From bob@example.org Sat Nov 21 15:06:00 2026 remote from elsewhere",
           "From Bob Smith <bob@example.org> Sat Nov 21 15:06:00 2026",
           "From bob at example.org  Sat Nov 21 15:06:00 2026",
       }) {
    EXPECT_EQ(Split(kFrom + "A: 1\n\n" + line + "\nB: 2\n").size(), 2U) << line;
    const std::string dateless = line.substr(0, line.find("Nov"));
    EXPECT_EQ(Split(kFrom + "A: 1\n\n" + dateless + "\nB: 2\n").size(), 1U) << dateless;
  }
}

TEST(MboxFile, LinesWithoutSenderAndDateCountBelowAnEmptyLineOnly) {
  for (const std::string line : {"From ", "From -", "From \r", "From - "}) {
    EXPECT_EQ(Split(line + "\nA: 1\n\none\n\n" + line + "\nB: 2\n"), (Mails{"A: 1\n\none\n", "B: 2\n"}))
        << line;
    EXPECT_EQ(Split(line + "\nA: 1\n\none\n" + line + "\nB: 2\n").size(), 1U) << line;
  }
}

TEST(MboxFile, QuotedAndIndentedLinesAreNoSeparators) {
  EXPECT_EQ(Split(kFrom + "A: 1\n\n>" + kFrom + "\n " + kFrom).size(), 1U);
}

TEST(MboxFile, ADateTooFarInALineIsNotLookedFor) {
  const std::string far = "From " + std::string(1000, 'x') + " Sat Nov 21 15:06:00 2026\n";
  EXPECT_EQ(Split(kFrom + "A: 1\n\n" + far + "B: 2\n").size(), 1U);
  EXPECT_EQ(Split(kFrom + "A: 1\n\n" + far + "B: 2\n", 7).size(), 1U);
}

TEST(MboxFile, HowTheFileIsCutDoesNotMatter) {
  std::mt19937 random(1);
  const std::vector<std::string> pieces = {
      kFrom,   "\n",        "\r\n",
      "From ", "From -\n",  "A: 1\n",
      "text",  ">" + kFrom, "From " + std::string(970, 'y') + " Sat Nov 21 15:06:00 2026\n"};
  for (int round = 0; round < 300; ++round) {
    std::string file = kFrom;
    for (int i = 0; i < 12; ++i) file += pieces[random() % pieces.size()];
    const Mails whole = Split(file);
    for (const std::size_t piece : {1U, 2U, 3U, 7U, 64U, 999U, 1001U})
      ASSERT_EQ(Split(file, piece), whole) << file;
  }
}

std::string Unquoted(std::string mail) {
  UndoMboxQuoting(mail);
  return mail;
}

TEST(MboxFile, QuotingIsUndoneByOneStep) {
  EXPECT_EQ(Unquoted("A: 1\n\n>From x\n>>From y\n> From z\n>Fromage\n"),
            "A: 1\n\nFrom x\n>From y\n> From z\n>Fromage\n");
  EXPECT_EQ(Unquoted(">From x\n"), "From x\n");
  EXPECT_EQ(Unquoted("a\n>>>"), "a\n>>>");
  EXPECT_EQ(Unquoted("a >From b\n"), "a >From b\n");
  EXPECT_EQ(Unquoted(""), "");
  EXPECT_EQ(Unquoted("\n>From "), "\nFrom ");
}

}  // namespace
}  // namespace quillbeaker
