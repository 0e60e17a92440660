// SPDX-License-Identifier: MIT
#pragma once

// What the commands of the main window do. A command without an entry has no window in this program: the menu
// shows it greyed, and it does nothing when it arrives all the same.

#include <functional>
#include <map>

namespace quillbeaker {

class CommandTable {
 public:
  void Set(int command, std::function<void()> action);
  bool Has(int command) const;
  // False when there is no such command.
  bool Run(int command) const;

 private:
  std::map<int, std::function<void()>> actions_;
};

}  // namespace quillbeaker
