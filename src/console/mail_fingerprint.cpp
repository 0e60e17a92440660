// SPDX-License-Identifier: MIT
#include "console/mail_fingerprint.h"

#define XXH_INLINE_ALL  // nothing of the library has to be linked
#include <xxhash.h>

namespace quillbeaker {

MailFingerprint FingerprintOf(std::string_view mail) {
  const XXH128_hash_t hash = XXH3_128bits(mail.data(), mail.size());
  return {hash.low64, hash.high64};
}

}  // namespace quillbeaker
