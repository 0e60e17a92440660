// SPDX-License-Identifier: MIT
// TLS by OpenSSL, over two memories.
#include "platform/tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

template <typename T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* object) const { Free(object); }
};
using UniqueContext = std::unique_ptr<SSL_CTX, Deleter<SSL_CTX, SSL_CTX_free>>;
using UniqueSsl = std::unique_ptr<SSL, Deleter<SSL, SSL_free>>;
using UniqueCertificate = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using UniqueMemory = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;

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

class Engine : public TlsEngine {
 public:
  // Not made when the library has no memory or no trust store can be set up.
  explicit Engine(const TlsOptions& options) : context_(SSL_CTX_new(TLS_client_method())) {
    if (context_ == nullptr || SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_default_verify_paths(context_.get()) != 1) {
      return;
    }
    SSL_CTX_set_options(context_.get(), SSL_OP_NO_RENEGOTIATION);
    // The result is looked at after the handshake, before a byte of ours is sent: a certificate that the user
    // trusts is accepted although it does not check out.
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_NONE, &CollectFault);
    ssl_.reset(SSL_new(context_.get()));
    UniqueMemory in(BIO_new(BIO_s_mem()));
    UniqueMemory out(BIO_new(BIO_s_mem()));
    if (ssl_ == nullptr || in == nullptr || out == nullptr || SSL_set_app_data(ssl_.get(), &faults_) != 1 ||
        !NameHost(options.host)) {
      ssl_.reset();
      return;
    }
    BIO_set_mem_eof_return(in.get(), -1);
    in_ = in.get();
    out_ = out.get();
    SSL_set_bio(ssl_.get(), in.release(), out.release());
    SSL_set_connect_state(ssl_.get());
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  bool is_made() const { return ssl_ != nullptr; }

  TlsStep ShakeHands() override {
    ERR_clear_error();
    return StepOf(SSL_do_handshake(ssl_.get()));
  }

  TlsStep Read(char* buffer, std::size_t capacity, std::size_t& count) override {
    ERR_clear_error();
    return StepOf(SSL_read_ex(ssl_.get(), buffer, capacity, &count));
  }

  bool Write(std::string_view bytes) override {
    ERR_clear_error();
    std::size_t count = 0;
    return SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &count) == 1 && count == bytes.size();
  }

  void CloseSending() override { SSL_shutdown(ssl_.get()); }

  void TakeReceived(std::string_view bytes) override {
    BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
  }

  std::string TakeOutgoing() override {
    std::string bytes(BIO_ctrl_pending(out_), '\0');
    if (!bytes.empty()) {
      const int taken = BIO_read(out_, bytes.data(), static_cast<int>(bytes.size()));
      bytes.resize(static_cast<std::size_t>(std::max(taken, 0)));
    }
    return bytes;
  }

  std::string Failure() override {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "the server closed the connection";
  }

  TlsVerdict CheckCertificate(std::chrono::milliseconds, const std::function<bool()>&) override {
    const UniqueCertificate certificate(SSL_get1_peer_certificate(ssl_.get()));
    if (certificate == nullptr) return {};
    TlsVerdict verdict{InfoOf(certificate.get()), faults_, false};
    const long result = SSL_get_verify_result(ssl_.get());
    if (verdict.fault.empty() && result != X509_V_OK) {
      verdict.fault = X509_verify_cert_error_string(result);
    }
    return verdict;
  }

 private:
  // Called for everything that is wrong with the chain. Going on shows what else is wrong; the verdict stays
  // that of the list.
  static int CollectFault(int passed, X509_STORE_CTX* store) {
    if (passed == 1) return 1;
    const auto* const ssl =
        static_cast<const SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* const faults = ssl != nullptr ? static_cast<std::string*>(SSL_get_app_data(ssl)) : nullptr;
    if (faults == nullptr) return 0;
    const std::string fault = X509_verify_cert_error_string(X509_STORE_CTX_get_error(store));
    if (faults->find(fault) == std::string::npos) {
      *faults += (faults->empty() ? "" : ", ") + fault;
    }
    return 1;
  }

  TlsStep StepOf(int result) const {
    if (result == 1) return TlsStep::kDone;
    switch (SSL_get_error(ssl_.get(), result)) {
      case SSL_ERROR_WANT_READ:
        return TlsStep::kNeedsBytes;
      case SSL_ERROR_ZERO_RETURN:
        return TlsStep::kClosed;
      default:
        return TlsStep::kFailed;
    }
  }

  bool NameHost(const std::string& host) {
    X509_VERIFY_PARAM* const parameters = SSL_get0_param(ssl_.get());
    X509_VERIFY_PARAM_set_hostflags(
        parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    if (const auto address = AddressBytes(host)) {
      return X509_VERIFY_PARAM_set1_ip(parameters, reinterpret_cast<const unsigned char*>(address->data()),
                                       address->size()) == 1;
    }
    const std::string name = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
    // A name that begins with a dot would be taken for any name below it.
    return !name.empty() && name.front() != '.' &&
           X509_VERIFY_PARAM_set1_host(parameters, name.c_str(), name.size()) == 1 &&
           SSL_set_tlsext_host_name(ssl_.get(), name.c_str()) == 1;
  }

  UniqueContext context_;
  std::string faults_;  // of the certificate, separated by commas
  UniqueSsl ssl_;
  BIO* in_ = nullptr;   // owned by ssl_
  BIO* out_ = nullptr;  // owned by ssl_
};

}  // namespace

std::unique_ptr<TlsEngine> MakeTlsEngine(const TlsOptions& options) {
  auto engine = std::make_unique<Engine>(options);
  return engine->is_made() ? std::move(engine) : nullptr;
}

std::optional<std::string> AddressBytes(std::string_view host) {
  std::array<char, 16> bytes{};
  const std::string text(host);
  if (text.find('\0') != std::string::npos) return std::nullopt;
  if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) return std::string(bytes.data(), 4);
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) return std::string(bytes.data(), 16);
  return std::nullopt;
}

}  // namespace quillbeaker
