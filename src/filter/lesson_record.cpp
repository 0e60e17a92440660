// SPDX-License-Identifier: MIT
#include "filter/lesson_record.h"

#include <zlib.h>

#include <algorithm>

#include "filter/little_endian.h"

namespace quillbeaker {

namespace {

constexpr std::uint32_t kFormatVersion = 1;
constexpr std::size_t kFewestWordBytes = 5;  // an empty word with its length byte and its count

std::uint32_t ChecksumOf(std::string_view bytes) {
  return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

void AppendWords(std::string& out, const LearntWords& learnt) {
  AppendLittleEndian32(out, learnt.messages);
  AppendLittleEndian32(out, static_cast<std::uint32_t>(learnt.words.size()));
  for (const WordEntry& entry : learnt.words) {
    out += static_cast<char>(entry.length);
    out += entry.word();
    AppendLittleEndian32(out, entry.count);
  }
}

bool ReadWord(LittleEndianReader& reader, LearntWords& learnt) {
  const auto length = reader.Bytes(1);
  if (!length) return false;
  const std::size_t size = static_cast<unsigned char>(length->front());
  const auto word = reader.Bytes(size);
  const auto count = reader.Number();
  if (size > kMaxWordLength || !word || !count) return false;
  learnt.words.push_back({Word(*word), *count});
  return true;
}

bool ReadWords(LittleEndianReader& reader, LearntWords& learnt) {
  const auto messages = reader.Number();
  const auto words = reader.Number();
  if (!messages || !words || *words > reader.rest().size() / kFewestWordBytes) return false;
  learnt.messages = *messages;
  learnt.words.reserve(*words);
  for (std::uint32_t i = 0; i < *words; ++i) {
    if (!ReadWord(reader, learnt)) return false;
  }
  return true;
}

}  // namespace

std::string SerialiseLesson(const LearntWords& good, const LearntWords& bad, std::string_view mails) {
  std::string bytes(4, '\0');  // the checksum's place
  bytes.reserve(mails.size() + 64 + (good.words.size() + bad.words.size()) * (kMaxWordLength + 5));
  AppendLittleEndian32(bytes, kFormatVersion);
  AppendWords(bytes, good);
  AppendWords(bytes, bad);
  bytes += mails;
  std::string checksum;
  AppendLittleEndian32(checksum, ChecksumOf(std::string_view(bytes).substr(4)));
  std::copy(checksum.begin(), checksum.end(), bytes.begin());
  return bytes;
}

std::optional<LessonRecord> ParseLesson(std::string_view bytes) {
  LittleEndianReader reader(bytes);
  const auto checksum = reader.Number();
  if (!checksum || *checksum != ChecksumOf(reader.rest()) || reader.Number() != kFormatVersion) {
    return std::nullopt;
  }
  LessonRecord record;
  if (!ReadWords(reader, record.good) || !ReadWords(reader, record.bad)) return std::nullopt;
  record.mails = reader.rest();
  return record;
}

}  // namespace quillbeaker
