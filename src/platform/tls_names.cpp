// SPDX-License-Identifier: MIT
#include <algorithm>

#include "platform/tls.h"

namespace quillbeaker {
namespace {

// Host names are compared without regard to the case of ASCII letters; others come in their ASCII form (RFC 5890).
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

}  // namespace

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
