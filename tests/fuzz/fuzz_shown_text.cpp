// SPDX-License-Identifier: MIT
// Any bytes as a mail, and as a stored text, in the viewer: the text and where its links lead.

#include <string>

#include "fuzz_support.h"
#include "message/decoded_text.h"
#include "message/display_text.h"
#include "message/shown_text.h"

namespace quillbeaker {
namespace {

void CheckShown(const ShownText& shown) {
  Check(IsUtf8(shown.text), "what is shown is UTF-8");
  Check(shown.text.find('\0') == std::string::npos, "what is shown has no NUL");
  Check(DisplayText(shown.text) == shown.text, "what is shown is harmless");
  Check(shown.links.size() <= kMostLinks, "links are bounded");
  for (const MailLink& link : shown.links) {
    Check(!link.target.empty() && link.target.size() <= kLongestTarget, "a link leads somewhere");
    Check(IsUtf8(link.target) && IsUtf8(link.text) && IsUtf8(link.server), "links are UTF-8");
  }
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view text = quillbeaker::TextOf(data, size);
  MailMessage message;
  message.ParseText(std::string(text));
  CheckShown(TextToShow(message));
  CheckShown(TextToShow(text));
  // The parts together are the decoded text.
  std::string whole;
  DecodeText(message, true, whole);
  for (const std::size_t most : {std::size_t{1}, std::size_t{7}, std::size_t{100'000}}) {
    std::string joined;
    for (const DecodedPart& part : DecodeParts(message, most, {})) joined += part.text;
    Check(joined == whole.substr(0, most), "parts are the beginning of the decoded text");
  }
  return 0;
}
