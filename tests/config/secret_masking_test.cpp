// SPDX-License-Identifier: MIT
#include "config/secret_masking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

// What a client sends in one piece.
std::string MaskCredentials(std::string_view text) {
  return SecretMask().Next(text);
}

using Pieces = std::vector<std::string>;

Pieces Masked(const std::vector<std::string_view>& received) {
  SecretMask mask;
  Pieces masked;
  for (const std::string_view piece : received) masked.push_back(mask.Next(piece));
  return masked;
}

// What is left of the text when it comes in three pieces.
template <typename Mask>
std::string MaskedInPieces(Mask mask, std::string_view text, std::size_t first_cut, std::size_t second_cut) {
  std::string masked = mask.Next(text.substr(0, first_cut));
  masked += '|' + mask.Next(text.substr(first_cut, second_cut - first_cut));
  masked += '|' + mask.Next(text.substr(second_cut));
  return masked;
}

bool HasDigit(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

TEST(MaskCredentials, HidesWhatFollowsAPassword) {
  EXPECT_EQ(MaskCredentials("PASS secret"), "PASS ********");
  EXPECT_EQ(MaskCredentials("USER a&b\r\nPASS secret\r\nSTAT\r\n"), "USER a&b\r\nPASS ********\r\nSTAT\r\n");
  EXPECT_EQ(MaskCredentials("AUTH PLAIN AGphbmUAc2VjcmV0\r\n"), "AUTH ********\r\n");
  EXPECT_EQ(MaskCredentials("APOP jane 0123456789abcdef\r\n"), "APOP ********\r\n");
}

TEST(MaskCredentials, WorksInAnyCaseAndWithoutABlank) {
  for (const std::string_view line : {"pass secret", "Pass secret", "PASSsecret", "passXsecret",
                                      "auth secret", "aPOP a secret", "PASS\tsecret"}) {
    const std::string masked = MaskCredentials(line);
    EXPECT_EQ(masked.find("secret"), std::string::npos) << masked;
    EXPECT_EQ(masked.size(), 13U) << masked;
    EXPECT_TRUE(EqualsIgnoringCase(masked.substr(0, 4), line.substr(0, 4))) << masked;
    EXPECT_EQ(masked.substr(4), " ********");
  }
}

TEST(MaskCredentials, WorksOnEveryLineHoweverItEnds) {
  for (const std::string_view text :
       {"STAT\r\nPASS secret\r\nAUTH secret", "STAT\nPASS secret\nAPOP secret\n"}) {
    const std::string masked = MaskCredentials(text);
    EXPECT_EQ(masked.find("secret"), std::string::npos) << masked;
    EXPECT_NE(masked.find("STAT"), std::string::npos) << masked;
  }
}

TEST(MaskCredentials, LeavesEverythingElse) {
  for (const std::string_view text : {"", "STAT", "USER jane\r\n", "XPASS y\r\n", "USER passenger\r\n",
                                      "PAS secret", "RETR 1\r\nNOOP\r\n"}) {
    EXPECT_EQ(MaskCredentials(text), text);
  }
}

TEST(MaskCredentials, IsNotDeceivedByBytesBeforeTheWord) {
  for (const std::string_view before :
       {std::string_view(" "), std::string_view("\t"), std::string_view("  \t "), std::string_view("\0", 1),
        std::string_view("\0 \0", 3), std::string_view("\xEF\xBB\xBF"), std::string_view("\xFF\xFE"),
        std::string_view("\x7F\x01"), std::string_view("\xA0")}) {
    for (const std::string_view word : {"PASS", "auth", "APOP", "Login"}) {
      const std::string line = std::string(before) + std::string(word);
      EXPECT_EQ(MaskCredentials(line + " secret"), line + " ********");
      EXPECT_EQ(MaskCredentials("STAT\r\n" + line + " secret\r\n"), "STAT\r\n" + line + " ********\r\n");
    }
  }
}

TEST(MaskCredentials, HidesWhatFollowsLogin) {
  EXPECT_EQ(MaskCredentials("LOGIN jane secret\r\n"), "LOGIN ********\r\n");
  EXPECT_EQ(MaskCredentials("a LOGIN jane secret\r\n"), "a LOGIN ********\r\n");
  EXPECT_EQ(MaskCredentials("a001\tlogin\tjane secret\r\nSTAT\r\n"), "a001\tlogin ********\r\nSTAT\r\n");
  EXPECT_EQ(MaskCredentials(" a1  AUTHENTICATE PLAIN secret\r\n"), " a1  AUTHENTICATE ********\r\n");
}

TEST(MaskCredentials, TakesNoUserOfThatNameForALogin) {
  for (const std::string_view text : {"USER login name&pop.example.org\r\n", "a loginx y\r\n", "a LOGIN\r\n",
                                      "xLOGIN y\r\n", "a b LOGIN c d\r\n"}) {
    EXPECT_EQ(MaskCredentials(text), text);
  }
}

TEST(MaskCredentials, HidesTheLinesAfterAuthUntilACommand) {
  EXPECT_EQ(MaskCredentials("AUTH LOGIN\r\namFuZQ==\r\nc2VjcmV0\r\nSTAT\r\nc2VjcmV0\r\n"),
            "AUTH ********\r\n********\r\n********\r\nSTAT\r\nc2VjcmV0\r\n");
  EXPECT_EQ(MaskCredentials("AUTH\r\n\r\nlisten\r\nlist 1\r\nlisten\r\n"),
            "AUTH ********\r\n\r\n********\r\nlist 1\r\nlisten\r\n");
  EXPECT_EQ(MaskCredentials("AUTH\nPASS secret\nother\n"), "AUTH ********\nPASS ********\nother\n");
  // A carriage return alone may be part of the credentials.
  EXPECT_EQ(MaskCredentials("AUTH\nsec\rret\nNOOP\n"), "AUTH ********\n********\nNOOP\n");
}

TEST(SecretMask, LogsAllOfAReceiveThatIsCarriedOutAsPassAsOneMask) {
  // White space before the password is skipped, line ends too.
  EXPECT_EQ(MaskCredentials("pass\r\nsecret\r\n"), "PASS ********");
  EXPECT_EQ(MaskCredentials("PASS\t\r\n\r\n secret\r\nSTAT\r\n"), "PASS ********");
}

TEST(SecretMask, RemembersAuthFromOneReceiveToTheNext) {
  EXPECT_EQ(Masked({"AUTH PLAIN\r\n", "c2VjcmV0\r\n", "STAT\r\n", "c2VjcmV0\r\n"}),
            Pieces({"AUTH ********\r\n", "********\r\n", "STAT\r\n", "c2VjcmV0\r\n"}));
  EXPECT_EQ(Masked({"AUTH LOGIN\r\n", "amFuZQ==\r\n", "c2VjcmV0\r\n", "quit\r\n"}),
            Pieces({"AUTH ********\r\n", "********\r\n", "********\r\n", "quit\r\n"}));
  EXPECT_EQ(Masked({"PASS a\r\nAUTH PLAIN\r\n", "c2VjcmV0\r\n"}), Pieces({"PASS ********", "********\r\n"}));
}

TEST(SecretMask, HidesASecretThatComesInPieces) {
  EXPECT_EQ(Masked({"PA", "SS sec", "ret\r\n", "NOOP\r\n"}),
            Pieces({"PA", "********", "********\r\n", "NOOP\r\n"}));
  EXPECT_EQ(Masked({"PASS", " ", "s", "\r", "\n", "STAT\r\n"}),
            Pieces({"PASS ********", "********", "********", "********", "********\n", "STAT\r\n"}));
  EXPECT_EQ(Masked({"STAT\r\n\xEF", "\xBB\xBF", "PAS", "S secret"}),
            Pieces({"STAT\r\n\xEF", "\xBB\xBF", "PAS", "********"}));
  EXPECT_EQ(Masked({"a", "1 LOG", "IN jane", " secret\r\nLIST\r\n"}),
            Pieces({"a", "1 LOG", "********", "********\r\nLIST\r\n"}));
}

TEST(SecretMask, DoesNotShowThatASecretBeginsLikeACommand) {
  EXPECT_EQ(Masked({"PASS ", "pass", "word\r\n"}), Pieces({"PASS ********", "********", "********\r\n"}));
  EXPECT_EQ(Masked({"PASS my", "STAT\r\n"}), Pieces({"PASS ********", "********\r\n"}));
}

TEST(SecretMask, TakesEachReceiveForACommandToo) {
  // What one receive gives is carried out as a command, whatever came before it.
  EXPECT_EQ(Masked({"STAT", "PASS secret\r\n", "NOOP", " PASS secret\r\n", "x", "LOGIN a b"}),
            Pieces({"STAT", "PASS ********", "NOOP", " PASS ********\r\n", "x", "LOGIN ********"}));
}

TEST(SecretMask, LeavesOtherCommandsInPieces) {
  EXPECT_EQ(Masked({"NO", "OP\r\n", "P", "ING\r\n", "STAT", "\r\n"}),
            Pieces({"NO", "OP\r\n", "P", "ING\r\n", "STAT", "\r\n"}));
}

TEST(SecretMask, FindsThePasswordAfterAnyNumberOfStrayBytes) {
  SecretMask mask;
  const std::string stray(5000, '\0');
  EXPECT_EQ(mask.Next(stray), stray);
  EXPECT_EQ(mask.Next(stray), stray);
  EXPECT_EQ(mask.Next("PASS secret"), "PASS ********");
  EXPECT_EQ(mask.Next("more\r\n"), "********\r\n");
}

TEST(SecretMask, HidesEverySecretWhereverTheTextIsCut) {
  // The secrets are digits, and there is no other digit.
  for (const std::string_view text :
       {"USER a&b\r\nPASS 1234\r\nSTAT\r\n", " PASS 12 34\r\nQUIT\r\n", "STAT\r\nAPOP 1 234\r\n",
        "AUTH PLAIN\r\n1234\r\nSTAT\r\n", "AUTH LOGIN\r\n12\r\n34\r\nNOOP\r\n", "t LOGIN 12 34\r\nLIST\r\n",
        "\xEF\xBB\xBFPASS 1234\r\n", "auth\n1\r2\nlist\n"}) {
    for (std::size_t first = 0; first <= std::string_view(text).size(); ++first) {
      for (std::size_t second = first; second <= std::string_view(text).size(); ++second) {
        const std::string masked = MaskedInPieces(SecretMask(), text, first, second);
        ASSERT_FALSE(HasDigit(masked)) << masked << ": cut at " << first << " and " << second;
      }
    }
  }
}

TEST(MaskPassword, HidesEveryOccurrence) {
  EXPECT_EQ(MaskPassword("-ERR bad command PASS secret (secret)\r\n", "secret"),
            "-ERR bad command PASS ******** (********)\r\n");
  EXPECT_EQ(MaskPassword("secretsecret", "secret"), "********");
  EXPECT_EQ(MaskPassword("-ERR SECRET and Secret\r\n", "sEcret"), "-ERR ******** and ********\r\n");
  EXPECT_EQ(MaskPassword("-ERR \xE4\xF6\xFC\xFF!\r\n", "\xE4\xF6\xFC\xFF"), "-ERR ********!\r\n");
}

TEST(MaskPassword, HidesOccurrencesThatOverlap) {
  EXPECT_EQ(MaskPassword("-ERR ananana.\r\n", "anana"), "-ERR ********.\r\n");
  EXPECT_EQ(MaskPassword("-ERR aaaaaa.\r\n", "aaaa"), "-ERR ********.\r\n");
}

TEST(MaskPassword, LeavesAnAnswerWithoutThePassword) {
  for (const std::string_view answer :
       {"+OK logged in\r\n", "-ERR [AUTH] use an app password\r\n", "-ERR secre ecret\r\n", ""}) {
    EXPECT_EQ(MaskPassword(answer, "secret"), answer);
  }
}

TEST(MaskPassword, HidesAllWhenThePasswordIsShort) {
  for (const std::string_view password : {"a", "OK", "ERR"}) {
    EXPECT_EQ(MaskPassword("-ERR no\r\n", password), "********");
    EXPECT_EQ(MaskPassword("+OK", password), "********");
    EXPECT_EQ(MaskPassword("", password), "");
  }
  EXPECT_EQ(MaskPassword("-ERR no\r\n", "four"), "-ERR no\r\n");
}

TEST(MaskPassword, HidesAnEndThatMayBeItsBeginning) {
  EXPECT_EQ(MaskPassword("-ERR bad PASS secr", "secret"), "-ERR bad PASS ********");
  EXPECT_EQ(MaskPassword("-ERR bad PASS secr\r\n", "secret"), "-ERR bad PASS secr\r\n");
}

TEST(PasswordMask, HidesThePasswordWhereverTheAnswerIsCut) {
  // Digits stand in the password alone.
  constexpr std::string_view kAnswer = "-ERR PASS 1a1a2 is wrong, 1a1A2\r\n";
  for (std::size_t first = 0; first <= kAnswer.size(); ++first) {
    for (std::size_t second = first; second <= kAnswer.size(); ++second) {
      const std::string masked = MaskedInPieces(PasswordMask("1a1a2"), kAnswer, first, second);
      ASSERT_FALSE(HasDigit(masked)) << masked << ": cut at " << first << " and " << second;
    }
  }
}

TEST(WipeSecret, OverwritesTheTextWhereItStood) {
  for (const std::size_t length : {std::size_t{6}, std::size_t{300}}) {
    std::string secret(length, 's');
    const volatile char* const bytes = secret.data();
    WipeSecret(secret);
    EXPECT_TRUE(secret.empty());
    ASSERT_EQ(bytes, secret.data());
    for (std::size_t i = 0; i < length; ++i) ASSERT_EQ(bytes[i], '\0') << i;
  }
}

}  // namespace
}  // namespace quillbeaker
