// SPDX-License-Identifier: MIT
#include "extras/senders/address_book.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kUsualLibrary = "WAB32.DLL";

bool IsSlash(char character) {
  return character == '\\' || character == '/';
}

bool IsFullPath(std::string_view path) {
  const bool on_drive = path.size() > 3 && ToLowerAscii(path[0]) >= 'a' && ToLowerAscii(path[0]) <= 'z' &&
                        path[1] == ':' && IsSlash(path[2]);
  const bool on_server = path.size() > 2 && path.starts_with("\\\\");
  return on_drive || on_server;
}

}  // namespace

std::optional<std::string> AddressBookLibrary(std::string_view registered,
                                              std::string_view system_directory) {
  const std::string_view name = TrimBlanks(registered);
  if (IsFullPath(name)) return std::string(name);
  if (name.find_first_of("\\/:") != std::string_view::npos) return std::nullopt;
  return std::string(system_directory) + "\\" + std::string(name.empty() ? kUsualLibrary : name);
}

std::string ContactBytes(const FoundSender& contact) {
  const FoundSender fit = FitToOffer(contact).value_or(FoundSender{});
  return fit.name + '\0' + fit.address + '\0';
}

std::size_t ContactBytesReader::EndOfText(std::size_t from) {
  const std::size_t end = bytes_.find('\0', from);
  if (std::min(end, bytes_.size()) - from > kMaxFoundText) is_broken_ = true;
  return is_broken_ ? std::string::npos : end;
}

std::optional<FoundSender> ContactBytesReader::Next() {
  const std::size_t name_end = EndOfText(at_);
  const std::size_t address_end = name_end == std::string::npos ? name_end : EndOfText(name_end + 1);
  if (address_end == std::string::npos) {
    bytes_.erase(0, std::exchange(at_, 0));
    return std::nullopt;
  }
  FoundSender found{bytes_.substr(at_, name_end - at_),
                    bytes_.substr(name_end + 1, address_end - name_end - 1)};
  at_ = address_end + 1;
  return found;
}

}  // namespace quillbeaker
