// SPDX-License-Identifier: MIT
#include "config/trusted_certificates.h"

#include <algorithm>
#include <memory>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kFingerprintDigits = 64;

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

}  // namespace

std::string TrustedFingerprint(const Program& program, const std::string& server) {
  const std::shared_ptr<const IniDocument> configuration = program.configuration.Read();
  const auto value = configuration->Find(sections::kCertificates, server);
  if (!value) return {};
  // People copy fingerprints from elsewhere: in capitals, with colons or blanks.
  std::string digits;
  for (const char c : *value) {
    if (c != ':' && c != ' ') digits += ToLowerAscii(c);
  }
  const bool whole =
      digits.size() == kFingerprintDigits && std::all_of(digits.begin(), digits.end(), IsHexDigit);
  return whole ? digits : std::string();
}

std::string TrustedCertificates(const Program& program) {
  const std::shared_ptr<const IniDocument> configuration = program.configuration.Read();
  std::string text;
  for (const IniEntry& entry : configuration->Section(sections::kCertificates)) {
    text.append(entry.key).append("=").append(entry.value).append("\n");
  }
  return text;
}

bool TrustCertificate(Program& program, const std::string& server, const std::string& fingerprint) {
  return program.configuration.WriteString(sections::kCertificates, server, fingerprint);
}

}  // namespace quillbeaker
