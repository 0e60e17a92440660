// SPDX-License-Identifier: MIT
#pragma once

// What a mail check shows while it runs. The listener's thread notes every change here, some with each
// message of a mailbox; the windows' thread takes what has changed, together and at its own pace. Only the
// latest state of each part is kept, and it is never lost.

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

// Parts that are empty have not changed. The texts are UTF-8.
struct ProgressChanges {
  std::optional<std::uint64_t> range;  // a new one begins at position 0
  std::optional<std::uint64_t> position;
  std::optional<std::string> status;
  std::optional<std::string> activity;
  std::optional<std::uint32_t> spam_count;
};

class SessionProgress {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  // `announce` is called on the listener's thread, without a lock, when Take should be called soon: at most
  // once until it is called, and at most 20 times a second, but at once for a new range or status.
  explicit SessionProgress(std::function<void()> announce, Clock now = std::chrono::steady_clock::now);

  // The listener's thread.

  // A session begins or ends: what was not taken is forgotten, and the next status is a new one.
  void Reset();
  void SetRange(std::uint64_t range);
  void SetPosition(std::uint64_t position);
  void Advance(std::uint64_t amount);
  // A status that stays is no change, however often it is set.
  void SetStatus(std::string_view status);
  void SetActivity(std::string_view activity);
  void SetSpamCount(std::uint32_t count);

  // Any thread: everything that has changed since the last call.
  [[nodiscard]] ProgressChanges Take();

 private:
  void AnnounceNow();
  void AnnounceWhenDue();

  const std::function<void()> announce_;
  const Clock now_;
  std::uint64_t position_ = 0;  // of the listener's thread, as the next two
  std::string status_;
  std::optional<std::chrono::steady_clock::time_point> last_announced_;
  std::mutex mutex_;  // guards the rest
  ProgressChanges changes_;
  bool announced_ = false;  // and not taken yet
};

}  // namespace quillbeaker
