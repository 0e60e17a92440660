// SPDX-License-Identifier: MIT
#include "platform/windows/certificate_check.h"

#include <bcrypt.h>

#include <array>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// How long the system may take to fetch certificates or lists of revoked ones.
constexpr DWORD kRetrievalTimeout = 10'000;
constexpr std::size_t kSha256 = 32;
// Deliberate: a server of revocation lists that cannot be reached is no fault, or half the world's networks
// would have no mail.
constexpr DWORD kTolerated = CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;

// What the policy for TLS can be told to overlook; not all of it is in every header.
constexpr DWORD kOverlookRevocation = 0x0080;
constexpr DWORD kOverlookUnknownIssuer = 0x0100;
constexpr DWORD kOverlookUsage = 0x0200;
constexpr DWORD kOverlookName = 0x1000;
constexpr DWORD kOverlookDates = 0x2000;
constexpr DWORD kOverlookAll =
    kOverlookRevocation | kOverlookUnknownIssuer | kOverlookUsage | kOverlookName | kOverlookDates;

struct FreeChain {
  void operator()(const CERT_CHAIN_CONTEXT* chain) const { CertFreeCertificateChain(chain); }
};
using UniqueChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain>;

std::string_view BytesOf(const CRYPT_DATA_BLOB& blob) {
  return {reinterpret_cast<const char*>(blob.pbData), blob.cbData};
}

std::string NameText(CERT_NAME_BLOB name) {
  std::array<wchar_t, 1024> text{};
  const DWORD size = CertNameToStrW(X509_ASN_ENCODING, &name, CERT_X500_NAME_STR, text.data(), text.size());
  return size > 1 ? Utf8FromWide({text.data(), size - 1}) : std::string();
}

std::string DateText(const FILETIME& time) {
  SYSTEMTIME date{};
  if (FileTimeToSystemTime(&time, &date) == 0) return {};
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04u-%02u-%02u", unsigned{date.wYear}, unsigned{date.wMonth},
                unsigned{date.wDay});
  return text.data();
}

std::string FingerprintOf(const CERT_CONTEXT& certificate) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0) return {};
  std::array<unsigned char, kSha256> digest{};
  const NTSTATUS status =
      BCryptHash(algorithm, nullptr, 0, certificate.pbCertEncoded, certificate.cbCertEncoded, digest.data(),
                 static_cast<ULONG>(digest.size()));
  BCryptCloseAlgorithmProvider(algorithm, 0);
  return status == 0 ? HexDigits({reinterpret_cast<const char*>(digest.data()), digest.size()})
                     : std::string();
}

CertificateInfo InfoOf(const CERT_CONTEXT& certificate) {
  return {NameText(certificate.pCertInfo->Subject), NameText(certificate.pCertInfo->Issuer),
          DateText(certificate.pCertInfo->NotBefore), DateText(certificate.pCertInfo->NotAfter),
          FingerprintOf(certificate)};
}

std::string WithNumber(const char* words, DWORD number) {
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%s 0x%08lx", words, number);
  return text.data();
}

std::string DateFaultOf(const CERT_CONTEXT& certificate) {
  return CertVerifyTimeValidity(nullptr, certificate.pCertInfo) < 0 ? "certificate is not yet valid"
                                                                    : "certificate has expired";
}

// The same words as on other systems, as far as there are such.
std::string FaultOf(DWORD error, const CERT_CONTEXT& certificate, const CERT_CHAIN_CONTEXT& chain) {
  switch (static_cast<HRESULT>(error)) {
    case CERT_E_UNTRUSTEDROOT:
      return chain.cChain > 0 && chain.rgpChain[0]->cElement > 1
                 ? "self-signed certificate in certificate chain"
                 : "self-signed certificate";
    case CERT_E_CHAINING:
      return "unable to get local issuer certificate";
    case CERT_E_EXPIRED:
      return DateFaultOf(certificate);
    case CERT_E_WRONG_USAGE:
      return "unsuitable certificate purpose";
    case CERT_E_REVOKED:
    case CRYPT_E_REVOKED:
      return "certificate revoked";
    case TRUST_E_CERT_SIGNATURE:
      return "certificate signature failure";
    default:
      return WithNumber("certificate error", error);
  }
}

void Add(std::string& faults, const std::string& fault) {
  if (faults.find(fault) == std::string::npos) faults += (faults.empty() ? "" : ", ") + fault;
}

bool IsForHost(const CERT_CONTEXT& certificate, const std::string& host) {
  const CERT_EXTENSION* const names = CertFindExtension(
      szOID_SUBJECT_ALT_NAME2, certificate.pCertInfo->cExtension, certificate.pCertInfo->rgExtension);
  return names != nullptr && NamesHost(BytesOf(names->Value), host);
}

void AddNameFault(std::string& faults, const CERT_CONTEXT& certificate, const std::string& host) {
  if (IsForHost(certificate, host)) return;
  Add(faults, AddressBytes(host) ? "IP address mismatch" : "hostname mismatch");
}

UniqueChain ChainOf(const CERT_CONTEXT& certificate) {
  char server_use[] = szOID_PKIX_KP_SERVER_AUTH;
  LPSTR uses[] = {server_use};
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof parameters;
  parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_OR;
  parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
  parameters.RequestedUsage.Usage.rgpszUsageIdentifier = uses;
  parameters.dwUrlRetrievalTimeout = kRetrievalTimeout;
  const CERT_CHAIN_CONTEXT* chain = nullptr;
  if (CertGetCertificateChain(
          nullptr, &certificate, nullptr, certificate.hCertStore, &parameters,
          CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT,
          nullptr, &chain) == 0) {
    return nullptr;
  }
  return UniqueChain(chain);
}

// What the policy says while it overlooks the given; 0 when nothing.
DWORD PolicyError(const CERT_CHAIN_CONTEXT& chain, DWORD overlooked) {
  HTTPSPolicyCallbackData tls{};
  tls.cbStruct = sizeof tls;
  tls.dwAuthType = AUTHTYPE_SERVER;
  tls.fdwChecks = overlooked;
  CERT_CHAIN_POLICY_PARA parameters{};
  parameters.cbSize = sizeof parameters;
  parameters.pvExtraPolicyPara = &tls;
  CERT_CHAIN_POLICY_STATUS status{};
  status.cbSize = sizeof status;
  if (CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, &chain, &parameters, &status) == 0) {
    return static_cast<DWORD>(TRUST_E_FAIL);
  }
  return status.dwError;
}

// Every fault, since one hides the next: the policy is asked for each kind alone.
std::string FaultsOf(const CERT_CONTEXT& certificate, const std::string& host) {
  const UniqueChain chain = ChainOf(certificate);
  if (chain == nullptr) return "no certificate chain can be built";
  std::string faults;
  constexpr DWORD kKinds[] = {kOverlookUnknownIssuer, kOverlookDates, kOverlookUsage,
                              kOverlookUnknownIssuer | kOverlookDates | kOverlookUsage};
  for (const DWORD kind : kKinds) {
    if (const DWORD error = PolicyError(*chain, kOverlookAll & ~kind); error != 0) {
      Add(faults, FaultOf(error, certificate, *chain));
    }
  }
  // Whatever the policy lets pass that the chain itself tells is a fault as well: not every system's policy
  // looks at a chain without an end.
  constexpr struct {
    DWORD bit;
    HRESULT error;
  } kTold[] = {{CERT_TRUST_IS_PARTIAL_CHAIN, CERT_E_CHAINING},
               {CERT_TRUST_IS_UNTRUSTED_ROOT, CERT_E_UNTRUSTEDROOT},
               {CERT_TRUST_IS_NOT_TIME_VALID, CERT_E_EXPIRED},
               {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, CERT_E_WRONG_USAGE},
               {CERT_TRUST_IS_NOT_SIGNATURE_VALID, TRUST_E_CERT_SIGNATURE},
               {CERT_TRUST_IS_REVOKED, CRYPT_E_REVOKED}};
  const DWORD trust = chain->TrustStatus.dwErrorStatus;
  for (const auto& told : kTold) {
    if ((trust & told.bit) != 0) Add(faults, FaultOf(static_cast<DWORD>(told.error), certificate, *chain));
  }
  if (faults.empty() && (trust & ~kTolerated) != 0) {
    Add(faults, WithNumber("certificate chain status", trust));
  }
  AddNameFault(faults, certificate, host);
  return faults;
}

// Shared with the thread that asks the system, which may outlive the one who waits.
struct Check {
  UniqueCertificate certificate;
  std::string host;
  std::mutex mutex;
  std::condition_variable answered;
  bool done = false;
  TlsVerdict verdict;
};

}  // namespace

TlsVerdict CheckStoredCertificate(const CERT_CONTEXT& certificate, const std::string& host) {
  TlsVerdict verdict{InfoOf(certificate), {}, false};
  if (CertVerifyTimeValidity(nullptr, certificate.pCertInfo) != 0) verdict.fault = DateFaultOf(certificate);
  AddNameFault(verdict.fault, certificate, host);
  return verdict;
}

TlsVerdict CheckServerCertificate(UniqueCertificate certificate, const std::string& host,
                                  std::chrono::milliseconds period, const std::function<bool()>& on_wait) {
  const auto check = std::make_shared<Check>();
  check->certificate = std::move(certificate);
  check->host = host;
  const CertificateInfo info = InfoOf(*check->certificate);
  try {
    std::thread([check] {
      std::string faults = FaultsOf(*check->certificate, check->host);
      const std::lock_guard guard(check->mutex);
      check->verdict.fault = std::move(faults);
      check->done = true;
      check->answered.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return {info, "it cannot be checked", false};
  }
  std::unique_lock guard(check->mutex);
  while (!check->answered.wait_for(guard, period, [&] { return check->done; })) {
    guard.unlock();
    if (!on_wait()) return {info, {}, true};
    guard.lock();
  }
  return {info, check->verdict.fault, false};
}

}  // namespace quillbeaker
