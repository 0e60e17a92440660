// SPDX-License-Identifier: MIT
#pragma once

// The verdict on a server's certificate by the system's own trust store. Host names and addresses are
// compared by our own code, which is tested on every system. For the sources of this folder only.

#include <chrono>
#include <functional>
#include <string>

#include "platform/tls_engine.h"
#include "platform/windows/schannel.h"

namespace quillbeaker {

// Fetching what the chain lacks may take the system seconds, so it works on a thread of its own, which is
// abandoned when `on_wait` (asked whenever `period` has passed) gives up.
TlsVerdict CheckServerCertificate(UniqueCertificate certificate, const std::string& host,
                                  std::chrono::milliseconds period, const std::function<bool()>& on_wait);
// What is known of a certificate without asking the system's trust store: dates and name.
TlsVerdict CheckStoredCertificate(const CERT_CONTEXT& certificate, const std::string& host);

}  // namespace quillbeaker
