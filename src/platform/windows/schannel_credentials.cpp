// SPDX-License-Identifier: MIT
#include "platform/windows/schannel_credentials.h"

namespace quillbeaker {
namespace {

// Newer than some headers.
constexpr DWORD kTls12 = 0x00000800;
constexpr DWORD kTls13 = 0x00002000;
// The check is ours, and nobody is shown a certificate of the user's.
constexpr DWORD kCredentialFlags =
    SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS | SCH_USE_STRONG_CRYPTO;

}  // namespace

SchannelCredentials::~SchannelCredentials() {
  if (acquired_) FreeCredentialsHandle(&handle_);
}

bool SchannelCredentials::Acquire() {
  TLS_PARAMETERS protocols{};
  protocols.grbitDisabledProtocols = ~(kTls12 | kTls13);
  SCH_CREDENTIALS newer{};
  newer.dwVersion = SCH_CREDENTIALS_VERSION;
  newer.dwFlags = kCredentialFlags;
  newer.cTlsParameters = 1;
  newer.pTlsParameters = &protocols;
  if (AcquireWith(&newer)) return true;
  SCHANNEL_CRED older{};
  older.dwVersion = SCHANNEL_CRED_VERSION;
  older.grbitEnabledProtocols = kTls12;
  older.dwFlags = kCredentialFlags;
  return AcquireWith(&older);
}

bool SchannelCredentials::AcquireWith(void* data) {
  wchar_t package[] = UNISP_NAME_W;
  TimeStamp expiry{};
  acquired_ = AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr, data, nullptr,
                                        nullptr, &handle_, &expiry) == SEC_E_OK;
  return acquired_;
}

}  // namespace quillbeaker
