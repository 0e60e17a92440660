// SPDX-License-Identifier: MIT
// Our reader and writer of INI files held against the system's own profile functions on the same files:
// hand-made ones, and some hundred put together at random from what such lines are made of.
//
// Not compared, because we mean to differ: integers in other bases ("0x10", "0b1", "0o7"), with a leading
// "+", empty (ours is 0, theirs the default) or beyond 32 bits (ours stops at the end, theirs wraps); keys
// that begin with ";", which the system finds as a key and leaves out of a section all the same.
#include <windows.h>

#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "config/ini_document.h"
#include "config/ini_file.h"
#include "config/leading_integer.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

constexpr const char* kDefault = "(default)";

std::string TheirString(const std::string& path, const std::string& section, const std::string& key,
                        std::size_t capacity = 4096) {
  std::string value(capacity, '\0');
  const DWORD size = GetPrivateProfileStringA(section.c_str(), key.c_str(), kDefault, value.data(),
                                              static_cast<DWORD>(value.size()), path.c_str());
  value.resize(size);
  return value;
}

std::int32_t TheirInteger(const std::string& path, const std::string& section, const std::string& key) {
  return static_cast<std::int32_t>(GetPrivateProfileIntA(section.c_str(), key.c_str(), -77, path.c_str()));
}

std::vector<std::string> TheirSection(const std::string& path, const std::string& section) {
  std::string buffer(32767, '\0');
  const DWORD size = GetPrivateProfileSectionA(section.c_str(), buffer.data(),
                                               static_cast<DWORD>(buffer.size()), path.c_str());
  std::vector<std::string> lines;
  std::string_view rest(buffer.data(), size);
  while (!rest.empty()) {
    const std::size_t end = rest.find('\0');
    lines.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return lines;
}

std::vector<std::string> OurSection(const IniDocument& document, const std::string& section) {
  std::vector<std::string> lines;
  for (const IniEntry& entry : document.Section(section)) {
    lines.push_back(std::string(entry.key) + (entry.has_value ? "=" + std::string(entry.value) : ""));
  }
  return lines;
}

// Whether both are meant to read the same integer from a text.
bool IsPlainInteger(std::string_view text) {
  while (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
  if (text.empty() || text.front() == '+') return false;
  if (text.front() == '-') text.remove_prefix(1);
  if (text.starts_with('+')) return false;
  if (text.size() >= 2 && text[0] == '0' && std::isalpha(static_cast<unsigned char>(text[1]))) return false;
  std::size_t digits = 0;
  while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits]))) ++digits;
  return digits <= 9;
}

struct Comparisons {
  int found = 0;
  int integers = 0;
  int lines = 0;
};

// Writes `text` to a file and compares what both read from it.
void Compare(const std::string& text, const std::vector<std::string>& sections,
             const std::vector<std::string>& keys, Comparisons& done) {
  SCOPED_TRACE(testing::PrintToString(text));
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a.ini", text));
  const std::string path = directory.PathOf("a.ini");
  const auto document = IniFile(path).Read();
  for (const std::string& section : sections) {
    const std::vector<std::string> theirs = TheirSection(path, section);
    EXPECT_EQ(OurSection(*document, section), theirs) << "section " << section;
    done.lines += static_cast<int>(theirs.size());
    for (const std::string& key : keys) {
      const std::string their_string = TheirString(path, section, key);
      const auto our_string = document->Find(section, key);
      EXPECT_EQ(our_string.value_or(kDefault), their_string) << section << " / " << key;
      if (!our_string) continue;
      ++done.found;
      if (!IsPlainInteger(their_string)) continue;
      EXPECT_EQ(LeadingInteger<std::int32_t>(*our_string), TheirInteger(path, section, key))
          << section << " / " << key;
      ++done.integers;
    }
  }
}

TEST(ProfileFunctions, ReadTheSameFromFilesMadeByHand) {
  const std::vector<std::string> files = {
      "[A]\r\nx=1\r\ny = two words \r\n\r\n[B]\r\nx=3\r\n",
      "[A]\nx=1\ny=2\n[B]\nx=3",
      "x=0\r\n[A]\r\nx=1\r\n",
      "[a]\r\nX=1\r\nx=2\r\n[A]\r\nx=3\r\ny=4\r\n",
      "; comment\r\n[A]\r\n;x=5\r\n ; y=6\r\nx=1;2\r\n#y=7\r\ny\r\n",
      "[A]\r\nx=\"quoted\"\r\ny='single'\r\nz=\"\r\nX1=\"\"\r\nempty=\r\nblank=   \r\n",
      "[A]\r\nx=\"a'\r\ny=\"\"twice\"\"\r\nz=\"  inside  \"\r\n",
      "[A]\r\nx=-1\r\ny=12abc\r\nz=abc\r\nempty=010\r\nblank= 7 \r\nX1=- 5\r\n",
      "[A]\r\nx=a=b=c\r\n=none\r\ny==\r\nz\r\nz=late\r\n",
      "[A\r\nx=1\r\n[B]\r\ny=2\r\n[C]trailing\r\nx=3\r\n  [A]  \r\nx=4\r\n",
      "[A]]\r\nx=1\r\n[A]\r\nx=2\r\n[[B]\r\nx=3\r\n",
      "[A]\r\n\tx\t=\t1\t\r\n y=2\r\nz =3\r\n",
      "[A]\r\nx=caf\xE9\r\n\xE4=1\r\ny=\xFC\xDF\r\n",
      "",
      "\r\n\r\n",
      "[]\r\nx=1\r\n",
      "[ A ]\r\nx=1\r\n",
      "[A]\r\nx=1\r\r\ny=2\r\n",
  };
  Comparisons done;
  for (const std::string& text : files) {
    Compare(text, {"A", "b", "C"}, {"x", "Y", "z", "X1", "empty", "blank", "#y", "\xE4", "missing"}, done);
  }
  EXPECT_GT(done.found, 35);
  EXPECT_GT(done.integers, 20);
}

TEST(ProfileFunctions, ReadTheSameFromFilesMadeAtRandom) {
  const std::vector<std::string> keys = {"x", "Y", "key", "k e", "\"k\"", "#k", "\xE4", "a[b]"};
  const std::vector<std::string> blanks = {"", "", "", " ", "\t", "  \t"};
  const std::vector<std::string> pieces = {"=", " ",  "\t", "\"", "'", "\"",   "'",    ";", "#", "[",
                                           "]", "12", "12", "-7", "0", "word", "\xE4", ",", "@", "\xFC\xDF"};
  const std::vector<std::string> odd_lines = {"[A]",   "[b]", "[a] ", " [ B ]", "[A",
                                              "; x=1", ";",   "x",    "k e",    "word"};
  const std::vector<std::string> ends = {"\r\n", "\r\n", "\r\n", "\n", "\r\n\r\n"};
  std::mt19937 random(20060302);
  const auto pick = [&](const std::vector<std::string>& from) { return from[random() % from.size()]; };
  Comparisons done;
  for (int i = 0; i < 200 && !HasFailure(); ++i) {
    std::string text = random() % 8 == 0 ? "" : "[A]\r\n";
    for (unsigned line = random() % 12 + 1; line > 0; --line) {
      if (random() % 4 == 0) {
        text += pick(odd_lines);
      } else {
        text += pick(blanks) + pick(keys) + pick(blanks) + '=' + pick(blanks);
        for (unsigned piece = random() % 5; piece > 0; --piece) text += pick(pieces);
      }
      text += pick(ends);
    }
    Compare(text, {"a", "B"}, {"X", "y", "key", "k e", "\"k\"", "#K", "\xE4", "a[b]"}, done);
  }
  EXPECT_GT(done.found, 300);
  EXPECT_GT(done.integers, 50);
  EXPECT_GT(done.lines, 500);
}

TEST(ProfileFunctions, CutAsWeDo) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a.ini", "[A]\r\nx=0123456789\r\n"));
  const std::string path = directory.PathOf("a.ini");
  const IniFile file(path);
  for (const std::size_t capacity : {2u, 4u, 10u, 11u, 12u}) {
    EXPECT_EQ(file.ReadString("A", "x", kDefault, capacity), TheirString(path, "A", "x", capacity))
        << capacity;
    EXPECT_EQ(file.ReadString("A", "y", kDefault, capacity), TheirString(path, "A", "y", capacity))
        << capacity;
  }
}

TEST(ProfileFunctions, FindWhatWeWrote) {
  TestDirectory directory;
  ASSERT_TRUE(
      directory.Put("a.ini", "; kept\r\n[QUILLBEAKER]\r\nEnable = 1\r\n\r\n[SERVER]\r\nPort=110\r\n"));
  const std::string path = directory.PathOf("a.ini");
  IniFile file(path);
  const std::vector<std::string> values = {
      "",     "1",  "-1",    "two words", "a=b",     "\"quoted\"", "'single'", "\"open",
      "\"\"", "\"", ";semi", "[x]",       "caf\xE9", "  outer  ",  "\"a\"b\"", "\"\"twice\"\""};
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string key = "key" + std::to_string(i);
    for (const char* section : {"quillbeaker", "SERVER", "New"}) {
      ASSERT_TRUE(file.WriteString(section, key, values[i]));
      const std::string expected = values[i] == "  outer  " ? "outer" : values[i];
      EXPECT_EQ(TheirString(path, section, key), expected);
      EXPECT_EQ(file.ReadString(section, key, kDefault, 4096), expected);
    }
  }
  ASSERT_TRUE(file.WriteInteger("QUILLBEAKER", "enable", 0));
  EXPECT_EQ(TheirInteger(path, "QUILLBEAKER", "Enable"), 0);
  ASSERT_TRUE(file.RemoveKey("New", "key1"));
  EXPECT_EQ(TheirString(path, "New", "key1"), kDefault);
  EXPECT_EQ(TheirString(path, "SERVER", "Port"), "110");
}

TEST(ProfileFunctions, WriteWhatWeFind) {
  TestDirectory directory;
  const std::string path = directory.PathOf("a.ini");
  const IniFile file(path);
  for (const char* value : {"1", "two words", "a=b", "x;y", "caf\xE9"}) {
    for (const char* section : {"QUILLBEAKER", "SERVER"}) {
      ASSERT_TRUE(WritePrivateProfileStringA(section, "key", value, path.c_str()));
      EXPECT_EQ(file.ReadString("quillbeaker", "KEY", kDefault, 4096),
                TheirString(path, "quillbeaker", "KEY"));
      EXPECT_EQ(file.ReadString(section, "key", kDefault, 4096), value);
    }
  }
  ASSERT_TRUE(WritePrivateProfileStringA("SERVER", "key", nullptr, path.c_str()));
  EXPECT_EQ(file.ReadString("SERVER", "key", kDefault, 4096), kDefault);
}

}  // namespace
}  // namespace quillbeaker
