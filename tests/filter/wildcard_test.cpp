// SPDX-License-Identifier: MIT
// Patterns with "*" and "?" against whole texts.

#include <gtest/gtest.h>

#include <string>

#include "filter/sender_lists.h"

namespace quillbeaker {
namespace {

TEST(MatchesWildcard, WithoutWildcardsComparesTheWholeText) {
  EXPECT_TRUE(MatchesWildcard("a@b", "a@b"));
  EXPECT_FALSE(MatchesWildcard("a@b", "a@bc"));
  EXPECT_FALSE(MatchesWildcard("a@b", "xa@b"));
  EXPECT_FALSE(MatchesWildcard("a@b", "a@"));
  EXPECT_TRUE(MatchesWildcard("", ""));
  EXPECT_FALSE(MatchesWildcard("", "a"));
  EXPECT_FALSE(MatchesWildcard("a", ""));
}

TEST(MatchesWildcard, StarMatchesAnyRunAlsoAnEmptyOne) {
  EXPECT_TRUE(MatchesWildcard("*", ""));
  EXPECT_TRUE(MatchesWildcard("*", "anything at all"));
  EXPECT_TRUE(MatchesWildcard("***", ""));
  EXPECT_TRUE(MatchesWildcard("*@dom", "a@dom"));
  EXPECT_TRUE(MatchesWildcard("*@dom", "@dom"));
  EXPECT_FALSE(MatchesWildcard("*@dom", "a@dom.example"));
  EXPECT_TRUE(MatchesWildcard("a*b*c", "abc"));
  EXPECT_TRUE(MatchesWildcard("a*b*c", "axbxbxc"));
  EXPECT_FALSE(MatchesWildcard("a*b*c", "axbx"));
  EXPECT_TRUE(MatchesWildcard("*b", "abab"));
  EXPECT_FALSE(MatchesWildcard("*ab", "aba"));
  EXPECT_TRUE(MatchesWildcard("ab*", "ab"));
  EXPECT_FALSE(MatchesWildcard("ab*", "axb"));
  EXPECT_FALSE(MatchesWildcard("a*b", "xab"));
}

TEST(MatchesWildcard, QuestionMarkMatchesExactlyOneByte) {
  EXPECT_TRUE(MatchesWildcard("a?b", "axb"));
  EXPECT_FALSE(MatchesWildcard("a?b", "ab"));
  EXPECT_FALSE(MatchesWildcard("a?b", "axxb"));
  EXPECT_FALSE(MatchesWildcard("?", ""));
  EXPECT_TRUE(MatchesWildcard("?*", "a"));
  EXPECT_FALSE(MatchesWildcard("?*", ""));
  EXPECT_TRUE(MatchesWildcard("*?", "ab"));
  EXPECT_TRUE(MatchesWildcard("*?b?*", "abc"));
  EXPECT_TRUE(MatchesWildcard("?", "\xE4"));
}

TEST(MatchesWildcard, OtherBytesMatchThemselves) {
  EXPECT_TRUE(MatchesWildcard("[a].\\+", "[a].\\+"));
  EXPECT_FALSE(MatchesWildcard("[a]", "a"));
  EXPECT_FALSE(MatchesWildcard("a.b", "axb"));
}

TEST(MatchesWildcard, WildcardBytesOfTheTextAreOrdinary) {
  EXPECT_FALSE(MatchesWildcard("a", "*"));
  EXPECT_FALSE(MatchesWildcard("ab", "a?"));
  EXPECT_TRUE(MatchesWildcard("?", "*"));
}

TEST(MatchesWildcard, ManyStarsCostNoExponentialTime) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) pattern += "*a";
  EXPECT_FALSE(MatchesWildcard(pattern + "*b", std::string(10'000, 'a')));
  EXPECT_TRUE(MatchesWildcard(pattern + "*", std::string(10'000, 'a')));
}

}  // namespace
}  // namespace quillbeaker
