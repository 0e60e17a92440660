// SPDX-License-Identifier: MIT
// The table of spam words that is shipped (resources/spampoints.ini): what its format holds, what a person
// may find in it, and that everyday mail stays below its thresholds. What it catches is bench/quality's.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "config/ascii.h"
#include "config/ini_document.h"
#include "filter/classifier.h"
#include "filter/spam_words.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"
#include "platform/files.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class ShippedTable : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::optional<std::string> file = ReadWholeFile(QUILLBEAKER_SHIPPED_TABLE);
    ASSERT_TRUE(file) << QUILLBEAKER_SHIPPED_TABLE;
    bytes_ = *file;
    ASSERT_TRUE(test_.directory.Put("spampoints.ini", bytes_));
    words_ = ReadSpamWords(test_.program());
    ASSERT_FALSE(words_.empty());
  }

  bool Holds(std::string_view expression) const {
    return std::any_of(words_.begin(), words_.end(),
                       [&](const SpamWord& word) { return word.word == expression; });
  }

  // The percents that a mail of this Subject and text collects.
  int SumOf(std::string_view subject, std::string_view text) {
    WordTables tables;
    tables.Load(test_.program(), /*load_spam_words=*/true);
    Classifier classifier(tables);
    MailMessage message;
    message.ParseText("Subject: " + std::string(subject) + "\r\n\r\n" + std::string(text));
    std::string found;
    return static_cast<int>(classifier.SpamWordScore(message, /*strip_html=*/true, found) * 100 + 0.5);
  }

  int Threshold(int level) const { return ReadThreshold(test_.program(), level).percent; }

  mutable test::TestProgram test_;
  std::string bytes_;
  std::vector<SpamWord> words_;
};

std::string Utf8OfLatin1(std::string_view latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

// The ISO-8859-1 spelling of a text in UTF-8; nothing when it is not UTF-8 of such a text.
std::optional<std::string> Latin1OfUtf8(std::string_view utf8) {
  std::string latin1;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte < 0x80) {
      latin1 += utf8[i];
    } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < utf8.size() &&
               (static_cast<unsigned char>(utf8[i + 1]) & 0xC0) == 0x80) {
      latin1 += static_cast<char>(((byte & 0x03) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3F));
    } else {
      return std::nullopt;
    }
  }
  return latin1;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

TEST_F(ShippedTable, HoldsAsManyExpressionsAsAPersonCanLookThrough) {
  EXPECT_GE(words_.size(), 300U);
  EXPECT_LE(words_.size(), 1500U);
}

TEST_F(ShippedTable, WeighsInWholePercentsUpToAHundred) {
  const IniDocument document(bytes_);
  for (const IniEntry& entry : document.Section("PROBABILITIES")) {
    ASSERT_TRUE(entry.has_value) << entry.key;
    EXPECT_TRUE(!entry.value.empty() && std::all_of(entry.value.begin(), entry.value.end(), [](char c) {
      return c >= '0' && c <= '9';
    })) << entry.key;
  }
  for (const SpamWord& word : words_) {
    EXPECT_GE(word.probability, 0) << word.word;
    EXPECT_LE(word.probability, 100) << word.word;
  }
}

// With the word filter off the learnt probability, 0.4 while nothing is learnt, meets the same thresholds.
TEST_F(ShippedTable, ThresholdsAreHighEnoughToStandAloneAndFallWithTheLevel) {
  EXPECT_GE(Threshold(75), 90);
  EXPECT_GT(Threshold(50), Threshold(75));
  EXPECT_GT(Threshold(25), Threshold(50));
  EXPECT_EQ(3U, IniDocument(bytes_).Section("THRESHOLD").size());
}

TEST_F(ShippedTable, HoldsNothingThatTheFileCannotGiveBack) {
  std::size_t lines = 0;
  for (std::size_t at = bytes_.find('\n'); at != std::string::npos; at = bytes_.find('\n', at + 1)) ++lines;
  // Two lines of comment, two of sections, three thresholds: every other line is an expression that was read.
  EXPECT_EQ(lines, words_.size() + 7);
  for (const SpamWord& word : words_) {
    EXPECT_TRUE(SetSpamWord(test_.program(), word.word, word.probability)) << word.word;
    EXPECT_LE(word.word.size(), 254U) << word.word;
  }
  const std::vector<SpamWord> with_users = ReadSpamWords(test_.program());
  ASSERT_EQ(words_.size() * 2, with_users.size());
  for (std::size_t i = 0; i < words_.size(); ++i)
    EXPECT_TRUE(Holds(with_users[i].word)) << with_users[i].word;
}

TEST_F(ShippedTable, HoldsNoExpressionTwice) {
  std::set<std::string> seen;
  for (const SpamWord& word : words_) {
    std::string lower = word.word;
    std::transform(lower.begin(), lower.end(), lower.begin(), ToLowerAscii);
    EXPECT_TRUE(seen.insert(lower).second) << word.word;
  }
}

TEST_F(ShippedTable, ReadsAsWordsWithoutAddressesHostsAndYears) {
  for (const SpamWord& word : words_) {
    const std::string& text = word.word;
    EXPECT_GE(text.size(), 5U) << text;  // shorter ones stand inside everyday words
    for (const std::string_view never :
         {"@", "://", "www.", ".com", "  ", "<", ">", "{", "}", ":", ";", "_", "\t"}) {
      EXPECT_EQ(std::string::npos, text.find(never)) << text;
    }
    std::size_t digits = 0;
    for (const char c : text) {
      digits = c >= '0' && c <= '9' ? digits + 1 : 0;
      EXPECT_LT(digits, 4U) << text;  // a year
    }
    EXPECT_GT(std::count_if(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; }),
              2)
        << text;
  }
}

// The filter converts no character sets, so a phrase with an accent is found in one spelling of its bytes
// only.
TEST_F(ShippedTable, HoldsAccentedPhrasesInBothSpellingsOfTheirBytes) {
  std::size_t accented = 0;
  for (const SpamWord& word : words_) {
    if (IsAscii(word.word)) continue;
    ++accented;
    const std::optional<std::string> latin1 = Latin1OfUtf8(word.word);
    EXPECT_TRUE(Holds(latin1 ? *latin1 : Utf8OfLatin1(word.word))) << word.word;
  }
  EXPECT_GT(accented, 20U);
}

TEST_F(ShippedTable, CallsNoEverydayMailSpam) {
  const struct {
    const char* subject;
    const char* text;
  } mails[] = {
      {"Your order has been shipped",
       "Dear Ann,\r\nthank you for your order. Your parcel is on its way and should arrive within 3 business "
       "days.\r\n"
       "Track your delivery in your account, or contact our customer service if you have any questions.\r\n"
       "You receive this email because you placed an order in our shop. Privacy policy. Terms and "
       "conditions.\r\n"},
      {"The autumn sale: 30% off everything, this weekend only",
       "View this email in your browser\r\nSave up to 30% on coats, boots and more. Free shipping on orders "
       "over $50.\r\n"
       "Shop now. Limited time offer, while stocks last. Join our rewards program and earn points.\r\n"
       "You are receiving this newsletter because you signed up. To unsubscribe, click here. All rights "
       "reserved.\r\n"},
      {"Your statement is ready",
       "Dear customer,\r\nyour monthly statement is now available online. Log in to your account to view "
       "it.\r\n"
       "We will never ask for your password by email. Your bank.\r\n"},
      {"Re: dinner on Friday",
       "Hi Bob,\r\nwaiting for you since eight, where are you? My husband has cooked. Call me when you get "
       "this, my phone number\r\n"
       "is on the card. Hope you are well, and your family too. God bless you!\r\nLove, Ann\r\n"},
      {"General meeting of the rowing club",
       "Dear members,\r\nwe invite you to the general meeting on 4 March. Please let us know if you will "
       "attend by filling\r\n"
       "in the form below. The annual fee will be debited from your bank account in April.\r\nYours "
       "sincerely, the board\r\n"},
      {"Please confirm your email address",
       "Hello Ann,\r\nthanks for signing up! Please click on the link below to verify your email address. If "
       "you did not create an\r\n"
       "account, no action is required.\r\n"},
      {"Reset your password",
       "Hi Ann,\r\nsomebody asked to reset the password of your account. To choose a new one, use the link "
       "below within 24 hours.\r\n"
       "If this was not you, please ignore this message; your account is safe.\r\n"},
      {"Your parcel could not be delivered today",
       "Dear customer,\r\nour driver did not find anybody at home. We will try again tomorrow between 9 and "
       "12. Please click on the\r\n"
       "link below if you want us to leave your parcel with a neighbour.\r\n"},
      {"Reminder: your appointment on Monday",
       "Dear Mr Smith,\r\nthis is a reminder of your appointment with your doctor on Monday at 9 o'clock. "
       "Please bring your\r\n"
       "prescription and your insurance card. If you cannot come, please call us: the phone number is "
       "below.\r\n"},
      {"News from the shelter, and thank you",
       "Dear friends,\r\nthanks to you and your family 120 dogs found a new home this year. If you are "
       "interested in helping us,\r\n"
       "please visit our web site or donate online. You may unsubscribe at any time by clicking here.\r\n"},
      {"Your home insurance: renewal notice",
       "Dear Ms Miller,\r\nyour home insurance policy will be renewed on 1 May. The monthly payments stay "
       "the same. We can offer you\r\n"
       "a discount if you also insure your car with us. Please contact us if you have any questions. Yours "
       "faithfully\r\n"},
      {"Re: offer for 200 printed mugs",
       "Dear Mr Smith,\r\nthank you for your interest in our products. We can offer you 200 mugs at a price "
       "of 4 pounds each, delivered\r\n"
       "within 14 days. Please get back to me if you need more information. With best regards, Ann Miller, "
       "sales\r\n"},
      {"Ihre Rechnung vom 3. M\xC3\xA4rz",
       "Sehr geehrte Frau M\xC3\xBCller,\r\nvielen Dank f\xC3\xBCr Ihren Einkauf. Ihre Rechnung finden Sie "
       "im Anhang.\r\n"
       "Bitte \xC3\xBC"
       "berweisen Sie den Betrag innerhalb von 14 Tagen auf unser Konto.\r\nMit freundlichen "
       "Gr\xC3\xBC\xC3\x9F"
       "en\r\n"},
  };
  // The strict level loses a business letter now and then; the usual one must not, and no level a private
  // one.
  for (const auto& mail : mails) EXPECT_LT(SumOf(mail.subject, mail.text), Threshold(50)) << mail.subject;
  for (const char* text :
       {"Waiting for you since eight, where are you? My husband has cooked. Love, Ann\r\n",
        "Hi Bob, thanks for the photos. Call me when you have time, my phone number is on the card.\r\n"
        "How are you and your family? I hope to hear from you soon. God bless you! Your friend Ann\r\n"}) {
    EXPECT_LT(SumOf("Re: dinner on Friday", text), Threshold(75)) << text;
  }
}

TEST_F(ShippedTable, KnowsSpamByItsUsualPhrases) {
  EXPECT_GE(
      SumOf("Business proposal",
            "Dear sir,\r\nI am contacting you for a business relationship of mutual benefit. The sum of five "
            "hundred\r\n"
            "thousand united states dollars is in the bank in my country. I will give you more details,\r\n"
            "please get back to me with your full name and your bank account. Your urgent response is "
            "needed.\r\n"),
      Threshold(50));
  EXPECT_GE(
      SumOf("Lose weight now!",
            "Online pharmacy, no prescription needed: viagra, cialis soft tabs and generic medications.\r\n"
            "Herbal weight loss, no side effects, money back guarantee, 100% guaranteed!\r\n"
            "To be removed from future mailings, just click here.\r\n"),
      Threshold(50));
}

}  // namespace
}  // namespace quillbeaker
