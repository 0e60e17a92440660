// SPDX-License-Identifier: MIT
#include "ui/store_changes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillbeaker {
namespace {

TEST(StoreChanges, AreToldToWhoeverShowsThatStoreUntilTheSubscriptionEnds) {
  StoreChanges changes;
  std::vector<std::string> told;
  const auto note = [&told](const std::string& who) {
    return [&told, who](const StoreChange& change) { told.push_back(who + change.added.at(0)); };
  };
  StoreChanges::Subscription first = changes.Subscribe(Store::kRecycleBin, note("first "));
  const auto second = changes.Subscribe(Store::kRecycleBin, note("second "));
  const auto training = changes.Subscribe(Store::kTrainingArea, note("training "));
  changes.Tell({.store = Store::kRecycleBin, .added = {"a"}, .removed = {}});
  first = nullptr;
  changes.Tell({.store = Store::kRecycleBin, .added = {"b"}, .removed = {}});
  EXPECT_EQ(told, (std::vector<std::string>{"first a", "second a", "second b"}));
}

TEST(StoreChanges, AListenerMayEndAnotherOnesSubscription) {
  StoreChanges changes;
  int calls = 0;
  StoreChanges::Subscription second;
  const auto first = changes.Subscribe(Store::kRecycleBin, [&](const StoreChange&) {
    ++calls;
    second = nullptr;
  });
  second = changes.Subscribe(Store::kRecycleBin, [&](const StoreChange&) { ++calls; });
  changes.Tell({});
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace quillbeaker
