// SPDX-License-Identifier: MIT
#include "message/mail_serialiser.h"

#include <cstddef>
#include <string_view>

#include "config/ascii.h"

namespace quillbeaker {

namespace {

constexpr std::size_t kFoldedLength = 70;  // bytes of a value on one line; the name does not count

// Deliberate: a value is not folded at its byte 0 or 1, and then not at all any more: a line would be left
// with almost nothing on it, and a blank first byte would make a line of nothing.
constexpr std::size_t kFirstFoldPoint = 2;

// Split here and not as a HeaderField: only the full name and value are written, and what a look-up needs
// would cost as much again.
void AppendField(std::string_view line, std::string& out) {
  const std::size_t colon = line.find(':');
  out.append(TrimBlanks(line.substr(0, colon))).append(": ");
  std::string_view rest = TrimBlanks(line.substr(colon + 1));
  while (rest.size() > kFoldedLength) {
    const std::size_t blank = rest.rfind(' ', kFoldedLength - 1);
    if (blank == std::string_view::npos || blank < kFirstFoldPoint) break;
    out.append(rest.substr(0, blank)).append("\r\n\t");
    rest.remove_prefix(blank + 1);
  }
  out.append(rest).append("\r\n");
}

void AppendOwnText(const MessagePart& part, std::string& out) {
  for (const std::string_view line : part.fields.lines()) AppendField(line, out);
  out.append(part.body);
}

// Both for a part that has children, and those it has only by its own boundary.
void AppendOpening(const MessagePart& multipart, std::string& out) {
  out.append("\r\n--").append(multipart.boundary).append("\r\n");
}

// Not for a multipart whose inner parts were not recognised: it holds its own closing line in its body, and
// would get one more each time it is written.
void AppendClosing(const MessagePart& multipart, std::string& out) {
  out.append("\r\n--").append(multipart.boundary).append("--\r\n");
}

}  // namespace

void AppendSerialised(const MessagePart& root, std::string& out) {
  const MessagePart* part = &root;
  AppendOwnText(root, out);
  while (true) {
    if (part->first_child != nullptr) {
      AppendOpening(*part, out);
      part = part->first_child;
    } else {
      while (part != &root && part->next == nullptr) {
        part = part->parent;
        AppendClosing(*part, out);
      }
      if (part == &root) return;
      AppendOpening(*part->parent, out);
      part = part->next;
    }
    AppendOwnText(*part, out);
  }
}

}  // namespace quillbeaker
