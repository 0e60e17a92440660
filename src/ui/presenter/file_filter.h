// SPDX-License-Identifier: MIT
#pragma once

// A row of a file dialog's list of kinds, as "Text file (*.txt)" and "*.txt". Knows no window.

#include <string>

namespace quillbeaker {

struct FileFilter {
  std::string text;
  std::string patterns;  // several are separated by ";"
};

}  // namespace quillbeaker
