// SPDX-License-Identifier: MIT
#pragma once

// What every test of the training area needs: a program directory with a training area in it, its index as
// text, mail, and names computed without the code under test.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/mail_message.h"
#include "stores/training_area.h"
#include "support/index_text.h"
#include "support/test_program.h"

namespace quillbeaker::test {

inline constexpr char kTrainingHeader[] = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

// The reflected CRC-32 of polynomial 0xEDB88320, bit by bit.
inline std::uint32_t SlowCrc32(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0U);
  }
  return ~crc;
}

// The name that a text gets in the training area.
inline std::string TrainingName(std::string_view text) {
  char name[16];
  std::snprintf(name, sizeof(name), "%x.eml", static_cast<unsigned>(SlowCrc32(text)));
  return name;
}

// A mail of one part; `body` begins behind the empty line's CR LF.
inline std::string TrainingMail(std::string_view body, std::string_view subject = "Meeting",
                                std::string_view more_fields = {}) {
  return "Date: Wed, 5 Feb 2003 09:41:07 +0000\r\nFrom: Ann Smith <ann@example.org>\r\nSubject: " +
         std::string(subject) + "\r\n" + std::string(more_fields) + "\r\n" + std::string(body);
}

// The clock stands on 2 March 2006 (day 2453797), 13:04:05.
class TrainingFixture : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }
  TrainingArea& area() {
    if (!area_) area_ = std::make_unique<TrainingArea>(program());
    return *area_;
  }

  bool Add(std::string_view text) {
    MailMessage message;
    message.ParseText(std::string(text));
    return area().Add(message);
  }
  // Puts an index with these elements below its root.
  [[nodiscard]] bool PutIndex(std::string_view elements) {
    return PutFile("training.xml",
                   kTrainingHeader + std::string("<training>") + std::string(elements) + "</training>\n");
  }
  [[nodiscard]] bool PutFile(std::string_view name, std::string_view bytes = "\r\nkept text\r\n") {
    return surroundings.directory.Put("training/" + std::string(name), bytes);
  }
  bool HasFile(std::string_view name) const {
    return surroundings.directory.Has("training/" + std::string(name));
  }
  std::string GetFile(std::string_view name) const {
    return surroundings.directory.Get("training/" + std::string(name)).value_or("(missing)");
  }
  std::string Index() const { return GetFile("training.xml"); }
  std::vector<IndexElement> Entries() const { return ElementsOf(Index(), "message"); }
  // The names in the index, each followed by a blank.
  std::string EntryNames() const {
    std::string names;
    for (const IndexElement& entry : Entries()) names += entry["filename"] + " ";
    return names;
  }
  // Names of the message files on the disk, in byte order.
  std::vector<std::string> MessageFiles() const {
    std::vector<std::string> names;
    const std::filesystem::path folder = surroundings.directory.path() / "training";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() == ".eml") names.push_back(Utf8Of(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // All rows; a failure and none when there is no list.
  std::vector<TrainingEntry> Rows() {
    std::optional<std::vector<TrainingEntry>> rows = area().List();
    EXPECT_TRUE(rows.has_value());
    return rows ? std::move(*rows) : std::vector<TrainingEntry>();
  }
  TrainingEntry OnlyRow() {
    const std::vector<TrainingEntry> rows = Rows();
    EXPECT_EQ(rows.size(), 1U);
    return rows.empty() ? TrainingEntry{} : rows.front();
  }
  static std::vector<std::string> Names(std::initializer_list<const char*> names) {
    return {names.begin(), names.end()};
  }

  TestProgram surroundings;

 private:
  std::unique_ptr<TrainingArea> area_;
};

}  // namespace quillbeaker::test
