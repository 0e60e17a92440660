// SPDX-License-Identifier: MIT
#pragma once

// Hands what a mail check has changed in the stores to the windows that show it. UI thread.

#include <functional>
#include <memory>
#include <vector>

#include "stores/store_change.h"

namespace quillbeaker {

class StoreChanges {
 public:
  using Listener = std::function<void(const StoreChange& change)>;
  // The listener is called until this goes.
  using Subscription = std::shared_ptr<const void>;

  // `listener` is called for the changes of that store; it may end its own subscription or another one, and
  // must open no box: a mail check may be waiting.
  [[nodiscard]] Subscription Subscribe(Store store, Listener listener);
  void Tell(const StoreChange& change);

 private:
  struct Subscriber {
    Store store;
    Listener listener;
  };

  std::vector<std::weak_ptr<const Subscriber>> subscribers_;
};

}  // namespace quillbeaker
