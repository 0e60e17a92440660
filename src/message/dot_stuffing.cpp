// SPDX-License-Identifier: MIT
#include "message/dot_stuffing.h"

#include <string_view>

namespace quillbeaker {
namespace {

// Position of the next line at or behind `from` that begins with exactly one dot, or npos.
std::size_t FindBareDot(std::string_view text, std::size_t from) {
  for (std::size_t dot = text.find('.', from); dot != std::string_view::npos; dot = text.find('.', dot + 1)) {
    const bool begins_line = dot == 0 || (dot >= 2 && text.substr(dot - 2, 2) == "\r\n");
    if (begins_line && text.substr(dot + 1, 1) != ".") {
      return dot;
    }
  }
  return std::string_view::npos;
}

}  // namespace

// Deliberate: a message that was dropped in as a file came over no wire, and a line of one dot in it would
// end the reply early.
std::string StuffDots(std::string text) {
  std::size_t dot = FindBareDot(text, 0);
  if (dot == std::string::npos) {
    return text;
  }
  std::string stuffed;
  stuffed.reserve(text.size() + text.size() / 16 + 1);
  std::size_t copied = 0;
  for (; dot != std::string::npos; dot = FindBareDot(text, dot + 1)) {
    stuffed.append(text, copied, dot - copied);
    stuffed += '.';
    copied = dot;
  }
  stuffed.append(text, copied);
  return stuffed;
}

std::string UnstuffDots(std::string text) {
  if (FindBareDot(text, 0) != std::string::npos) return text;
  std::string plain;
  plain.reserve(text.size());
  std::size_t copied = 0;
  for (std::size_t dot = text.find(".."); dot != std::string::npos; dot = text.find("..", dot + 1)) {
    const bool begins_line = dot == 0 || (dot >= 2 && text.compare(dot - 2, 2, "\r\n") == 0);
    if (!begins_line) continue;
    plain.append(text, copied, dot - copied);
    copied = dot + 1;
  }
  plain.append(text, copied);
  return plain;
}

}  // namespace quillbeaker
