// SPDX-License-Identifier: MIT
#include "platform/posix/certificate_check.h"

#include <openssl/bio.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

namespace quillbeaker {
namespace {

using UniqueCheck = std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX, X509_STORE_CTX_free>>;
using UniqueMemory = std::unique_ptr<BIO, OpenSslDeleter<BIO, BIO_free_all>>;

constexpr char kNotChecked[] = "it cannot be checked";

// A name of a certificate on one line: control characters escaped, UTF-8.
std::string NameText(const X509_NAME* name) {
  const UniqueMemory memory(BIO_new(BIO_s_mem()));
  constexpr unsigned long kFlags = XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB & ~XN_FLAG_SPC_EQ;
  if (memory == nullptr || X509_NAME_print_ex(memory.get(), name, 0, kFlags) < 0) return {};
  const char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(std::max(size, 0L)));
}

std::string DateText(const ASN1_TIME* time) {
  std::tm date{};
  if (ASN1_TIME_to_tm(time, &date) != 1) return {};
  std::array<char, 16> text{};
  return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &date));
}

std::string FingerprintOf(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) return {};
  return HexDigits({reinterpret_cast<const char*>(digest.data()), size});
}

CertificateInfo InfoOf(const X509* certificate) {
  return {NameText(X509_get_subject_name(certificate)), NameText(X509_get_issuer_name(certificate)),
          DateText(X509_get0_notBefore(certificate)), DateText(X509_get0_notAfter(certificate)),
          FingerprintOf(certificate)};
}

// Called for everything that is wrong with the chain. Going on shows what else is wrong; the verdict stays
// that of the list.
int CollectFault(int passed, X509_STORE_CTX* check) {
  if (passed == 1) return 1;
  auto* const faults = static_cast<std::string*>(X509_STORE_CTX_get_app_data(check));
  if (faults == nullptr) return 0;
  const std::string fault = X509_verify_cert_error_string(X509_STORE_CTX_get_error(check));
  if (faults->find(fault) == std::string::npos) {
    *faults += (faults->empty() ? "" : ", ") + fault;
  }
  return 1;
}

bool ExpectHost(X509_VERIFY_PARAM* parameters, const std::string& host) {
  X509_VERIFY_PARAM_set_hostflags(parameters,
                                  X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  if (const auto address = AddressBytes(host)) {
    return X509_VERIFY_PARAM_set1_ip(parameters, reinterpret_cast<const unsigned char*>(address->data()),
                                     address->size()) == 1;
  }
  const std::string name = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
  // A name that begins with a dot would be taken for any name below it, and no name at all for any.
  return !name.empty() && name.front() != '.' &&
         X509_VERIFY_PARAM_set1_host(parameters, name.c_str(), name.size()) == 1;
}

}  // namespace

TlsVerdict CheckServerCertificate(X509* certificate, STACK_OF(X509) * sent, const std::string& host,
                                  int security_level) {
  if (certificate == nullptr) return {};
  TlsVerdict verdict{InfoOf(certificate), kNotChecked, false};
  const UniqueAuthorities authorities = TrustedAuthorities();
  const UniqueCheck check(X509_STORE_CTX_new());
  if (authorities == nullptr || check == nullptr ||
      X509_STORE_CTX_init(check.get(), authorities.get(), certificate, sent) != 1 ||
      X509_STORE_CTX_set_default(check.get(), "ssl_server") != 1) {
    return verdict;
  }
  std::string faults;
  X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(check.get());
  X509_VERIFY_PARAM_set_auth_level(parameters, security_level);
  if (!ExpectHost(parameters, host) || X509_STORE_CTX_set_app_data(check.get(), &faults) != 1) {
    return verdict;
  }
  X509_STORE_CTX_set_verify_cb(check.get(), &CollectFault);
  const bool passed = X509_verify_cert(check.get()) == 1;
  const int error = X509_STORE_CTX_get_error(check.get());
  if (faults.empty() && error != X509_V_OK) faults = X509_verify_cert_error_string(error);
  if (faults.empty() && !passed) return verdict;
  verdict.fault = std::move(faults);
  return verdict;
}

}  // namespace quillbeaker
