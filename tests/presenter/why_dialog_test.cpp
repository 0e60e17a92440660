// SPDX-License-Identifier: MIT
#include "ui/presenter/why_dialog.h"

#include <gtest/gtest.h>

#include "config/texts.h"
#include "extras/explanation_text.h"
#include "presenter/recording_page_view.h"
#include "support/learn_message.h"
#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

class WhyDialogTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(one.directory.Put(
        "spampoints.ini", "[PROBABILITIES]\r\nmoney=60\r\noffer=30\r\n[THRESHOLD]\r\nlevel50=80\r\n"));
    ASSERT_TRUE(one.directory.MakeFolder("training"));
    ASSERT_TRUE(one.Configure("", "[SENDERS]\r\nbad@x.example=B,1\r\n"));
  }
  MailToExplain Put(const std::string& bytes) {
    EXPECT_TRUE(one.directory.Put("mail.eml", bytes));
    return {.path = one.directory.PathOf("mail.eml"), .was_spam = true};
  }
  // What the dialog shows of the mail.
  std::string Shown(const MailToExplain& mail) {
    dialog = std::make_unique<WhyDialog>(
        WhyDialog::Surroundings{.program = one.program(),
                                .copy =
                                    [this](std::string_view text) {
                                      copied = text;
                                      return can_copy;
                                    },
                                .show_word = [this](const std::string& word) { word_shown = word; }},
        mail);
    dialog->Load(view);
    return view.texts[WHY_TEXT];
  }
  static bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  test::TestProgram one;
  test::RecordingPageView view;
  std::unique_ptr<WhyDialog> dialog;
  std::string copied;
  std::string word_shown;
  bool can_copy = true;
};

constexpr char kOffer[] = "From: Ann <ann@x.example>\r\nSubject: an offer\r\n\r\nan offer of money\r\n";

TEST_F(WhyDialogTest, SaysWhatDecidedAndWhatItWentBy) {
  const std::string text = Shown(Put(kOffer));
  EXPECT_TRUE(
      Has(text,
          "With today's lists and settings this message is spam. What decided: spam words against the "
          "threshold of 80 percent at level 50.\r\n"))
      << text;
  EXPECT_TRUE(Has(text, "Sender: ann@x.example (Ann), on neither list\r\n")) << text;
  EXPECT_TRUE(Has(text, "\"offer\" in the subject and in the text: twice 30 percent\r\n")) << text;
  EXPECT_TRUE(Has(text, "\"money\" in the text: 60 percent\r\n")) << text;
  EXPECT_TRUE(Has(text, "Their sum is 120 percent. At level 50 a message is spam from 80 percent on.\r\n"))
      << text;
  EXPECT_FALSE(Has(text, TextOf(Text::kWhyWasSpam).data())) << text;
  EXPECT_EQ(view.choices[WHY_WORD], (std::vector<std::string>{"offer", "money"}));
  EXPECT_EQ(view.focus, BUTTON_CANCEL);
}

TEST_F(WhyDialogTest, SaysThatTodaysVerdictIsAnotherOne) {
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[THRESHOLD]\r\nlevel50=200\r\n"));
  MailToExplain mail = Put(kOffer);
  EXPECT_TRUE(Has(Shown(mail), std::string(TextOf(Text::kWhyWasSpam)) + "\r\n"));
  mail.was_spam = false;
  EXPECT_FALSE(Has(Shown(mail), TextOf(Text::kWhyWasGood).data()));
  ASSERT_TRUE(one.directory.Remove("spampoints_user.ini"));
  EXPECT_TRUE(Has(Shown(mail), std::string(TextOf(Text::kWhyWasGood)) + "\r\n"));
  mail.was_spam.reset();
  EXPECT_FALSE(Has(Shown(mail), "When it was received"));
}

TEST_F(WhyDialogTest, NamesTheListsEntryOfABlockedSender) {
  const std::string text = Shown(Put("From: bad@x.example\r\n\r\nhello\r\n"));
  EXPECT_TRUE(Has(text, "What decided: sender on the Blocked Senders List.\r\n")) << text;
  EXPECT_TRUE(Has(text, "on the Blocked Senders List by the entry bad@x.example\r\n")) << text;
  EXPECT_TRUE(Has(text, "These words were not asked: sender on the Blocked Senders List.")) << text;
  EXPECT_FALSE(view.IsEnabled(WHY_WORD));
  EXPECT_FALSE(view.IsEnabled(WHY_SHOW_WORD));
}

TEST_F(WhyDialogTest, GivesTheLearntWordsWithTheirWeights) {
  MailMessage good, spam;
  good.ParseText("Subject:\r\n\r\nfriendly meeting\r\n");
  spam.ParseText("Subject:\r\n\r\ncasino jackpot\r\n");
  for (int i = 0; i < 6; ++i) {
    ASSERT_TRUE(LearnMessage(one.program(), good, LearnKind::kGood));
    ASSERT_TRUE(LearnMessage(one.program(), spam, LearnKind::kSpam));
  }
  const std::string text = Shown(Put("From: ann@x.example\r\nSubject: hi\r\n\r\ncasino jackpot\r\n"));
  EXPECT_TRUE(Has(text, "What decided: learnt words.\r\n")) << text;
  EXPECT_TRUE(Has(text, "(learnt from 6 good and 6 spam messages):\r\n")) << text;
  EXPECT_TRUE(Has(text, "\"casino\": 0 times in good mail, 6 times in spam; spam to 99")) << text;
  EXPECT_TRUE(Has(text, "From 90 percent on it is spam and up to 0.00003 percent it is good;")) << text;
}

TEST_F(WhyDialogTest, SaysWhatAMailWouldBeThatIsTooLarge) {
  ASSERT_TRUE(one.Configure("FilterMaxMessageSize=50"));
  const std::string text = Shown(Put(kOffer));
  EXPECT_TRUE(Has(text, "this message is good. What decided: too large to be judged.")) << text;
  EXPECT_TRUE(
      Has(text, "mail of 50 bytes and more is passed on without a judgement. Otherwise it would be spam. "))
      << text;
}

TEST_F(WhyDialogTest, ReadsAStoredTextAsLearningDoes) {
  MailToExplain mail = Put("From: bad@x.example\r\n\r\nmoney\r\n");
  mail.stored_subject = "an offer";
  const std::string text = Shown(mail);
  EXPECT_TRUE(Has(text, "Sender: none\r\n")) << text;
  EXPECT_TRUE(Has(text, "\"offer\" in the subject: 30 percent\r\n")) << text;
  mail.stored_sender = "bad@x.example";
  EXPECT_TRUE(Has(Shown(mail), "What decided: sender on the Blocked Senders List.\r\n"));
  EXPECT_TRUE(Has(text, "\"money\" in the text: 60 percent\r\n")) << text;
}

TEST_F(WhyDialogTest, SaysThatTheMailIsGone) {
  EXPECT_EQ(Shown({.path = one.directory.PathOf("none.eml")}), TextOf(Text::kMailGone));
  EXPECT_EQ(Shown({}), TextOf(Text::kMailGone));
  EXPECT_FALSE(view.IsEnabled(WHY_SHOW_WORD));
  dialog->Pressed(view, WHY_SHOW_WORD);
  EXPECT_FALSE(dialog->IsAnswered());
}

TEST_F(WhyDialogTest, CopiesItAll) {
  const std::string text = Shown(Put(kOffer));
  dialog->Pressed(view, WHY_COPY);
  EXPECT_EQ(copied, text);
  EXPECT_TRUE(view.told.empty());
  can_copy = false;
  dialog->Pressed(view, WHY_COPY);
  EXPECT_EQ(view.told, std::vector<std::string>{std::string(TextOf(Text::kNotCopied))});
  EXPECT_FALSE(dialog->IsAnswered());
}

TEST_F(WhyDialogTest, GoesToTheChosenWord) {
  Shown(Put(kOffer));
  view.chosen[WHY_WORD] = 1;
  dialog->Pressed(view, WHY_SHOW_WORD);
  EXPECT_EQ(word_shown, "money");
  EXPECT_TRUE(dialog->IsAnswered());
}

}  // namespace
}  // namespace quillbeaker
