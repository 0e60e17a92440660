// SPDX-License-Identifier: MIT
#pragma once

// Shows mail checks in a terminal: a progress bar while one runs, one line when it is over. Where no terminal
// is, the lines alone.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "config/program.h"
#include "console/progress_line.h"
#include "extras/mail_trouble.h"
#include "extras/trust_questions.h"
#include "pop3/check_observer.h"

namespace quillbeaker {

class ConsoleObserver : public CheckObserver {
 public:
  // `program` must outlive the observer.
  explicit ConsoleObserver(Program& program);
  ~ConsoleObserver() override;

  void PortInUse() override;
  void SessionBegins() override;
  void SessionEnds(const CheckSummary& summary) override;
  void WrongUserName() override;
  void ShowTooltip(std::string_view text) override;
  void ShowStatus(std::string_view text) override;
  void ShowSpamCount(std::uint32_t count) override;
  void SetRange(std::uint64_t range) override;
  void SetPosition(std::uint64_t position) override;
  void Advance(std::uint64_t amount) override;
  bool IsCancelled() override { return false; }
  void AskToAbort(const AskedServer& server, std::function<void()> abort) override;
  void AddDeleted(std::uint32_t) override {}
  void StoreChanged(const StoreChange&) override {}
  void MessageRefused(std::string_view account, std::uint32_t number, std::string_view words) override;
  void ServerGone(std::string_view account) override;
  void DeletionsUnconfirmed(std::string_view account, std::uint32_t count, std::string_view words) override;
  void MailNotKept(std::string_view account, std::uint32_t count, std::string_view why) override;
  void RestoredMailStays(std::string_view account, std::uint32_t count) override;
  void ClientGaveUp(std::string_view account, std::uint32_t ready, std::uint32_t total) override;

 private:
  struct Questions;
  using OnAnswer = std::function<void(Questions& questions, const std::optional<std::string>& answer)>;
  // What a question is about.
  struct Asked {
    std::string trust{};        // the server, when it is whether to trust that; else empty
    std::uint32_t session = 0;  // of a time-out: which session waits, and for whom
    AskedServer server{};
    bool operator==(const Asked&) const = default;
  };
  // What a question's thread reaches; it may outlive everything else, and waits for a line that may never
  // come.
  struct Questions {
    std::mutex mutex;
    Program* program = nullptr;  // null once the observer is gone
    // One at a time: there is one terminal to answer at, and one thread that reads it.
    OnAnswer on_answer;  // of the question that stands; empty when none does
    Asked asked;
    TrustQuestions trust;
  };
  // Lets a thread of its own wait for the answer; false when that cannot be. The question that stands gives
  // way to this one.
  bool Ask(OnAnswer on_answer, Asked asked);
  // True when `asked` stands already; its answer goes to `on_answer` from now on.
  bool TakeOver(const OnAnswer& on_answer, const Asked& asked);
  void AskToTrust(const LoginProblem& problem);
  void PrintLine(std::string_view text);
  void PrintTrouble(const MailTrouble& trouble);
  void DrawProgress(bool at_once);

  Program& program_;
  ProgressLine progress_;
  const bool can_ask_;
  std::uint64_t range_ = 0;
  std::uint64_t position_ = 0;
  std::string activity_;
  std::string status_;  // the latest one that is not cleared, for the line at the end
  std::uint32_t spam_count_ = 0;
  std::uint32_t session_ = 0;  // counts them: a question belongs to the one that asked
  std::shared_ptr<Questions> questions_ = std::make_shared<Questions>();
};

}  // namespace quillbeaker
