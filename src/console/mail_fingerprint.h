// SPDX-License-Identifier: MIT
#pragma once

// 128 bits that stand for the bytes of one mail (XXH3), so that of a million mails equal ones are found
// without keeping them. Good against chance; somebody who makes two mails of one fingerprint on purpose gains
// that one of them is not learnt.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillbeaker {

struct MailFingerprint {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  bool operator==(const MailFingerprint&) const = default;
};

MailFingerprint FingerprintOf(std::string_view mail);

// For the standard's hash tables: the bits are evenly spread as they are.
struct FingerprintHash {
  std::size_t operator()(const MailFingerprint& fingerprint) const {
    return static_cast<std::size_t>(fingerprint.low);
  }
};

}  // namespace quillbeaker
