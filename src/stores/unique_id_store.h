// SPDX-License-Identifier: MIT
#pragma once

// The unique ids (RFC 1939, UIDL) of messages already seen and left on a server, in uniqueid.xml. Opened,
// changed and written back within one pass; the store's lock is held from Open to PurgeAndClose, so ask
// nobody anything in between. Ids of all accounts share the file. Cost of a pass: O(ids in the file + ids
// asked for). Any thread, one at a time.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "config/program.h"
#include "platform/file_lock.h"
#include "stores/xml_index.h"

namespace quillbeaker {

inline constexpr std::string_view kUniqueIdFile = "uniqueid.xml";

class UniqueIdStore {
 public:
  // Nothing when the file has another root, or is there and cannot be read: the store is then not used and
  // the file stays as it is. A missing or unparsable file is replaced at once by an empty one.
  static std::unique_ptr<UniqueIdStore> Open(Program& program);
  // Without PurgeAndClose nothing is saved.
  ~UniqueIdStore();

  // Byte for byte. O(1).
  bool Contains(std::string_view uid) const;
  // Appends an element dated today, also when there is one already.
  void Add(std::string_view uid);
  // Dates the first element of that id today; nothing when there is none.
  void Refresh(std::string_view uid);
  // Removes elements older than RecycleBinMaxDays and, of each id, all but the first and the last; saves
  // unless the file has these very bytes. The object is of no further use. False when saving failed.
  bool PurgeAndClose();

 private:
  UniqueIdStore() = default;
  void RemoveOldElements(xmlNode* root);
  void RemoveSurplusElements(xmlNode* root);

  Program* program_ = nullptr;
  std::unique_ptr<StoreLock> store_lock_;
  std::unique_ptr<StoreLockGuard> lock_;
  std::optional<std::string> present_;  // the file's bytes, read once; nothing when there is none
  XmlDocument document_;
  std::unordered_map<std::string, xmlNode*> first_by_uid_;
};

}  // namespace quillbeaker
