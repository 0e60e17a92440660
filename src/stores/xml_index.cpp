// SPDX-License-Identifier: MIT

#include "stores/xml_index.h"

#include <libxml/SAX2.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "config/leading_integer.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

constexpr const char* kEncoding = "ISO-8859-1";

struct XmlStringDeleter {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlString = std::unique_ptr<xmlChar, XmlStringDeleter>;

struct ParserContextDeleter {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};

const xmlChar* AsXml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

// libxml2 tells a caller little or nothing of memory that it did not get: a document that it could not hold
// reads like a damaged one, an attribute like a missing one. Files would be replaced on the strength of that,
// so its allocations are ours, and each function here throws when one of them has failed.
thread_local bool allocation_failed = false;

void* Noted(void* memory) {
  if (memory == nullptr) allocation_failed = true;
  return memory;
}

void* Allocate(std::size_t size) {
  return Noted(std::malloc(std::max<std::size_t>(size, 1)));
}

void* Reallocate(void* memory, std::size_t size) {
  return Noted(std::realloc(memory, std::max<std::size_t>(size, 1)));
}

char* Duplicate(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = Allocate(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

void ThrowIfOutOfMemory() {
  if (std::exchange(allocation_failed, false)) throw std::bad_alloc();
}

void InitialiseParser() {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlMemSetup(std::free, Allocate, Reallocate, Duplicate);
    xmlInitParser();
    ThrowIfOutOfMemory();
  });
}

// Takes the reports of memory that ran out, which libxml2 prints on the error output otherwise, with the line
// of the file that it was at.
void Ignore(void*, xmlErrorPtr) {}

class NoReports {
 public:
  NoReports() : function_(xmlStructuredError), context_(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, Ignore);
  }
  NoReports(const NoReports&) = delete;
  NoReports& operator=(const NoReports&) = delete;
  ~NoReports() { xmlSetStructuredErrorFunc(context_, function_); }

 private:
  xmlStructuredErrorFunc function_;
  void* context_;
};

// The bytes are handed over in pieces: given whole, a document of more than 10 MB with long attributes meets
// a limit of the parser's look-ahead.
int ReadPiece(void* rest_of_bytes, char* buffer, int capacity) {
  auto& rest = *static_cast<std::string_view*>(rest_of_bytes);
  const std::size_t size = rest.copy(buffer, static_cast<std::size_t>(std::max(capacity, 0)));
  rest.remove_prefix(size);
  return static_cast<int>(size);
}

// What the handlers of one parse share.
struct ParseState {
  bool has_doctype = false;
  const std::function<void(const xmlNode* element)>* visit = nullptr;
};

// Called at "<!DOCTYPE", before anything that it declares is read: an entity that does not exist cannot be
// expanded.
void RefuseDoctype(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* parser = static_cast<xmlParserCtxt*>(context);
  static_cast<ParseState*>(parser->_private)->has_doctype = true;
  xmlStopParser(parser);
}

// The parser compares every attribute of a start tag with all others of it: with tens of thousands that takes
// minutes. No "<" stands in an attribute's value, so each is the start of a tag or of text, and of a tag its
// "=" signs outside quotes are counted.
bool HasCrowdedTag(std::string_view bytes) {
  constexpr int kMostAttributes = 10'000;
  int equals = 0;
  char quote = 0;
  for (const char c : bytes) {
    if (c == '<') {
      equals = 0;
      quote = 0;
    } else if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '=' && ++equals > kMostAttributes) {
      return true;
    }
  }
  return false;
}

// Where a start tag does not end as it should, its last value may be the beginning of one only: the
// recovering parser keeps what it has read of it. The error is raised while the element is the current node.
void DropCutValue(void* context, xmlErrorPtr error) {
  const auto* parser = static_cast<const xmlParserCtxt*>(context);
  if (error->code != XML_ERR_GT_REQUIRED || parser->node == nullptr) return;
  xmlAttr* last = parser->node->properties;
  while (last != nullptr && last->next != nullptr) last = last->next;
  if (last != nullptr) xmlRemoveProp(last);
}

// An element below the root has ended: it is visited, and nothing of it stays.
void VisitElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri) {
  auto* parser = static_cast<xmlParserCtxt*>(context);
  const xmlNode* const ended = parser->node;
  xmlSAX2EndElementNs(context, name, prefix, uri);
  xmlNode* const root = parser->node;
  if (parser->nodeNr != 1 || root == nullptr || ended == nullptr) return;
  try {
    (*static_cast<ParseState*>(parser->_private)->visit)(ended);
  } catch (const std::bad_alloc&) {
    // libxml2's own frames know nothing of exceptions.
    allocation_failed = true;
    xmlStopParser(parser);
  }
  // With what stood before it, blanks for the most part.
  while (root->children != nullptr) RemoveElement(root->children);
}

XmlDocument Parse(std::string_view bytes, int more_options,
                  const std::function<void(const xmlNode* element)>* visit = nullptr) {
  if (bytes.empty() || HasCrowdedTag(bytes)) return nullptr;
  InitialiseParser();
  const NoReports no_reports;
  const std::unique_ptr<xmlParserCtxt, ParserContextDeleter> parser(xmlNewParserCtxt());
  ThrowIfOutOfMemory();
  if (parser == nullptr || parser->sax == nullptr) return nullptr;
  ParseState state{.visit = visit};
  parser->_private = &state;
  if (visit != nullptr) parser->sax->endElementNs = VisitElement;
  parser->sax->internalSubset = RefuseDoctype;
  if ((more_options & XML_PARSE_RECOVER) != 0) parser->sax->serror = DropCutValue;
  const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | more_options;
  XmlDocument document(xmlCtxtReadIO(parser.get(), ReadPiece, nullptr, &bytes, nullptr, nullptr, options));
  ThrowIfOutOfMemory();
  if (document == nullptr || state.has_doctype || document->intSubset != nullptr) return nullptr;
  return document;
}

// A formatted document is indented by libxml2 only where no text stands between the elements, and an
// unformatted save would keep the indentation of the file that was read.
void DropBlanks(xmlNode* parent) {
  for (xmlNode* node = parent->children; node != nullptr;) {
    xmlNode* next = node->next;
    if (xmlIsBlankNode(node) != 0) RemoveElement(node);
    node = next;
  }
}

// libxml2 counts in int, and a text may be longer.
constexpr std::size_t kPiece = 1U << 20;

const unsigned char* AsBytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// Adds one piece of `rest`, converted by `convert` (isolat1ToUTF8, UTF8Toisolat1), to `out` and takes it off
// `rest`. False when a character stopped it that `convert` does not know.
template <typename Convert>
bool ConvertPiece(Convert convert, std::string_view& rest, std::string& out) {
  const std::size_t size = out.size();
  int taken = static_cast<int>(std::min(rest.size(), kPiece));
  int given = 2 * taken;  // a byte of ISO-8859-1 is two of UTF-8 at most
  out.resize(size + static_cast<std::size_t>(given));
  const int result =
      convert(reinterpret_cast<unsigned char*>(out.data() + size), &given, AsBytes(rest), &taken);
  out.resize(size + static_cast<std::size_t>(given));
  rest.remove_prefix(static_cast<std::size_t>(taken));
  return result >= 0 && taken > 0;
}

std::string Utf8FromLatin1(std::string_view latin1) {
  std::string utf8;
  while (!latin1.empty() && ConvertPiece(isolat1ToUTF8, latin1, utf8)) {
  }
  return utf8;
}

// `utf8` is well-formed: libxml2 checked or made it. What stops its conversion is a character beyond U+00FF.
std::string Latin1FromUtf8(std::string_view utf8) {
  std::string latin1;
  while (!utf8.empty()) {
    if (ConvertPiece(UTF8Toisolat1, utf8, latin1) || utf8.empty()) continue;
    latin1 += '?';
    do {
      utf8.remove_prefix(1);
    } while (!utf8.empty() && (static_cast<unsigned char>(utf8.front()) & 0xC0U) == 0x80);
  }
  return latin1;
}

bool IsForbiddenInXml(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

}  // namespace

void XmlDocumentDeleter::operator()(xmlDoc* document) const {
  xmlFreeDoc(document);
}

XmlDocument ParseXml(std::string_view bytes) {
  XmlDocument document = Parse(bytes, 0);
  if (document == nullptr) return nullptr;
  if (xmlNode* root = xmlDocGetRootElement(document.get())) DropBlanks(root);
  return document;
}

bool VisitXml(std::string_view bytes, const char* root_name,
              const std::function<void(const xmlNode* element)>& visit) {
  return RootNamed(Parse(bytes, 0, &visit), root_name) != nullptr;
}

XmlDocument RecoverXml(std::string_view bytes) {
  return Parse(bytes, XML_PARSE_RECOVER);
}

XmlDocument NewXmlDocument(const char* root_name) {
  InitialiseParser();
  XmlDocument document(xmlNewDoc(AsXml("1.0")));
  ThrowIfOutOfMemory();
  xmlDocSetRootElement(document.get(), xmlNewDocNode(document.get(), nullptr, AsXml(root_name), nullptr));
  ThrowIfOutOfMemory();
  return document;
}

xmlNode* RootNamed(const XmlDocument& document, const char* name) {
  xmlNode* root = document ? xmlDocGetRootElement(document.get()) : nullptr;
  return root != nullptr && IsElement(root, name) ? root : nullptr;
}

std::optional<std::string> DumpXml(const XmlDocument& document, bool formatted) {
  const NoReports no_reports;
  xmlChar* bytes = nullptr;
  int size = 0;
  xmlDocDumpFormatMemoryEnc(document.get(), &bytes, &size, kEncoding, formatted ? 1 : 0);
  const XmlString owner(bytes);
  ThrowIfOutOfMemory();
  if (bytes == nullptr || size <= 0) return std::nullopt;
  std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
  // What ISO-8859-1 lacks is written as a character reference, in an element's name too, where none is
  // allowed. Only a file in another encoding can bring such a name.
  if (text.find("&#") != std::string::npos && ParseXml(text) == nullptr) return std::nullopt;
  return text;
}

bool SaveXmlFile(const XmlDocument& document, const std::string& path, bool formatted,
                 const std::optional<std::string>& present) {
  const std::optional<std::string> bytes = DumpXml(document, formatted);
  return bytes && (bytes == present || ReplaceWholeFile(path, *bytes));
}

xmlNode* AddElement(xmlNode* parent, const char* name) {
  xmlNode* element = xmlNewChild(parent, nullptr, AsXml(name), nullptr);
  ThrowIfOutOfMemory();
  return element;
}

void RemoveElement(xmlNode* element) {
  xmlUnlinkNode(element);
  xmlFreeNode(element);
}

bool IsElement(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, AsXml(name)) == 0;
}

std::optional<std::string> Attribute(const xmlNode* element, const char* name) {
  const XmlString value(xmlGetNoNsProp(element, AsXml(name)));
  ThrowIfOutOfMemory();
  if (value == nullptr) return std::nullopt;
  return Latin1FromUtf8(reinterpret_cast<const char*>(value.get()));
}

std::uint32_t UnsignedAttribute(const xmlNode* element, const char* name) {
  return LeadingInteger<std::uint32_t>(Attribute(element, name).value_or(""));
}

void SetAttribute(xmlNode* element, const char* name, std::string_view latin1) {
  const std::string utf8 = Utf8FromLatin1(StorableText(latin1));
  xmlSetProp(element, AsXml(name), AsXml(utf8.c_str()));
  ThrowIfOutOfMemory();
}

void RemoveAttribute(xmlNode* element, const char* name) {
  xmlUnsetProp(element, AsXml(name));
}

std::string StorableText(std::string_view latin1) {
  std::string text(latin1);
  for (char& c : text) {
    if (IsForbiddenInXml(c)) c = ' ';
  }
  return text;
}

}  // namespace quillbeaker
