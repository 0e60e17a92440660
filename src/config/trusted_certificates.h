// SPDX-License-Identifier: MIT
#pragma once

// Certificates that the user trusts although they do not check out: "host:port" = fingerprint in the
// configuration.

#include <string>

#include "config/program.h"

namespace quillbeaker {

// Fingerprint (64 lower-case hexadecimal digits) of the certificate trusted for that "host:port"; empty when
// there is none. What is no fingerprint counts as none.
std::string TrustedFingerprint(const Program& program, const std::string& server);
// Every line of them as it stands now: another text whenever one was added, changed or removed.
std::string TrustedCertificates(const Program& program);
// False when it could not be saved.
bool TrustCertificate(Program& program, const std::string& server, const std::string& fingerprint);

}  // namespace quillbeaker
