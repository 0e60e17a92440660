// SPDX-License-Identifier: MIT
#include "pop3/login_problem.h"

#include <string_view>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

struct Description {
  LoginFailure failure;
  Text text;           // takes the server, and the detail where it has a second conversion
  const char* marker;  // for the log, which is English
};

constexpr Description kDescriptions[] = {
    {LoginFailure::kSecurityUnclear, Text::kLoginSecurityUnclear, "unclear setting"},
    {LoginFailure::kOwnAddress, Text::kLoginOwnAddress, "the server is this program itself"},
    {LoginFailure::kNameNotFound, Text::kLoginNameNotFound, "no server of that name"},
    {LoginFailure::kNoSuchPort, Text::kLoginNoSuchPort, "no such port"},
    {LoginFailure::kNotReached, Text::kLoginNotReached, "not reached"},
    {LoginFailure::kTimedOut, Text::kLoginTimedOut, "no answer"},
    {LoginFailure::kTls, Text::kLoginTls, "no TLS"},
    {LoginFailure::kCertificate, Text::kLoginCertificate, "certificate not accepted"},
    {LoginFailure::kGreeting, Text::kLoginGreeting, "greeting refused"},
    {LoginFailure::kStartTlsRefused, Text::kLoginStartTlsRefused, "STLS refused"},
    {LoginFailure::kUserRefused, Text::kLoginUserRefused, "USER refused"},
    {LoginFailure::kPasswordRefused, Text::kLoginPasswordRefused, "PASS refused"},
    {LoginFailure::kConnectionLost, Text::kLoginConnectionLost, "connection lost"},
};

const Description* DescriptionOf(LoginFailure failure) {
  for (const Description& description : kDescriptions) {
    if (description.failure == failure) return &description;
  }
  return nullptr;
}

// As people compare them: pairs of capitals with colons between, half of them on each of two lines.
std::string InPairs(std::string_view fingerprint) {
  std::string pairs;
  for (std::size_t i = 0; i < fingerprint.size(); ++i) {
    if (i > 0 && i % 2 == 0) pairs += ':';
    if (i > 0 && i == fingerprint.size() / 2) pairs += '\n';
    pairs += ToUpperAscii(fingerprint[i]);
  }
  return pairs;
}

}  // namespace

std::string DescribeProblem(const LoginProblem& problem) {
  const Description* const description = DescriptionOf(problem.failure);
  if (description == nullptr) return {};
  const std::string whose = problem.account.empty() ? "" : DisplayLine(problem.account) + ": ";
  // A text with one conversion leaves the second argument alone.
  return whose + Format(description->text,
                        {DisplayLine(problem.server), problem.detail.empty() ? "-" : problem.detail});
}

std::string ProblemMarker(const LoginProblem& problem) {
  const Description* const description = DescriptionOf(problem.failure);
  if (description == nullptr) return {};
  std::string marker = "(login to " + DisplayLine(problem.server) + " failed: " + description->marker;
  if (!problem.detail.empty()) {
    marker += ": " + problem.detail;
  }
  if (problem.certificate) {
    const CertificateInfo& certificate = *problem.certificate;
    marker += "; subject " + certificate.subject + "; issuer " + certificate.issuer + "; valid " +
              certificate.valid_from + " to " + certificate.valid_until + "; SHA-256 " +
              certificate.fingerprint;
  }
  return marker + ")";
}

std::string TrustQuestion(const LoginProblem& problem) {
  if (!problem.certificate) return {};
  const CertificateInfo& certificate = *problem.certificate;
  const Text introduction =
      problem.certificate_changed ? Text::kTrustChangedCertificate : Text::kTrustNewCertificate;
  const std::string account =
      problem.account.empty() ? "" : Format(Text::kTrustAccount, {DisplayLine(problem.account)}) + "\n";
  return Format(introduction, {DisplayLine(problem.server), problem.detail}) + "\n\n" + account +
         Format(Text::kTrustCertificateDetails,
                {certificate.subject, certificate.issuer, certificate.valid_from, certificate.valid_until,
                 "\n" + InPairs(certificate.fingerprint)}) +
         "\n\n" + std::string(TextOf(Text::kTrustQuestion));
}

}  // namespace quillbeaker
