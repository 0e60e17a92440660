// SPDX-License-Identifier: MIT
#pragma once

// What has become another in a store, for whoever shows it.

#include <string>
#include <vector>

namespace quillbeaker {

enum class Store { kRecycleBin, kTrainingArea, kStatistics };

// Told when everything is on the disk and no lock is held.
struct StoreChange {
  Store store = Store::kRecycleBin;
  // Bare names of message files that have entries now, and of those that have none any more. Of the training
  // area only the removed ones are known: what was added shows when it is listed.
  std::vector<std::string> added;
  std::vector<std::string> removed;
};

}  // namespace quillbeaker
