// SPDX-License-Identifier: MIT
#include "ui/store_changes.h"

#include <utility>

namespace quillbeaker {

StoreChanges::Subscription StoreChanges::Subscribe(Store store, Listener listener) {
  auto subscriber = std::make_shared<const Subscriber>(Subscriber{store, std::move(listener)});
  subscribers_.push_back(subscriber);
  return subscriber;
}

void StoreChanges::Tell(const StoreChange& change) {
  std::erase_if(subscribers_, [](const auto& subscriber) { return subscriber.expired(); });
  // A copy: a listener may open or close windows.
  const auto subscribers = subscribers_;
  for (const auto& weak : subscribers) {
    const std::shared_ptr<const Subscriber> subscriber = weak.lock();
    if (subscriber != nullptr && subscriber->store == change.store) subscriber->listener(change);
  }
}

}  // namespace quillbeaker
