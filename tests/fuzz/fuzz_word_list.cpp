// SPDX-License-Identifier: MIT
// Any bytes as the file of a learnt word list: loaded, written, and loaded again.

#include <unistd.h>

#include <string>

#include "filter/word_count_table.h"
#include "fuzz_support.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

// A file of this process alone, in memory where the system has such a directory, gone when the process ends.
struct ScratchFile {
  ~ScratchFile() { EraseFile(path); }
  const std::string path = (DirectoryExists("/dev/shm") ? std::string("/dev/shm") : std::string("/tmp")) +
                           "/fuzz_word_list." + std::to_string(getpid());
};

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  static const ScratchFile file;
  Check(bool{WriteWholeFile(file.path, TextOf(data, size), false)}, "the scratch file can be written");
  WordCountTable table;
  table.Load(file.path);
  Check(table.entries().size() <= size / 5, "no more words than the file has room for");

  Check(bool{WriteWholeFile(file.path, table.Serialise(), false)}, "the scratch file can be written");
  WordCountTable again;
  again.Load(file.path);
  Check(again.messages == table.messages, "the number of messages is kept");
  Check(again.entries().size() == table.entries().size(), "the number of words is kept");
  for (const WordEntry& entry : table.entries()) {
    Check(entry.length <= kMaxWordLength, "a word keeps its limit");
    Check(again.Count(entry.word()) == entry.count, "each word keeps its count");
  }
  return 0;
}
