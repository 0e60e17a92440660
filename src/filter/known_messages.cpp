// SPDX-License-Identifier: MIT
#include "filter/known_messages.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "filter/little_endian.h"
#include "filter/word_tables.h"
#include "platform/input_file.h"

namespace quillbeaker {
namespace {

std::uint32_t MessagesIn(const std::string& path) {
  constexpr std::size_t kMessagesAt = 8;
  std::array<char, 16> header{};
  const std::optional<InputFile> file = InputFile::Open(path);
  if (!file || file->ReadAt(0, header.data(), header.size()) != header.size()) return 0;
  return LittleEndian32(std::string_view(header.data(), header.size()).substr(kMessagesAt));
}

}  // namespace

KnownMessages ReadKnownMessages(const Program& program) {
  return {MessagesIn(program.PathOf(kGoodWordList)), MessagesIn(program.PathOf(kBadWordList))};
}

bool IsTooLittle(const KnownMessages& known) {
  return std::min(known.good, known.spam) < kFewKnownMessages;
}

bool IsUneven(const KnownMessages& known) {
  const auto [less, more] = std::minmax(known.good, known.spam);
  return more > std::uint64_t{kMostKnownImbalance} * less;
}

}  // namespace quillbeaker
