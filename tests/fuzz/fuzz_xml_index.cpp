// SPDX-License-Identifier: MIT

// Any bytes as an XML index: reading never fails badly, and what was read and changed can be saved, read
// again and saved to the same bytes. What a damaged one still says can be put into a new one.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "stores/recycle_index.h"
#include "stores/xml_index.h"

namespace {

using namespace quillbeaker;

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string AllAttributes(const xmlNode* parent) {
  std::string all;
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (!IsElement(node, "recyclefile")) continue;
    for (const char* name : {"name", "date", "subject", "restored"}) {
      all += Attribute(node, name).value_or("(none)") + '\n';
      all += std::to_string(UnsignedAttribute(node, name)) + '\n';
    }
  }
  return all;
}

void RecoverDamaged(std::string_view bytes) {
  const XmlDocument rebuilt = NewXmlDocument("recyclebin");
  xmlNode* root = RootNamed(rebuilt, "recyclebin");
  recycle_index::ForEachRecoveredEntry(RecoverXml(bytes), [&](const xmlNode* entry) {
    recycle_index::AppendEntry(root, recycle_index::ReadEntry(entry));
  });
  const std::optional<std::string> saved = DumpXml(rebuilt, true);
  Require(saved.has_value());
  Require(ParseXml(*saved) != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  RecoverDamaged(bytes);
  const XmlDocument document = ParseXml(bytes);
  if (document == nullptr) return 0;
  xmlNode* root = RootNamed(document, "recyclebin");
  if (root == nullptr) return 0;
  // The input is a value too: whatever it holds, it reads back as it is stored.
  xmlNode* added = AddElement(root, "recyclefile");
  SetAttribute(added, "name", bytes);
  Require(Attribute(added, "name") == StorableText(bytes));
  const std::string attributes = AllAttributes(root);
  for (const bool formatted : {false, true}) {
    const std::optional<std::string> saved = DumpXml(document, formatted);
    if (!saved) continue;
    const XmlDocument again = ParseXml(*saved);
    Require(again != nullptr);
    root = RootNamed(again, "recyclebin");
    Require(root != nullptr);
    Require(AllAttributes(root) == attributes);
    Require(DumpXml(again, formatted).has_value());
  }
  return 0;
}
