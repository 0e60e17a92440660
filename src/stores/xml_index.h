// SPDX-License-Identifier: MIT
#pragma once

// An XML index file (ISO-8859-1) through libxml2: parsed from memory, hostile until parsed, saved atomically.
// Attribute values are ISO-8859-1 bytes on our side; libxml2 sees UTF-8. Knows no store. Any thread, one
// document on one thread at a time. Memory that runs out is std::bad_alloc from any function here.

#include <libxml/tree.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

struct XmlDocumentDeleter {
  void operator()(xmlDoc* document) const;
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentDeleter>;

// Null when the bytes do not parse, carry a DTD (which no file of ours has) or have a tag of more than 10,000
// attributes. No network, no entities, libxml2's own limits on nesting and lengths. Blanks between the root's
// children are dropped, so that a save decides the layout.
XmlDocument ParseXml(std::string_view bytes);
// Reads the same bytes as ParseXml without keeping a tree of them, which takes many times their size: `visit`
// is handed each element below the root, whatever its name, and the element is gone when it returns. True
// when the bytes parse and the root has that name; else what was visited counts for nothing.
[[nodiscard]] bool VisitXml(std::string_view bytes, const char* root_name,
                            const std::function<void(const xmlNode* element)>& visit);
// What libxml2's recovering parser finds in bytes that do not parse. Nothing in it can be relied on: elements
// may be missing or lie in each other, and what was cut off in the middle is left out. Null when nothing was
// found, and for a DTD and for a crowded tag as above.
XmlDocument RecoverXml(std::string_view bytes);
XmlDocument NewXmlDocument(const char* root_name);
// The root when it has that name, else null.
xmlNode* RootNamed(const XmlDocument& document, const char* name);

// The document as the bytes of an ISO-8859-1 file, or nothing when it cannot be written as one that parses
// again.
std::optional<std::string> DumpXml(const XmlDocument& document, bool formatted);
// Dumps to memory first, then replaces the file, whose present bytes are known (nothing: it is missing); one
// that would get the bytes that it has is left alone. On any failure the old file stays.
[[nodiscard]] bool SaveXmlFile(const XmlDocument& document, const std::string& path, bool formatted,
                               const std::optional<std::string>& present);

// A new last child.
xmlNode* AddElement(xmlNode* parent, const char* name);
// Unlinks and frees the element.
void RemoveElement(xmlNode* element);
bool IsElement(const xmlNode* node, const char* name);

// The value of an attribute; a character beyond ISO-8859-1 reads as "?". Nothing when there is no such
// attribute.
std::optional<std::string> Attribute(const xmlNode* element, const char* name);
// The attribute as LeadingInteger reads it; 0 when it is missing.
std::uint32_t UnsignedAttribute(const xmlNode* element, const char* name);
// Sets the attribute, a new one behind the others. Bytes that XML cannot hold (control bytes) become blanks.
void SetAttribute(xmlNode* element, const char* name, std::string_view latin1);
// Removes the attribute when it is there.
void RemoveAttribute(xmlNode* element, const char* name);
// The value as SetAttribute would store it, for comparing.
std::string StorableText(std::string_view latin1);

}  // namespace quillbeaker
