// SPDX-License-Identifier: MIT
// An explanation shows what the judge went by, and never says other than the judge.

#include "filter/explanation.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class ExplanationTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test_.directory.Put(
        "spampoints.ini", "[PROBABILITIES]\r\nmoney=60\r\nunused=5\r\n[THRESHOLD]\r\nlevel50=80\r\n"));
    ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\nOffer=30\r\n"));
    ASSERT_TRUE(test_.directory.MakeFolder("training"));
    Settings("");
  }
  void Settings(std::string_view lines) {
    ASSERT_TRUE(test_.Configure(lines, "[SENDERS]\r\n*@friends.x=Fred,2\r\nbad@x=B,1\r\n"));
  }
  // So often good and spam messages are learnt that hold `words`.
  void Learn(int times, LearnKind kind, const std::string& words) {
    WordTables tables;
    tables.Load(test_.program(), false);
    MailMessage message;
    message.ParseText("Subject:\r\n\r\n" + words + "\r\n");
    for (int i = 0; i < times; ++i) tables.Count(message, kind);
    ASSERT_TRUE(tables.Save());
  }
  static std::string Mail(const std::string& from, const std::string& subject, const std::string& body) {
    return "From: " + from + "\r\nSubject: " + subject + "\r\n\r\n" + body + "\r\n";
  }
  Explanation Explain(const std::string& text) {
    MailFilter filter(test_.program());
    MailMessage message;
    message.ParseText(text);
    return filter.Explain(message);
  }

  test::TestProgram test_;
};

TEST_F(ExplanationTest, SpamWordsComeWithTheirPlacesAndTheThresholdWithItsFile) {
  const Explanation why = Explain(Mail("Ann <ann@x>", "your offer", "an OFFER of money"));
  ASSERT_EQ(why.spam_words.size(), 2U);
  EXPECT_EQ(why.spam_words[0].word, "Offer");
  EXPECT_EQ(why.spam_words[0].percent, 30);
  EXPECT_FALSE(why.spam_words[0].predefined);
  EXPECT_TRUE(why.spam_words[0].in_subject && why.spam_words[0].in_text);
  EXPECT_EQ(why.spam_words[1].word, "money");
  EXPECT_TRUE(why.spam_words[1].predefined);
  EXPECT_TRUE(!why.spam_words[1].in_subject && why.spam_words[1].in_text);
  EXPECT_EQ(why.percent, 120);
  EXPECT_EQ(why.threshold.percent, 80);
  EXPECT_EQ(why.threshold.source, LevelThreshold::Source::kShippedFile);
  EXPECT_TRUE(why.judgement.spam);
  EXPECT_FALSE(why.learnt_words_say_something);
  EXPECT_DOUBLE_EQ(why.learnt_probability, 0.4);

  ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", "[THRESHOLD]\r\nlevel50=130\r\n"));
  EXPECT_EQ(Explain(Mail("a@x", "", "money")).threshold.source, LevelThreshold::Source::kUserFile);
  Settings("Aggressiveness=75\r\n");
  const Explanation by_default = Explain(Mail("a@x", "", "money"));
  EXPECT_EQ(by_default.threshold.source, LevelThreshold::Source::kDefault);
  EXPECT_EQ(by_default.threshold.percent, 100);
}

TEST_F(ExplanationTest, TellingWordsComeWithTheirCountsInOrder) {
  Learn(10, LearnKind::kGood, "garden house");
  Learn(10, LearnKind::kSpam, "lottery house house");
  const Explanation why = Explain(Mail("a@x", "", "lottery garden house novel"));
  EXPECT_EQ(why.good_messages, 10U);
  EXPECT_EQ(why.spam_messages, 10U);
  ASSERT_EQ(why.telling_words.size(), 4U);
  // "lottery" and "garden" are equally telling; "house" is in every message of both; "novel" in none.
  EXPECT_NE(why.telling_words[0].word, why.telling_words[1].word);
  for (const TellingWord& word : {why.telling_words[0], why.telling_words[1]}) {
    const bool lottery = word.word == "lottery";
    EXPECT_TRUE(lottery || word.word == "garden");
    EXPECT_EQ(word.good, lottery ? 0U : 10U);
    EXPECT_EQ(word.spam, lottery ? 10U : 0U);
    EXPECT_DOUBLE_EQ(word.probability, lottery ? 0.99 : 0.01);
  }
  EXPECT_EQ(why.telling_words[2].word, "novel");
  EXPECT_DOUBLE_EQ(why.telling_words[2].probability, 0.4);
  EXPECT_EQ(why.telling_words[3].word, "house");
  EXPECT_EQ(why.telling_words[3].spam, 20U);
  EXPECT_DOUBLE_EQ(why.telling_words[3].probability, 0.5);
  EXPECT_NEAR(why.spam_product, 0.99 * 0.01 * 0.4 * 0.5, 1e-12);
  EXPECT_NEAR(why.good_product, 0.01 * 0.99 * 0.6 * 0.5, 1e-12);
  EXPECT_NEAR(why.learnt_probability, 0.4, 1e-12);
  EXPECT_TRUE(why.learnt_words_say_something);
}

TEST_F(ExplanationTest, TheEntryThatMatchesIsNamed) {
  const Explanation why = Explain(Mail("Ann A. <Ann@Friends.x>", "", "money"));
  ASSERT_TRUE(why.sender);
  EXPECT_EQ(why.sender->address, "Ann@Friends.x");
  EXPECT_EQ(why.sender->name, "Ann A.");
  EXPECT_EQ(why.entry.kind, kSenderFriend);
  EXPECT_EQ(why.entry.address, "*@friends.x");
  EXPECT_EQ(why.judgement.reason, JudgementReason::kFriend);
  EXPECT_EQ(why.percent, 60) << "what the words say is told all the same";
  EXPECT_EQ(Explain(Mail("other@x", "", "hi")).entry.kind, kSenderNone);
  EXPECT_FALSE(Explain("Subject: x\r\n\r\nhi\r\n").sender);
}

TEST_F(ExplanationTest, ALargeMailIsExplainedAndItsSizeTold) {
  const std::string mail = Mail("a@x", "", "money offer " + std::string(70000, 'x'));
  const Explanation why = Explain(mail);
  EXPECT_EQ(why.size, mail.size());
  EXPECT_EQ(why.size_limit, 65536);
  EXPECT_EQ(why.judgement.reason, JudgementReason::kTooLarge);
  EXPECT_FALSE(why.judgement.spam);
  ASSERT_TRUE(why.without_limit);
  EXPECT_TRUE(why.without_limit->spam);
  EXPECT_EQ(why.percent, 90);
  EXPECT_FALSE(Explain(Mail("a@x", "", "money")).without_limit);
}

// Over settings, senders and texts of all kinds: the verdict is the judge's own, and where the classifier
// spoke, what is shown leads to its probability.
TEST_F(ExplanationTest, NeverSaysOtherThanTheJudge) {
  Learn(30, LearnKind::kGood, "garden house novel tree river");
  Learn(30, LearnKind::kSpam, "lottery house winner prize money");
  std::mt19937 random(7);
  const std::string words[] = {"garden", "house", "novel", "tree",  "river", "lottery",
                               "winner", "prize", "money", "offer", "other"};
  const std::string senders[] = {"a@x", "bad@x", "ann@friends.x"};
  const std::string keys[] = {"Enable", "FilterWordEnable", "FilterLearningEnable", "FilterWordHTML"};
  int spam = 0;
  int by_learnt_words = 0;
  int by_spam_words = 0;
  for (int round = 0; round < 400; ++round) {
    std::string lines =
        "Aggressiveness=" + std::to_string(random() % 8 == 0 ? random() % 5 * 25 : 50) + "\r\n";
    for (const std::string& key : keys) {
      if (random() % 8 == 0) lines += key + "=0\r\n";
    }
    Settings(lines);
    std::string text = "<p>";
    for (std::size_t i = 0, count = random() % 6; i < count; ++i) text += words[random() % 11] + " ";
    const std::string mail = Mail(senders[random() % 4 == 0 ? random() % 3 : 0], words[random() % 11], text);
    MailFilter filter(test_.program());
    MailMessage message;
    message.ParseText(mail);
    const Judgement judgement = filter.Judge(message, false);
    const Explanation why = filter.Explain(message);
    ASSERT_EQ(why.judgement.spam, judgement.spam) << lines << mail;
    ASSERT_EQ(why.judgement.reason, judgement.reason);
    ASSERT_EQ(why.judgement.probability, judgement.probability);
    ASSERT_EQ(why.judgement.words, judgement.words);
    ASSERT_EQ(why.threshold.percent, judgement.threshold);
    spam += judgement.spam;
    if (!judgement.classifier_asked) continue;
    if (judgement.reason == JudgementReason::kLearntWords || !why.spam_words_on) {
      ASSERT_EQ(why.learnt_words_on ? why.learnt_probability : 0.4, judgement.probability) << lines << mail;
      ++by_learnt_words;
    } else {
      ASSERT_EQ(static_cast<double>(why.percent) * 0.01, judgement.probability) << lines << mail;
      ++by_spam_words;
    }
  }
  EXPECT_GT(spam, 40);
  EXPECT_GT(by_learnt_words, 40);
  EXPECT_GT(by_spam_words, 40);
}

}  // namespace
}  // namespace quillbeaker
