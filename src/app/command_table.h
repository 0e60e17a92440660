// SPDX-License-Identifier: MIT
#pragma once

// What the commands of the main window do. A command without an entry has no window in this program: the menu
// shows it greyed, and it does nothing when it arrives all the same. A command that shows a box takes
// messages until that is answered: the same command does not begin a second time under it. UI thread.

#include <functional>
#include <map>
#include <set>

namespace quillbeaker {

class CommandTable {
 public:
  void Set(int command, std::function<void()> action);
  bool Has(int command) const;
  enum class Result { kDone, kUnknown, kUnderWay };
  // kUnderWay: it has not returned yet, and was not begun again.
  Result Run(int command);

 private:
  std::map<int, std::function<void()>> actions_;
  std::set<int> under_way_;
};

}  // namespace quillbeaker
