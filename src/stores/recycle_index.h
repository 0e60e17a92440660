// SPDX-License-Identifier: MIT
#pragma once

// The elements of the recycle bin's index, for recycle_bin's own sources: how an entry is written and read.
// Knows no files. The window and the terminal get RecycleEntry values (recycle_bin.h).

#include <libxml/tree.h>

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>

#include "message/mail_message.h"
#include "platform/calendar_time.h"
#include "stores/recycle_bin.h"
#include "stores/xml_index.h"

namespace quillbeaker::recycle_index {

inline constexpr const char* kRoot = "recyclebin";
inline constexpr const char* kEntry = "recyclefile";
inline constexpr const char* kName = "name";
inline constexpr const char* kDate = "date";
inline constexpr const char* kTime = "time";
inline constexpr const char* kSubject = "subject";
inline constexpr const char* kSpamWords = "spamwords";
inline constexpr const char* kProbability = "probability";
inline constexpr const char* kAccount = "account";
inline constexpr const char* kSender = "sender";
inline constexpr const char* kAddress = "address";
inline constexpr const char* kSize = "size";
inline constexpr const char* kRestored = "restored";

// Appends the entry of a message whose file is `name`. A mail without a Date field gets `local_time`. Empty
// spam words, an empty account and a probability of 0 give no attribute.
xmlNode* AppendEntry(xmlNode* root, std::string_view name, const DeletedMessage& deleted,
                     std::string_view account, const CalendarTime& local_time);

// Appends an entry that was read from another document.
void AppendEntry(xmlNode* root, const RecycleEntry& row);

// The names of all entries.
std::unordered_set<std::string> NamesIn(xmlNode* root);

RecycleEntry ReadEntry(const xmlNode* entry);
bool IsRestored(const xmlNode* entry);

// Calls `visit` for every entry, which may remove it.
void ForEachEntry(xmlNode* root, const std::function<void(xmlNode* entry)>& visit);
// Calls `visit` for every entry anywhere in a document that did not parse, where an entry may lie in another
// or below any root. It must not change the document.
void ForEachRecoveredEntry(const XmlDocument& document,
                           const std::function<void(const xmlNode* entry)>& visit);
// Calls `visit` as often as each name is given, for that many first entries of the name. O(entries + names).
void ForEntriesNamed(xmlNode* root, std::span<const std::string> names,
                     const std::function<void(xmlNode* entry)>& visit);

}  // namespace quillbeaker::recycle_index
