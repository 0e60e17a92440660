// SPDX-License-Identifier: MIT
// Files read piece by piece, and folders listed with what is in them.

#include "platform/input_file.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/folder_listing.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

std::string ReadAt(const InputFile& file, std::uint64_t offset, std::size_t capacity) {
  std::string buffer(capacity, '?');
  const auto got = file.ReadAt(offset, buffer.data(), capacity);
  return got ? buffer.substr(0, *got) : "failed";
}

TEST(InputFile, AnyPieceCanBeRead) {
  test::TestDirectory directory;
  ASSERT_TRUE(directory.Put("m\xC3\xBC.txt", "0123456789"));
  auto file = InputFile::Open(directory.PathOf("m\xC3\xBC.txt"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 10U);
  EXPECT_EQ(ReadAt(*file, 4, 3), "456");
  EXPECT_EQ(ReadAt(*file, 0, 2), "01");
  EXPECT_EQ(ReadAt(*file, 8, 10), "89");
  EXPECT_EQ(ReadAt(*file, 10, 1), "");
  EXPECT_EQ(ReadAt(*file, 1000, 1), "");
  const InputFile moved = std::move(*file);
  EXPECT_EQ(ReadAt(moved, 9, 5), "9");
}

TEST(InputFile, FoldersAndMissingFilesAreNone) {
  test::TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("folder"));
  EXPECT_FALSE(InputFile::Open(directory.PathOf("folder")));
  EXPECT_FALSE(InputFile::Open(directory.PathOf("missing")));
}

TEST(FolderListing, NamesComeInByteOrderWithTheirKinds) {
  test::TestDirectory directory;
  ASSERT_TRUE(directory.Put("b", "x"));
  ASSERT_TRUE(directory.Put("a\xC3\xA4", "x"));
  ASSERT_TRUE(directory.Put(".hidden", "x"));
  ASSERT_TRUE(directory.MakeFolder("Folder"));
  const auto entries = ListFolder(directory.utf8());
  ASSERT_TRUE(entries);
  ASSERT_EQ(entries->size(), 4U);
  EXPECT_EQ((*entries)[0].name, ".hidden");
  EXPECT_EQ((*entries)[1].name, "Folder");
  EXPECT_EQ((*entries)[1].kind, FolderEntryKind::kFolder);
  EXPECT_EQ((*entries)[2].name, "a\xC3\xA4");
  EXPECT_EQ((*entries)[2].kind, FolderEntryKind::kFile);
  EXPECT_EQ((*entries)[3].name, "b");
}

TEST(FolderListing, AnEmptyFolderHasNothingAndAMissingOneIsNone) {
  test::TestDirectory directory;
  const auto entries = ListFolder(directory.utf8());
  ASSERT_TRUE(entries);
  EXPECT_TRUE(entries->empty());
  EXPECT_FALSE(ListFolder(directory.PathOf("missing")));
}

}  // namespace
}  // namespace quillbeaker
