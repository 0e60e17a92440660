// SPDX-License-Identifier: MIT
#pragma once

// What the two processes that read the system's address book agree on: which library it is, and how the
// contacts pass from the one that reads to the one that imports. The address book's library is somebody
// else's code and may crash or hang, so it is loaded in a process of its own. Knows no system.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "extras/senders/found_sender.h"

namespace quillbeaker {

// The full path of the library: the registered one when that is a full path, in the system's directory when
// it is a bare name or none is registered. Nothing for any other path: a library is never looked for in the
// current directory or along PATH, where others may have put one. UTF-8.
std::optional<std::string> AddressBookLibrary(std::string_view registered, std::string_view system_directory);

// A contact as bytes: name and address, each ended by a NUL. One that cannot be offered is two empty texts, a
// sign of life for who reads.
std::string ContactBytes(const FoundSender& contact);

// The contacts in such bytes, which come in pieces of any size. The process that wrote them may have died in
// the middle of one.
class ContactBytesReader {
 public:
  void Append(std::string_view bytes) { bytes_.append(bytes); }
  // The next whole contact, nothing until more bytes are appended.
  std::optional<FoundSender> Next();
  // True when the bytes can be no contacts: a text is longer than any that ContactBytes writes.
  bool is_broken() const { return is_broken_; }

 private:
  // The end of the text that begins at `from`; npos when it is not there yet.
  std::size_t EndOfText(std::size_t from);

  std::string bytes_;
  std::size_t at_ = 0;  // bytes of them that were given
  bool is_broken_ = false;
};

}  // namespace quillbeaker
