// SPDX-License-Identifier: MIT
// `inspect` and `serialise`: how the program reads a message, and how it writes it back.
#include <zlib.h>

#include <array>
#include <charconv>
#include <string>
#include <utility>
#include <vector>

#include "config/day_number.h"
#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "console/mail_files.h"
#include "filter/tokeniser.h"
#include "filter/word_count_table.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

std::string Crc32(std::string_view bytes) {
  const auto crc = crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
  std::array<char, 16> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), crc, 16).ptr;
  return std::string(digits.data(), end);
}

Json FieldsOf(const MailMessage& message) {
  Json fields = Json::array();
  if (message.root() != nullptr) {
    for (const HeaderField& field : message.root()->fields) {
      fields.push_back({{"name", JsonBytes(field.name)},
                        {"value", JsonBytes(field.value)},
                        {"kind", static_cast<int>(field.kind)}});
    }
  }
  return fields;
}

void AddDate(Json& object, const MailMessage& message) {
  CalendarTime date;
  if (ReadDate(message, date) == kDateAbsent) {
    object["date"] = nullptr;
  } else {
    object["date"] = {{"year", date.year},    {"month", date.month}, {"day_of_week", date.day_of_week},
                      {"day", date.day},      {"hour", date.hour},   {"minute", date.minute},
                      {"second", date.second}};
  }
  object["day_number"] = DayNumber(date);
}

Json SenderJson(const MailMessage& message) {
  const auto sender = SenderOf(message);
  if (!sender) {
    return nullptr;
  }
  return {{"name", JsonBytes(sender->name)}, {"address", JsonBytes(sender->address)}};
}

Json TokensOf(const MailMessage& message, std::string_view stripped_text) {
  WordCountTable table;
  CountMessage(message, stripped_text, table);
  // The object's own insertion looks for the key among all that are there; the table has each word once.
  std::vector<Json::object_t::value_type> tokens;
  tokens.reserve(table.entries().size());
  for (const WordEntry& entry : table.entries()) {
    tokens.emplace_back(Latin1ToUtf8(entry.word()), entry.count);
  }
  Json object = Json::object();
  static_cast<Json::object_t::Container&>(object.get_ref<Json::object_t&>()) = std::move(tokens);
  return object;
}

Json Describe(const std::string& file, const MailMessage& message) {
  Json object{{"file", JsonFileName(file)}, {"size", message.size()}, {"fields", FieldsOf(message)}};
  AddDate(object, message);
  object["sender"] = SenderJson(message);
  const auto subject = message.FindField(kHeaderSubject);
  object["subject_decoded"] = subject ? JsonBytes(DecodeEncodedWord(*subject)) : Json(nullptr);
  std::string text;
  std::string stripped;
  DecodeText(message, false, text);
  DecodeText(message, true, stripped);
  object["text"] = JsonBytes(text);
  object["text_stripped"] = JsonBytes(stripped);
  object["tokens"] = TokensOf(message, stripped);
  object["crc"] = Crc32(stripped);
  const std::string serialised = message.Serialise().value_or(std::string());
  object["serialised_size"] = serialised.size();
  object["serialised_crc"] = Crc32(serialised);
  return object;
}

}  // namespace

int Inspect(Program&, const InspectOptions& options) {
  return ForEachMailFile(options.mail, [](const std::string& file, const MailMessage* message) {
    const Json object = message != nullptr ? Describe(file, *message)
                                           : Json{{"file", JsonFileName(file)},
                                                  {"error", EnglishText(Text::kFileUnreadable)}};
    WriteStandardOutput(JsonLine(object));
  });
}

int Serialise(Program&, const SerialiseOptions& options) {
  return ForEachMailFile(options.mail, [](const std::string& file, const MailMessage* message) {
    if (message == nullptr) {
      WriteStandardError(UnreadableFile(file) + "\n");
      return;
    }
    WriteStandardOutput(message->Serialise().value_or(std::string()));
  });
}

}  // namespace quillbeaker
