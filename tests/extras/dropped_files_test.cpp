// SPDX-License-Identifier: MIT
#include "extras/dropped_files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillbeaker {
namespace {

std::string Number(std::uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(number >> 8 * i & 0xFF));
  return bytes;
}

std::string Descriptor(std::uint32_t flags, std::uint64_t size, std::string name, std::size_t name_size) {
  name.resize(name_size);
  return Number(flags) + std::string(60, '\x11') + Number(static_cast<std::uint32_t>(size >> 32)) +
         Number(static_cast<std::uint32_t>(size)) + name;
}

std::string Wide(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

TEST(ReadFileGroupDescriptor, ReadsNamesAndSizes) {
  const auto files = ReadFileGroupDescriptor(
      Number(2) + Descriptor(0x40, 0x1'0000'0005, "one.eml", 260) + Descriptor(0, 77, "two.eml", 260),
      DescriptorForm::kBytes);
  ASSERT_TRUE(files);
  ASSERT_EQ(files->size(), 2U);
  EXPECT_EQ((*files)[0].name, "one.eml");
  EXPECT_EQ((*files)[0].size, 0x1'0000'0005U);
  EXPECT_EQ((*files)[1].name, "two.eml");
  EXPECT_EQ((*files)[1].size, std::nullopt);  // there is a number, but no flag that says so
}

TEST(ReadFileGroupDescriptor, ReadsWideNames) {
  const auto files = ReadFileGroupDescriptor(
      Number(1) + Descriptor(0x40, 9, Wide(u"M\u00FCll\u20AC\U0001F600\xD800x"), 520) + std::string(100, 'p'),
      DescriptorForm::kWide);
  ASSERT_TRUE(files);
  ASSERT_EQ(files->size(), 1U);
  EXPECT_EQ((*files)[0].name, "M\xC3\xBCll\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBDx");
}

TEST(ReadFileGroupDescriptor, ReadsANameWithoutAnEnd) {
  const std::string bytes = Number(1) + Descriptor(0, 0, std::string(300, 'n'), 260);
  EXPECT_EQ(ReadFileGroupDescriptor(bytes, DescriptorForm::kBytes)->front().name, std::string(260, 'n'));
  const std::string wide = Number(1) + Descriptor(0, 0, std::string(520, 'n'), 520);
  EXPECT_EQ(ReadFileGroupDescriptor(wide, DescriptorForm::kWide)->size(), 1U);
}

TEST(ReadFileGroupDescriptor, RefusesCountsThatAreNotThere) {
  const std::string one = Descriptor(0, 0, "one.eml", 260);
  EXPECT_FALSE(ReadFileGroupDescriptor("", DescriptorForm::kBytes));
  EXPECT_FALSE(ReadFileGroupDescriptor("\1\0", DescriptorForm::kBytes));
  EXPECT_FALSE(ReadFileGroupDescriptor(Number(0) + one, DescriptorForm::kBytes));
  EXPECT_FALSE(ReadFileGroupDescriptor(Number(2) + one, DescriptorForm::kBytes));
  EXPECT_FALSE(ReadFileGroupDescriptor(Number(0xFFFFFFFF) + one, DescriptorForm::kBytes));
  EXPECT_FALSE(ReadFileGroupDescriptor(Number(1) + one.substr(1), DescriptorForm::kBytes));
  // The wide form is longer.
  EXPECT_FALSE(ReadFileGroupDescriptor(Number(1) + one, DescriptorForm::kWide));
  std::string many = Number(101);
  for (int i = 0; i < 101; ++i) many += one;
  EXPECT_EQ(ReadFileGroupDescriptor(many, DescriptorForm::kBytes)->size(), kMostDroppedFiles);
  EXPECT_FALSE(ReadFileGroupDescriptor(many.substr(0, many.size() - 1), DescriptorForm::kBytes));
}

TEST(SizeOfContent, IsWhatWasAnnounced) {
  EXPECT_EQ(SizeOfContent({"", 10}, 16), 10U);
  EXPECT_EQ(SizeOfContent({"", 16}, 16), 16U);
  EXPECT_EQ(SizeOfContent({"", 0}, 16), 16U);  // not counted
  EXPECT_EQ(SizeOfContent({"", std::nullopt}, 16), 16U);
  EXPECT_EQ(SizeOfContent({"", std::nullopt}, 100 * kMostDroppedBytes), kMostDroppedBytes);
}

TEST(SizeOfContent, IsRefusedWhenItIsALie) {
  EXPECT_FALSE(SizeOfContent({"", 17}, 16));
  EXPECT_FALSE(SizeOfContent({"", 0xFFFF'FFFF'FFFF'FFFFU}, 16));
}

std::string DropFiles(std::uint32_t paths_at, bool wide, const std::string& paths) {
  return Number(paths_at) + std::string(12, '\x22') + Number(wide ? 1 : 0) + paths;
}

using Paths = std::vector<std::string>;

TEST(ReadDroppedPaths, ReadsBothForms) {
  const std::string list("C:\\a.eml\0D:\\b\0\0", 15);
  DroppedPaths read = ReadDroppedPaths(DropFiles(20, false, list + "padding"));
  EXPECT_EQ(read.form, DescriptorForm::kBytes);
  EXPECT_EQ(read.paths, (Paths{"C:\\a.eml", "D:\\b"}));
  read = ReadDroppedPaths(DropFiles(24, true, "junk" + Wide({u"C:\\\u00FC.eml\0\0", 11})));
  EXPECT_EQ(read.form, DescriptorForm::kWide);
  EXPECT_EQ(read.paths, Paths{"C:\\\xC3\xBC.eml"});
}

TEST(ReadDroppedPaths, ReadsNothingOutsideOfTheBytes) {
  EXPECT_TRUE(ReadDroppedPaths("").paths.empty());
  EXPECT_TRUE(ReadDroppedPaths(std::string(19, '\0')).paths.empty());
  EXPECT_TRUE(ReadDroppedPaths(DropFiles(0xFFFFFFFF, true, Wide(u"C:\\a.eml"))).paths.empty());
  EXPECT_TRUE(ReadDroppedPaths(DropFiles(21, false, "")).paths.empty());
  // Without its end a path is cut off.
  EXPECT_TRUE(ReadDroppedPaths(DropFiles(20, false, "C:\\a.eml")).paths.empty());
  EXPECT_TRUE(ReadDroppedPaths(DropFiles(20, true, Wide(u"C:\\a.eml") + '\0')).paths.empty());
  EXPECT_EQ(ReadDroppedPaths(DropFiles(20, false, std::string("C:\\a\0C:\\b", 9))).paths, Paths{"C:\\a"});
  std::string many;
  for (int i = 0; i < 200; ++i) many += std::string("x\0", 2);
  EXPECT_EQ(ReadDroppedPaths(DropFiles(20, false, many)).paths.size(), kMostDroppedFiles);
}

TEST(IsMailFile, GoesByTheExtension) {
  EXPECT_TRUE(IsMailFile("C:\\a\\Mail.EML"));
  EXPECT_FALSE(IsMailFile("C:\\a\\mail.eml.exe"));
  EXPECT_FALSE(IsMailFile("C:\\a\\eml"));
}

}  // namespace
}  // namespace quillbeaker
