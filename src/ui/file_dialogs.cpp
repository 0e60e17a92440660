// SPDX-License-Identifier: MIT
#include "ui/file_dialogs.h"

#include <commdlg.h>

#include <algorithm>

#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kLongestPath = 32768;  // characters, the system's own limit

// Pairs of text and patterns, each with its NUL, and another NUL at the end.
std::wstring FilterList(const std::vector<FileFilter>& filters) {
  std::wstring list;
  for (const FileFilter& filter : filters) list += Wide(filter.text) + L'\0' + Wide(filter.patterns) + L'\0';
  return list;
}

// What both dialogs are asked with, and room for their answer.
class Question {
 public:
  Question(HWND owner, const std::vector<FileFilter>& filters, std::string_view proposed,
           std::string_view extension)
      : list_(FilterList(filters)), extension_(Wide(extension)), path_(kLongestPath, L'\0') {
    const std::wstring name = Wide(proposed);
    std::copy_n(name.begin(), std::min(name.size(), kLongestPath - 1), path_.begin());
    asked_.lStructSize = sizeof asked_;
    asked_.hwndOwner = owner;
    asked_.lpstrFilter = list_.c_str();
    asked_.nFilterIndex = 1;
    asked_.lpstrFile = path_.data();
    asked_.nMaxFile = static_cast<DWORD>(path_.size());
    asked_.lpstrDefExt = extension_.c_str();
    asked_.Flags = OFN_EXPLORER | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  OPENFILENAMEW& asked() { return asked_; }
  std::string Path() const { return Utf8(path_.substr(0, path_.find(L'\0'))); }
  std::size_t Filter() const { return asked_.nFilterIndex == 0 ? 0 : asked_.nFilterIndex - 1; }

 private:
  const std::wstring list_;
  const std::wstring extension_;
  std::wstring path_;
  OPENFILENAMEW asked_{};
};

}  // namespace

std::optional<std::string> AskForFile(HWND owner, const std::vector<FileFilter>& filters,
                                      std::string_view extension) {
  if (!IsWindow(owner)) return std::nullopt;
  Question question(owner, filters, {}, extension);
  if (!GetOpenFileNameW(&question.asked()) || !IsWindow(owner)) return std::nullopt;
  return question.Path();
}

std::optional<FileToSave> AskWhereToSave(HWND owner, const std::vector<FileFilter>& filters,
                                         std::string_view proposed_name, std::string_view extension) {
  if (!IsWindow(owner)) return std::nullopt;
  Question question(owner, filters, proposed_name, extension);
  question.asked().Flags |= OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST;
  if (!GetSaveFileNameW(&question.asked()) || !IsWindow(owner)) return std::nullopt;
  return FileToSave{question.Path(), question.Filter()};
}

}  // namespace quillbeaker
