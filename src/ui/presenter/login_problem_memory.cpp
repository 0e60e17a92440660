// SPDX-License-Identifier: MIT
#include "ui/presenter/login_problem_memory.h"

#include <algorithm>
#include <string_view>

namespace quillbeaker {
namespace {

std::string WithoutNumbers(std::string_view text) {
  std::string words;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (word.find_first_of("0123456789") == word.npos) words.append(word).append(" ");
  }
  return words;
}

bool IsSameReason(const LoginProblem& a, const LoginProblem& b) {
  return a.failure == b.failure && WithoutNumbers(a.detail) == WithoutNumbers(b.detail);
}

}  // namespace

bool LoginProblemMemory::IsNew(const LoginProblem& problem) {
  const auto [entry, inserted] = told_.try_emplace(problem.server, problem);
  if (!inserted && IsSameReason(entry->second, problem)) {
    return false;
  }
  entry->second = problem;
  return true;
}

void LoginProblemMemory::Forget(const std::string& server) {
  told_.erase(server);
}

}  // namespace quillbeaker
