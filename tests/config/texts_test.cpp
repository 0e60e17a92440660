// SPDX-License-Identifier: MIT
#include "config/texts.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

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

TEST(Texts, EveryNumberOfTheStringTableIsThereAndTheFreeOnesAreFree) {
  const std::set<int> free{121, 122, 133, 134, 135, 136, 144, 157, 158, 164, 170, 173};
  std::set<int> numbers;
  for (const TextRow& row : AllTexts()) {
    numbers.insert(static_cast<int>(row.text));
    EXPECT_FALSE(row.english.empty()) << static_cast<int>(row.text);
  }
  for (int number = 110; number <= 213; ++number) {
    EXPECT_EQ(numbers.contains(number), !free.contains(number)) << number;
  }
  for (const int number : {1, 900, 925, 950, 975, 1000, 4001, 4002, 4003, 4005, 4006, 4007, 4008, 4009, 4010,
                           4011, 4015, 4016}) {
    EXPECT_TRUE(numbers.contains(number)) << number;
  }
}

TEST(Texts, AFormatIsCalledOne) {
  for (const TextRow& row : AllTexts()) {
    // Deliberate: 169 holds percent signs and is shown as it is.
    const bool conversions = !ConversionsOf(row.english).empty() && row.text != Text::kSpamWordsConverted;
    EXPECT_EQ(row.kind == TextKind::kFormat, conversions) << static_cast<int>(row.text);
  }
}

TEST(Texts, ConversionsAreFoundWholeAndAStrayPercentSignIsOneOfItsOwn) {
  using Found = std::vector<std::string_view>;
  EXPECT_EQ(ConversionsOf("no conversion"), Found{});
  EXPECT_EQ(ConversionsOf("%.1f kb of %.1f kb (%-08.3ld)"), (Found{"%.1f", "%.1f", "%-08.3ld"}));
  EXPECT_EQ(ConversionsOf("100%% of %s%%%i"), (Found{"%s", "%i"}));
  EXPECT_EQ(ConversionsOf("%"), Found{"%"});
  EXPECT_EQ(ConversionsOf("%5"), Found{"%"});
  EXPECT_EQ(ConversionsOf("%1$s"), Found{"%"});
  EXPECT_EQ(ConversionsOf("%!"), Found{"%"});
  EXPECT_EQ(ConversionsOf(""), Found{});
}

// Leaves the texts English again, whatever the test does.
class TranslatedTexts : public testing::Test {
 protected:
  ~TranslatedTexts() override { SetTranslatedTexts({}); }
};

TEST_F(TranslatedTexts, ReplaceTheEnglishOnesAndLeaveTheOthers) {
  EXPECT_EQ(SetTranslatedTexts({{140, "L\u00f6schen"}, {163, "- %i Nachrichten gel\u00f6scht"}}), 0U);
  EXPECT_EQ(TextOf(Text::kDelete), "L\u00f6schen");
  EXPECT_EQ(Format(Text::kMessagesDeleted, {"7"}), "- 7 Nachrichten gel\u00f6scht");
  EXPECT_EQ(EnglishText(Text::kDelete), "Delete");
  EXPECT_EQ(TextOf(Text::kRestore), "Restore");
  SetTranslatedTexts({});
  EXPECT_EQ(TextOf(Text::kDelete), "Delete");
}

TEST_F(TranslatedTexts, MustHaveTheSameConversionsInTheSameOrder) {
  EXPECT_EQ(SetTranslatedTexts({{114, "%i"},
                                {115, "%i Kb in %s, %i"},
                                {127, "%.1f %.1f (%.2f)"},
                                {138, "Spam: %n"},
                                {146, "%i %i"},
                                {154, "no conversion"},
                                {163, "%i 100%"}}),
            7U);
  for (const int number : {114, 115, 127, 138, 146, 154, 163}) {
    EXPECT_EQ(TextOf(static_cast<Text>(number)), EnglishText(static_cast<Text>(number))) << number;
  }
  EXPECT_EQ(SetTranslatedTexts({{163, "%i = 100%%"}}), 0U);
  EXPECT_EQ(Format(Text::kMessagesDeleted, {"7"}), "7 = 100%");
}

TEST_F(TranslatedTexts, OfWhatIsNoFormatMayHoldPercentSigns) {
  EXPECT_EQ(SetTranslatedTexts({{169, "von 0% bis 100%. %s"}}), 0U);
  EXPECT_EQ(TextOf(Text::kSpamWordsConverted), "von 0% bis 100%. %s");
}

TEST_F(TranslatedTexts, OfKeptOrUnknownTextsAreRefused) {
  EXPECT_EQ(SetTranslatedTexts({{183, "(LF)"}, {202, "Anders"}, {209, "1.8"}, {121, "x"}, {-1, "x"}}), 5U);
  EXPECT_EQ(TextOf(Text::kLearningFilterMark), "(LF:)");
  EXPECT_EQ(TextOf(Text::kTitle), "Quillbeaker");
  EXPECT_EQ(TextOf(static_cast<Text>(121)), "");
}

}  // namespace
}  // namespace quillbeaker
