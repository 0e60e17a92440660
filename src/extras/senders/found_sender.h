// SPDX-License-Identifier: MIT
#pragma once

// What an import finds outside: names with addresses, one at a time. Files (sender_file.h), the registry and
// an address book are sources alike; whether something found is taken is sender_import.h's.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quillbeaker {

inline constexpr std::size_t kMaxFoundText = 250;  // bytes of a name or an address; longer ones are skipped

struct FoundSender {
  std::string name;
  std::string address;
};

class SenderSource {
 public:
  virtual ~SenderSource() = default;
  // Nothing at the end. What was read need not be fit to be offered; an empty one stands for a stretch of the
  // source that had none. So no call takes long, whatever the source holds.
  virtual std::optional<FoundSender> Next() = 0;
  // After the end: it came because what was behind it could not be read.
  virtual bool failed() const { return false; }
};

// A blocked sender as Outlook Express keeps it, a value of the registry. Deliberate: the value is the name as
// it stands. The address of a bare domain is "*@" and the domain; a value that begins with "@" gets a "*"
// before it.
FoundSender SenderOfBlockedValue(std::string_view value);

// Blocked senders that `next` gives as values of the registry.
class BlockedValues : public SenderSource {
 public:
  explicit BlockedValues(std::function<std::optional<std::string>()> next) : next_(std::move(next)) {}
  std::optional<FoundSender> Next() override;

 private:
  std::function<std::optional<std::string>()> next_;
};

// As it is offered and stored: bytes below 0x20 are blanks, none stand at the ends. Nothing when a part is
// then empty or longer than kMaxFoundText.
std::optional<FoundSender> FitToOffer(const FoundSender& found);

}  // namespace quillbeaker
