// SPDX-License-Identifier: MIT
#include "config/texts.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quillbeaker {
namespace {

TEST(Texts, EnglishOriginalsAreTheDocumentedOnes) {
  EXPECT_EQ(EnglishText(Text::kPortInUse),
            "The port Quillbeaker uses , is right now in use. Please check if you have other applications "
            "that use the same "
            "port . You can change this value from Settings dialog");
  EXPECT_EQ(EnglishText(Text::kWrongUserName),
            "The user name in the client mail program has the wrong format.\nUse the right format: "
            "[pop3server]&[username]&[port]");
  EXPECT_EQ(EnglishText(Text::kEnterAValue), "Enter a value!");
  EXPECT_EQ(EnglishText(Text::kConnectingTo), "Connecting to \"%s\"...");
  EXPECT_EQ(EnglishText(Text::kReceivingMessage), "Receiving message %i (%i kb) of %i...");
  EXPECT_EQ(EnglishText(Text::kSenderAlreadyListed),
            "This sender has already been added to this/another list.");
  EXPECT_EQ(EnglishText(Text::kSpamMessages), "Spam messages: %i");
  EXPECT_EQ(EnglishText(Text::kDeletingOldRecycled), "Deleting old messages from recycle bin...");
  EXPECT_EQ(EnglishText(Text::kFilterDisabled), "The Spam-Filter has been disabled");
  EXPECT_EQ(EnglishText(Text::kMessagesDeleted), "- %i messages deleted");
  EXPECT_EQ(EnglishText(Text::kSpamWordsConverted),
            "This version introduces a new spam filter. Because of that the Spam-Words you added have been "
            "converted. Every "
            "word has now a probability of spam from 0% to 100%.\n\nPlease verify your Spam-Words.");
  EXPECT_EQ(EnglishText(Text::kClosingConnection), "Closing connection...");
  EXPECT_EQ(EnglishText(Text::kLearningFilterMark), "(LF:)");
  EXPECT_EQ(EnglishText(Text::kOnBlockedSendersList), "(Blocked Sender)");
  EXPECT_EQ(EnglishText(Text::kTimeoutQuestion),
            "The server has not answered for a long time. Do you want to abort connection?");
  EXPECT_EQ(EnglishText(Text::kTimeoutAbort), "Abort");
  EXPECT_EQ(EnglishText(Text::kTimeoutWait), "Wait...");
}

TEST(Texts, NumbersAreTheOnesOfTheStringTable) {
  EXPECT_EQ(static_cast<int>(Text::kPortInUse), 1);
  EXPECT_EQ(static_cast<int>(Text::kWrongUserName), 111);
  EXPECT_EQ(static_cast<int>(Text::kEnterAValue), 112);
  EXPECT_EQ(static_cast<int>(Text::kConnectingTo), 114);
  EXPECT_EQ(static_cast<int>(Text::kReceivingMessage), 115);
  EXPECT_EQ(static_cast<int>(Text::kSenderAlreadyListed), 123);
  EXPECT_EQ(static_cast<int>(Text::kSpamMessages), 138);
  EXPECT_EQ(static_cast<int>(Text::kDeletingOldRecycled), 143);
  EXPECT_EQ(static_cast<int>(Text::kFilterDisabled), 159);
  EXPECT_EQ(static_cast<int>(Text::kMessagesDeleted), 163);
  EXPECT_EQ(static_cast<int>(Text::kSpamWordsConverted), 169);
  EXPECT_EQ(static_cast<int>(Text::kClosingConnection), 172);
  EXPECT_EQ(static_cast<int>(Text::kLearningFilterMark), 183);
  EXPECT_EQ(static_cast<int>(Text::kOnBlockedSendersList), 184);
}

TEST(Texts, ConversionsAreFilledInInOrder) {
  EXPECT_EQ(Format(Text::kConnectingTo, {"mailserver"}), "Connecting to \"mailserver\"...");
  EXPECT_EQ(Format(Text::kReceivingMessage, {"3", "12", "40"}), "Receiving message 3 (12 kb) of 40...");
  EXPECT_EQ(Format(Text::kMessagesDeleted, {"7"}), "- 7 messages deleted");
  EXPECT_EQ(Format(Text::kSpamMessages, {"0"}), "Spam messages: 0");
}

TEST(Texts, AnArgumentIsNeverAFormatItself) {
  EXPECT_EQ(Format(Text::kConnectingTo, {"%s%n%i 100%"}), "Connecting to \"%s%n%i 100%\"...");
}

TEST(Texts, TheNoticeOfAMessageThatCameNotNamesItAndTheServersWords) {
  const std::string text = Format(Text::kMessageNotDelivered, {"4", "-ERR out of order %s"});
  EXPECT_NE(text.find("4"), std::string::npos);
  EXPECT_NE(text.find("-ERR out of order %s"), std::string::npos);
}

}  // namespace
}  // namespace quillbeaker
