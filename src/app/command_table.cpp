// SPDX-License-Identifier: MIT
#include "app/command_table.h"

#include <utility>

namespace quillbeaker {

void CommandTable::Set(int command, std::function<void()> action) {
  actions_[command] = std::move(action);
}

bool CommandTable::Has(int command) const {
  return actions_.contains(command);
}

CommandTable::Result CommandTable::Run(int command) {
  const auto found = actions_.find(command);
  if (found == actions_.end()) return Result::kUnknown;
  if (!under_way_.insert(command).second) return Result::kUnderWay;
  found->second();
  under_way_.erase(command);
  return Result::kDone;
}

}  // namespace quillbeaker
