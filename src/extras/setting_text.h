// SPDX-License-Identifier: MIT
#pragma once

// A setting's value as a person reads and types it, UTF-8, for the console and the pages of the settings
// dialog.

#include <string>
#include <string_view>

#include "config/settings.h"

namespace quillbeaker {

// On one line.
std::string ReadableValue(const Setting& setting, const IniDocument& configuration);
std::string ReadableDefault(const Setting& setting);

// What the file is to hold for what was typed. Texts are stored as the file's other texts are, ISO-8859-1
// where it has all their characters; the name of a language file, which must be one of the program directory
// that can be read, stays UTF-8.
StoredValue StoredFromTyped(const Program& program, const Setting& setting, std::string_view utf8);

// Whether a change acts at the next start of the program only.
bool ActsAtNextStart(const Setting& setting);

}  // namespace quillbeaker
