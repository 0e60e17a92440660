// SPDX-License-Identifier: MIT
// The two judges and how Decide combines them, with probabilities worked out by hand.

#include "filter/classifier.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "filter/filter_settings.h"
#include "filter/tokeniser.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class ClassifierTest : public testing::Test {
 protected:
  // Counts of one word in the spam list and, undoubled, in the good list.
  void Learn(std::string_view word, std::uint32_t bad, std::uint32_t good) {
    if (bad > 0) tables_.bad.Add(Word(word), bad);
    if (good > 0) tables_.good.Add(Word(word), good);
  }
  void LearntMessages(std::uint32_t bad, std::uint32_t good) {
    tables_.bad.messages = bad;
    tables_.good.messages = good;
  }
  // `count` words "<prefix>aaa", "<prefix>aab", ... of these counts; gives them as a text.
  std::string LearnMany(const std::string& prefix, int count, std::uint32_t bad, std::uint32_t good) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      const std::string word = prefix + static_cast<char>('a' + i / 26) + static_cast<char>('a' + i % 26);
      Learn(word, bad, good);
      text += word + " ";
    }
    return text;
  }
  // The word list in its own order, the first word judged first.
  void SpamWords(const std::vector<std::pair<std::string, std::int32_t>>& words) {
    tables_.spam_words.clear();
    for (const auto& [word, probability] : words) tables_.spam_words.push_back({word, probability, false});
  }
  void UserThresholds(std::string_view lines) {
    ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", "[THRESHOLD]\r\n" + std::string(lines)));
  }
  void ShippedThresholds(std::string_view lines) {
    ASSERT_TRUE(test_.directory.Put("spampoints.ini", "[THRESHOLD]\r\n" + std::string(lines)));
  }

  void Parse(std::string text) { message_.ParseText(std::move(text)); }
  // A message of this body alone.
  void Body(const std::string& body) { Parse("X: y\r\n\r\n" + body); }

  FilterSettings Settings() { return ReadFilterSettings(test_.program()); }

  double Learnt() {
    Classifier classifier(tables_);
    words_ = "old";
    return classifier.LearntProbability(message_, words_);
  }
  double Score() {
    Classifier classifier(tables_);
    words_ = "old";
    return classifier.SpamWordScore(message_, Settings().strip_html, words_);
  }
  bool Decide() {
    Classifier classifier(tables_);
    probability_ = -77;
    words_ = "old";
    return classifier.Decide(Settings(), message_, probability_, words_);
  }

  test::TestProgram test_;
  WordTables tables_;
  MailMessage message_;
  double probability_ = 0;
  std::string words_;
};

// --- The learnt words ---

TEST_F(ClassifierTest, NothingLearntIsUndecided) {
  Body("cheap pills here ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  EXPECT_EQ(words_, "");
}

TEST_F(ClassifierTest, OneEmptyListIsUndecidedForTheWholeMessage) {
  Learn("pills", 50, 0);
  Body("pills ");
  LearntMessages(50, 0);
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  LearntMessages(0, 50);
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  EXPECT_EQ(words_, "");
  LearntMessages(50, 50);
  EXPECT_DOUBLE_EQ(Learnt(), 0.99);
}

TEST_F(ClassifierTest, AMessageWithoutTokensIsUndecided) {
  LearntMessages(10, 10);
  Learn("pills", 10, 0);
  Body("pills");  // no delimiter behind it
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  Parse("Subject: pills\r\n");
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
}

TEST_F(ClassifierTest, AWordSeenUpToFiveTimesIsUndecided) {
  LearntMessages(10, 10);
  Learn("pills", 1, 2);  // 1 + 2 * 2 = 5
  Body("pills ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  EXPECT_EQ(words_, "");
  Learn("pills", 1, 0);  // 2 + 2 * 2 = 6: 0.2 / (0.2 + 0.4)
  EXPECT_DOUBLE_EQ(Learnt(), 1.0 / 3);
  Learn("never", 5, 0);
  Body("never ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
}

TEST_F(ClassifierTest, AWordOfSpamAloneIsLimitedTo99Percent) {
  LearntMessages(10, 10);
  Learn("pills", 6, 0);
  Body("pills ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.99);
  EXPECT_EQ(words_, "pills");
}

TEST_F(ClassifierTest, AWordOfGoodMailAloneIsLimitedTo1Percent) {
  LearntMessages(10, 10);
  Learn("meeting", 0, 3);
  Body("meeting ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.01);
  EXPECT_EQ(words_, "");
}

TEST_F(ClassifierTest, GoodOccurrencesWeighDouble) {
  LearntMessages(10, 10);
  Learn("offer", 4, 3);  // 0.4 / (0.6 + 0.4)
  Body("offer ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.4);
  Learn("deal", 6, 2);  // 0.6 / (0.4 + 0.6)
  Body("deal ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.6);
  EXPECT_EQ(words_, "deal");
}

TEST_F(ClassifierTest, FrequenciesAreLimitedToOne) {
  LearntMessages(10, 10);
  Learn("often", 50, 5);  // min(1, 5) / (min(1, 1) + 1)
  Body("often ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.5);
}

TEST_F(ClassifierTest, EachDistinctWordCountsOnce) {
  LearntMessages(10, 10);
  Learn("offer", 6, 2);
  Body("offer OFFER offer ");
  EXPECT_DOUBLE_EQ(Learnt(), 0.6);
}

TEST_F(ClassifierTest, ProbabilitiesCombineAsAProduct) {
  LearntMessages(10, 10);
  Learn("offer", 6, 2);  // 0.6
  Learn("cheap", 9, 3);  // 0.9 / (0.6 + 0.9) = 0.6
  Body("offer cheap ");
  EXPECT_NEAR(Learnt(), 0.36 / (0.36 + 0.16), 1e-12);
  Learn("meeting", 0, 3);  // 0.01
  Body("offer cheap meeting ");
  EXPECT_NEAR(Learnt(), 0.36 * 0.01 / (0.36 * 0.01 + 0.16 * 0.99), 1e-12);
}

TEST_F(ClassifierTest, UnknownWordsWeighTowardsGood) {
  LearntMessages(10, 10);
  Learn("offer", 6, 2);
  Body("offer unknown ");
  EXPECT_NEAR(Learnt(), 0.6 * 0.4 / (0.6 * 0.4 + 0.4 * 0.6), 1e-12);
}

TEST_F(ClassifierTest, TheSubjectsWordsCountToo) {
  LearntMessages(10, 10);
  Learn("offer", 6, 2);
  Parse("Subject: offer now\r\n\r\n");
  EXPECT_DOUBLE_EQ(Learnt(), 0.6);
}

TEST_F(ClassifierTest, OnlyTheFifteenMostTellingWordsCount) {
  LearntMessages(200, 200);
  const std::string spam = LearnMany("spam", 15, 180, 10);  // 0.9 / (0.1 + 0.9) = 0.9
  const std::string good = LearnMany("good", 15, 22, 89);   // 0.11 / (0.89 + 0.11) = 0.11, less telling
  Body(good + spam);
  EXPECT_GT(Learnt(), 1 - 1e-12);  // all thirty would give about 0.83
}

// Which of equally telling words count goes by their slots in the message's table, not by the text.
TEST_F(ClassifierTest, OfEquallyTellingWordsThoseOfTheEarlierSlotsCount) {
  LearntMessages(100, 100);
  const std::string spam = LearnMany("bad", 30, 100, 0);
  const std::string good = LearnMany("fine", 30, 0, 100);
  const std::string text = spam + good;
  WordCountTable tokens;
  Tokenise(text, tokens);
  int spam_words = 0;
  std::string listed;
  const std::string records = tokens.Serialise().substr(16);  // in the order of the slots
  std::size_t at = 0;
  for (int rank = 0; rank < 15; ++rank) {
    const auto length = static_cast<unsigned char>(records[at]);
    const std::string word = records.substr(at + 1, length);
    at += length + std::size_t{5};
    if (!word.starts_with("bad")) continue;
    ++spam_words;
    listed += (rank > 0 ? ", " : "") + word;
  }
  ASSERT_GT(spam_words, 0);
  ASSERT_LT(spam_words, 15);
  Body(text);
  const double odds = std::pow(0.99 / 0.01, 2 * spam_words - 15);
  EXPECT_NEAR(Learnt(), odds / (1 + odds), 1e-9);
  EXPECT_EQ(words_, listed);
}

TEST_F(ClassifierTest, HtmlIsRemovedForTheLearntWordsWhateverTheKeySays) {
  ASSERT_TRUE(test_.Configure("FilterWordHTML=0"));
  LearntMessages(10, 10);
  Learn("offer", 6, 2);
  Parse("Content-Type: text/html\r\n\r\nof<b></b>fer<br>");
  EXPECT_DOUBLE_EQ(Learnt(), 0.6);
}

TEST_F(ClassifierTest, ListsTheTellingWordsInTheirOrder) {
  LearntMessages(100, 100);
  Learn("first", 90, 1);   // 0.9 / 0.92 = 0.978
  Learn("second", 70, 1);  // 0.7 / 0.72 = 0.972
  Learn("third", 50, 1);   // 0.5 / 0.52 = 0.962
  Body("third unknown first second ");
  Learnt();
  EXPECT_EQ(words_, "first, second, third");
}

TEST_F(ClassifierTest, TheListMayBeginWithASeparator) {
  LearntMessages(10, 20);
  Learn("meeting", 0, 20);  // 0.01, the most telling
  Learn("offer", 9, 1);     // 0.9 / (0.1 + 0.9)
  Body("meeting offer ");
  EXPECT_NEAR(Learnt(), 0.009 / (0.009 + 0.099), 1e-12);
  EXPECT_EQ(words_, ", offer");
}

TEST_F(ClassifierTest, WordsAtFortyPercentAreNotListed) {
  LearntMessages(10, 10);
  Learn("offer", 4, 3);    // 0.4 exactly
  Learn("cheap", 42, 29);  // 1 / (1 + 1) = 0.5
  Body("offer cheap ");
  Learnt();
  EXPECT_EQ(words_, ", cheap");  // "offer" is the more telling one
}

TEST_F(ClassifierTest, TheListOfLearntWordsStaysBelowAHundredBytes) {
  LearntMessages(100, 100);
  // In their order; four words of 20 bytes and their separators make 86.
  std::vector<std::string> words = {std::string(20, 'a'), std::string(20, 'b'), std::string(20, 'c'),
                                    std::string(20, 'd')};
  std::string text;
  std::uint32_t bad = 95;
  for (const std::string& word : words) {
    Learn(word, bad, 1);
    text += word + " ";
    bad -= 5;
  }
  const std::string four = words[0] + ", " + words[1] + ", " + words[2] + ", " + words[3];
  Learn(std::string(11, 'e'), bad, 1);  // 86 + 11 + 3 is not below 100
  Body(text + std::string(11, 'e') + " ");
  Learnt();
  EXPECT_EQ(words_, four);
  Learn(std::string(10, 'f'), bad - 5, 1);  // 86 + 10 + 3 is
  Body(text + std::string(11, 'e') + " " + std::string(10, 'f') + " ");
  Learnt();
  EXPECT_EQ(words_, four + ", " + std::string(10, 'f'));
}

// --- The spam words ---

TEST_F(ClassifierTest, ScoresAddUpWithoutLimit) {
  SpamWords({{"free", 60}, {"money", 50}});
  Body("Get free money");
  EXPECT_DOUBLE_EQ(Score(), 1.10);
  EXPECT_EQ(words_, "free, money");
  Body("Get free tickets");
  EXPECT_DOUBLE_EQ(Score(), 0.60);
  EXPECT_EQ(words_, "free");
  Body("Hello");
  EXPECT_DOUBLE_EQ(Score(), 0.0);
  EXPECT_EQ(words_, "");
}

TEST_F(ClassifierTest, AWordThatIsListedTwiceAddsTwice) {
  SpamWords({{"viagra", 40}, {"viagra", 50}});
  Body("viagra");
  EXPECT_DOUBLE_EQ(Score(), 0.90);
  EXPECT_EQ(words_, "viagra, viagra");
}

TEST_F(ClassifierTest, SubstringsMatchInAnyCase) {
  SpamWords({{"sEx", 30}});
  Body("Essex");
  EXPECT_DOUBLE_EQ(Score(), 0.30);
  EXPECT_EQ(words_, "sEx");
}

TEST_F(ClassifierTest, SubjectAndTextAddTwiceAndListOnce) {
  SpamWords({{"free", 20}, {"money", 3}});
  Parse("Subject: FREE\r\n\r\nfree free money");
  EXPECT_DOUBLE_EQ(Score(), 0.43);
  EXPECT_EQ(words_, "free, money");
  Parse("Subject: free\r\n\r\nnothing");
  EXPECT_DOUBLE_EQ(Score(), 0.20);
  EXPECT_EQ(words_, "free");
}

TEST_F(ClassifierTest, AWordDoesNotMatchAcrossSubjectAndText) {
  SpamWords({{"freemoney", 20}});
  Parse("Subject: free\r\n\r\nmoney");
  EXPECT_DOUBLE_EQ(Score(), 0.0);
}

TEST_F(ClassifierTest, SeparatorsFollowTheRunningSum) {
  SpamWords({{"alpha", 0}, {"beta", 30}, {"gamma", 10}});
  Body("alpha beta gamma");
  EXPECT_DOUBLE_EQ(Score(), 0.40);
  EXPECT_EQ(words_, "alphabeta, gamma");
  SpamWords({{"alpha", -50}, {"beta", 60}, {"gamma", 5}});
  EXPECT_DOUBLE_EQ(Score(), 0.15);
  EXPECT_EQ(words_, "alphabeta, gamma");
  SpamWords({{"alpha", 10}, {"beta", -30}, {"gamma", 5}});
  EXPECT_DOUBLE_EQ(Score(), -0.15);
  EXPECT_EQ(words_, "alpha, betagamma");
}

TEST_F(ClassifierTest, AnEmptyTextScoresZeroWhateverTheSubject) {
  SpamWords({{"free", 60}});
  Parse("Subject: free\r\nContent-Type: image/gif\r\n\r\nGIF free");
  EXPECT_DOUBLE_EQ(Score(), 0.0);
  EXPECT_EQ(words_, "");
  Parse("Subject: free\r\n");
  EXPECT_DOUBLE_EQ(Score(), 0.0);
  message_.Clear();
  EXPECT_DOUBLE_EQ(Score(), 0.0);
  Parse("Subject: free\r\n\r\n");  // the text is the empty line's CR LF
  EXPECT_DOUBLE_EQ(Score(), 0.60);
}

TEST_F(ClassifierTest, HtmlIsRemovedForTheScoreWhenTheKeyIsExactlyOne) {
  SpamWords({{"free", 60}});
  Parse("Content-Type: text/html\r\n\r\nfr<b></b>ee");
  EXPECT_DOUBLE_EQ(Score(), 0.60);
  for (const char* line : {"FilterWordHTML=0", "FilterWordHTML=2", "FilterWordHTML=-1"}) {
    ASSERT_TRUE(test_.Configure(line));
    EXPECT_DOUBLE_EQ(Score(), 0.0) << line;
  }
  ASSERT_TRUE(test_.Configure("FilterWordHTML=1"));
  EXPECT_DOUBLE_EQ(Score(), 0.60);
}

TEST_F(ClassifierTest, TheListOfSpamWordsStaysBelow255Bytes) {
  const std::string a(100, 'a');
  const std::string b(100, 'b');
  const std::string c(60, 'c');
  const std::string d(51, 'd');
  const std::string e(50, 'e');
  SpamWords({{a, 1}, {b, 2}, {c, 4}, {d, 8}, {e, 16}});
  Body(a + b + c + d + e);
  EXPECT_DOUBLE_EQ(Score(), 0.31);             // the words that are not listed count all the same
  EXPECT_EQ(words_, a + ", " + b + ", " + e);  // 202 + 60 + 2 and 202 + 51 + 2 are not below 255
  EXPECT_EQ(words_.size(), 254u);
}

TEST_F(ClassifierTest, AWordWithoutRoomForTheSubjectHasNoneForTheText) {
  const std::string a(251, 'a');
  SpamWords({{a, 10}, {"bb", 10}, {"ccc", 10}});
  Parse("Subject: " + a + "bb\r\n\r\nbb");
  EXPECT_DOUBLE_EQ(Score(), 0.30);
  EXPECT_EQ(words_, a);
}

TEST_F(ClassifierTest, TheSumOfHugePercentsDoesNotOverflow) {
  SpamWords({{"free", 2147483647}, {"money", 2147483647}});
  Body("free money");
  EXPECT_DOUBLE_EQ(Score(), 42949672.94);
  SpamWords({{"free", -2147483647}, {"money", -2147483647}});
  EXPECT_DOUBLE_EQ(Score(), -42949672.94);
}

TEST_F(ClassifierTest, TheSubjectIsTakenAsItCame) {
  SpamWords({{"free", 10}, {"=?x?Q?fr=65e?=", 1}});
  Parse("Subject: =?x?Q?fr=65e?=\r\n\r\ntext");
  EXPECT_DOUBLE_EQ(Score(), 0.01);
}

// --- Decide ---

TEST_F(ClassifierTest, DecidesByTheScoreWhenNothingWasLearnt) {
  SpamWords({{"free", 60}, {"money", 50}});
  Body("free money");
  EXPECT_TRUE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 1.10);
  EXPECT_EQ(words_, "free, money");
  Body("free");
  EXPECT_FALSE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.60);
  EXPECT_EQ(words_, "free");
}

TEST_F(ClassifierTest, AScoreEqualToTheThresholdIsSpam) {
  SpamWords({{"free", 60}});
  Body("free");
  UserThresholds("level50=60\r\n");
  EXPECT_TRUE(Decide());
  UserThresholds("level50=61\r\n");
  EXPECT_FALSE(Decide());
  for (int percent = 1; percent <= 100; ++percent) {
    SpamWords({{"free", percent}});
    UserThresholds("level50=" + std::to_string(percent));
    EXPECT_TRUE(Decide()) << percent;
  }
}

TEST_F(ClassifierTest, TheLevelChoosesTheThreshold) {
  SpamWords({{"free", 60}});
  Body("free");
  UserThresholds("level25=90\r\nlevel50=70\r\nlevel75=50\r\nlevel0=10\r\nlevel100=95\r\n");
  EXPECT_FALSE(Decide());  // 50 is the default
  ASSERT_TRUE(test_.Configure("Aggressiveness=75"));
  EXPECT_TRUE(Decide());
  ASSERT_TRUE(test_.Configure("Aggressiveness=25"));
  EXPECT_FALSE(Decide());
  ASSERT_TRUE(test_.Configure("Aggressiveness=0"));
  EXPECT_TRUE(Decide());
  ASSERT_TRUE(test_.Configure("Aggressiveness=100"));
  EXPECT_FALSE(Decide());
  ASSERT_TRUE(test_.Configure("Aggressiveness=33"));
  EXPECT_FALSE(Decide());  // 100
}

TEST_F(ClassifierTest, DecidesByTheSettingsThatItIsGiven) {
  SpamWords({{"free", 60}});
  Body("free");
  Classifier classifier(tables_);
  double probability = 0;
  std::string words;
  FilterSettings settings;
  EXPECT_FALSE(classifier.Decide(settings, message_, probability, words));
  settings.threshold.percent = 55;
  EXPECT_TRUE(classifier.Decide(settings, message_, probability, words));
  settings.word_filter = false;
  EXPECT_FALSE(classifier.Decide(settings, message_, probability, words));
  EXPECT_DOUBLE_EQ(probability, 0.4);
}

TEST_F(ClassifierTest, ASwitchedOffFilterLeavesTheOutputs) {
  ASSERT_TRUE(test_.Configure("Enable=0"));
  SpamWords({{"free", 600}});
  Body("free");
  EXPECT_FALSE(Decide());
  EXPECT_EQ(probability_, -77);
  EXPECT_EQ(words_, "old");
}

TEST_F(ClassifierTest, FifteenSpamWordsOfTheListsDecideAlone) {
  LearntMessages(10, 10);
  SpamWords({{"zzz", -500}});
  Body(LearnMany("bad", 15, 6, 0) + "zzz");
  EXPECT_TRUE(Decide());
  EXPECT_GT(probability_, 1 - 1e-12);
  EXPECT_LE(probability_, 1.0);
  EXPECT_EQ(words_.substr(0, 9), "(LF:) bad");
  EXPECT_EQ(words_.find("zzz"), std::string::npos);
}

TEST_F(ClassifierTest, ALearntProbabilityOfNinetyPercentIsSpam) {
  LearntMessages(10, 20);
  Learn("offer", 9, 1);  // 0.9 / (0.1 + 0.9)
  SpamWords({{"offer", -100}});
  Body("offer ");
  ASSERT_GE(Learnt(), 0.9);
  EXPECT_TRUE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.9);
  EXPECT_EQ(words_, "(LF:) offer");
}

TEST_F(ClassifierTest, BelowNinetyPercentTheScoreDecides) {
  LearntMessages(100, 100);
  Learn("offer", 80, 5);  // 0.8 / (0.1 + 0.8) = 0.889
  SpamWords({{"here", 100}});
  Body("offer ");
  EXPECT_FALSE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.0);
  EXPECT_EQ(words_, "");
  Body("offer here ");
  EXPECT_TRUE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 1.0);
  EXPECT_EQ(words_, "here");
}

TEST_F(ClassifierTest, ClearlyGoodMailIsNotCheckedAgainstTheSpamWords) {
  LearntMessages(10, 10);
  SpamWords({{"money", 500}});
  // Four words of 0.01: (1/99)^4 is about 1e-8.
  Body(LearnMany("good", 4, 0, 3) + "money");
  EXPECT_FALSE(Decide());
  EXPECT_NEAR(probability_, 1.0 / (1 + 99.0 * 99 * 99 * 99), 1e-15);
  EXPECT_EQ(words_, "");
  // Three of them: about 1e-6.
  Body("goodaa goodab goodac money");
  EXPECT_TRUE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 5.0);
  EXPECT_EQ(words_, "money");
}

TEST_F(ClassifierTest, WithoutLearningTheScoreDecidesAlone) {
  ASSERT_TRUE(test_.Configure("FilterLearningEnable=0"));
  LearntMessages(10, 10);
  SpamWords({{"money", 30}});
  Body(LearnMany("bad", 15, 6, 0) + "money");
  EXPECT_FALSE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.30);
  EXPECT_EQ(words_, "money");
}

TEST_F(ClassifierTest, WithoutSpamWordsTheLearntProbabilityMeetsTheThreshold) {
  ASSERT_TRUE(test_.Configure("FilterWordEnable=0"));
  SpamWords({{"free", 500}});
  Body("free pills ");
  EXPECT_FALSE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.4);
  UserThresholds("level50=40\r\n");
  EXPECT_TRUE(Decide());
  EXPECT_DOUBLE_EQ(probability_, 0.4);
  EXPECT_EQ(words_, "");
  LearntMessages(10, 10);
  Learn("pills", 6, 2);  // 0.6, and "free" is unknown: 0.5 together
  UserThresholds("level50=50\r\n");
  EXPECT_TRUE(Decide());
  EXPECT_EQ(words_, "");
  UserThresholds("level50=51\r\n");
  EXPECT_FALSE(Decide());
}

TEST_F(ClassifierTest, TellsWhetherTheLearntWordsDecided) {
  LearntMessages(10, 10);
  Learn("spammy", 10, 0);
  const std::string good = LearnMany("good", 4, 0, 3);
  Classifier classifier(tables_);
  double probability = 0;
  std::string words;
  Body("spammy ");
  EXPECT_TRUE(classifier.Decide(Settings(), message_, probability, words));
  EXPECT_TRUE(classifier.LearntWordsDecided());
  Body("unknown ");
  EXPECT_FALSE(classifier.Decide(Settings(), message_, probability, words));
  EXPECT_FALSE(classifier.LearntWordsDecided());
  Body(good);
  EXPECT_FALSE(classifier.Decide(Settings(), message_, probability, words));
  EXPECT_TRUE(classifier.LearntWordsDecided());
}

TEST_F(ClassifierTest, OneMessageLeavesNothingForTheNext) {
  LearntMessages(10, 10);
  Learn("spammy", 10, 0);
  SpamWords({{"money", 30}});
  Classifier classifier(tables_);
  double probability = 0;
  std::string words;
  Parse("Subject: money\r\n\r\nspammy money ");
  EXPECT_TRUE(classifier.Decide(Settings(), message_, probability, words));
  Parse("Subject: hello\r\n\r\nhello ");
  EXPECT_FALSE(classifier.Decide(Settings(), message_, probability, words));
  EXPECT_DOUBLE_EQ(probability, 0.0);
  EXPECT_EQ(words, "");
  // The same record with another text of the same size.
  Parse("Subject: hello\r\n\r\nmoney ");
  EXPECT_FALSE(classifier.Decide(Settings(), message_, probability, words));
  EXPECT_DOUBLE_EQ(probability, 0.30);
  EXPECT_EQ(words, "money");
}

}  // namespace
}  // namespace quillbeaker
