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

bool CommandTable::Run(int command) const {
  const auto found = actions_.find(command);
  if (found == actions_.end()) {
    return false;
  }
  found->second();
  return true;
}

}  // namespace quillbeaker
