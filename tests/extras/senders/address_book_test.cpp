// SPDX-License-Identifier: MIT
#include "extras/senders/address_book.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillbeaker {
namespace {

TEST(AddressBookLibrary, IsTheRegisteredFullPath) {
  EXPECT_EQ(AddressBookLibrary("C:\\Common Files\\wab32.dll", "C:\\windows\\system32"),
            "C:\\Common Files\\wab32.dll");
  EXPECT_EQ(AddressBookLibrary("\\\\server\\share\\wab32.dll", "C:\\s"), "\\\\server\\share\\wab32.dll");
}

TEST(AddressBookLibrary, IsInTheSystemDirectoryWithoutAPath) {
  EXPECT_EQ(AddressBookLibrary("", "C:\\s"), "C:\\s\\WAB32.DLL");
  EXPECT_EQ(AddressBookLibrary("  ", "C:\\s"), "C:\\s\\WAB32.DLL");
  EXPECT_EQ(AddressBookLibrary("other.dll", "C:\\s"), "C:\\s\\other.dll");
}

TEST(AddressBookLibrary, IsNoRelativePath) {
  for (const char* path : {".\\wab32.dll", "..\\wab32.dll", "sub\\wab32.dll", "sub/wab32.dll", "\\wab32.dll",
                           "C:wab32.dll", "1:\\wab32.dll"}) {
    EXPECT_EQ(AddressBookLibrary(path, "C:\\s"), std::nullopt) << path;
  }
}

std::vector<FoundSender> All(ContactBytesReader& reader) {
  std::vector<FoundSender> all;
  while (auto one = reader.Next()) all.push_back(*one);
  return all;
}

TEST(ContactBytes, ComeBackFromPiecesOfAnySize) {
  const std::string bytes =
      ContactBytes({"Ann", "a@x"}) + ContactBytes({"", ""}) + ContactBytes({"Bob", "b@x"});
  for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
    ContactBytesReader reader;
    std::vector<FoundSender> all;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      reader.Append(std::string_view(bytes).substr(at, piece));
      for (FoundSender& one : All(reader)) all.push_back(std::move(one));
    }
    ASSERT_EQ(all.size(), 3U) << piece;
    EXPECT_EQ(all[0].name, "Ann");
    EXPECT_EQ(all[0].address, "a@x");
    EXPECT_EQ(all[1].name + all[1].address, "");
    EXPECT_EQ(all[2].address, "b@x");
    EXPECT_FALSE(reader.is_broken());
  }
}

TEST(ContactBytes, LeaveOutAContactThatIsCutOff) {
  ContactBytesReader reader;
  reader.Append(ContactBytes({"Ann", "a@x"}));
  reader.Append(std::string_view("Bob\0b@", 6));
  EXPECT_EQ(All(reader).size(), 1U);
  EXPECT_FALSE(reader.is_broken());
}

TEST(ContactBytes, AreEmptyTextsForWhatIsTooLong) {
  const std::string longest(250, 'a');
  ContactBytesReader reader;
  reader.Append(ContactBytes({std::string(10'000, 'n'), longest}));
  for (const std::string& address : {" " + std::string(300, 'a'), longest + " aaa", longest + "\n@x"}) {
    reader.Append(ContactBytes({"Ann", address}));
  }
  reader.Append(ContactBytes({" Bob", longest + " \r\n"}));
  const std::vector<FoundSender> all = All(reader);
  ASSERT_EQ(all.size(), 5U);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(all[i].name + all[i].address, "") << i;
  EXPECT_EQ(all[4].name, "Bob");
  EXPECT_EQ(all[4].address, longest);
  EXPECT_FALSE(reader.is_broken());
}

TEST(ContactBytes, AreNoContactsWithoutAnyEnd) {
  ContactBytesReader reader;
  reader.Append(ContactBytes({"Ann", "a@x"}));
  reader.Append(std::string(300, 'x'));
  EXPECT_EQ(All(reader).size(), 1U);
  EXPECT_TRUE(reader.is_broken());
  reader.Append(ContactBytes({"Bob", "b@x"}));
  EXPECT_FALSE(reader.Next());
}

}  // namespace
}  // namespace quillbeaker
