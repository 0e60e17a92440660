// SPDX-License-Identifier: MIT
#pragma once

// An XML index file (ISO-8859-1) through libxml2: parsed from memory, hostile until parsed, saved atomically. Attribute
// values are ISO-8859-1 bytes on our side; libxml2 sees UTF-8.

#include <libxml/tree.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

struct XmlDocumentDeleter {
  void operator()(xmlDoc* document) const;
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentDeleter>;

// Null when the file is missing, does not parse, or carries a DTD (which no file of ours has). No network, no entities.
XmlDocument ParseXmlFile(const std::string& path);
XmlDocument NewXmlDocument(const char* root_name);
// The root when it has that name, else null.
xmlNode* RootNamed(const XmlDocument& document, const char* name);
// Dumps to memory first, then replaces the file; on any failure the old file stays.
bool SaveXmlFile(const XmlDocument& document, const std::string& path, bool formatted);

xmlNode* AddElement(xmlNode* parent, const char* name);
void RemoveElement(xmlNode* element);
bool IsElement(const xmlNode* node, const char* name);
std::optional<std::string> Attribute(const xmlNode* element, const char* name);
// Bytes that XML cannot hold (control bytes) become blanks.
void SetAttribute(xmlNode* element, const char* name, std::string_view latin1);
// The value as SetAttribute would store it, for comparing.
std::string StorableText(std::string_view latin1);

}  // namespace quillbeaker
