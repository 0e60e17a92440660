// SPDX-License-Identifier: MIT
#include "ui/clipboard.h"

#include <cstring>

namespace quillbeaker {
namespace {

// Null when there is no memory for it. Whoever gets it frees it, unless the clipboard has taken it.
HGLOBAL MemoryOf(std::string_view bytes) {
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
  if (memory == nullptr) return nullptr;
  if (void* const copy = GlobalLock(memory)) {
    std::memcpy(copy, bytes.data(), bytes.size());
    GlobalUnlock(memory);
    return memory;
  }
  GlobalFree(memory);
  return nullptr;
}

// The clipboard is open, and emptied by this program.
bool Put(UINT format, std::string_view bytes) {
  const HGLOBAL memory = MemoryOf(bytes);
  const bool is_taken = memory != nullptr && SetClipboardData(format, memory) != nullptr;
  if (!is_taken && memory != nullptr) GlobalFree(memory);
  return is_taken;
}

}  // namespace

bool CopyToClipboard(HWND owner, const std::wstring& text) {
  return CopyToClipboard(owner, text, {});
}

bool CopyToClipboard(HWND owner, const std::wstring& text, std::string_view picture) {
  if (!OpenClipboard(owner)) return false;
  const std::string_view text_bytes(reinterpret_cast<const char*>(text.c_str()),
                                    (text.size() + 1) * sizeof(wchar_t));
  const bool is_taken =
      EmptyClipboard() && Put(CF_UNICODETEXT, text_bytes) && (picture.empty() || Put(CF_DIB, picture));
  CloseClipboard();
  return is_taken;
}

}  // namespace quillbeaker
