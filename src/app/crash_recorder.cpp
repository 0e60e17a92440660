// SPDX-License-Identifier: MIT
#include "app/crash_recorder.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

struct NamedThread {
  std::atomic<DWORD> id = 0;
  std::atomic<const char*> name = nullptr;
};
constinit std::array<NamedThread, 8> named_threads;

const char* NameOfThisThread() noexcept {
  const DWORD id = GetCurrentThreadId();
  for (const NamedThread& thread : named_threads) {
    if (thread.id == id && thread.name != nullptr) return thread.name;
  }
  return "another";
}

// Not on the stack, of which a thread that overflowed it has little left. Used by the thread that failed
// first, and by no other.
std::array<CrashFrame, kMostCrashFrames> frames;
std::array<char, kLongestCrashFile> former;
std::array<char, kLongestCrashFile> text;

// "2026-11-22 03:04:05 UTC"
std::string_view TimeNow(std::span<char, 24> out) noexcept {
  SYSTEMTIME now;
  GetSystemTime(&now);
  char* at = out.data();
  const auto put = [&at](unsigned value, int digits, char after) {
    for (int i = digits; i-- > 0; value /= 10) at[i] = static_cast<char>('0' + value % 10);
    at += digits;
    *at++ = after;
  };
  put(now.wYear, 4, '-');
  put(now.wMonth, 2, '-');
  put(now.wDay, 2, ' ');
  put(now.wHour, 2, ':');
  put(now.wMinute, 2, ':');
  put(now.wSecond, 2, ' ');
  at = std::copy_n("UTC", 3, at);
  return {out.data(), static_cast<std::size_t>(at - out.data())};
}

}  // namespace

void NameThisThread(const char* name) {
  for (NamedThread& thread : named_threads) {
    DWORD nobody = 0;
    if (thread.id.compare_exchange_strong(nobody, GetCurrentThreadId())) {
      thread.name = name;
      return;
    }
  }
}

CrashRecorder::CrashRecorder(const std::string& path, std::string_view version) : version_(version) {
  RtlDosPathNameToNtPathName_U(Wide(path).c_str(), &path_, nullptr, nullptr);
}

CrashRecorder::~CrashRecorder() {
  RtlFreeUnicodeString(&path_);
}

bool CrashRecorder::Write(std::uint32_t code, CONTEXT& context) noexcept {
  const std::size_t count = modules_.Walk(context, frames);
  char time[24];
  return WriteFileOf({.version = version_,
                      .time = TimeNow(time),
                      .thread = NameOfThisThread(),
                      .thread_id = GetCurrentThreadId(),
                      .code = code,
                      .frames = std::span(frames).first(count)});
}

bool CrashRecorder::WriteFileOf(const CrashFacts& facts) const noexcept {
  // CreateFile makes a copy of the path on the heap, whose lock may be torn: this call needs none.
  OBJECT_ATTRIBUTES attributes{};
  attributes.Length = sizeof attributes;
  attributes.ObjectName = const_cast<UNICODE_STRING*>(&path_);
  attributes.Attributes = OBJ_CASE_INSENSITIVE;
  IO_STATUS_BLOCK status{};
  HANDLE file = nullptr;
  if (NtCreateFile(&file, FILE_GENERIC_READ | FILE_GENERIC_WRITE, &attributes, &status, nullptr,
                   FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ, FILE_OPEN_IF,
                   FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE, nullptr, 0) < 0) {
    return false;
  }
  LARGE_INTEGER size{};
  GetFileSizeEx(file, &size);
  LARGE_INTEGER begin{};  // of the file's last bytes, when it is longer than any of ours
  begin.QuadPart = std::max<LONGLONG>(0, size.QuadPart - static_cast<LONGLONG>(former.size()));
  DWORD read = 0;
  SetFilePointerEx(file, begin, nullptr, FILE_BEGIN);
  if (!ReadFile(file, former.data(), static_cast<DWORD>(former.size()), &read, nullptr)) {
    read = 0;
  }
  const std::size_t length = WriteCrashFile({former.data(), read}, facts, text);
  DWORD written = 0;
  const bool done = SetFilePointerEx(file, {}, nullptr, FILE_BEGIN) &&
                    WriteFile(file, text.data(), static_cast<DWORD>(length), &written, nullptr) &&
                    written == length && SetEndOfFile(file);
  CloseHandle(file);
  return done;
}

}  // namespace quillbeaker
