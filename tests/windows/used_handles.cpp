// SPDX-License-Identifier: MIT
#include "used_handles.h"

#include <windows.h>

#include <winternl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace quillbeaker::test {
namespace {

constexpr std::size_t kGdiTableInPeb = 0xF8;
constexpr std::size_t kGdiEntries = 0x4000;
constexpr std::size_t kGdiEntrySize = 24;
constexpr std::size_t kGdiTypeAt = 14;

constexpr int kExtendedHandleInformation = 64;

struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};

}  // namespace

int UsedGdiObjects() {
  const auto* const peb = reinterpret_cast<const std::uint8_t*>(NtCurrentTeb()->ProcessEnvironmentBlock);
  const std::uint8_t* table = nullptr;
  std::memcpy(&table, peb + kGdiTableInPeb, sizeof table);
  int used = 0;
  for (std::size_t i = 0; table != nullptr && i < kGdiEntries; ++i) {
    used += table[i * kGdiEntrySize + kGdiTypeAt] != 0 ? 1 : 0;
  }
  return used;
}

int UsedHandles() {
  // The header's own enumeration has no name for this information.
  using Query = LONG(NTAPI*)(int information, void* block, ULONG size, ULONG* used);
  static const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtQuerySystemInformation")));
  std::vector<std::uint8_t> block(1 << 20);
  ULONG size = 0;
  for (int i = 0; i < 5; ++i) {
    const LONG status =
        query(kExtendedHandleInformation, block.data(), static_cast<ULONG>(block.size()), &size);
    if (status >= 0) break;
    block.resize(block.size() * 2);
  }
  ULONG_PTR count = 0;
  std::memcpy(&count, block.data(), sizeof count);
  int used = 0;
  for (ULONG_PTR i = 0; i < count; ++i) {
    HandleEntry entry;
    const std::size_t at = 2 * sizeof(ULONG_PTR) + i * sizeof entry;
    if (at + sizeof entry > block.size()) break;
    std::memcpy(&entry, block.data() + at, sizeof entry);
    used += entry.process == GetCurrentProcessId() ? 1 : 0;
  }
  return used;
}

}  // namespace quillbeaker::test
