// SPDX-License-Identifier: MIT
#pragma once

// Where the links of a mail lead. For showing them to a person: nothing here is followed, and what a mail
// writes to hide its target is undone as a browser would undo it.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// All texts are UTF-8.
struct MailLink {
  std::string text;    // that a reader sees in its place; empty when that is the target itself or nothing
  std::string target;  // as written in the mail, on one line
  std::string server;  // that a target with "//" leads to, in lower case
  bool operator==(const MailLink&) const = default;
};

inline constexpr std::size_t kMostLinks = 300;        // of one mail; what follows is not looked for
inline constexpr std::size_t kLongestTarget = 2000;   // bytes; the rest of a longer one is not kept
inline constexpr std::size_t kLongestLinkText = 120;  // bytes likewise

// Appends the targets of the HTML's links, buttons of forms and its base, each once. Linear.
void AddHtmlLinks(std::string_view html, std::vector<MailLink>& links);
// Appends the web and mail addresses of a text, each once. Linear.
void AddTextLinks(std::string_view text, std::vector<MailLink>& links);

}  // namespace quillbeaker
