// SPDX-License-Identifier: MIT
#pragma once

// The verdict on a server's certificate by OpenSSL and the system's trust store. For the sources of this
// folder only.

#include <openssl/x509.h>

#include <memory>
#include <string>

#include "platform/tls_engine.h"

namespace quillbeaker {

template <typename T, void (*Free)(T*)>
struct OpenSslDeleter {
  void operator()(T* object) const { Free(object); }
};
using UniqueAuthorities = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE, X509_STORE_free>>;

// The authorities that the system trusts; null when they cannot be read. The store is shared with later
// connections and not to be changed. Any thread.
UniqueAuthorities TrustedAuthorities();

// `sent` is the chain as the server sent it, null for none. `security_level` is the connection's (see
// SSL_CTX_set_security_level). No certificate is no verdict.
TlsVerdict CheckServerCertificate(X509* certificate, STACK_OF(X509) * sent, const std::string& host,
                                  int security_level);

}  // namespace quillbeaker
