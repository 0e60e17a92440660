// SPDX-License-Identifier: MIT
#include <algorithm>
#include <optional>

#include "platform/tls.h"
#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

// Host names are compared without regard to the case of ASCII letters; others come in their ASCII form (RFC
// 5890).
bool SameLabel(char a, char b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return lower(a) == lower(b);
}

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameLabel);
}

// A name may be written with the root's dot behind it.
std::string_view WithoutRoot(std::string_view name) {
  return name.ends_with('.') ? name.substr(0, name.size() - 1) : name;
}

// Tags of DER, as far as they occur here: the sequence, and the two kinds of a GeneralName that a server has.
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kDnsName = 0x82;
constexpr unsigned char kIpAddress = 0x87;

struct DerValue {
  unsigned char tag = 0;
  std::string_view content;
};

// Takes the next value off DER text; nothing when it is not whole. A certificate is never longer than what
// three bytes count.
std::optional<DerValue> TakeValue(std::string_view& der) {
  if (der.size() < 2) return std::nullopt;
  const auto byte = [&der](std::size_t at) { return static_cast<unsigned char>(der[at]); };
  DerValue value{byte(0), {}};
  std::size_t length = byte(1);
  std::size_t head = 2;
  if (length > 0x7F) {
    const std::size_t digits = length & 0x7F;
    if (digits < 1 || digits > 3 || der.size() < head + digits) return std::nullopt;
    length = 0;
    for (std::size_t i = 0; i < digits; ++i) length = length << 8 | byte(head + i);
    head += digits;
  }
  if (der.size() - head < length) return std::nullopt;
  value.content = der.substr(head, length);
  der.remove_prefix(head + length);
  return value;
}

}  // namespace

bool NamesHost(std::string_view alternative_names, std::string_view host) {
  const auto names = TakeValue(alternative_names);
  if (!names || names->tag != kSequence || !alternative_names.empty()) return false;
  const std::optional<std::string> address = AddressBytes(host);
  std::string_view rest = names->content;
  bool named = false;
  while (!rest.empty()) {
    const auto name = TakeValue(rest);
    if (!name) return false;
    if (address ? name->tag == kIpAddress && name->content == *address
                : name->tag == kDnsName && MatchesHostName(name->content, host)) {
      named = true;
    }
  }
  return named;
}

std::string HexDigits(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

bool MatchesHostName(std::string_view entry, std::string_view host) {
  entry = WithoutRoot(entry);
  host = WithoutRoot(host);
  if (entry.empty() || host.empty() || entry.find('\0') != std::string_view::npos) {
    return false;
  }
  if (!entry.starts_with("*.")) {
    return entry.find('*') == std::string_view::npos && SameName(entry, host);
  }
  // The asterisk is one whole label, never several, and at least two must follow it: "*.org" is nobody's.
  const std::string_view parent = entry.substr(1);
  const std::size_t first_dot = host.find('.');
  return parent.find('*') == std::string_view::npos && parent.find('.', 1) != std::string_view::npos &&
         first_dot != std::string_view::npos && first_dot > 0 && SameName(parent, host.substr(first_dot));
}

}  // namespace quillbeaker
