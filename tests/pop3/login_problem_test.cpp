// SPDX-License-Identifier: MIT
#include "pop3/login_problem.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

constexpr LoginFailure kAll[] = {
    LoginFailure::kSecurityUnclear, LoginFailure::kOwnAddress,      LoginFailure::kNameNotFound,
    LoginFailure::kNotReached,      LoginFailure::kTimedOut,        LoginFailure::kTls,
    LoginFailure::kCertificate,     LoginFailure::kGreeting,        LoginFailure::kStartTlsRefused,
    LoginFailure::kUserRefused,     LoginFailure::kPasswordRefused, LoginFailure::kConnectionLost,
    LoginFailure::kNoSuchPort};

LoginProblem Problem(LoginFailure failure, std::string detail = {}) {
  LoginProblem problem;
  problem.failure = failure;
  problem.server = "pop.example.org:995";
  problem.detail = std::move(detail);
  return problem;
}

TEST(LoginProblem, EachHasItsSentenceAndItsMarker) {
  std::string sentences;
  std::string markers;
  for (const LoginFailure failure : kAll) {
    const std::string sentence = DescribeProblem(Problem(failure, "the words"));
    EXPECT_NE(sentence.find("pop.example.org:995"), std::string::npos) << sentence;
    EXPECT_EQ(sentences.find(sentence), std::string::npos) << sentence;
    EXPECT_EQ(sentence.find('%'), std::string::npos) << sentence;
    sentences += sentence + "\n";
    const std::string marker = ProblemMarker(Problem(failure));
    EXPECT_TRUE(marker.starts_with("(login to pop.example.org:995 failed: ") && marker.ends_with(")"))
        << marker;
    EXPECT_EQ(markers.find(marker), std::string::npos) << marker;
    markers += marker + "\n";
  }
}

TEST(LoginProblem, OnlyARefusedCommandIsNamed) {
  for (const LoginFailure failure : kAll) {
    const std::string marker = ProblemMarker(Problem(failure));
    EXPECT_EQ(marker.find("USER") != std::string::npos, failure == LoginFailure::kUserRefused);
    EXPECT_EQ(marker.find("PASS") != std::string::npos, failure == LoginFailure::kPasswordRefused);
  }
}

TEST(LoginProblem, NoNameOfAServerWritesOverTheLog) {
  LoginProblem problem = Problem(LoginFailure::kNameNotFound);
  problem.server = "a\x1B[2J\r\nb:110";
  const std::string marker = ProblemMarker(problem);
  EXPECT_EQ(marker.find_first_of("\x1B\r\n"), std::string::npos) << marker;
}

TEST(LoginProblem, NoneHasNoWords) {
  EXPECT_EQ(DescribeProblem({}), "");
  EXPECT_EQ(ProblemMarker({}), "");
  EXPECT_EQ(TrustQuestion({}), "");
}

TEST(LoginProblem, TellsTheServersWords) {
  const LoginProblem problem = Problem(LoginFailure::kPasswordRefused, "-ERR use an app password");
  EXPECT_EQ(ProblemMarker(problem),
            "(login to pop.example.org:995 failed: PASS refused: -ERR use an app password)");
  EXPECT_NE(DescribeProblem(problem).find("-ERR use an app password"), std::string::npos);
  EXPECT_EQ(DescribeProblem(Problem(LoginFailure::kTls, "100%s %i")).find("%s %i") == std::string::npos,
            false);
}

LoginProblem BadCertificate() {
  LoginProblem problem = Problem(LoginFailure::kCertificate, "certificate has expired");
  problem.certificate =
      CertificateInfo{"CN=pop", "CN=authority", "2020-01-01", "2021-01-01", std::string(64, 'a')};
  return problem;
}

TEST(LoginProblem, TellsAllOfTheCertificateInTheLog) {
  EXPECT_EQ(ProblemMarker(BadCertificate()),
            "(login to pop.example.org:995 failed: certificate not accepted: certificate has expired; "
            "subject CN=pop; "
            "issuer CN=authority; valid 2020-01-01 to 2021-01-01; SHA-256 " +
                std::string(64, 'a') + ")");
}

TEST(LoginProblem, AsksWithEverythingThatAPersonCanCompare) {
  LoginProblem problem = BadCertificate();
  const std::string question = TrustQuestion(problem);
  for (const char* part : {"pop.example.org:995", "certificate has expired", "CN=pop", "CN=authority",
                           "2020-01-01", "2021-01-01"}) {
    EXPECT_NE(question.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(question.find("CHANGED"), std::string::npos);
  problem.certificate_changed = true;
  EXPECT_NE(TrustQuestion(problem).find("CHANGED"), std::string::npos);
}

TEST(LoginProblem, NamesTheAccount) {
  LoginProblem problem = Problem(LoginFailure::kNotReached);
  problem.account = "ann\xE4 @ pop.example.org";
  EXPECT_EQ(
      DescribeProblem(problem),
      "ann\u00E4 @ pop.example.org: The login to pop.example.org:995 failed: the server does not accept "
      "connections.");
  problem = BadCertificate();
  problem.account = "ann @ pop.example.org";
  EXPECT_NE(TrustQuestion(problem).find("\n\nAccount: ann @ pop.example.org\nIssued for: CN=pop\n"),
            std::string::npos);
}

TEST(LoginProblem, ShowsTheFingerprintAsPeopleCompareIt) {
  LoginProblem problem = BadCertificate();
  problem.certificate->fingerprint = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
  EXPECT_NE(TrustQuestion(problem).find("SHA-256: \n01:23:45:67:89:AB:CD:EF:01:23:45:67:89:AB:CD:EF:\n"
                                        "01:23:45:67:89:AB:CD:EF:01:23:45:67:89:AB:CD:EF\n\n"),
            std::string::npos)
      << TrustQuestion(problem);
  EXPECT_NE(ProblemMarker(problem).find("SHA-256 0123456789abcdef"), std::string::npos);
}

}  // namespace
}  // namespace quillbeaker
