// SPDX-License-Identifier: MIT
// The whole judgement in its fixed order: size limit, switched off, lists, levels, marked mail, classifier.

#include "filter/mail_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr char kSenders[] = "[SENDERS]\r\nblocked@x=B,1\r\nfriend@x=F,2\r\nseven@x=S,7\r\nzero@x=Z,0\r\n";

class MailFilterTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test_.directory.Put("spampoints.ini",
                                    "[PROBABILITIES]\r\nmoney=120\r\n[THRESHOLD]\r\nlevel50=80\r\n"));
    Settings("");
  }
  void Settings(std::string_view lines) { ASSERT_TRUE(test_.Configure(lines, kSenders)); }

  static std::string Mail(const std::string& from, const std::string& body) {
    return "From: " + from + "\r\n\r\n" + body;
  }
  Judgement Judge(const std::string& text, bool marked_deleted = false) {
    MailFilter filter(test_.program());
    MailMessage message;
    message.ParseText(text);
    return filter.Judge(message, marked_deleted);
  }

  test::TestProgram test_;
};

TEST_F(MailFilterTest, AStrangersMailIsJudgedByItsWords) {
  const Judgement spam = Judge(Mail("stranger@x", "money"));
  EXPECT_TRUE(spam.spam);
  EXPECT_EQ(spam.reason, JudgementReason::kSpamWords);
  EXPECT_EQ(spam.sender_kind, kSenderNone);
  EXPECT_EQ(spam.level, 50);
  EXPECT_EQ(spam.threshold, 80);
  EXPECT_TRUE(spam.classifier_asked);
  EXPECT_TRUE(spam.classifier_spam);
  EXPECT_DOUBLE_EQ(spam.probability, 1.20);
  EXPECT_EQ(spam.words, "money");

  const Judgement good = Judge(Mail("stranger@x", "hello"));
  EXPECT_FALSE(good.spam);
  EXPECT_EQ(good.reason, JudgementReason::kSpamWords);
  EXPECT_TRUE(good.classifier_asked);
  EXPECT_FALSE(good.classifier_spam);
  EXPECT_DOUBLE_EQ(good.probability, 0.0);
}

TEST_F(MailFilterTest, LearntWordsAreNamedAsTheReason) {
  ASSERT_TRUE(
      test_.directory.Put("training/bad.Quillbeaker.wordlist",
                          std::string("\x01\0\0\0\x01\0\0\0\x0A\0\0\0\0\0\0\0\x05pills\x0A\0\0\0", 26)));
  ASSERT_TRUE(test_.directory.Put("training/good.Quillbeaker.wordlist",
                                  std::string("\x01\0\0\0\0\0\0\0\x0A\0\0\0\0\0\0\0", 16)));
  const Judgement spam = Judge(Mail("stranger@x", "pills "));
  EXPECT_TRUE(spam.spam);
  EXPECT_EQ(spam.reason, JudgementReason::kLearntWords);
  EXPECT_DOUBLE_EQ(spam.probability, 0.99);
  EXPECT_EQ(spam.words, "(LF:) pills");
}

TEST_F(MailFilterTest, ABlockedSendersMailIsSpamWithoutTheClassifier) {
  const Judgement judgement = Judge(Mail("Blocked@X", "hello"));
  EXPECT_TRUE(judgement.spam);
  EXPECT_EQ(judgement.reason, JudgementReason::kBlockedSender);
  EXPECT_EQ(judgement.sender_kind, kSenderBlocked);
  EXPECT_FALSE(judgement.classifier_asked);
  EXPECT_EQ(judgement.probability, 0.0);
  EXPECT_EQ(judgement.words, "");
}

TEST_F(MailFilterTest, AFriendsMailIsKeptWithoutTheClassifier) {
  const Judgement judgement = Judge(Mail("friend@x", "money"));
  EXPECT_FALSE(judgement.spam);
  EXPECT_EQ(judgement.reason, JudgementReason::kFriend);
  EXPECT_EQ(judgement.sender_kind, kSenderFriend);
  EXPECT_FALSE(judgement.classifier_asked);
}

TEST_F(MailFilterTest, AnyOtherKindIsNeitherList) {
  for (const int kind : {7, 0}) {
    const Judgement judgement = Judge(Mail(kind == 7 ? "seven@x" : "zero@x", "money"));
    EXPECT_TRUE(judgement.spam);
    EXPECT_EQ(judgement.sender_kind, kind);
    EXPECT_TRUE(judgement.classifier_asked);
  }
}

TEST_F(MailFilterTest, MailWithoutFromIsAStrangersEvenBesideAStar) {
  ASSERT_TRUE(test_.Configure("", "[SENDERS]\r\n*=All,1\r\n"));
  const Judgement none = Judge("Subject: x\r\n\r\nhello");
  EXPECT_FALSE(none.spam);
  EXPECT_EQ(none.sender_kind, kSenderNone);
  EXPECT_TRUE(none.classifier_asked);
  EXPECT_TRUE(Judge("From:\r\n\r\nhello").spam);
}

TEST_F(MailFilterTest, MarkedMailIsSpamUnlessAFriendSentIt) {
  const Judgement stranger = Judge(Mail("stranger@x", "hello"), true);
  EXPECT_TRUE(stranger.spam);
  EXPECT_EQ(stranger.reason, JudgementReason::kMarkedDeleted);
  EXPECT_FALSE(stranger.classifier_asked);
  EXPECT_FALSE(Judge(Mail("friend@x", "hello"), true).spam);
  EXPECT_EQ(Judge(Mail("friend@x", "hello"), true).reason, JudgementReason::kFriend);
  EXPECT_EQ(Judge(Mail("blocked@x", "hello"), true).reason, JudgementReason::kBlockedSender);
}

TEST_F(MailFilterTest, TheLowestLevelTakesBlockedSendersMailAlone) {
  Settings("Aggressiveness=0");
  const Judgement stranger = Judge(Mail("stranger@x", "money"));
  EXPECT_FALSE(stranger.spam);
  EXPECT_EQ(stranger.reason, JudgementReason::kLevel);
  EXPECT_EQ(stranger.level, 0);
  EXPECT_FALSE(stranger.classifier_asked);
  EXPECT_TRUE(Judge(Mail("blocked@x", "hello")).spam);
  EXPECT_FALSE(Judge(Mail("friend@x", "money")).spam);
  EXPECT_FALSE(Judge(Mail("seven@x", "money")).spam);
  EXPECT_FALSE(Judge(Mail("stranger@x", "money"), true).spam);
}

TEST_F(MailFilterTest, TheHighestLevelKeepsFriendsMailAlone) {
  Settings("Aggressiveness=100");
  const Judgement stranger = Judge(Mail("stranger@x", "hello"));
  EXPECT_TRUE(stranger.spam);
  EXPECT_EQ(stranger.reason, JudgementReason::kLevel);
  EXPECT_FALSE(stranger.classifier_asked);
  EXPECT_TRUE(Judge(Mail("blocked@x", "hello")).spam);
  EXPECT_TRUE(Judge(Mail("seven@x", "hello")).spam);
  EXPECT_TRUE(Judge("Subject: no sender\r\n\r\nhello").spam);
  EXPECT_FALSE(Judge(Mail("friend@x", "money")).spam);
  EXPECT_FALSE(Judge(Mail("friend@x", "money"), true).spam);
}

TEST_F(MailFilterTest, SwitchedOffEverythingIsKeptAtEveryLevel) {
  for (const char* off : {"Enable=0", "FilterWordEnable=0\r\nFilterLearningEnable=0"}) {
    for (const char* level : {"0", "25", "50", "75", "100"}) {
      Settings(std::string(off) + "\r\nAggressiveness=" + level);
      EXPECT_FALSE(ReadFilterSettings(test_.program()).FilterIsOn());
      for (const char* from : {"blocked@x", "friend@x", "stranger@x"}) {
        const Judgement judgement = Judge(Mail(from, "money"));
        EXPECT_FALSE(judgement.spam) << off << ' ' << level << ' ' << from;
        EXPECT_EQ(judgement.reason, JudgementReason::kFilterOff);
        EXPECT_FALSE(judgement.classifier_asked);
      }
    }
  }
}

// A file handle short, or a disk that fails: the lists of friends are not known, nor whether to filter at
// all.
TEST_F(MailFilterTest, NothingIsSpamWhileTheConfigurationCannotBeRead) {
  ASSERT_TRUE(test_.directory.Remove("Quillbeaker.ini"));
  EXPECT_TRUE(Judge(Mail("friend@x", "money")).spam);
  ASSERT_TRUE(test_.directory.Put("Quillbeaker.ini/not a file", ""));
  const Judgement judgement = Judge(Mail("friend@x", "money"));
  EXPECT_FALSE(judgement.spam);
  EXPECT_EQ(judgement.reason, JudgementReason::kFilterOff);
}

TEST_F(MailFilterTest, SwitchedOffEvenMarkedMailIsKept) {
  Settings("Enable=0");
  EXPECT_FALSE(Judge(Mail("stranger@x", "money"), true).spam);
}

TEST_F(MailFilterTest, OneOfTheTwoFiltersKeepsItOn) {
  EXPECT_TRUE(ReadFilterSettings(test_.program()).FilterIsOn());
  Settings("FilterWordEnable=0");
  EXPECT_TRUE(ReadFilterSettings(test_.program()).FilterIsOn());
  Settings("FilterLearningEnable=0");
  EXPECT_TRUE(ReadFilterSettings(test_.program()).FilterIsOn());
  Settings("Enable=0\r\nFilterLearningEnable=1\r\nFilterWordEnable=1");
  EXPECT_FALSE(ReadFilterSettings(test_.program()).FilterIsOn());
  Settings("Enable=yes");  // no digits: 0
  EXPECT_FALSE(ReadFilterSettings(test_.program()).FilterIsOn());
  Settings("Enable=-1");
  EXPECT_TRUE(ReadFilterSettings(test_.program()).FilterIsOn());
}

TEST_F(MailFilterTest, MailOf65536BytesIsPassedOnUnjudged) {
  const std::string head = Mail("blocked@x", "");
  const Judgement below = Judge(head + std::string(65535 - head.size(), 'x'));
  EXPECT_TRUE(below.spam);
  const Judgement at = Judge(head + std::string(65536 - head.size(), 'x'));
  EXPECT_FALSE(at.spam);
  EXPECT_EQ(at.reason, JudgementReason::kTooLarge);
  EXPECT_FALSE(at.classifier_asked);
  EXPECT_FALSE(Judge(head + std::string(70'000, 'x')).spam);
}

TEST_F(MailFilterTest, OfMailTooLargeTheSendersKindIsToldAllTheSame) {
  Settings("FilterMaxMessageSize=10");
  for (const auto& [from, kind] :
       {std::pair("blocked@x", kSenderBlocked), std::pair("friend@x", kSenderFriend),
        std::pair("stranger@x", kSenderNone)}) {
    const Judgement judgement = Judge(Mail(from, "money"));
    EXPECT_EQ(judgement.sender_kind, kind) << from;
    EXPECT_EQ(judgement.reason, JudgementReason::kTooLarge);
    EXPECT_FALSE(judgement.spam);
  }
}

TEST_F(MailFilterTest, TheSizeLimitIsAKeyAndZeroIsNone) {
  const std::string head = Mail("blocked@x", "");
  Settings("FilterMaxMessageSize=0");
  EXPECT_TRUE(Judge(head + std::string(70'000, 'x')).spam);
  Settings("FilterMaxMessageSize=100");
  EXPECT_TRUE(Judge(head + std::string(99 - head.size(), 'x')).spam);
  EXPECT_FALSE(Judge(head + std::string(100 - head.size(), 'x')).spam);
  Settings("FilterMaxMessageSize=1");
  EXPECT_EQ(Judge(head).reason, JudgementReason::kTooLarge);
}

TEST_F(MailFilterTest, TheSizeLimitHoldsAtTheHighestLevelToo) {
  Settings("Aggressiveness=100");
  const Judgement judgement = Judge(Mail("stranger@x", std::string(70'000, 'x')));
  EXPECT_FALSE(judgement.spam);
  EXPECT_EQ(judgement.reason, JudgementReason::kTooLarge);
}

TEST_F(MailFilterTest, AChangedKeyActsAtTheNextMessage) {
  MailFilter filter(test_.program());
  MailMessage message;
  message.ParseText(Mail("stranger@x", "money"));
  EXPECT_TRUE(filter.Judge(message, false).spam);
  Settings("Aggressiveness=0");
  EXPECT_FALSE(filter.Judge(message, false).spam);
  Settings("Enable=0");
  EXPECT_EQ(filter.Judge(message, false).reason, JudgementReason::kFilterOff);
}

TEST_F(MailFilterTest, WhatIsToldOfAJudgementIsWhatItWentBy) {
  MailFilter filter(test_.program());
  MailMessage message;
  message.ParseText(Mail("stranger@x", "money"));
  const FilterSettings settings = ReadFilterSettings(test_.program());
  ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", "[THRESHOLD]\r\nlevel50=150\r\n"));
  Settings("FilterWordEnable=0");
  const Judgement judgement = filter.Judge(settings, message, false);
  EXPECT_TRUE(judgement.spam);
  EXPECT_EQ(judgement.threshold, 80);
  EXPECT_EQ(judgement.words, "money");
}

TEST_F(MailFilterTest, SpamWordsAreLoadedOncePerPass) {
  MailFilter filter(test_.program());
  MailMessage message;
  message.ParseText(Mail("stranger@x", "money"));
  ASSERT_TRUE(test_.directory.Put("spampoints.ini", "[THRESHOLD]\r\nlevel50=80\r\n"));
  EXPECT_TRUE(filter.Judge(message, false).spam);
  EXPECT_FALSE(Judge(Mail("stranger@x", "money")).spam);
}

TEST_F(MailFilterTest, TheEntryThatMatchedKeepsItsBytes) {
  const std::string lines = "[SENDERS]\r\na@b=Smith, Bob,2\nodd line\r\n  c@d  =  C , 1  \r\n";
  ASSERT_TRUE(test_.directory.Put("Quillbeaker.ini", lines));
  EXPECT_EQ(Judge(Mail("Other Name <a@b>", "x")).sender_kind, kSenderFriend);
  EXPECT_EQ(Judge(Mail("Other Name <c@d>", "x")).sender_kind, kSenderBlocked);
  EXPECT_EQ(Judge(Mail("Other Name <nobody@x>", "x")).sender_kind, kSenderNone);
  EXPECT_EQ(test_.directory.Get("Quillbeaker.ini"), lines);
}

TEST_F(MailFilterTest, JudgingWritesNoFile) {
  const auto before = test_.directory.Names();
  Judge(Mail("blocked@x", "money"));
  Judge(Mail("stranger@x", "money"));
  EXPECT_EQ(test_.directory.Names(), before);
}

}  // namespace
}  // namespace quillbeaker
