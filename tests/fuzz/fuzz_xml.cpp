// SPDX-License-Identifier: MIT
// Any bytes as an index file, and any text as an attribute of one.

#include <string>

#include "fuzz_support.h"
#include "stores/xml_index.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view text = TextOf(data, size);
  if (const XmlDocument document = ParseXml(text)) {
    if (const auto written = DumpXml(document, false)) {
      Check(ParseXml(*written) != nullptr, "what is written parses again");
    }
  }

  const XmlDocument document = NewXmlDocument("index");
  SetAttribute(AddElement(RootNamed(document, "index"), "entry"), "text", text);
  const auto written = DumpXml(document, true);
  Check(written.has_value(), "any text can be stored");
  const XmlDocument again = ParseXml(*written);
  const xmlNode* root = RootNamed(again, "index");
  Check(root != nullptr && root->children != nullptr, "a stored text leaves the index whole");
  for (const xmlNode* node = root->children; node != nullptr; node = node->next) {
    if (!IsElement(node, "entry")) continue;
    Check(Attribute(node, "text") == StorableText(text), "a stored text is read as it was stored");
  }
  return 0;
}
