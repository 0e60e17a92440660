// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/tls.h"
#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using std::string_literals::operator""s;

TEST(MatchesHostName, ComparesWithoutCaseAndWithoutTheRootsDot) {
  EXPECT_TRUE(MatchesHostName("pop.example.org", "POP.Example.ORG"));
  EXPECT_TRUE(MatchesHostName("pop.example.org", "pop.example.org."));
  EXPECT_TRUE(MatchesHostName("pop.example.org.", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("pop.example.org", "pop.example.com"));
  EXPECT_FALSE(MatchesHostName("example.org", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("pop.example.org", "example.org"));
  EXPECT_FALSE(MatchesHostName("", ""));
  EXPECT_FALSE(MatchesHostName("", "."));
  EXPECT_FALSE(MatchesHostName("pop.example.org", ""));
}

TEST(MatchesHostName, TakesAnAsteriskForOneWholeLeftmostLabel) {
  EXPECT_TRUE(MatchesHostName("*.example.org", "pop.example.org"));
  EXPECT_TRUE(MatchesHostName("*.EXAMPLE.org", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("*.example.org", "example.org"));
  EXPECT_FALSE(MatchesHostName("*.example.org", ".example.org"));
  EXPECT_FALSE(MatchesHostName("*.example.org", "a.pop.example.org"));
  EXPECT_FALSE(MatchesHostName("p*.example.org", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("pop.*.org", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("*.*.org", "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("*.org", "example.org"));
  EXPECT_FALSE(MatchesHostName("*", "localhost"));
  EXPECT_FALSE(MatchesHostName("*.", "localhost"));
}

TEST(MatchesHostName, IsNotFooledByANul) {
  EXPECT_FALSE(MatchesHostName("pop.example.org\0.evil.test"s, "pop.example.org"));
  EXPECT_FALSE(MatchesHostName("pop.example.org\0"s, "pop.example.org"));
}

TEST(AddressBytes, KnowsAddressesFromNames) {
  EXPECT_EQ(AddressBytes("127.0.0.1"), "\x7F\0\0\1"s);
  EXPECT_EQ(AddressBytes("::1"), std::string(15, '\0') + '\1');
  EXPECT_EQ(AddressBytes("::ffff:1.2.3.4"), std::string(10, '\0') + "\xFF\xFF\1\2\3\4");
  for (const std::string& name : {"localhost"s, ""s, "127.1"s, "1.2.3.4.5"s, "256.0.0.1"s, "[::1]"s,
                                  "127.0.0.1 "s, "127.0.0.1\0"s, "::1%1"s, "1.2.3.4."s}) {
    EXPECT_EQ(AddressBytes(name), std::nullopt) << name;
  }
}

// DER values, their length in as many bytes as they take.
std::string Value(unsigned char tag, std::string_view content) {
  std::string der(1, static_cast<char>(tag));
  if (content.size() > 127) {
    der += '\x82';
    der += static_cast<char>(content.size() >> 8);
  }
  der += static_cast<char>(content.size() & 0xFF);
  return der.append(content);
}
std::string Names(const std::string& names) {
  return Value(0x30, names);
}
std::string Dns(std::string_view name) {
  return Value(0x82, name);
}
std::string Ip(std::string_view bytes) {
  return Value(0x87, bytes);
}

TEST(NamesHost, LooksAtNamesForANameAndAtAddressesForAnAddress) {
  const std::string both =
      Names(Value(0x81, "jane@example.org") + Dns("pop.example.org") + Ip("\x7F\0\0\1"s));
  EXPECT_TRUE(NamesHost(both, "pop.example.org"));
  EXPECT_TRUE(NamesHost(both, "127.0.0.1"));
  EXPECT_FALSE(NamesHost(both, "jane@example.org"));
  EXPECT_FALSE(NamesHost(both, "127.0.0.2"));
  EXPECT_FALSE(NamesHost(both, "::1"));
  // An address that is written into a dNSName is no address, and the other way round.
  EXPECT_FALSE(NamesHost(Names(Dns("127.0.0.1")), "127.0.0.1"));
  EXPECT_FALSE(NamesHost(Names(Ip("localhost")), "localhost"));
  EXPECT_TRUE(NamesHost(Names(Ip(std::string(15, '\0') + '\1')), "::1"));
}

TEST(NamesHost, ReadsManyNames) {
  std::string names;
  for (int i = 0; i < 100; ++i) names += Dns("host" + std::to_string(i) + ".example.org");
  EXPECT_TRUE(NamesHost(Names(names), "host99.example.org"));
  EXPECT_FALSE(NamesHost(Names(names), "host100.example.org"));
}

TEST(NamesHost, TakesWhatCannotBeReadForNobodys) {
  const std::string good = Names(Dns("pop.example.org"));
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_FALSE(NamesHost(std::string_view(good).substr(0, size), "pop.example.org")) << size;
  }
  EXPECT_FALSE(NamesHost(good + "x", "pop.example.org"));
  EXPECT_FALSE(NamesHost(Value(0x31, Dns("pop.example.org")), "pop.example.org"));
  EXPECT_FALSE(NamesHost(Names(Dns("pop.example.org") + "\x82\x7F"), "pop.example.org"));
  EXPECT_FALSE(NamesHost("\x30\x80"s, "pop.example.org"));                  // no length of its own
  EXPECT_FALSE(NamesHost("\x30\x84\xFF\xFF\xFF\xFF"s, "pop.example.org"));  // too long
  EXPECT_FALSE(NamesHost("\x30\x88\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "a.bc"));
  EXPECT_FALSE(NamesHost(Names(Dns("pop.example.org\0.evil.test"s)), "pop.example.org"));
}

TEST(HexDigits, WritesTwoSmallDigitsPerByte) {
  EXPECT_EQ(HexDigits("\x00\x9F\xFF"s), "009fff");
  EXPECT_EQ(HexDigits(""), "");
}

}  // namespace
}  // namespace quillbeaker
