// SPDX-License-Identifier: MIT
#include "ui/help.h"

#include <windows.h>

#include <shellapi.h>

#include "ui/wide_text.h"

namespace quillbeaker {

void OpenHelp(const std::string& program_directory, std::string_view /*page*/) {
  // By its full path: a bare name would also be looked for in folders that others may write to.
  const std::wstring path = Wide(program_directory + "help.exe");
  SHELLEXECUTEINFOW what{};
  what.cbSize = sizeof what;
  what.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
  what.lpVerb = L"open";
  what.lpFile = path.c_str();
  what.nShow = SW_SHOWNORMAL;
  ShellExecuteExW(&what);
}

}  // namespace quillbeaker
