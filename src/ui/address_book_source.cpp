// SPDX-License-Identifier: MIT
#include "ui/address_book_source.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace quillbeaker {
namespace {

constexpr DWORD kBetweenLooks = 20;  // milliseconds

// A job that ends its processes with itself; null when the system gives none.
UniqueKernelHandle MakeJob() {
  UniqueKernelHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

// The attributes of a process that inherits one handle and no other: none of our files and sockets.
class InheritOne {
 public:
  explicit InheritOne(HANDLE handle) : handle_(handle) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    is_made_ = InitializeProcThreadAttributeList(get(), 1, 0, &size) != FALSE;
    is_good_ = is_made_ && UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_,
                                                     sizeof handle_, nullptr, nullptr) != FALSE;
  }
  ~InheritOne() {
    if (is_made_) DeleteProcThreadAttributeList(get());
  }
  InheritOne(const InheritOne&) = delete;
  InheritOne& operator=(const InheritOne&) = delete;
  bool is_good() const { return is_good_; }
  LPPROC_THREAD_ATTRIBUTE_LIST get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  HANDLE handle_;  // the list keeps its address
  std::vector<std::byte> memory_;
  bool is_made_ = false;
  bool is_good_ = false;
};

}  // namespace

AddressBookSource::AddressBookSource(const std::wstring& program, SenderImport::KeepWaiting keep_waiting,
                                     std::chrono::milliseconds silence)
    : keep_waiting_(std::move(keep_waiting)), silence_(silence), job_(MakeJob()) {
  has_ended_ = !Start(program);
}

AddressBookSource::~AddressBookSource() {
  if (child_ != nullptr) TerminateProcess(child_.get(), 1);
}

bool AddressBookSource::Start(const std::wstring& program) {
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  if (!CreatePipe(&read_end, &write_end, &inheritable, 0)) return false;
  pipe_.reset(read_end);
  const UniqueKernelHandle theirs(write_end);  // closed here, so that its end is noticed
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);

  InheritOne inherited(write_end);
  STARTUPINFOEXW start{};
  start.StartupInfo.cb = sizeof start;
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdOutput = write_end;
  start.lpAttributeList = inherited.get();
  std::wstring command = L"\"" + program + L"\" " + kReadAddressBook;
  PROCESS_INFORMATION made{};
  if (!inherited.is_good() || !CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                                              EXTENDED_STARTUPINFO_PRESENT | CREATE_SUSPENDED, nullptr,
                                              nullptr, &start.StartupInfo, &made)) {
    return false;
  }
  child_.reset(made.hProcess);
  const UniqueKernelHandle thread(made.hThread);
  AssignProcessToJobObject(job_.get(), made.hProcess);
  return ResumeThread(made.hThread) != static_cast<DWORD>(-1);
}

AddressBookSource::Came AddressBookSource::Read() {
  DWORD available = 0;
  if (!PeekNamedPipe(pipe_.get(), nullptr, 0, nullptr, &available, nullptr)) return Came::kEnd;
  if (available == 0) return Came::kNothing;
  std::string bytes(available, '\0');
  DWORD count = 0;
  if (!ReadFile(pipe_.get(), bytes.data(), available, &count, nullptr) || count == 0) return Came::kEnd;
  contacts_.Append(std::string_view(bytes).substr(0, count));
  return Came::kBytes;
}

std::optional<FoundSender> AddressBookSource::Next() {
  ULONGLONG heard = GetTickCount64();
  for (;;) {
    if (auto contact = contacts_.Next()) return contact;
    if (has_ended_ || contacts_.is_broken()) return std::nullopt;
    switch (Read()) {
      case Came::kBytes:
        heard = GetTickCount64();
        break;
      case Came::kEnd:
        has_ended_ = true;
        break;
      case Came::kNothing:
        has_ended_ = GetTickCount64() - heard >= static_cast<ULONGLONG>(silence_.count()) || !keep_waiting_();
        if (!has_ended_) WaitForSingleObject(child_.get(), kBetweenLooks);
        break;
    }
  }
}

}  // namespace quillbeaker
