// SPDX-License-Identifier: MIT
#include "config/trusted_certificates.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

const std::string kFingerprint = std::string(60, '0') + "9abc";

std::string Trusted(const std::string& line, const std::string& server = "pop.example.org:995") {
  test::TestProgram world;
  world.directory.Put("Quillbeaker.ini", "[CERTIFICATES]\n" + line + "\n");
  return TrustedFingerprint(world.program(), server);
}

TEST(TrustedFingerprint, IsTheOneOfTheServerAndPort) {
  EXPECT_EQ(Trusted("pop.example.org:995=" + kFingerprint), kFingerprint);
  EXPECT_EQ(Trusted("POP.Example.org:995=" + kFingerprint), kFingerprint);
  EXPECT_EQ(Trusted("::1:995=" + kFingerprint, "::1:995"), kFingerprint);
  EXPECT_EQ(Trusted("pop.example.org:110=" + kFingerprint), "");
  EXPECT_EQ(Trusted("pop.example.org=" + kFingerprint), "");
}

TEST(TrustedFingerprint, IsReadAsPeopleCopyIt) {
  std::string copied;
  for (std::size_t i = 0; i < kFingerprint.size(); i += 2)
    copied += (i > 0 ? ":" : "") + kFingerprint.substr(i, 2);
  for (char& c : copied) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c;
  EXPECT_EQ(Trusted("pop.example.org:995=" + copied), kFingerprint);
}

TEST(TrustedFingerprint, CountsAsNoneWhenItIsNone) {
  EXPECT_EQ(Trusted("pop.example.org:995="), "");
  EXPECT_EQ(Trusted("pop.example.org:995=yes"), "");
  EXPECT_EQ(Trusted("pop.example.org:995=" + kFingerprint.substr(1)), "");
  EXPECT_EQ(Trusted("pop.example.org:995=" + kFingerprint + "0"), "");
  EXPECT_EQ(Trusted("pop.example.org:995=" + std::string(63, '0') + "g"), "");
}

TEST(TrustedCertificates, DifferAfterAnyChange) {
  test::TestProgram world;
  std::set<std::string> seen;
  for (const std::string lines : {"", "a:995=12ab", "a:995=12AB", "a:995=", "a:110=12ab",
                                  "a:995=12ab\nb:995=12ab", "b:995=12ab\na:995=12ab", "A:995=12ab"}) {
    world.directory.Put("Quillbeaker.ini", "[CERTIFICATES]\n" + lines + "\n[SERVER]\nTimeout=10\n");
    EXPECT_TRUE(seen.insert(TrustedCertificates(world.program())).second) << lines;
  }
}

TEST(TrustedCertificates, AreTheSameWhateverElseChanges) {
  test::TestProgram world;
  world.directory.Put("Quillbeaker.ini", "[CERTIFICATES]\na:995=12ab\n");
  const std::string before = TrustedCertificates(world.program());
  world.directory.Put("Quillbeaker.ini", "[SERVER]\nTimeout=10\n\n[CERTIFICATES]\r\n\r\na:995 = 12ab\r\n");
  EXPECT_EQ(TrustedCertificates(world.program()), before);
}

TEST(TrustCertificate, IsReadBack) {
  test::TestProgram world;
  EXPECT_TRUE(TrustCertificate(world.program(), "2001:db8::7:995", kFingerprint));
  EXPECT_EQ(TrustedFingerprint(world.program(), "2001:db8::7:995"), kFingerprint);
  EXPECT_EQ(world.directory.Get("Quillbeaker.ini"),
            "[CERTIFICATES]\r\n2001:db8::7:995=" + kFingerprint + "\r\n");
}

}  // namespace
}  // namespace quillbeaker
