// SPDX-License-Identifier: MIT
#pragma once

// What a command prints when it failed: the sentence in the chosen language, and after it why, in the
// system's words. UTF-8, safe for a terminal, without line ends.

#include <string>

#include "config/texts.h"
#include "platform/file_result.h"

namespace quillbeaker {

// "The change could not be saved. PATH: No space left on device"; the sentence alone when there is no reason.
std::string WithReason(Text text, const FileResult& why);
std::string WithReason(const std::string& sentence, const FileResult& why);

// "PATH: The file can not be read. Permission denied".
std::string UnreadableFile(const std::string& path);

}  // namespace quillbeaker
