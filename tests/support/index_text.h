// SPDX-License-Identifier: MIT
#pragma once

// Reads an index file as text, without the code that writes it: the elements of one name with their
// attributes in the order in which they stand, character references undone, bytes as they are in the file
// (ISO-8859-1).

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillbeaker::test {

class IndexElement {
 public:
  std::vector<std::pair<std::string, std::string>> attributes;

  bool Has(std::string_view name) const {
    for (const auto& attribute : attributes) {
      if (attribute.first == name) return true;
    }
    return false;
  }
  // "(missing)" without that attribute, so that a failed comparison shows it.
  std::string operator[](std::string_view name) const {
    for (const auto& attribute : attributes) {
      if (attribute.first == name) return attribute.second;
    }
    return "(missing)";
  }
  // The attributes' names in order, each followed by a blank.
  std::string Order() const {
    std::string names;
    for (const auto& attribute : attributes) names += attribute.first + " ";
    return names;
  }
};

inline std::string WithoutReferences(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text[at] == '&' ? text.find(';', at) : std::string_view::npos;
    if (end == std::string_view::npos) {
      plain.push_back(text[at++]);
      continue;
    }
    const std::string name(text.substr(at + 1, end - at - 1));
    if (name == "amp")
      plain.push_back('&');
    else if (name == "lt")
      plain.push_back('<');
    else if (name == "gt")
      plain.push_back('>');
    else if (name == "quot")
      plain.push_back('"');
    else if (name == "apos")
      plain.push_back('\'');
    else if (name.starts_with("#x"))
      plain.push_back(static_cast<char>(std::strtol(name.c_str() + 2, nullptr, 16)));
    else if (name.starts_with("#"))
      plain.push_back(static_cast<char>(std::strtol(name.c_str() + 1, nullptr, 10)));
    else
      plain += "(reference " + name + ")";
    at = end + 1;
  }
  return plain;
}

// The elements called `name`, in file order.
inline std::vector<IndexElement> ElementsOf(std::string_view xml, std::string_view name) {
  std::vector<IndexElement> elements;
  const std::string opening = "<" + std::string(name);
  for (std::size_t at = xml.find(opening); at != std::string_view::npos; at = xml.find(opening, at + 1)) {
    std::size_t here = at + opening.size();
    if (here >= xml.size() || (xml[here] != ' ' && xml[here] != '/' && xml[here] != '>')) continue;
    IndexElement element;
    for (;;) {
      here = xml.find_first_not_of(" \r\n\t", here);
      if (here == std::string_view::npos || xml[here] == '/' || xml[here] == '>') break;
      const std::size_t quote = xml.find_first_of("\"'", here);
      if (quote == std::string_view::npos) break;
      const std::size_t end = xml.find(xml[quote], quote + 1);
      if (end == std::string_view::npos) break;
      element.attributes.emplace_back(std::string(xml.substr(here, quote - here - 1)),
                                      WithoutReferences(xml.substr(quote + 1, end - quote - 1)));
      here = end + 1;
    }
    elements.push_back(std::move(element));
  }
  return elements;
}

// True when the bytes are a well-formed XML document whose root has that name.
inline bool IsXmlWithRoot(std::string_view bytes, std::string_view root_name) {
  xmlDoc* const document = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), "test.xml", nullptr,
                                         XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  if (document == nullptr) return false;
  const xmlNode* const root = xmlDocGetRootElement(document);
  const bool named = root != nullptr && reinterpret_cast<const char*>(root->name) == root_name;
  xmlFreeDoc(document);
  return named;
}

}  // namespace quillbeaker::test
