// SPDX-License-Identifier: MIT
// trust_root add|remove FILE: puts the certificate of FILE (DER) among the roots that the user trusts, or
// takes it away. A program of its own, because one that runs already does not see the change everywhere.
#include <windows.h>

#include <wincrypt.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream file(argv[2], std::ios::binary);
  const std::string der((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const HCERTSTORE store = CertOpenSystemStoreA(0, "ROOT");
  const CERT_CONTEXT* const certificate = CertCreateCertificateContext(
      X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()), static_cast<DWORD>(der.size()));
  if (store == nullptr || certificate == nullptr) return 3;
  BOOL done = FALSE;
  if (std::string_view(argv[1]) == "add") {
    done = CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
  } else {
    const CERT_CONTEXT* const found =
        CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, nullptr);
    done = found != nullptr && CertDeleteCertificateFromStore(found);
  }
  CertFreeCertificateContext(certificate);
  return CertCloseStore(store, 0) && done ? 0 : 4;
}
