// SPDX-License-Identifier: MIT
// Reading the system's authorities takes longer than the handshake itself, so a parsed copy serves until
// their file or their folder changes on the disk.
#include <openssl/crypto.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/files.h"
#include "platform/posix/certificate_check.h"

namespace quillbeaker {
namespace {

std::string FromEnvironment(const char* variable, const char* otherwise) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : otherwise;
}

// Where the library looks for authorities, and what is there.
struct Places {
  std::string file = FromEnvironment(X509_get_default_cert_file_env(), X509_get_default_cert_file());
  std::string folder = FromEnvironment(X509_get_default_cert_dir_env(), X509_get_default_cert_dir());
  FileState file_state = StateOfFile(file);
  FileState folder_state = StateOfFile(folder);

  bool operator==(const Places&) const = default;
  bool MayChangeUnseen() const {
    const bool several = folder.find(':') != std::string::npos;
    return several || (file_state.exists && ChangedJustNow(file_state)) ||
           (folder_state.exists && ChangedJustNow(folder_state));
  }
};

UniqueAuthorities Shared(const UniqueAuthorities& store) {
  return UniqueAuthorities(store != nullptr && X509_STORE_up_ref(store.get()) == 1 ? store.get() : nullptr);
}

}  // namespace

UniqueAuthorities TrustedAuthorities() {
  // First of all, so that the library's own clean-up comes after that of what is kept.
  static const int initialised = OPENSSL_init_crypto(0, nullptr);
  static std::mutex mutex;
  static UniqueAuthorities kept;
  static Places kept_places;
  if (initialised != 1) return nullptr;
  const std::lock_guard guard(mutex);
  const Places places;
  if (kept != nullptr && places == kept_places) return Shared(kept);
  kept.reset();
  // Asked before the files are read: a change that comes after then has a later time stamp than `places`.
  const bool may_change_unseen = places.MayChangeUnseen();
  UniqueAuthorities read(X509_STORE_new());
  if (read == nullptr || X509_STORE_set_default_paths(read.get()) != 1) return nullptr;
  if (!may_change_unseen && places == Places()) {
    kept = Shared(read);
    kept_places = places;
  }
  return read;
}

}  // namespace quillbeaker
