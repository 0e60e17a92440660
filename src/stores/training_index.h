// SPDX-License-Identifier: MIT
#pragma once

// The elements of the training area's index, for training_area's own sources: how an entry is written and
// read. Knows no files. The window and the terminal get TrainingEntry values (training_area.h).

#include <libxml/tree.h>

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "message/mail_message.h"
#include "stores/training_area.h"

namespace quillbeaker::training_index {

inline constexpr const char* kRoot = "training";
inline constexpr const char* kEntry = "message";
inline constexpr const char* kName = "filename";
inline constexpr const char* kSender = "sender";
inline constexpr const char* kAddress = "mail";
inline constexpr const char* kSubject = "subject";
inline constexpr const char* kDate = "date";
inline constexpr const char* kTime = "time";
inline constexpr const char* kSize = "size";
inline constexpr const char* kMark = "mark";

// Appends the entry of a message whose decoded text of `size` bytes is in the file `name`.
xmlNode* AppendEntry(xmlNode* root, std::string_view name, const MailMessage& message, std::size_t size);

// Appends an entry as ReadEntry gave it.
xmlNode* AppendEntry(xmlNode* root, const TrainingEntry& entry);

TrainingEntry ReadEntry(const xmlNode* entry);
void WriteMark(xmlNode* entry, TrainingMark mark);

// Calls `visit` for every entry, which may remove it.
void ForEachEntry(xmlNode* root, const std::function<void(xmlNode* entry)>& visit);
// Calls `visit` as often as each name is given, for that many first entries of the name, and returns how
// often.
std::size_t ForEntriesNamed(xmlNode* root, std::span<const std::string> names,
                            const std::function<void(xmlNode* entry)>& visit);

}  // namespace quillbeaker::training_index
