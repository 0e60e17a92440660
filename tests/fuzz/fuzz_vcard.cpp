// SPDX-License-Identifier: MIT
// Any bytes as a vCard file, read in pieces of any size.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "config/ascii.h"
#include "extras/senders/vcard_senders.h"
#include "fuzz_support.h"

namespace quillbeaker {
namespace {

std::vector<FoundSender> ReadCards(std::string_view text) {
  std::size_t at = 0;
  VCardSenders senders(std::make_unique<TextLines>([&](char* buffer, std::size_t capacity) {
    const std::size_t count = std::min(capacity, text.size() - at);
    std::copy_n(text.data() + at, count, buffer);
    at += count;
    return count;
  }));
  std::vector<FoundSender> found;
  while (const auto one = senders.Next()) {
    Check(one->address.find('@') != std::string::npos, "an address is one of mail");
    Check(!one->name.empty(), "a card has a name");
    Check(one->name.size() <= 2 * kMaxVCardProperty && one->address.size() <= 2 * kMaxVCardProperty,
          "what is kept of a property is bounded");
    found.push_back(*one);
  }
  Check(!senders.Next(), "the end stays the end");
  return found;
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string text(TextOf(data, size));
  IsVCard(text);
  const std::size_t found = ReadCards(text).size();
  // A card behind any text is one sender more. Text in UTF-16 would be cut where it is none, and a card may
  // be inside another one.
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return c > 0 && c < 0x7F; });
  if (ascii && FindIgnoringCase(text, "AGENT") == std::string_view::npos) {
    Check(ReadCards(text + "\n\nBEGIN:VCARD\nEMAIL:a@b\nEND:VCARD\n").size() == found + 1,
          "a card behind another text is read");
  }
  Check(found <= size, "a sender takes bytes");
  return 0;
}
