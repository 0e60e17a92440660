// SPDX-License-Identifier: MIT
// Look-ups through the prepared index against the plain scan over all lines, on random lists over few
// letters: equal keys, keys in other cases, patterns that are written like the address, values without comma.
// The wildcard matcher is held against a recursive one.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "filter/sender_lists.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using Random = std::mt19937;

std::size_t Below(Random& random, std::size_t limit) {
  return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

std::string RandomText(Random& random, std::string_view alphabet, std::size_t length) {
  std::string text(length, '\0');
  for (char& c : text) c = alphabet[Below(random, alphabet.size())];
  return text;
}

bool MatchesPlainly(std::string_view pattern, std::string_view text) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*') {
    return MatchesPlainly(pattern.substr(1), text) ||
           (!text.empty() && MatchesPlainly(pattern, text.substr(1)));
  }
  return !text.empty() && (pattern[0] == '?' || pattern[0] == text[0]) &&
         MatchesPlainly(pattern.substr(1), text.substr(1));
}

struct Line {
  std::string key;
  std::string name;
  std::int32_t kind;
};

// Every line in file order: an exact key replaces what was found, a pattern only what is none, or Blocked by
// Friend.
SenderRecord ScannedRecord(const std::vector<Line>& lines, const std::string& address, SenderRecord record) {
  record.kind = kSenderNone;
  for (const Line& line : lines) {
    if (!MatchesPlainly(LowerAscii(line.key), LowerAscii(address))) continue;
    const bool exact = EqualsIgnoringCase(line.key, address);
    if (exact || record.kind == kSenderNone ||
        (record.kind == kSenderBlocked && line.kind == kSenderFriend)) {
      record.name = line.name;
      record.kind = line.kind;
      record.address = line.key;
    }
  }
  return record;
}

TEST(MatchesWildcardRandomTest, EqualsTheRecursiveMatcher) {
  Random random(1999);
  int matches = 0;
  for (int round = 0; round < 50000; ++round) {
    const std::string pattern = RandomText(random, "ab*?*", Below(random, 8));
    const std::string text = RandomText(random, "ab?", Below(random, 10));
    const bool plainly = MatchesPlainly(pattern, text);
    ASSERT_EQ(MatchesWildcard(pattern, text), plainly) << pattern << " against " << text;
    matches += plainly;
  }
  EXPECT_GT(matches, 5000);
  EXPECT_LT(matches, 45000);
}

TEST(SenderListsRandomTest, EqualsTheScanOverAllLines) {
  Random random(4711);
  test::TestProgram test;
  constexpr std::int32_t kKinds[] = {1, 2, 1, 2, 1, 2, 0, 7, -1};
  std::size_t listed = 0;
  std::size_t looked_up = 0;
  for (int round = 0; round < 150; ++round) {
    std::vector<Line> lines(Below(random, 16));
    std::string section = "[SENDERS]\r\n";
    for (Line& line : lines) {
      line.key = RandomText(random, Below(random, 2) == 0 ? "abAB@" : "abA@*?", 1 + Below(random, 4));
      line.name = "n" + std::to_string(Below(random, 1000));
      line.kind = kKinds[Below(random, std::size(kKinds))];
      section += line.key + "=" + line.name + ",more," + std::to_string(line.kind) + "\r\n";
    }
    test.Configure("", section);
    SenderLists lists(test.program());
    for (int address_round = 0; address_round < 40; ++address_round) {
      const std::string address = RandomText(random, "abAB@*", Below(random, 5));
      SenderRecord record;
      record.name = "before";
      record.address = "before@before";
      const SenderRecord expected = ScannedRecord(lines, address, record);
      ASSERT_EQ(lists.LookUp(address, record), expected.kind != kSenderNone) << section << address;
      ASSERT_EQ(record.kind, expected.kind) << section << address;
      ASSERT_EQ(record.name, expected.name) << section << address;
      ASSERT_EQ(record.address, expected.address) << section << address;
      listed += expected.kind != kSenderNone;
      ++looked_up;
    }
  }
  EXPECT_GT(listed, looked_up / 10);
  EXPECT_LT(listed, looked_up * 9 / 10);
}

}  // namespace
}  // namespace quillbeaker
