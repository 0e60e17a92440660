// SPDX-License-Identifier: MIT
#pragma once

// The system's dialogs that ask for a file. The window that owns them may be closed meanwhile: then there is
// no answer. Paths and names are UTF-8.

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ui/presenter/file_filter.h"

namespace quillbeaker {

// A name without a file is handed on.
std::optional<std::string> AskForFile(HWND owner, const std::vector<FileFilter>& filters,
                                      std::string_view extension);

struct FileToSave {
  std::string path;
  std::size_t filter = 0;  // the chosen one of `filters`
};
// A file that exists is asked about.
std::optional<FileToSave> AskWhereToSave(HWND owner, const std::vector<FileFilter>& filters,
                                         std::string_view proposed_name, std::string_view extension);

}  // namespace quillbeaker
