// SPDX-License-Identifier: MIT
#include "console/failure_text.h"

#include "message/display_text.h"
#include "platform/files.h"

namespace quillbeaker {

std::string WithReason(const std::string& sentence, const FileResult& why) {
  return why ? sentence : sentence + " " + DisplayLine(why.Text());
}

std::string WithReason(Text text, const FileResult& why) {
  return WithReason(std::string(TextOf(text)), why);
}

std::string UnreadableFile(const std::string& path) {
  const std::string sentence = DisplayLine(path) + ": " + std::string(TextOf(Text::kFileUnreadable));
  const FileResult why = ReadContents(path).result;
  return why ? sentence : sentence + " " + DisplayLine(SystemErrorText(why.code));
}

}  // namespace quillbeaker
