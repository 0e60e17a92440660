// SPDX-License-Identifier: MIT

// Writes the files that a QUIT writes, and does nothing else: what a QUIT's answer is measured against.
//
//   plain-writes FROM TO < names
//
// Each line is the path of a file below FROM that is written to the same path below TO, whose folders are
// there. A name that ends in .xml or .ini is an index: written beside itself, flushed and renamed, as every
// file must be that a loss of power may not damage. All others are opened, written and closed. The bytes are
// read beforehand. Prints the seconds that the writing took.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"

namespace quillbeaker::bench {
namespace {

struct File {
  std::string path;
  std::string bytes;
  bool is_index = false;
};

bool Write(const std::string& path, const std::string& bytes, bool flush) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return false;
  const bool written = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  const bool flushed = !flush || fsync(file) == 0;
  return close(file) == 0 && written && flushed;
}

bool Write(const File& file) {
  if (!file.is_index) return Write(file.path, file.bytes, false);
  const std::string beside = file.path + ".new";
  return Write(beside, file.bytes, true) && rename(beside.c_str(), file.path.c_str()) == 0;
}

}  // namespace
}  // namespace quillbeaker::bench

int main(int argc, char** argv) {
  using namespace quillbeaker;
  if (argc != 3) {
    std::fprintf(stderr, "usage: plain-writes FROM TO < names\n");
    return 2;
  }
  std::vector<bench::File> files;
  for (std::string name; std::getline(std::cin, name);) {
    std::optional<std::string> bytes = ReadWholeFile(std::string(argv[1]) + "/" + name);
    if (!bytes) {
      std::fprintf(stderr, "%s cannot be read\n", name.c_str());
      return 1;
    }
    files.push_back({std::string(argv[2]) + "/" + name, std::move(*bytes),
                     name.ends_with(".xml") || name.ends_with(".ini")});
  }
  const auto begun = std::chrono::steady_clock::now();
  for (const bench::File& file : files) {
    if (!bench::Write(file)) {
      std::perror(file.path.c_str());
      return 1;
    }
  }
  std::printf("%.6f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count());
}
