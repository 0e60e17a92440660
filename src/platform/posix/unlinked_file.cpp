// SPDX-License-Identifier: MIT
#include "platform/posix/unlinked_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace quillbeaker {

FileDescriptor OpenUnlinkedFile(const std::string& directory) {
#ifdef O_TMPFILE
  // O_EXCL: it cannot be given a name later either.
  FileDescriptor file = OpenFile(directory.c_str(), O_TMPFILE | O_EXCL | O_RDWR);
  // Kernels and file systems that do not know the flag see an attempt to write a directory.
  if (file.valid() || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return file;
#endif
  return OpenAndUnlinkFile(directory);
}

FileDescriptor OpenAndUnlinkFile(const std::string& directory) {
  std::string path = directory;
  if (!path.ends_with('/')) path += '/';
  path += "session-XXXXXX";
  FileDescriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (file.valid()) unlink(path.c_str());
  return file;
}

}  // namespace quillbeaker
