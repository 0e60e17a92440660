// SPDX-License-Identifier: MIT
#pragma once

// The headers of the system's TLS in the order that they want, and owners for what they hand out. For the
// sources of this folder only.

#include <windows.h>
#define SECURITY_WIN32
#define SCHANNEL_USE_BLACKLISTS           // SCH_CREDENTIALS, which knows TLS 1.3
#define CERT_CHAIN_PARA_HAS_EXTRA_FIELDS  // the retrieval's time-out
// clang-format off
#include <wincrypt.h>
#include <winternl.h>
#include <schannel.h>
#include <security.h>
// clang-format on

#include <memory>

namespace quillbeaker {

struct FreeCertificate {
  void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using UniqueCertificate = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;

}  // namespace quillbeaker
