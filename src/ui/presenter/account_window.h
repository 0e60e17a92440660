// SPDX-License-Identifier: MIT
#pragma once

// The window that sets up a mail account: proposes the server, shows what goes into the mail program, and
// tries the account out. Knows no window.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "extras/account/account_check.h"
#include "extras/account/mail_client_settings.h"
#include "extras/account/providers.h"
#include "ui/presenter/page_view.h"

namespace quillbeaker {

// What the presenter asks of the system and of the window.
struct AccountSurroundings {
  Program& program;
  std::function<bool(std::string_view text)> copy;  // into the clipboard; false when that failed
  // What stands in the field for the password, which is empty from then on.
  std::function<std::string()> take_password;
  // False when no test could be started; else TestEnded is called once. Overwrites the password.
  std::function<bool(Account& account)> start_test;
  std::function<void()> cancel_test;
};

// One thread. The window calls it as the pages of the settings are called.
class AccountPresenter {
 public:
  AccountPresenter(AccountSurroundings surroundings, PageView& view);

  void Load();
  void Edited(int control);
  void Chosen(int control);
  void Pressed(int control);
  void TestEnded(const AccountResult& result);

 private:
  // What is in the fields; nothing when one of them is empty or the port is none.
  struct Entries {
    std::string user;
    std::string server;
    std::int32_t port = 0;
    Security security = Security::kTls;
  };
  Entries Typed() const;
  bool CheckEntries(const Entries& entries);

  void Propose();
  void Take(const ServerProposal& proposal);
  bool CanPassOn(const Entries& entries) const;
  bool LacksProposal(std::string_view user) const;
  void ChangeSecurity();
  void ShowNote();
  void ShowSettings();
  void ShowSteps();
  void ShowResult(const std::string& text);
  void EnableEntries(bool enabled);
  void Copy(int control);
  void Keep();
  void Test();

  const AccountSurroundings surroundings_;
  PageView& view_;
  const ProviderTable providers_;
  Proposals proposals_;
  Security security_ = Security::kTls;  // that is chosen
  bool has_own_server_ = false;         // the person has chosen a server: no proposal replaces it
  bool has_own_port_ = false;
  bool has_own_security_ = false;
  bool is_filling_ = false;        // a change of a field is the presenter's own
  std::optional<Entries> tested_;  // while a test runs
};

}  // namespace quillbeaker
