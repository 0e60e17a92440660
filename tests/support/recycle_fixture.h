// SPDX-License-Identifier: MIT
#pragma once

// What every test of the recycle bin needs: a program directory with a recycle bin in it, its index as text,
// and spam.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "message/mail_message.h"
#include "stores/recycle_bin.h"
#include "support/index_text.h"
#include "support/test_program.h"

namespace quillbeaker::test {

inline constexpr char kIndexHeader[] = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";
inline constexpr char kSpam[] =
    "Date: Wed, 5 Feb 2003 22:15:07 +0000\r\n"
    "From: Sales <sales@example.org>\r\n"
    "Subject: Cheap offer\r\n"
    "\r\n"
    "Buy now\r\n";

// The clock stands on 2 March 2006 (day 2453797), 13:04:05; the tick counter on 1000, which is 3e8.
class RecycleFixture : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }
  RecycleBin& bin() {
    if (!bin_) bin_ = std::make_unique<RecycleBin>(program());
    return *bin_;
  }

  // Puts an index with these elements below its root.
  [[nodiscard]] bool PutIndex(std::string_view elements) {
    return surroundings.directory.Put(
        "recycle/recyclebin.xml",
        kIndexHeader + std::string("<recyclebin>") + std::string(elements) + "</recyclebin>\n");
  }
  [[nodiscard]] bool PutFile(std::string_view name, std::string_view bytes = kSpam) {
    return surroundings.directory.Put("recycle/" + std::string(name), bytes);
  }
  bool HasFile(std::string_view name) const {
    return surroundings.directory.Has("recycle/" + std::string(name));
  }
  std::string GetFile(std::string_view name) const {
    return surroundings.directory.Get("recycle/" + std::string(name)).value_or("(missing)");
  }
  std::string Index() const { return GetFile("recyclebin.xml"); }
  std::vector<IndexElement> Entries() const { return ElementsOf(Index(), "recyclefile"); }
  // The names in the index, each followed by a blank.
  std::string EntryNames() const {
    std::string names;
    for (const IndexElement& entry : Entries()) names += entry["name"] + " ";
    return names;
  }
  // Names of the message files on the disk, in byte order.
  std::vector<std::string> MessageFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(surroundings.directory.path() / "recycle")) {
      if (entry.path().extension() == ".recycle") names.push_back(Utf8Of(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // Files one message; gives its name.
  std::string File(std::string_view text, std::string_view spam_words = {}, double probability = 0,
                   std::string_view account = "ann @ mailserver") {
    MailMessage message;
    message.ParseText(std::string(text));
    const DeletedMessage deleted{&message, spam_words, probability};
    const std::vector<std::string> names = bin().File(std::span(&deleted, 1), account).names;
    EXPECT_EQ(names.size(), 1U);
    return names.empty() ? std::string() : names[0];
  }
  // The row of the only entry.
  RecycleEntry OnlyRow() {
    const std::optional<std::vector<RecycleEntry>> rows = bin().List();
    EXPECT_TRUE(rows.has_value());
    if (!rows) return {};
    EXPECT_EQ(rows->size(), 1U);
    return rows->empty() ? RecycleEntry{} : rows->front();
  }
  std::string RowNames() {
    const std::optional<std::vector<RecycleEntry>> rows = bin().List();
    if (!rows) return "(nothing)";
    std::string names;
    for (const RecycleEntry& row : *rows) names += row.name + " ";
    return names;
  }
  static std::vector<std::string> Names(std::initializer_list<const char*> names) {
    return {names.begin(), names.end()};
  }

  TestProgram surroundings;

 private:
  std::unique_ptr<RecycleBin> bin_;
};

}  // namespace quillbeaker::test
