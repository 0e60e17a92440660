// SPDX-License-Identifier: MIT
#pragma once

// The contacts of the system's address book, read by a child process (app/address_book_child.h).

#include <windows.h>

#include <chrono>
#include <optional>
#include <string>

#include "extras/senders/address_book.h"
#include "extras/senders/sender_import.h"
#include "ui/handles.h"

namespace quillbeaker {

// What the child process is started with.
inline constexpr wchar_t kReadAddressBook[] = L"/readaddressbook";

inline constexpr std::chrono::seconds kAddressBookSilence{30};

class AddressBookSource : public SenderSource {
 public:
  // Starts `program`, this program's own file. The contacts end when it ends, whichever way, or when it has
  // said nothing for as long as `silence` while Next waited for it. `keep_waiting` is called meanwhile, and
  // ends them too by false.
  AddressBookSource(const std::wstring& program, SenderImport::KeepWaiting keep_waiting,
                    std::chrono::milliseconds silence = kAddressBookSilence);
  // Ends the child process.
  ~AddressBookSource() override;

  std::optional<FoundSender> Next() override;

 private:
  enum class Came { kBytes, kNothing, kEnd };

  bool Start(const std::wstring& program);
  Came Read();

  const SenderImport::KeepWaiting keep_waiting_;
  const std::chrono::milliseconds silence_;
  UniqueKernelHandle job_;  // the child does not outlive it
  UniqueKernelHandle child_;
  UniqueKernelHandle pipe_;
  ContactBytesReader contacts_;
  bool has_ended_ = false;
};

}  // namespace quillbeaker
