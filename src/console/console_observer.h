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
  void MessageRefused(std::string_view, std::uint32_t, std::string_view) override {}
  void ServerGone(std::string_view) override {}
  void DeletionsUnconfirmed(std::string_view, std::uint32_t, std::string_view) override {}
  void MailNotKept(std::string_view, std::uint32_t, std::string_view) override {}
  void ClientGaveUp(std::string_view, std::uint32_t, std::uint32_t) override {}

 private:
  struct Questions;
  using OnAnswer = std::function<void(Questions& questions, const std::optional<std::string>& answer)>;
  // What a question's thread reaches; it may outlive everything else, and waits for a line that may never
  // come.
  struct Questions {
    std::mutex mutex;
    Program* program = nullptr;  // null once the observer is gone
    // One at a time: there is one terminal to answer at, and one thread that reads it.
    OnAnswer on_answer;       // of the question that stands; empty when none does
    std::string trust_asked;  // its server, when it is whether to trust that
    TrustQuestions trust;
  };
  // Lets a thread of its own wait for the answer; false when that cannot be. A question whether to trust
  // `trust_asked` gives way to another one; nothing else may stand.
  bool Ask(OnAnswer on_answer, std::string trust_asked = {});
  enum class Standing { kNone, kTrust, kOther };
  Standing StandingQuestion();
  void AskToTrust(const LoginProblem& problem);
  void PrintLine(std::string_view text);
  void DrawProgress(bool at_once);

  Program& program_;
  ProgressLine progress_;
  const bool can_ask_;
  std::uint64_t range_ = 0;
  std::uint64_t position_ = 0;
  std::string activity_;
  std::string trouble_;  // why messages did not come, for the line at the end
  std::uint32_t spam_count_ = 0;
  std::shared_ptr<Questions> questions_ = std::make_shared<Questions>();
};

}  // namespace quillbeaker
