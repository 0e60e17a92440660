// SPDX-License-Identifier: MIT
#include "app/stack_walk.h"

#include <tlhelp32.h>

#include <algorithm>

#include "ui/handles.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr DWORD kIndirect = 1;  // in UnwindData: the rest is where another entry stands

// The table of a module's functions that its file brings for unwinding. The headers are the loader's, which
// has checked them.
std::span<const RUNTIME_FUNCTION> FunctionsOf(std::uint64_t base) {
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  if (dos->e_magic != IMAGE_DOS_SIGNATURE) {
    return {};
  }
  const auto* const headers =
      reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + static_cast<std::uint64_t>(dos->e_lfanew));
  if (headers->Signature != IMAGE_NT_SIGNATURE ||
      headers->OptionalHeader.NumberOfRvaAndSizes <= IMAGE_DIRECTORY_ENTRY_EXCEPTION) {
    return {};
  }
  const IMAGE_DATA_DIRECTORY& table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION];
  return {reinterpret_cast<const RUNTIME_FUNCTION*>(base + table.VirtualAddress),
          table.Size / sizeof(RUNTIME_FUNCTION)};
}

const RUNTIME_FUNCTION* FunctionAt(std::span<const RUNTIME_FUNCTION> functions, std::uint64_t base,
                                   std::uint64_t address) noexcept {
  const std::uint64_t offset = address - base;
  const auto after = std::upper_bound(
      functions.begin(), functions.end(), offset,
      [](std::uint64_t value, const RUNTIME_FUNCTION& function) { return value < function.BeginAddress; });
  if (after == functions.begin() || offset >= std::prev(after)->EndAddress) {
    return nullptr;
  }
  const RUNTIME_FUNCTION* function = &*std::prev(after);
  if ((function->UnwindData & kIndirect) != 0) {
    function = reinterpret_cast<const RUNTIME_FUNCTION*>(base + function->UnwindData - kIndirect);
  }
  return function;
}

// Whether eight bytes at `address` belong to the stack of this thread.
bool IsOnStack(std::uint64_t address) noexcept {
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  return address % sizeof(std::uint64_t) == 0 && address >= low && address < high;
}

}  // namespace

LoadedModules::LoadedModules() {
  const UniqueKernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0));
  if (snapshot.get() == INVALID_HANDLE_VALUE) {
    return;
  }
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Module32FirstW(snapshot.get(), &entry); more;
       more = Module32NextW(snapshot.get(), &entry)) {
    const auto base = reinterpret_cast<std::uint64_t>(entry.modBaseAddr);
    modules_.push_back({base, entry.modBaseSize, Utf8(entry.szModule), FunctionsOf(base)});
  }
}

const LoadedModules::Module* LoadedModules::Find(std::uint64_t address) const noexcept {
  const auto found = std::find_if(modules_.begin(), modules_.end(), [address](const Module& module) {
    return address >= module.base && address - module.base < module.size;
  });
  return found == modules_.end() ? nullptr : &*found;
}

CrashFrame LoadedModules::FrameOf(std::uint64_t address) const noexcept {
  const Module* const module = Find(address);
  return module == nullptr ? CrashFrame{{}, address} : CrashFrame{module->name, address - module->base};
}

std::size_t LoadedModules::Walk(CONTEXT& context, std::span<CrashFrame> frames) const noexcept {
  std::size_t count = 0;
  while (count < frames.size()) {
    frames[count++] = FrameOf(context.Rip);
    // The first function of a thread returns to 0.
    if (!Step(context, count == 1) || context.Rip == 0) {
      break;
    }
  }
  return count;
}

// From a function to the one that called it.
bool LoadedModules::Step(CONTEXT& context, bool innermost) const noexcept {
  const std::uint64_t stack = context.Rsp;
  if (!IsOnStack(stack)) {
    return false;
  }
  const Module* const module = Find(context.Rip);
  const RUNTIME_FUNCTION* const function =
      module == nullptr ? nullptr : FunctionAt(module->functions, module->base, context.Rip);
  if (function != nullptr) {
    void* handler_data = nullptr;
    DWORD64 frame = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, module->base, context.Rip, const_cast<RUNTIME_FUNCTION*>(function),
                     &context, &handler_data, &frame, nullptr);
    return context.Rsp > stack;
  }
  if (module == nullptr && !innermost) {
    return false;
  }
  // A function without an entry calls nobody and leaves the stack alone: its return address is on top. So it
  // is too when the program called what is no code.
  context.Rip = *reinterpret_cast<const std::uint64_t*>(stack);
  context.Rsp = stack + sizeof(std::uint64_t);
  return true;
}

}  // namespace quillbeaker
