// SPDX-License-Identifier: MIT
#pragma once

// Writes down what the mail check tells, for tests to look at.

#include <string>
#include <vector>

#include "pop3/check_observer.h"

namespace quillbeaker {

class RecordingObserver : public CheckObserver {
 public:
  void PortInUse() override { told.push_back("port in use"); }
  void SessionBegins() override { told.push_back("session begins"); }
  void SessionEnds(const CheckSummary& ended) override {
    told.push_back("session ends");
    summary = ended;
  }
  void WrongUserName() override { told.push_back("wrong user name"); }
  void ShowTooltip(std::string_view text) override { told.push_back("tooltip " + std::string(text)); }
  void ShowStatus(std::string_view text) override { told.push_back("status " + std::string(text)); }
  void ShowSpamCount(std::uint32_t count) override { told.push_back("spam " + std::to_string(count)); }
  void SetRange(std::uint64_t range) override { told.push_back("range " + std::to_string(range)); }
  void SetPosition(std::uint64_t) override {}
  void Advance(std::uint64_t) override {}
  bool IsCancelled() override { return cancelled; }
  void AskToAbort(const AskedServer&, std::function<void()> abort) override { abort(); }
  void AddDeleted(std::uint32_t count) override { told.push_back("deleted " + std::to_string(count)); }
  void StoreChanged(const StoreChange& change) override { changes.push_back(change); }
  void MessageRefused(std::string_view account, std::uint32_t number, std::string_view words) override {
    told.push_back("refused " + std::string(account) + " " + std::to_string(number) + " " +
                   std::string(words));
  }
  void ServerGone(std::string_view account) override {
    told.push_back("server gone " + std::string(account));
  }
  void DeletionsUnconfirmed(std::string_view, std::uint32_t count, std::string_view words) override {
    told.push_back("unconfirmed " + std::to_string(count) + " " + std::string(words));
  }
  void MailNotKept(std::string_view, std::uint32_t count, std::string_view why) override {
    told.push_back("not kept " + std::to_string(count) + " " + std::string(why));
  }
  void RestoredMailStays(std::string_view, std::uint32_t count) override {
    told.push_back("restored mail stays " + std::to_string(count));
  }
  void ClientGaveUp(std::string_view, std::uint32_t ready, std::uint32_t total) override {
    told.push_back("client gave up " + std::to_string(ready) + " of " + std::to_string(total));
  }

  std::vector<std::string> told;
  std::vector<StoreChange> changes;
  CheckSummary summary;
  bool cancelled = false;
};

}  // namespace quillbeaker
