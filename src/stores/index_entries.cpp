// SPDX-License-Identifier: MIT

#include "stores/index_entries.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <optional>
#include <unordered_map>

#include "config/leading_integer.h"
#include "stores/xml_index.h"

namespace quillbeaker {
bool IsBareFileName(std::string_view name) {
  if (name.find("..") != std::string_view::npos) return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    return c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 0x20;
  });
}

std::string TimeText(const CalendarTime& time) {
  // Deliberate: a mail may claim any hour, but a time of more than five characters would not be shown.
  const unsigned hour = std::min<unsigned>(time.hour, 99);
  const unsigned minute = std::min<unsigned>(time.minute, 99);
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%02u:%02u", hour, minute);
  return text.data();
}

int MinutesOf(std::string_view time) {
  if (time.size() != 5) return 0;
  return static_cast<int>(LeadingInteger<unsigned>(time.substr(0, 2)) * 60 +
                          LeadingInteger<unsigned>(time.substr(3, 2)));
}

std::string TextAttribute(const xmlNode* entry, const char* name) {
  return Attribute(entry, name).value_or("");
}

std::int32_t DayAttribute(const xmlNode* entry, const char* name) {
  constexpr std::uint32_t kLastDay = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(UnsignedAttribute(entry, name), kLastDay));
}

void ForEachElement(xmlNode* root, const char* element, const std::function<void(xmlNode* entry)>& visit) {
  for (xmlNode* node = root->children; node != nullptr;) {
    xmlNode* next = node->next;
    if (IsElement(node, element)) visit(node);
    node = next;
  }
}

std::size_t ForElementsNamed(xmlNode* root, const char* element, const char* attribute,
                             std::span<const std::string> names,
                             const std::function<void(xmlNode* entry)>& visit) {
  std::unordered_map<std::string, std::size_t> wanted;
  for (const std::string& name : names) ++wanted[StorableText(name)];
  std::size_t visited = 0;
  ForEachElement(root, element, [&](xmlNode* entry) {
    const std::optional<std::string> name = Attribute(entry, attribute);
    const auto found = name ? wanted.find(*name) : wanted.end();
    if (found == wanted.end() || found->second == 0) return;
    --found->second;
    ++visited;
    visit(entry);
  });
  return visited;
}

}  // namespace quillbeaker
