// SPDX-License-Identifier: MIT
#include "ui/presenter/account_window.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "config/texts.h"
#include "presenter/recording_page_view.h"
#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Strings = std::vector<std::string>;

constexpr std::string_view kProviders =
    "[DOMAINS]\r\nexample.com=one\r\nexample.net=two\r\nexample.edu=none\r\n"
    "[one]\r\nServer=pop.example.com\r\nPort=995\r\nSecurity=tls\r\nNeeds=app-password\r\nSource=its "
    "pages\r\n"
    "[two]\r\nServer=mail.example.net\r\nPort=110\r\nSecurity=starttls\r\nSource=x\r\nTried=yes "
    "2024-05-01\r\n"
    "[none]\r\nServer=\r\nSource=x\r\n";

// The window: what it tells a page, it tells the presenter.
class Forward : public SettingsPage {
 public:
  explicit Forward(AccountPresenter& presenter) : presenter_(presenter) {}
  void Load() override { presenter_.Load(); }
  void Pressed(int control) override { presenter_.Pressed(control); }
  void Edited(int control) override { presenter_.Edited(control); }
  void Chosen(int control) override { presenter_.Chosen(control); }
  void Apply(AppliedSettings&) override {}

 private:
  AccountPresenter& presenter_;
};

class AccountWindowTest : public testing::Test {
 protected:
  AccountWindowTest() {
    test_.directory.Put("providers.ini", std::string(kProviders));
    test_.directory.Put("Quillbeaker.ini", "[SERVER]\r\nPort=1110\r\n");
    presenter_ = std::make_unique<AccountPresenter>(
        AccountSurroundings{.program = test_.program(),
                            .copy =
                                [this](std::string_view text) {
                                  copied_.emplace_back(text);
                                  return can_copy_;
                                },
                            .take_password = [this] { return std::exchange(password_, std::string()); },
                            .start_test =
                                [this](Account& account) {
                                  started_.push_back(account);
                                  return can_start_;
                                },
                            .cancel_test = [this] { ++cancelled_; }},
        view_);
    forward_ = std::make_unique<Forward>(*presenter_);
    view_.page = forward_.get();
    forward_->Load();
  }

  std::string Shown(int control) { return view_.TextIn(control); }
  Strings Server() { return {Shown(ACCOUNT_SERVER), Shown(ACCOUNT_PORT), Chosen()}; }
  std::string Chosen() {
    return view_.choices[ACCOUNT_SECURITY][static_cast<std::size_t>(view_.ChosenIn(ACCOUNT_SECURITY))];
  }
  // Everything that a test needs.
  void Enter() {
    view_.Type(ACCOUNT_USER, "ann@example.com");
    password_ = "secret";
  }
  void End(AccountResult result) { presenter_->TestEnded(result); }
  bool EntriesAreEnabled() {
    for (const int control : {ACCOUNT_USER, ACCOUNT_SERVER, ACCOUNT_PORT, ACCOUNT_SECURITY, ACCOUNT_KEEP,
                              ACCOUNT_PASSWORD, ACCOUNT_TEST}) {
      if (view_.IsEnabled(control) == view_.IsEnabled(ACCOUNT_STOP)) ADD_FAILURE() << control;
    }
    return view_.IsEnabled(ACCOUNT_TEST);
  }

  test::TestProgram test_;
  test::RecordingPageView view_;
  std::string password_;
  Strings copied_;
  std::vector<Account> started_;
  int cancelled_ = 0;
  bool can_copy_ = true;
  bool can_start_ = true;
  std::unique_ptr<AccountPresenter> presenter_;
  std::unique_ptr<Forward> forward_;
};

TEST_F(AccountWindowTest, OpensEmptyWithTheUsualSecurity) {
  EXPECT_EQ(Server(), (Strings{"", "995", "TLS"}));
  EXPECT_EQ(view_.choices[ACCOUNT_SECURITY], (Strings{"TLS", "STARTTLS", "None"}));
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_USER), "");
  EXPECT_FALSE(view_.IsEnabled(ACCOUNT_COPY_USER));
  EXPECT_TRUE(EntriesAreEnabled());
  EXPECT_EQ(test_.directory.Names(), (Strings{"Quillbeaker.ini", "providers.ini"}));
}

TEST_F(AccountWindowTest, ProposesTheServerOfAWellKnownProvider) {
  view_.Type(ACCOUNT_USER, "ann@example.com");
  EXPECT_EQ(Server(), (Strings{"pop.example.com", "995", "TLS"}));
  EXPECT_NE(Shown(ACCOUNT_NOTE).find(TextOf(Text::kNeedsAppPassword)), std::string::npos);
  EXPECT_NE(Shown(ACCOUNT_NOTE).find("its pages"), std::string::npos);
  EXPECT_NE(Shown(ACCOUNT_NOTE).find("\r\n"), std::string::npos);
  view_.Type(ACCOUNT_USER, "ann@example.net");
  EXPECT_EQ(Server(), (Strings{"mail.example.net", "110", "STARTTLS"}));
  EXPECT_EQ(Shown(ACCOUNT_NOTE), "") << "tried, and nothing more is needed";
}

TEST_F(AccountWindowTest, GuessesTheServerOfOthers) {
  view_.Type(ACCOUNT_USER, "ann@example.org");
  EXPECT_EQ(view_.choices[ACCOUNT_SERVER], (Strings{"pop.example.org", "mail.example.org"}));
  EXPECT_EQ(Server(), (Strings{"pop.example.org", "995", "TLS"}));
  EXPECT_EQ(Shown(ACCOUNT_NOTE), TextOf(Text::kProposalGuessed));
  view_.Pick(ACCOUNT_SERVER, 1);
  EXPECT_EQ(Shown(ACCOUNT_SERVER), "mail.example.org");
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_USER), "mail.example.org&ann@example.org&995");
}

TEST_F(AccountWindowTest, SaysThatAProviderHasNoPop3) {
  view_.Type(ACCOUNT_USER, "ann@example.edu");
  EXPECT_EQ(Shown(ACCOUNT_SERVER), "");
  EXPECT_EQ(Shown(ACCOUNT_NOTE), TextOf(Text::kNoPop3));
}

TEST_F(AccountWindowTest, SaysThatNoServerIsKnownForAWholeAddressAlone) {
  view_.Type(ACCOUNT_USER, "j\xC3\xB6rg@m\xC3\xBCller.d");
  EXPECT_EQ(Shown(ACCOUNT_NOTE), "");
  view_.Type(ACCOUNT_USER, "j\xC3\xB6rg@m\xC3\xBCller.de");
  EXPECT_EQ(Shown(ACCOUNT_NOTE), TextOf(Text::kNoProposal));
  view_.Type(ACCOUNT_SERVER, "pop.example.com");
  EXPECT_EQ(Shown(ACCOUNT_NOTE), "");
}

TEST_F(AccountWindowTest, NoProposalReplacesWhatThePersonTyped) {
  view_.Type(ACCOUNT_SERVER, "pop.own.example");
  view_.Type(ACCOUNT_PORT, "1995");
  view_.Type(ACCOUNT_USER, "ann@example.net");
  EXPECT_EQ(Server(), (Strings{"pop.own.example", "1995", "TLS"}));
  view_.Type(ACCOUNT_SERVER, "");
  view_.Type(ACCOUNT_USER, "ann@example.com");
  EXPECT_EQ(Server(), (Strings{"pop.example.com", "995", "TLS"}));
}

TEST_F(AccountWindowTest, NoProposalReplacesAPortOrASecurityThatThePersonChose) {
  view_.Pick(ACCOUNT_SECURITY, 1);
  view_.Type(ACCOUNT_USER, "ann@example.com");
  EXPECT_EQ(Server(), (Strings{"pop.example.com", "110", "STARTTLS"}));
  view_.Type(ACCOUNT_SERVER, "");
  view_.Type(ACCOUNT_USER, "ann@example.org");
  EXPECT_EQ(Server(), (Strings{"pop.example.org", "995", "TLS"}));
  view_.Type(ACCOUNT_PORT, "1995");
  view_.Type(ACCOUNT_USER, "ann@example.net");
  EXPECT_EQ(Server(), (Strings{"mail.example.net", "1995", "TLS"}));
  view_.Type(ACCOUNT_PORT, "110");
  view_.Type(ACCOUNT_USER, "ann@example.com");
  view_.Type(ACCOUNT_USER, "ann@example.net");
  EXPECT_EQ(Server(), (Strings{"mail.example.net", "110", "STARTTLS"})) << "the proposal's own port";
  view_.Pick(ACCOUNT_SERVER, 0);
  view_.Type(ACCOUNT_USER, "ann@example.com");
  EXPECT_EQ(Server(), (Strings{"pop.example.com", "995", "TLS"})) << "a chosen proposal is taken whole";
}

TEST_F(AccountWindowTest, ThePortFollowsTheSecurityWhileItIsTheUsualOne) {
  view_.Pick(ACCOUNT_SECURITY, 1);
  EXPECT_EQ(Shown(ACCOUNT_PORT), "110");
  view_.Pick(ACCOUNT_SECURITY, 0);
  EXPECT_EQ(Shown(ACCOUNT_PORT), "995");
  view_.Type(ACCOUNT_PORT, "2995");
  view_.Pick(ACCOUNT_SECURITY, 2);
  EXPECT_EQ(Shown(ACCOUNT_PORT), "2995");
  EXPECT_EQ(Shown(ACCOUNT_NOTE), TextOf(Text::kSecurityWarning));
}

TEST_F(AccountWindowTest, ShowsAndCopiesWhatTheMailProgramNeeds) {
  view_.Type(ACCOUNT_USER, "a&b@example.com");
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_SERVER), "127.0.0.1");
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_PORT), "1110");
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_USER), "pop.example.com&a&&b@example.com&995");
  for (const int button : {ACCOUNT_COPY_SERVER, ACCOUNT_COPY_PORT, ACCOUNT_COPY_USER}) {
    EXPECT_TRUE(view_.IsEnabled(button));
    presenter_->Pressed(button);
  }
  EXPECT_EQ(copied_, (Strings{"127.0.0.1", "1110", "pop.example.com&a&&b@example.com&995"}));
  EXPECT_TRUE(view_.warnings.empty());
  can_copy_ = false;
  presenter_->Pressed(ACCOUNT_COPY_PORT);
  EXPECT_TRUE(view_.warnings.empty());
  EXPECT_EQ(view_.told, Strings{std::string(TextOf(Text::kNotCopied))});
  EXPECT_EQ(Shown(ACCOUNT_NOTE).find(TextOf(Text::kNoAccountName)), std::string::npos);
  view_.Type(ACCOUNT_USER, "a b@example.com");
  EXPECT_EQ(Shown(ACCOUNT_LOCAL_USER), "") << "no mail program can say it";
  EXPECT_EQ(Shown(ACCOUNT_NOTE).find(TextOf(Text::kNoAccountName)), 0U);
  view_.Type(ACCOUNT_PORT, "");
  EXPECT_EQ(Shown(ACCOUNT_NOTE).find(TextOf(Text::kNoAccountName)), std::string::npos) << "not yet";
  EXPECT_FALSE(view_.IsEnabled(ACCOUNT_COPY_SERVER));
}

TEST_F(AccountWindowTest, ShowsTheStepsForTheMailProgram) {
  const std::string first = Shown(ACCOUNT_STEPS);
  EXPECT_NE(first.find("Password, transmitted insecurely"), std::string::npos);
  ASSERT_EQ(view_.choices[ACCOUNT_MAIL_PROGRAM].size(), 4U);
  for (int i = 1; i < 4; ++i) {
    view_.Pick(ACCOUNT_MAIL_PROGRAM, i);
    EXPECT_NE(Shown(ACCOUNT_STEPS), first);
    EXPECT_EQ(Shown(ACCOUNT_STEPS).find("1. "), 0U);
    EXPECT_NE(Shown(ACCOUNT_STEPS).find("\r\n4. "), std::string::npos);
  }
}

TEST_F(AccountWindowTest, TestsWhatIsEntered) {
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  ASSERT_EQ(started_.size(), 1U);
  EXPECT_EQ(started_[0].server, "pop.example.com");
  EXPECT_EQ(started_[0].port, 995);
  EXPECT_EQ(started_[0].user, "ann@example.com");
  EXPECT_EQ(started_[0].password, "secret");
  EXPECT_EQ(started_[0].security, Security::kTls);
  EXPECT_EQ(Shown(ACCOUNT_RESULT), TextOf(Text::kAccountTesting));
  EXPECT_FALSE(EntriesAreEnabled());
  EXPECT_EQ(view_.focus, ACCOUNT_STOP);
  presenter_->Pressed(ACCOUNT_TEST);
  EXPECT_EQ(started_.size(), 1U) << "one at a time";
  AccountResult works;
  works.outcome = AccountOutcome::kWorks;
  works.messages = 7;
  End(works);
  EXPECT_EQ(Shown(ACCOUNT_RESULT), "The login works. Messages in the mailbox: 7.");
  EXPECT_TRUE(EntriesAreEnabled());
  EXPECT_EQ(view_.focus, ACCOUNT_TEST);
  EXPECT_EQ(test_.directory.Get("Quillbeaker.ini"), "[SERVER]\r\nPort=1110\r\n");
}

TEST_F(AccountWindowTest, CanBeCancelled) {
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  presenter_->Pressed(ACCOUNT_STOP);
  EXPECT_EQ(cancelled_, 1);
  EXPECT_FALSE(EntriesAreEnabled()) << "until the test has ended";
  AccountResult cancelled;
  cancelled.outcome = AccountOutcome::kCancelled;
  End(cancelled);
  EXPECT_EQ(Shown(ACCOUNT_RESULT), TextOf(Text::kAccountTestCancelled));
  EXPECT_TRUE(EntriesAreEnabled());
}

TEST_F(AccountWindowTest, TheEndOfATestLeavesTheFocusWhereThePersonTookIt) {
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  view_.focus = ACCOUNT_STEPS;
  End({});
  EXPECT_EQ(view_.focus, ACCOUNT_STEPS);
  EXPECT_TRUE(EntriesAreEnabled());
}

TEST_F(AccountWindowTest, SaysThatTheSecurityCouldNotBeSaved) {
  Enter();
  test_.directory.SetReadOnly("Quillbeaker.ini", true);
  presenter_->Pressed(ACCOUNT_KEEP);
  test_.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_TRUE(view_.warnings.empty());
  ASSERT_EQ(view_.told.size(), 1U);
  EXPECT_NE(view_.told[0].find("Quillbeaker.ini"), std::string::npos);
}

TEST_F(AccountWindowTest, SaysWhatToDoAboutAFailure) {
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  AccountResult refused;
  refused.problem.failure = LoginFailure::kPasswordRefused;
  refused.problem.account = "ann@example.com @ pop.example.com";
  End(refused);
  EXPECT_NE(Shown(ACCOUNT_RESULT).find(TextOf(Text::kAdvicePassword)), std::string::npos);
  EXPECT_EQ(view_.focus, ACCOUNT_PASSWORD) << "it was used up";
  EXPECT_NE(Shown(ACCOUNT_RESULT).find(TextOf(Text::kNeedsAppPassword)), std::string::npos);
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  refused.outcome = AccountOutcome::kInUse;
  End(refused);
  EXPECT_EQ(Shown(ACCOUNT_RESULT).find(TextOf(Text::kNeedsAppPassword)), std::string::npos);
  EXPECT_NE(Shown(ACCOUNT_RESULT).find("in use right now"), std::string::npos);
  can_start_ = false;
  Enter();
  presenter_->Pressed(ACCOUNT_TEST);
  EXPECT_EQ(Shown(ACCOUNT_RESULT), TextOf(Text::kTestNotStarted));
  EXPECT_TRUE(EntriesAreEnabled());
}

TEST_F(AccountWindowTest, AsksForWhatIsMissing) {
  std::string missing(TextOf(Text::kEnterAValue));
  const auto expect_focus = [&](int control) {
    view_.warnings.clear();
    presenter_->Pressed(ACCOUNT_TEST);
    EXPECT_EQ(view_.warnings, Strings{missing});
    EXPECT_EQ(view_.focus, control);
  };
  expect_focus(ACCOUNT_USER);
  view_.Type(ACCOUNT_USER, "ann");
  expect_focus(ACCOUNT_SERVER);
  view_.Type(ACCOUNT_SERVER, "pop.example.com");
  view_.Type(ACCOUNT_PORT, "65536");
  missing = "Please enter a value between 1 and 65535.";
  expect_focus(ACCOUNT_PORT);
  missing = TextOf(Text::kEnterAValue);
  view_.Type(ACCOUNT_PORT, "");
  expect_focus(ACCOUNT_PORT);
  view_.Type(ACCOUNT_PORT, "110");
  expect_focus(ACCOUNT_PASSWORD);
  EXPECT_TRUE(started_.empty());
}

TEST_F(AccountWindowTest, KeepsTheSecurityForMailChecksOnRequest) {
  Enter();
  view_.Pick(ACCOUNT_SECURITY, 1);
  presenter_->Pressed(ACCOUNT_TEST);
  AccountResult works;
  works.outcome = AccountOutcome::kWorks;
  End(works);
  EXPECT_NE(Shown(ACCOUNT_RESULT).find(TextOf(Text::kSecurityDiffers)), std::string::npos);
  EXPECT_EQ(test_.directory.Get("Quillbeaker.ini"), "[SERVER]\r\nPort=1110\r\n");
  presenter_->Pressed(ACCOUNT_KEEP);
  EXPECT_EQ(test_.directory.Get("Quillbeaker.ini"),
            "[SERVER]\r\nPort=1110\r\n[SECURITY]\r\npop.example.com:110=starttls\r\n");
  EXPECT_NE(Shown(ACCOUNT_RESULT).find("pop.example.com:110"), std::string::npos);
  password_ = "secret";
  presenter_->Pressed(ACCOUNT_TEST);
  End(works);
  EXPECT_EQ(Shown(ACCOUNT_RESULT).find(TextOf(Text::kSecurityDiffers)), std::string::npos);
}

TEST_F(AccountWindowTest, AResultThatNobodyWaitsForChangesNothing) {
  AccountResult works;
  works.outcome = AccountOutcome::kWorks;
  End(works);
  EXPECT_EQ(Shown(ACCOUNT_RESULT), "");
}

}  // namespace
}  // namespace quillbeaker
