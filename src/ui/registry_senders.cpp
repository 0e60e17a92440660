// SPDX-License-Identifier: MIT
#include "ui/registry_senders.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "message/display_text.h"
#include "ui/handles.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

using UniqueKey = UniqueHandle<HKEY, RegCloseKey>;

constexpr DWORD kLongestKeyName = 256;  // characters with the NUL, the system's own limit
constexpr DWORD kLongestValue = 260;    // with the NUL; a longer one could not be offered anyway

UniqueKey OpenKey(HKEY parent, const std::wstring& path) {
  HKEY key = nullptr;
  return UniqueKey(RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS ? key : nullptr);
}

void ForEachSubkey(HKEY parent, const std::function<void(const std::wstring& name)>& take) {
  wchar_t name[kLongestKeyName];
  for (DWORD i = 0;; ++i) {
    DWORD length = kLongestKeyName;
    if (RegEnumKeyExW(parent, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return;
    take(std::wstring(name, length));
  }
}

// Opens a key below each sub-key of another one.
void ForEachBelow(HKEY parent, const std::wstring& path, const std::function<void(HKEY key)>& take) {
  ForEachSubkey(parent, [&](const std::wstring& name) {
    const UniqueKey key = OpenKey(parent, path.empty() ? name : name + L"\\" + path);
    if (key != nullptr) take(key.get());
  });
}

std::optional<std::string> ValueOf(HKEY criterion) {
  wchar_t text[kLongestValue];
  DWORD bytes = sizeof text;
  if (RegGetValueW(criterion, nullptr, L"Value", RRF_RT_REG_SZ, nullptr, text, &bytes) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return Latin1FromTyped(Utf8(text));
}

}  // namespace

std::unique_ptr<SenderSource> BlockedSendersOfRegistry() {
  std::vector<std::string> values;
  if (const UniqueKey identities = OpenKey(HKEY_CURRENT_USER, L"Identities")) {
    ForEachBelow(identities.get(), L"Software\\Microsoft\\Outlook Express", [&](HKEY program) {
      ForEachBelow(program, L"Block Senders\\Mail\\Criteria", [&](HKEY criteria) {
        ForEachBelow(criteria, L"", [&](HKEY criterion) {
          if (auto value = ValueOf(criterion)) values.push_back(std::move(*value));
        });
      });
    });
  }
  return std::make_unique<BlockedValues>([values = std::move(values), at = std::size_t{0}]() mutable {
    return at < values.size() ? std::optional(values[at++]) : std::nullopt;
  });
}

}  // namespace quillbeaker
