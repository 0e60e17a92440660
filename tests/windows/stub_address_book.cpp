// SPDX-License-Identifier: MIT
//
// An address book for the tests, since Wine has none: 120 contacts. With STUB_CRASHES or STUB_HANGS it
// does so when it has given some, with STUB_WITHOUT_ENTRY it cannot be opened at all. The objects are made by
// hand from the documented order of their methods, so that they also hold the headers that the program is
// compiled with to it.

#include <windows.h>

#include <mapix.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

namespace {

constexpr ULONG kContacts = 120;

HRESULT STDMETHODCALLTYPE NotImplemented(void*) {
  return E_NOTIMPL;
}
ULONG STDMETHODCALLTYPE CountNothing(void*) {
  return 1;
}

// An object is a pointer to a table of its methods.
struct Object {
  explicit Object(std::initializer_list<std::pair<std::size_t, void*>> methods) {
    table.fill(reinterpret_cast<void*>(NotImplemented));
    table[1] = table[2] = reinterpret_cast<void*>(CountNothing);
    for (const auto& [place, method] : methods) table[place] = method;
  }
  void** pointer = table.data();
  std::array<void*, 64> table{};
};

template <typename Function>
std::pair<std::size_t, void*> Method(std::size_t place, Function* function) {
  return {place, reinterpret_cast<void*>(function)};
}

ULONG given = 0;

char* Copy(const std::string& text) {
  auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  std::copy_n(text.c_str(), text.size() + 1, copy);
  return copy;
}

SPropValue* Contact(ULONG number) {
  auto* const values = static_cast<SPropValue*>(std::calloc(2, sizeof(SPropValue)));
  const std::string digits = std::to_string(number);
  values[0].ulPropTag = PR_DISPLAY_NAME_A;
  values[0].Value.lpszA = Copy((number == 2 ? "Ren\xE9 " : "Contact ") + digits);
  // One has no address: the library answers with an error in its place.
  values[1].ulPropTag = number == 3 ? PROP_TAG(PT_ERROR, PROP_ID(PR_EMAIL_ADDRESS_A)) : PR_EMAIL_ADDRESS_A;
  if (number != 3) values[1].Value.lpszA = Copy("contact" + digits + "@example.org");
  return values;
}

HRESULT STDMETHODCALLTYPE SetColumns(void*, SPropTagArray* columns, ULONG) {
  const bool expected = columns->cValues == 2 && columns->aulPropTag[0] == PR_DISPLAY_NAME_A &&
                        columns->aulPropTag[1] == PR_EMAIL_ADDRESS_A;
  return expected ? S_OK : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE QueryRows(void*, LONG count, ULONG, SRowSet** rows) {
#ifdef STUB_CRASHES
  volatile int* nowhere = nullptr;
  if (given > 0) *nowhere = 1;
#endif
#ifdef STUB_HANGS
  if (given > 0) Sleep(INFINITE);
#endif
  const ULONG now = std::min<ULONG>(static_cast<ULONG>(count), kContacts - given);
  *rows = static_cast<SRowSet*>(std::calloc(1, sizeof(SRowSet) + now * sizeof(SRow)));
  (*rows)->cRows = now;
  for (ULONG i = 0; i < now; ++i) (*rows)->aRow[i] = {0, 2, Contact(++given)};
  return S_OK;
}

HRESULT STDMETHODCALLTYPE FreeBuffer(void*, void* buffer) {
  std::free(buffer);
  return S_OK;
}

Object table{Method(7, SetColumns), Method(19, QueryRows)};

HRESULT STDMETHODCALLTYPE GetContentsTable(void*, ULONG, void** result) {
  *result = &table.pointer;
  return S_OK;
}

Object container{Method(14, GetContentsTable)};

HRESULT STDMETHODCALLTYPE OpenEntry(void*, ULONG size, void*, const IID*, ULONG, ULONG* type, void** result) {
  if (size != 4) return E_INVALIDARG;
  *type = MAPI_ABCONT;
  *result = &container.pointer;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE GetPAB(void*, ULONG* size, void** id) {
  *size = 4;
  *id = std::calloc(1, 4);
  return S_OK;
}

Object book{Method(14, OpenEntry), Method(25, GetPAB)};
Object memory{Method(6, FreeBuffer)};

}  // namespace

#ifndef STUB_WITHOUT_ENTRY
extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE
    WABOpen(void** opened, void** opened_memory, void*, DWORD) {
  *opened = &book.pointer;
  *opened_memory = &memory.pointer;
  return S_OK;
}
#endif
