// SPDX-License-Identifier: MIT
#pragma once

// The text of a mail as a viewer shows it: converted, cut, and without anything that could act on the screen.
// For display only: files keep their bytes.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "message/links.h"
#include "message/mail_message.h"

namespace quillbeaker {

inline constexpr std::size_t kMostShownBytes = 102400;  // of the decoded text, before conversion

struct ShownText {
  std::string text;             // UTF-8
  std::vector<MailLink> links;  // those of its HTML first
};

// The decoded text without HTML tags, its first kMostShownBytes. Each part is read in the character set that
// it names, where that is known and its bytes are valid in it; else as DisplayText reads bytes. A character
// that the limit cuts in two is dropped. Harmful characters are replaced one for one.
ShownText TextToShow(const MailMessage& message);
// The same for a decoded text that was stored without its mail.
ShownText TextToShow(std::string_view stored);

}  // namespace quillbeaker
