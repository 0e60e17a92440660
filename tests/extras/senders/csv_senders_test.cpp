// SPDX-License-Identifier: MIT
#include "extras/senders/csv_senders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

using Fields = std::vector<std::string>;

std::vector<std::string> Import(const std::string& text,
                                std::optional<CsvColumns> columns = CsvColumns{0, 1}) {
  auto lines =
      std::make_unique<TextLines>([text, at = std::size_t{0}](char* buffer, std::size_t capacity) mutable {
        const std::size_t count = std::min(capacity, text.size() - at);
        std::memcpy(buffer, text.data() + at, count);
        at += count;
        return count;
      });
  int asked = 0;
  CsvSenders senders(std::move(lines), [&](const Fields&) {
    ++asked;
    return columns;
  });
  std::vector<std::string> found;
  while (const auto one = senders.Next()) {
    if (asked > 0) found.push_back(one->name + "|" + one->address);
  }
  EXPECT_LE(asked, 1);
  return found;
}

TEST(SplitCsvLine, TakesCommasBeforeSemicolons) {
  EXPECT_EQ(SplitCsvLine("Bob,b@x"), (Fields{"Bob", "b@x"}));
  EXPECT_EQ(SplitCsvLine("Bob;b@x"), (Fields{"Bob", "b@x"}));
  EXPECT_EQ(SplitCsvLine("a;b,c;d"), (Fields{"a;b", "c", "d"}));
  EXPECT_EQ(SplitCsvLine("a,b,"), (Fields{"a", "b", ""}));
  EXPECT_EQ(SplitCsvLine(""), (Fields{""}));
}

TEST(SplitCsvLine, KeepsQuotedSeparators) {
  EXPECT_EQ(SplitCsvLine("\"Smith, Bob\",b@x"), (Fields{"Smith, Bob", "b@x"}));
  EXPECT_EQ(SplitCsvLine("\"Smith; Bob\";b@x"), (Fields{"Smith; Bob", "b@x"}));
  EXPECT_EQ(SplitCsvLine("\"a \"\"b\"\" c\",d"), (Fields{"a \"\"b\"\" c", "d"}));
  // A mark right behind another one does not count: the empty field stays open to the next mark.
  EXPECT_EQ(SplitCsvLine("\"\",b@x,c"), (Fields{"\"\",b@x,c"}));
  EXPECT_EQ(SplitCsvLine("\"a,b"), (Fields{"\"a,b"}));
}

TEST(SplitCsvLine, CleansFields) {
  EXPECT_EQ(SplitCsvLine("  Bob  , \" b@x \" \r"), (Fields{"Bob", " b@x "}));
  EXPECT_EQ(SplitCsvLine("\",x"), (Fields{"\",x"}));
  EXPECT_EQ(SplitCsvLine("x,\""), (Fields{"x", "\""}));
  EXPECT_EQ(SplitCsvLine("=1+2,@sum"), (Fields{"=1+2", "@sum"}));
}

TEST(CsvSenders, OfferTheFirstLineTooAndLeaveMissingFieldsEmpty) {
  EXPECT_EQ(Import("Name,Mail\r\nBob,b@x\r\nalone\r\n\r\n"), (Fields{"Name|Mail", "Bob|b@x", "alone|", "|"}));
  EXPECT_EQ(Import("\xEF\xBB\xBF"
                   "Bob;b@x"),
            (Fields{"Bob|b@x"}));
  EXPECT_EQ(Import("Bob,b@x", CsvColumns{5, 900}), (Fields{"|"}));
  EXPECT_EQ(Import("b@x", CsvColumns{0, 0}), (Fields{"b@x|b@x"}));
}

TEST(CsvSenders, AskOnceWithTheFirstLineThatIsNotBlank) {
  EXPECT_EQ(Import("\r\n  \r\nBob,b@x\r\n\r\n"), (Fields{"Bob|b@x", "|"}));
  EXPECT_EQ(Import("\r\n\r\n"), Fields{});
}

TEST(CsvSenders, EndWhereNoColumnsAreChosen) {
  EXPECT_EQ(Import("Bob,b@x\nAnn,a@x", std::nullopt), Fields{});
}

TEST(CsvSenders, DropWhatALongLineHasTooMuch) {
  const std::string line = "Bob,b@x," + std::string(5000, 'y') + "\nAnn,a@x\n";
  EXPECT_EQ(Import(line), (Fields{"Bob|b@x", "Ann|a@x"}));
  // An address behind the limit is not there, and no sender of its own.
  EXPECT_EQ(Import(std::string(1022, 'y') + ",b@x\nAnn,a@x\n"),
            (Fields{std::string(1022, 'y') + "|", "Ann|a@x"}));
}

TEST(CsvSenders, KeepNamesOfUtf16AsTypedOnesAreKept) {
  const std::string text(
      "\xFF\xFE"
      "J\0\xFC\0,\0a\0@\0b\0",
      14);
  EXPECT_EQ(Import(text), (Fields{"J\xFC|a@b"}));
  EXPECT_EQ(Import("J\xC3\xBC,a@b"), (Fields{"J\xC3\xBC|a@b"}));
}

TEST(GuessCsvColumns, LooksForAnAddressThenForHeadings) {
  const auto guess = [](const Fields& fields) {
    const auto columns = GuessCsvColumns(fields);
    return columns ? std::to_string(columns->name) + " " + std::to_string(columns->address) : "none";
  };
  EXPECT_EQ(guess({"Bob", "b@x"}), "0 1");
  EXPECT_EQ(guess({"b@x", "Bob"}), "1 0");
  EXPECT_EQ(guess({"b@x"}), "0 0");
  EXPECT_EQ(guess({"1", "2", "Bob", "b@x", "c@x"}), "2 3");
  EXPECT_EQ(guess({"First Name", "Last Name", "Display Name", "Nickname", "Primary Email"}), "2 4");
  EXPECT_EQ(guess({"Name", "E-mail 1 - Type", "E-mail 1 - Value"}), "0 2");
  EXPECT_EQ(guess({"", "", ""}), "none");
  EXPECT_EQ(guess({"Strasse", "Ort"}), "none");
}

}  // namespace
}  // namespace quillbeaker
