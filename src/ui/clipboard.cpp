// SPDX-License-Identifier: MIT
#include "ui/clipboard.h"

#include <cstring>

namespace quillbeaker {
namespace {

// Null when there is no memory for it. Whoever gets it frees it, unless the clipboard has taken it.
HGLOBAL MemoryOf(const std::wstring& text) {
  const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, size);
  if (memory == nullptr) return nullptr;
  if (void* const bytes = GlobalLock(memory)) {
    std::memcpy(bytes, text.c_str(), size);
    GlobalUnlock(memory);
    return memory;
  }
  GlobalFree(memory);
  return nullptr;
}

}  // namespace

bool CopyToClipboard(HWND owner, const std::wstring& text) {
  if (!OpenClipboard(owner)) return false;
  bool is_taken = false;
  if (EmptyClipboard()) {
    const HGLOBAL memory = MemoryOf(text);
    is_taken = memory != nullptr && SetClipboardData(CF_UNICODETEXT, memory) != nullptr;
    if (!is_taken && memory != nullptr) GlobalFree(memory);
  }
  CloseClipboard();
  return is_taken;
}

}  // namespace quillbeaker
