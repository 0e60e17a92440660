// SPDX-License-Identifier: MIT
#pragma once

// Shows mail checks in a terminal: a progress bar while one runs, one line when it is over. Where no terminal
// is, the lines alone.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "config/program.h"
#include "console/progress_line.h"
#include "pop3/check_observer.h"

namespace quillbeaker {

class ConsoleObserver : public CheckObserver {
 public:
  // `program` must outlive the observer.
  explicit ConsoleObserver(Program& program);

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
  void AskToAbort(std::function<void()> abort) override;
  void AddDeleted(std::uint32_t) override {}

 private:
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
  // Shared with the thread of the question, which may outlive everything else.
  std::shared_ptr<std::atomic<bool>> question_stands_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace quillbeaker
