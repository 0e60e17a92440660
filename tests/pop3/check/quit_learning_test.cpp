// SPDX-License-Identifier: MIT
#include "pop3/check/quit_learning.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "stores/training_area.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kSenders =
    "[SENDERS]\r\nann@friends.example=Ann,2\r\nbad@spam.example=Bad,1\r\nodd@example.org=Odd,7\r\n";
constexpr char kFriend[] = "From: Ann <ann@friends.example>\r\n";
constexpr char kBlocked[] = "From: Bad <bad@spam.example>\r\n";
constexpr char kStranger[] = "From: Joe <joe@example.org>\r\n";

class QuitLearningTest : public testing::Test {
 protected:
  // A mail with that From line, whose text is `body` and thus kept under a name of its own.
  void Mail(std::string_view from_line, std::string_view body) {
    messages_.emplace_back().ParseText(std::string(from_line) +
                                       "Date: Wed, 1 Mar 2006 10:00:00 +0000\r\n\r\n" + std::string(body));
  }
  void Learn(std::string_view settings = {}) {
    ASSERT_TRUE(world_.Configure(settings, kSenders));
    std::vector<const MailMessage*> pointers;
    for (const MailMessage& message : messages_) pointers.push_back(&message);
    LearnFromMail(world_.program(), pointers);
  }
  // A friend's mail, a blocked sender's, a stranger's.
  void LearnOneOfEach(std::string_view settings = {}) {
    Mail(kFriend, "lunch lunch noon \r\n");
    Mail(kBlocked, "cheap cheap cheap pills \r\n");
    Mail(kStranger, "somebody \r\n");
    Learn(settings);
  }
  test::ListedWords List(const char* file) const {
    const auto bytes = world_.directory.Get(file);
    return bytes ? test::ParseWordList(*bytes).value_or(test::ListedWords{999, {}}) : test::ListedWords{};
  }
  test::ListedWords Good() const { return List(test::kGoodListFile); }
  test::ListedWords Bad() const { return List(test::kBadListFile); }
  std::size_t Kept() {
    return TrainingArea(world_.program()).List().value_or(std::vector<TrainingEntry>()).size();
  }

  test::TestProgram world_;
  std::deque<MailMessage> messages_;
};

TEST_F(QuitLearningTest, ListedSendersAreLearntAndOthersKept) {
  LearnOneOfEach();
  EXPECT_EQ(Good(), (test::ListedWords{1, {{"lunch", 2}, {"noon", 1}}}));
  EXPECT_EQ(Bad(), (test::ListedWords{1, {{"cheap", 3}, {"pills", 1}}}));
  const auto rows = TrainingArea(world_.program()).List();
  ASSERT_TRUE(rows && rows->size() == 1);
  EXPECT_EQ(rows->front().address, "joe@example.org");
}

TEST_F(QuitLearningTest, NothingAtLevelsWithoutJudgementOrWhileLearningIsOff) {
  for (const char* settings :
       {"Aggressiveness=0", "Aggressiveness=100", "Enable=0", "FilterLearningEnable=0"}) {
    SCOPED_TRACE(settings);
    LearnOneOfEach(settings);
    EXPECT_FALSE(world_.directory.Has("training"));
  }
}

TEST_F(QuitLearningTest, LearnsWithTheWordFilterOff) {
  LearnOneOfEach("FilterWordEnable=0");
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Kept(), 1U);
}

TEST_F(QuitLearningTest, MailOfListedSendersIsNotKeptEvenWhenItIsNotLearnt) {
  LearnOneOfEach("FilterLearningAutoFriends=0");
  EXPECT_EQ(Good().messages, 0U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Kept(), 1U);
  messages_.clear();
  LearnOneOfEach("FilterLearningAutoBlocked=0");
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Kept(), 1U);
}

TEST_F(QuitLearningTest, MailWithoutFromAndSendersOfNeitherListAreKept) {
  Mail("", "anonymous \r\n");
  Mail("From: Odd <odd@example.org>\r\n", "neither list \r\n");
  Learn();
  EXPECT_EQ(Kept(), 2U);
  EXPECT_EQ(Good().messages + Bad().messages, 0U);
}

TEST_F(QuitLearningTest, LargeMailIsPassedOver) {
  for (const char* from : {kFriend, kBlocked, kStranger}) Mail(from, std::string(2000, 'x') + " \r\n");
  const std::uint32_t largest = messages_[0].size();  // the others differ by a few bytes
  Learn("FilterMaxMessageSize=1000");
  EXPECT_FALSE(world_.directory.Has("training"));
  Learn("FilterMaxMessageSize=" + std::to_string(largest));
  EXPECT_EQ(Good().messages, 0U);
  Learn("FilterMaxMessageSize=" + std::to_string(largest + 1));
  EXPECT_EQ(Good().messages, 1U);
  for (const char* no_limit : {"FilterMaxMessageSize=0", "FilterMaxMessageSize=-5"}) Learn(no_limit);
  EXPECT_EQ(Good().messages, 3U);
}

TEST_F(QuitLearningTest, TheDefaultLimitIs65536Bytes) {
  Mail(kFriend, "");
  const std::size_t header = messages_[0].size();
  messages_.clear();
  Mail(kFriend, std::string(65536 - header, 'x'));
  ASSERT_EQ(messages_[0].size(), 65536U);
  Learn();
  EXPECT_EQ(Good().messages, 0U);
  messages_.clear();
  Mail(kFriend, std::string(65535 - header, 'x'));
  Learn();
  EXPECT_EQ(Good().messages, 1U);
}

TEST_F(QuitLearningTest, OneBatchCountsAsManySingleSteps) {
  for (int i = 0; i < 40; ++i)
    Mail(i % 3 == 0 ? kBlocked : kFriend, "word" + std::to_string(i % 7) + " common \r\n");
  Learn();
  test::ListedWords good;
  test::ListedWords bad;
  for (int i = 0; i < 40; ++i) {
    test::ListedWords& list = i % 3 == 0 ? bad : good;
    ++list.messages;
    ++list.words["common"];
    ++list.words["word" + std::to_string(i % 7)];
  }
  EXPECT_EQ(Good(), good);
  EXPECT_EQ(Bad(), bad);
}

TEST_F(QuitLearningTest, WithoutMailNothingIsTouched) {
  Learn();
  EXPECT_FALSE(world_.directory.Has("training"));
}

TEST_F(QuitLearningTest, ATrainingAreaThatCannotBeSavedDoesNotKeepTheListsFromLearning) {
  ASSERT_TRUE(world_.directory.MakeFolder("training/training.xml"));
  LearnOneOfEach();
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(Bad().messages, 1U);
}

TEST_F(QuitLearningTest, ListsThatCannotBeSavedDoNotKeepMailFromTheTrainingArea) {
  ASSERT_TRUE(world_.directory.MakeFolder(test::kGoodListFile));
  LearnOneOfEach();
  EXPECT_EQ(Kept(), 1U);
}

}  // namespace
}  // namespace quillbeaker
