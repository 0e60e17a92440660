// SPDX-License-Identifier: MIT
#include <iconv.h>

#include <cerrno>
#include <memory>
#include <type_traits>

#include "platform/charset_table.h"

namespace quillbeaker {
namespace {

struct Closer {
  void operator()(iconv_t converter) const { iconv_close(converter); }
};
using Converter = std::unique_ptr<std::remove_pointer_t<iconv_t>, Closer>;

}  // namespace

std::optional<std::string> ConvertToUtf8(std::string_view bytes, const Charset& charset) {
  const iconv_t opened = iconv_open("UTF-8", charset.iconv_name);
  if (opened == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  const Converter converter(opened);
  std::string out;
  char piece[4096];
  // iconv reads only; its parameter is not const for history's sake.
  char* in = const_cast<char*>(bytes.data());
  std::size_t in_left = bytes.size();
  // The second round, without input, ends a text that is in a shifted state.
  for (bool flushing = false;;) {
    char* to = piece;
    std::size_t room = sizeof piece;
    const std::size_t done = iconv(converter.get(), flushing ? nullptr : &in, &in_left, &to, &room);
    out.append(piece, sizeof piece - room);
    if (done == static_cast<std::size_t>(-1)) {
      if (errno != E2BIG) return std::nullopt;
    } else if (flushing) {
      return out;
    } else {
      flushing = true;
    }
  }
}

}  // namespace quillbeaker
