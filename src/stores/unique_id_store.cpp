// SPDX-License-Identifier: MIT

#include "stores/unique_id_store.h"

#include <cstdint>
#include <utility>

#include "platform/files.h"

namespace quillbeaker {
namespace {

constexpr const char* kRoot = "uniqueid";
constexpr const char* kMail = "mail";
constexpr const char* kUid = "uid";
constexpr const char* kDate = "date";

std::string PathOfStore(const Program& program) {
  return program.PathOf(kUniqueIdFile);
}

}  // namespace

UniqueIdStore::~UniqueIdStore() = default;

std::unique_ptr<UniqueIdStore> UniqueIdStore::Open(Program& program) {
  const std::string path = PathOfStore(program);
  std::unique_ptr<UniqueIdStore> store(new UniqueIdStore);
  store->program_ = &program;
  store->store_lock_ = std::make_unique<StoreLock>(path + ".lock");
  store->lock_ = store->store_lock_->Acquire();
  FileContents file = ReadContents(path);
  // What is there but cannot be read now is not replaced: the ids in it would be forgotten.
  if (!file.result && !file.result.IsMissing()) return nullptr;
  store->present_ = std::move(file.bytes);
  if (store->present_) store->document_ = ParseXml(*store->present_);
  if (store->document_ == nullptr) {
    store->document_ = NewXmlDocument(kRoot);
    // A store that cannot be saved still serves this pass: its ids are then learnt again by the next.
    const std::optional<std::string> bytes = DumpXml(store->document_, true);
    if (bytes && ReplaceWholeFile(path, *bytes)) store->present_ = bytes;
  }
  const xmlNode* root = RootNamed(store->document_, kRoot);
  if (root == nullptr) return nullptr;
  for (xmlNode* node = root->children; node != nullptr; node = node->next) {
    if (!IsElement(node, kMail)) continue;
    if (std::optional<std::string> uid = Attribute(node, kUid)) {
      store->first_by_uid_.try_emplace(*std::move(uid), node);
    }
  }
  return store;
}

bool UniqueIdStore::Contains(std::string_view uid) const {
  return first_by_uid_.contains(StorableText(uid));
}

void UniqueIdStore::Add(std::string_view uid) {
  xmlNode* root = RootNamed(document_, kRoot);
  if (root == nullptr) return;
  xmlNode* mail = AddElement(root, kMail);
  SetAttribute(mail, kUid, uid);
  SetAttribute(mail, kDate, std::to_string(program_->Today()));
  first_by_uid_.try_emplace(StorableText(uid), mail);
}

void UniqueIdStore::Refresh(std::string_view uid) {
  const auto found = first_by_uid_.find(StorableText(uid));
  if (found != first_by_uid_.end()) SetAttribute(found->second, kDate, std::to_string(program_->Today()));
}

bool UniqueIdStore::PurgeAndClose() {
  xmlNode* root = RootNamed(document_, kRoot);
  if (root == nullptr) return false;
  first_by_uid_.clear();
  RemoveOldElements(root);
  RemoveSurplusElements(root);
  const bool saved = SaveXmlFile(document_, PathOfStore(*program_), true, present_);
  document_.reset();
  lock_.reset();
  return saved;
}

// Deliberate: ids are kept as long as the recycle bin keeps messages, there is no key of their own; and an id
// exactly that many days old stays, unlike an entry of the recycle bin.
void UniqueIdStore::RemoveOldElements(xmlNode* root) {
  const std::int64_t cutoff = std::int64_t{program_->Today()} - program_->Read(keys::kRecycleBinMaxDays);
  for (xmlNode* node = root->children; node != nullptr;) {
    xmlNode* next = node->next;
    if (IsElement(node, kMail) && UnsignedAttribute(node, kDate) < cutoff) RemoveElement(node);
    node = next;
  }
}

// Deliberate: a client that leaves its mail on the server has every id added again by each of its checks. Of
// equal ids the first is the one that Refresh dates and the last the one that Add wrote; those between them
// tell nothing, and without this the file would grow by the whole mailbox per check.
void UniqueIdStore::RemoveSurplusElements(xmlNode* root) {
  std::unordered_map<std::string, xmlNode*> last_by_uid;  // null while only the first was met
  for (xmlNode* node = root->children; node != nullptr; node = node->next) {
    if (!IsElement(node, kMail)) continue;
    const std::optional<std::string> uid = Attribute(node, kUid);
    if (!uid) continue;
    const auto [found, is_first] = last_by_uid.try_emplace(*uid, nullptr);
    if (is_first) continue;
    if (found->second != nullptr) RemoveElement(found->second);
    found->second = node;
  }
}

}  // namespace quillbeaker
