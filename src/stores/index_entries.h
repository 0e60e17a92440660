// SPDX-License-Identifier: MIT
#pragma once

// What the indexes of message files have in common (recycle bin, training area): entries found by the names
// of their files, times and days as attributes. Knows no files and no element names of its own.

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/calendar_time.h"

namespace quillbeaker {

// True for a bare name that cannot lead out of its directory, to another store's file or to a device: an
// index may have been written by anybody.
bool IsBareFileName(std::string_view name);

// "hh:mm".
std::string TimeText(const CalendarTime& time);
// The reverse: minutes since midnight; 0 unless the text has exactly five characters.
int MinutesOf(std::string_view time);

// Empty when there is no such attribute.
std::string TextAttribute(const xmlNode* entry, const char* name);
// A day number; 0 when missing.
std::int32_t DayAttribute(const xmlNode* entry, const char* name);

// Calls `visit` for every child element called `element`, which may remove it.
void ForEachElement(xmlNode* root, const char* element, const std::function<void(xmlNode* entry)>& visit);
// Calls `visit` as often as each name is given, for that many first elements whose `attribute` is the name.
// Returns how often. O(elements + names).
std::size_t ForElementsNamed(xmlNode* root, const char* element, const char* attribute,
                             std::span<const std::string> names,
                             const std::function<void(xmlNode* entry)>& visit);

}  // namespace quillbeaker
