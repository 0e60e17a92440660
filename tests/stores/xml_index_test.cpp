// SPDX-License-Identifier: MIT

#include "stores/xml_index.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/test_program.h"

#ifdef __SANITIZE_ADDRESS__
// Memory that cannot be had is a null pointer here, as everywhere else, and no end of the program.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
#endif

namespace quillbeaker {
namespace {

constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

std::string Latin1File(std::string_view content) {
  return std::string(kDeclaration) + std::string(content);
}

std::string AllBytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

xmlNode* FirstElement(const XmlDocument& document) {
  return xmlFirstElementChild(xmlDocGetRootElement(document.get()));
}

std::optional<std::string> FirstAttribute(std::string_view bytes, const char* name) {
  const XmlDocument document = ParseXml(bytes);
  if (document == nullptr || FirstElement(document) == nullptr) return std::nullopt;
  return Attribute(FirstElement(document), name);
}

// What the file holds after a value was set, and what a new parse of it reads.
std::optional<std::string> AfterRoundTrip(std::string_view value) {
  const XmlDocument document = NewXmlDocument("root");
  SetAttribute(AddElement(xmlDocGetRootElement(document.get()), "row"), "text", value);
  const std::optional<std::string> bytes = DumpXml(document, false);
  return bytes ? FirstAttribute(*bytes, "text") : std::nullopt;
}

TEST(XmlIndexTest, EveryByteIsStoredOrBecomesABlank) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    const bool forbidden = value < 0x20 && value != '\t' && value != '\n' && value != '\r';
    const std::string text = std::string("a") + byte + "b";
    const std::string expected = std::string("a") + (forbidden ? ' ' : byte) + "b";
    EXPECT_EQ(AfterRoundTrip(text), expected) << "byte " << value;
    EXPECT_EQ(StorableText(text), expected) << "byte " << value;
  }
  EXPECT_EQ(AfterRoundTrip(AllBytes()), StorableText(AllBytes()));
}

TEST(XmlIndexTest, TheFileHoldsEightBitBytesAsTheyStand) {
  const XmlDocument document = NewXmlDocument("root");
  SetAttribute(AddElement(xmlDocGetRootElement(document.get()), "row"), "text",
               "Gr\xFC\xDF"
               "e \x80\x9F\xFF");
  EXPECT_EQ(DumpXml(document, false), Latin1File("<root><row text=\"Gr\xFC\xDF"
                                                 "e \x80\x9F\xFF\"/></root>\n"));
}

TEST(XmlIndexTest, MarkupInValuesIsEscaped) {
  EXPECT_EQ(AfterRoundTrip("\"/><row a='&amp;&lt;'><![CDATA[]]>"), "\"/><row a='&amp;&lt;'><![CDATA[]]>");
  EXPECT_EQ(AfterRoundTrip(" two  blanks "), " two  blanks ");
  EXPECT_EQ(AfterRoundTrip(""), "");
  EXPECT_EQ(AfterRoundTrip(std::string(100000, '\xE4')), std::string(100000, '\xE4'));
}

TEST(XmlIndexTest, ALongTextIsConvertedWithoutASeam) {
  constexpr std::size_t kPiece = 1U << 20;  // of the conversion
  for (const std::size_t before : {kPiece / 2 - 1, kPiece - 2, kPiece - 1, kPiece, 2 * kPiece - 1}) {
    const std::string text =
        std::string(before, 'a') + "\xE4\xF6\xFC" + std::string(kPiece / 2, '\xDF') + "z";
    EXPECT_TRUE(AfterRoundTrip(text) == text) << before;
  }
}

TEST(XmlIndexTest, CharactersBeyondLatin1BecomeOneQuestionMarkEach) {
  const std::string utf8 =
      "<root><row text=\"a\xC4\x80\xE2\x82\xAC\xF0\x9F\x98\x80\xC3\xA4z\xC4\x80\"/></root>";
  EXPECT_EQ(FirstAttribute(utf8, "text"), "a???\xE4z?");
  EXPECT_EQ(FirstAttribute("<root><row text=\"&#256;\"/></root>", "text"), "?");
}

TEST(XmlIndexTest, FormattedAndUnformattedDoNotDependOnWhatWasRead) {
  const std::string flat = Latin1File("<root><row a=\"1\"/><row a=\"2\"/></root>\n");
  const std::string indented = Latin1File("<root>\n  <row a=\"1\"/>\n  <row a=\"2\"/>\n</root>\n");
  for (const std::string& bytes : {flat, indented}) {
    const XmlDocument document = ParseXml(bytes);
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(DumpXml(document, false), flat);
    EXPECT_EQ(DumpXml(document, true), indented);
  }
}

TEST(XmlIndexTest, AnElementAddedToAnIndentedOrEmptyFileIsIndentedToo) {
  for (const char* start : {"<root>\n  <row/>\n</root>", "<root>\r\n</root>", "<root></root>", "<root/>"}) {
    const XmlDocument document = ParseXml(Latin1File(start));
    ASSERT_NE(document, nullptr) << start;
    AddElement(xmlDocGetRootElement(document.get()), "added");
    const std::string bytes = DumpXml(document, true).value_or("");
    EXPECT_NE(bytes.find("\n  <added/>\n</root>\n"), std::string::npos) << bytes;
  }
}

// The values of "a" and "b" of every element that is recovered, wherever it lies; "-" where there is none.
std::string Recovered(std::string_view content) {
  const XmlDocument document = RecoverXml(Latin1File(content));
  std::string values;
  const std::function<void(const xmlNode*)> visit = [&](const xmlNode* node) {
    for (; node != nullptr; node = node->next) {
      if (IsElement(node, "row")) {
        values += Attribute(node, "a").value_or("-") + " " + Attribute(node, "b").value_or("-") + "; ";
      }
      if (node->type == XML_ELEMENT_NODE) visit(node->children);
    }
  };
  visit(document != nullptr ? xmlDocGetRootElement(document.get()) : nullptr);
  return values;
}

TEST(XmlIndexTest, RecoveryGivesNoValueThatIsOnlyTheBeginningOfOne) {
  EXPECT_EQ(Recovered("<root><row a=\"\xE4\" b=\"2\"/><row a=\"3\" b=\"cu"), "\xE4 2; 3 -; ");
  EXPECT_EQ(Recovered("<root><row a=\"1\" b=\"cu<row a=\"3\" b=\"4\"/></root>"), "1 -; 3 4; ");
  EXPECT_EQ(Recovered("<root><row a=\"1\" b=\"cu\x01t\"/><row a=\"3\" b=\"4\"/></root>"), "1 -; 3 4; ");
  EXPECT_EQ(Recovered("<root><row a=\"1\" b=\"cu" + std::string(4, '\0')), "1 -; ");
}

TEST(XmlIndexTest, RecoveryGoesOnBehindADamageWhereItCan) {
  EXPECT_EQ(Recovered("<root><row a=\"1\" b=\"2\"><row a=\"3\" b=\"4\"/></root>"), "1 2; 3 4; ");
  EXPECT_EQ(Recovered("<root>x & y<row a=\"1\" b=\"2\"/>& <row a=\"3\" b=\"4\"/></root>"), "1 2; 3 4; ");
  EXPECT_EQ(Recovered("<root><row a=\"1\" c=\"x & y\" b=\"2\"/></root>"), "1 2; ");
  EXPECT_EQ(Recovered("no index at all"), "");
}

TEST(XmlIndexTest, NothingIsRecoveredThroughADocumentTypeOrACrowdedTag) {
  EXPECT_EQ(RecoverXml(""), nullptr);
  EXPECT_EQ(RecoverXml("<!DOCTYPE root [<!ENTITY a \"b\">]><root><row text=\"&a;\"/></ro"), nullptr);
  std::string crowded = "<root><row";
  for (int i = 0; i < 20'000; ++i) crowded += " a" + std::to_string(i) + "=\"\"";
  EXPECT_EQ(RecoverXml(crowded + "/>"), nullptr);
}

TEST(XmlIndexTest, ADocumentTypeMakesAFileUnparsable) {
  EXPECT_EQ(ParseXml("<!DOCTYPE root><root/>"), nullptr);
  EXPECT_EQ(ParseXml(Latin1File("<!DOCTYPE root SYSTEM \"http://127.0.0.1/x.dtd\"><root/>")), nullptr);
  EXPECT_EQ(ParseXml(Latin1File(
                "<!DOCTYPE root [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><root a=\"1\">&a;</root>")),
            nullptr);
  EXPECT_EQ(ParseXml(Latin1File("<!DOCTYPE root [<!ATTLIST row restored CDATA \"1\">]><root><row/></root>")),
            nullptr);
  // The parser itself is free again for the next document.
  EXPECT_NE(ParseXml("<root/>"), nullptr);
}

TEST(XmlIndexTest, AnEntityBombIsRefusedBeforeItIsRead) {
  std::string bomb = "<!DOCTYPE root [<!ENTITY a0 \"bombbombbomb\">";
  for (int i = 1; i < 40; ++i) {
    const std::string inner = "&a" + std::to_string(i - 1) + ";";
    bomb += "<!ENTITY a" + std::to_string(i) + " \"" + inner + inner + "\">";
  }
  bomb += "]><root><row name=\"&a39;\"/></root>";
  EXPECT_EQ(ParseXml(Latin1File(bomb)), nullptr);
}

TEST(XmlIndexTest, DamagedFilesAreNull) {
  const std::string whole = Latin1File("<root><row name=\"a\"/><row name=\"b\"/></root>");
  ASSERT_NE(ParseXml(whole), nullptr);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(ParseXml(std::string_view(whole).substr(0, length)), nullptr) << length;
  }
  EXPECT_EQ(ParseXml("<root/><root/>"), nullptr);
  EXPECT_EQ(ParseXml("<root a=\"1\" a=\"2\"/>"), nullptr);
  EXPECT_EQ(ParseXml("<root>&undefined;</root>"), nullptr);
  EXPECT_EQ(ParseXml(std::string("<root a=\"\x01\"/>")), nullptr);
  EXPECT_EQ(ParseXml(std::string(1, '\0')), nullptr);
}

TEST(XmlIndexTest, NestingIsBounded) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  EXPECT_EQ(ParseXml(deep), nullptr);
  for (int i = 0; i < 100000; ++i) deep += "</a>";
  EXPECT_EQ(ParseXml(deep), nullptr);
}

TEST(XmlIndexTest, MoreThanTenMegabytesAreRead) {
  std::string bytes = Latin1File("<root>");
  const std::string row = "<row text=\"" + std::string(900, '\xE4') + "\"/>";
  constexpr std::size_t kRows = 30000;
  for (std::size_t i = 0; i < kRows; ++i) bytes += row;
  bytes += "</root>\n";
  const XmlDocument document = ParseXml(bytes);
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(xmlChildElementCount(xmlDocGetRootElement(document.get())), kRows);
  EXPECT_TRUE(DumpXml(document, false) == bytes);
}

TEST(XmlIndexTest, OtherEncodingsReadAsLatin1AndSaveAsLatin1) {
  const std::string utf8 =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><root><row text=\"\xC3\xA4 \xE2\x82\xAC!\"/></root>";
  EXPECT_EQ(FirstAttribute(utf8, "text"), "\xE4 ?!");
  const XmlDocument document = ParseXml(utf8);
  ASSERT_NE(document, nullptr);
  // A character that the file's encoding lacks is kept as a reference.
  EXPECT_EQ(DumpXml(document, false), Latin1File("<root><row text=\"\xE4 &#8364;!\"/></root>\n"));
}

TEST(XmlIndexTest, WhatCannotBeWrittenBackIsNotSaved) {
  const test::TestDirectory directory;
  const std::string bytes = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><root><\xE2\x82\xAC/></root>";
  ASSERT_TRUE(directory.Put("index.xml", bytes));
  const XmlDocument document = ParseXml(bytes);
  ASSERT_NE(document, nullptr);
  EXPECT_FALSE(SaveXmlFile(document, directory.PathOf("index.xml"), false, bytes));
  EXPECT_EQ(directory.Get("index.xml"), bytes);
}

TEST(XmlIndexTest, RootNamedAsksForTheName) {
  const XmlDocument document = ParseXml("<recyclebin/>");
  EXPECT_NE(RootNamed(document, "recyclebin"), nullptr);
  EXPECT_EQ(RootNamed(document, "Recyclebin"), nullptr);
  EXPECT_EQ(RootNamed(document, "recycle"), nullptr);
  EXPECT_EQ(RootNamed(nullptr, "recyclebin"), nullptr);
}

TEST(XmlIndexTest, AttributesAreSetInOrderAndReplacedInPlace) {
  const XmlDocument document = NewXmlDocument("root");
  xmlNode* row = AddElement(xmlDocGetRootElement(document.get()), "row");
  SetAttribute(row, "b", "1");
  SetAttribute(row, "a", "2");
  SetAttribute(row, "b", "3");
  EXPECT_EQ(DumpXml(document, false), Latin1File("<root><row b=\"3\" a=\"2\"/></root>\n"));
  EXPECT_EQ(Attribute(row, "c"), std::nullopt);
  RemoveElement(row);
  EXPECT_EQ(DumpXml(document, false), Latin1File("<root/>\n"));
}

TEST(XmlIndexTest, UnsignedAttributesAreReadLeniently) {
  const auto read = [](std::string_view value) {
    const XmlDocument document = NewXmlDocument("root");
    xmlNode* row = AddElement(xmlDocGetRootElement(document.get()), "row");
    SetAttribute(row, "n", value);
    return UnsignedAttribute(row, "n");
  };
  EXPECT_EQ(read("2452676"), 2452676U);
  EXPECT_EQ(read(" 42 days"), 42U);
  EXPECT_EQ(read("007"), 7U);
  EXPECT_EQ(read(""), 0U);
  EXPECT_EQ(read("today"), 0U);
  EXPECT_EQ(read("4294967295"), 4294967295U);
  EXPECT_EQ(read("4294967296"), 4294967295U);
  EXPECT_EQ(read(std::string(5000, '9')), 4294967295U);
  const XmlDocument document = NewXmlDocument("root");
  EXPECT_EQ(UnsignedAttribute(xmlDocGetRootElement(document.get()), "n"), 0U);
}

TEST(XmlIndexTest, FilesAreWrittenHoweverTheyAreCalled) {
  const test::TestDirectory directory;
  for (const char* name : {"50%41.xml", "a b#c.xml", "\xC3\xA4.xml"}) {
    const std::string path = directory.PathOf(name);
    const XmlDocument document = NewXmlDocument("root");
    ASSERT_TRUE(SaveXmlFile(document, path, true, std::nullopt)) << name;
    EXPECT_EQ(directory.Get(name), Latin1File("<root/>\n")) << name;
  }
}

TEST(XmlIndexTest, AFileThatWouldGetItsOwnBytesIsLeftAlone) {
  const test::TestDirectory directory;
  const std::string path = directory.PathOf("index.xml");
  const XmlDocument document = NewXmlDocument("root");
  ASSERT_TRUE(SaveXmlFile(document, path, true, std::nullopt));
  const FileState before = StateOfFile(path);
  EXPECT_TRUE(SaveXmlFile(document, path, true, directory.Get("index.xml")));
  EXPECT_EQ(StateOfFile(path), before);
  EXPECT_TRUE(SaveXmlFile(document, path, true, std::nullopt));
  EXPECT_NE(StateOfFile(path), before);
}

TEST(XmlIndexTest, NothingIsPrintedForABadFile) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ParseXml("<root"), nullptr);
  EXPECT_EQ(ParseXml("<!DOCTYPE a><a/>"), nullptr);
  EXPECT_EQ(ParseXml("<?xml version=\"1.0\" encoding=\"NO-SUCH\"?><a/>"), nullptr);
  static_cast<void>(DumpXml(ParseXml("<?xml version=\"1.0\" encoding=\"UTF-8\"?><\xE2\x82\xAC/>"), false));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(XmlIndexTest, ManyThreadsParseAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> parsed(4, 0);
  for (std::size_t t = 0; t < parsed.size(); ++t) {
    threads.emplace_back([&parsed, t] {
      for (int i = 0; i < 200; ++i) {
        if (FirstAttribute(Latin1File("<root><row a=\"\xE4\"/></root>"), "a") == "\xE4") ++parsed[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(parsed, std::vector<int>(4, 200));
}

// Lets the allocations of libxml2 fail from one of them on, by asking for more than there is anywhere.
int allocations_left = 0;
xmlMallocFunc real_malloc = nullptr;
xmlReallocFunc real_realloc = nullptr;

std::size_t SizeOrTooMuch(std::size_t size) {
  return allocations_left-- > 0 ? size : static_cast<std::size_t>(PTRDIFF_MAX) - 4096;
}
void* ScarceMalloc(std::size_t size) {
  return real_malloc(SizeOrTooMuch(size));
}
void* ScarceRealloc(void* memory, std::size_t size) {
  return real_realloc(memory, SizeOrTooMuch(size));
}

class ScarceMemory {
 public:
  explicit ScarceMemory(int allocations) {
    allocations_left = allocations;
    real_malloc = std::exchange(xmlMalloc, ScarceMalloc);
    real_realloc = std::exchange(xmlRealloc, ScarceRealloc);
  }
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
  ~ScarceMemory() {
    xmlMalloc = real_malloc;
    xmlRealloc = real_realloc;
  }
};

// A store would replace a file that seems to be damaged, and purge a mail that seems to have no date.
TEST(XmlIndexTest, MemoryThatRunsOutIsNeverADamagedFileOrAMissingAttribute) {
  std::string rows;
  for (int i = 0; i < 50; ++i) rows += "<row name=\"" + std::string(100, 'n') + "\" date=\"2452676\"/>";
  const std::string file = Latin1File("<root>" + rows + "</root>");
  ASSERT_NE(ParseXml(file), nullptr);
  bool enough = false;
  int failures = 0;
  for (int allocations = 0; !enough; ++allocations) {
    std::optional<std::string> dumped;
    std::uint32_t date = 0;
    bool thrown = false;
    {
      const ScarceMemory scarce(allocations);
      try {
        const XmlDocument document = ParseXml(file);
        xmlNode* const root = RootNamed(document, "root");
        if (root != nullptr) {
          SetAttribute(AddElement(root, "row"), "name", "new");
          date = UnsignedAttribute(xmlFirstElementChild(root), "date");
          dumped = DumpXml(document, false);
        }
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      enough = allocations_left > 0;
    }
    failures += thrown ? 1 : 0;
    if (thrown) continue;
    ASSERT_TRUE(dumped.has_value()) << "after " << allocations << " allocations";
    EXPECT_EQ(date, 2452676u);
    EXPECT_EQ(*dumped, Latin1File("<root>" + rows + "<row name=\"new\"/></root>\n"));
  }
  EXPECT_GT(failures, 100);
}

std::string TagOfAttributes(int count) {
  std::string text = "<a";
  for (int i = 0; i < count; ++i) text += " n" + std::to_string(i) + "=\"=\"";
  return text + "/>";
}

TEST(XmlIndexTest, ATagOfTooManyAttributesIsRefusedInTime) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ParseXml(TagOfAttributes(40000)), nullptr);
  EXPECT_EQ(ParseXml("<r><b c='d'/>" + TagOfAttributes(40000) + "</r>"), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(ParseXml(TagOfAttributes(10001)), nullptr);
  EXPECT_NE(ParseXml(TagOfAttributes(1000)), nullptr);
}

TEST(XmlIndexTest, EqualsSignsInValuesAndOfManyTagsAreNoAttributes) {
  const std::string signs(20000, '=');
  const XmlDocument value = ParseXml("<a b=\"" + signs + "'\" c='\"" + signs + "'/>");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(Attribute(RootNamed(value, "a"), "b"), signs + "'");
  std::string tags = "<a>it's";
  for (int i = 0; i < 20000; ++i) tags += "<b c=\"d\"/>";
  EXPECT_NE(ParseXml(tags + "</a>"), nullptr);
}

// The names of the elements that a visit was handed, or "(refused)".
std::string Visited(std::string_view bytes) {
  std::string names;
  const bool is_read = VisitXml(bytes, "root", [&names](const xmlNode* element) {
    names += std::string(reinterpret_cast<const char*>(element->name)) + "=" +
             Attribute(element, "a").value_or("-") + " ";
  });
  return is_read ? names : "(refused)";
}

TEST(VisitXml, HandsOverTheElementsBelowTheRoot) {
  EXPECT_EQ(Visited("<root>\n <x a=\"1\"/>text<y a=\"\xC3\xA4\"><x a=\"inner\"/></y><!-- --><x/></root>"),
            "x=1 y=\xE4 x=- ");
  EXPECT_EQ(Visited("<root/>"), "");
}

TEST(VisitXml, RefusesWhatParseXmlRefuses) {
  EXPECT_EQ(Visited(""), "(refused)");
  EXPECT_EQ(Visited("<other><x/></other>"), "(refused)");
  EXPECT_EQ(Visited("<root><x/><x"), "(refused)");
  EXPECT_EQ(Visited("<root><x/></root><root/>"), "(refused)");
  EXPECT_EQ(Visited("<!DOCTYPE root [<!ENTITY e \"z\">]><root><x a=\"&e;\"/></root>"), "(refused)");
  EXPECT_EQ(Visited("<root><x></root></x>"), "(refused)");
}

}  // namespace
}  // namespace quillbeaker
