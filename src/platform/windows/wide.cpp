// SPDX-License-Identifier: MIT
#include "platform/windows/wide.h"

#include <windows.h>

#include <algorithm>

namespace quillbeaker {
namespace {

// The system's functions count in int; no text of ours comes near.
constexpr std::size_t kLongestText = 0x3FFFFFFF;
// Directories may have twelve characters less than MAX_PATH, and "*" or ".new" may still be added.
constexpr std::size_t kLongestPlainPath = 230;

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(path.size() + MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (size == 0) return path;
    const bool fits = size < full.size();
    full.resize(size);
    if (fits) return full;
  }
}

}  // namespace

std::wstring WideFromUtf8(std::string_view utf8) {
  const int size = static_cast<int>(std::min(utf8.size(), kLongestText));
  if (size == 0) return {};
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Utf8FromWide(std::wstring_view wide) {
  const int size = static_cast<int>(std::min(wide.size(), kLongestText));
  if (size == 0) return {};
  std::string utf8(static_cast<std::size_t>(
                       WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), static_cast<int>(utf8.size()), nullptr,
                      nullptr);
  return utf8;
}

std::wstring WidePath(std::string_view utf8) {
  std::wstring path = WideFromUtf8(utf8);
  if (path.starts_with(L"\\\\?\\")) return path;
  std::replace(path.begin(), path.end(), L'/', L'\\');
  if (path.size() <= kLongestPlainPath) return path;
  // The form without a limit is taken as it stands: it must be absolute and free of "." and "..".
  path = FullPath(path);
  if (path.starts_with(L"\\\\")) return L"\\\\?\\UNC" + path.substr(1);
  return L"\\\\?\\" + path;
}

}  // namespace quillbeaker
