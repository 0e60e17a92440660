// SPDX-License-Identifier: MIT
#include "app/address_book_child.h"

#include <windows.h>

#include <mapix.h>
#include <wabapi.h>

#include <string>

#include "config/ascii.h"
#include "extras/senders/address_book.h"
#include "message/display_text.h"
#include "ui/address_book_source.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr LONG kRowsAtOnce = 50;

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using UniqueInterface = std::unique_ptr<Interface, Releaser>;

std::string RegisteredLibrary() {
  wchar_t path[1024];
  DWORD bytes = sizeof path;
  // A REG_EXPAND_SZ comes with its variables filled in.
  const LSTATUS found = RegGetValueW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\WAB\\DLLPath", nullptr,
                                     RRF_RT_REG_SZ, nullptr, path, &bytes);
  return found == ERROR_SUCCESS ? Utf8(path) : std::string();
}

LPWABOPEN LoadEntry() {
  wchar_t system[MAX_PATH];
  const UINT length = GetSystemDirectoryW(system, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  const auto path = AddressBookLibrary(RegisteredLibrary(), Utf8(std::wstring_view(system, length)));
  if (!path) return nullptr;
  // What the library itself needs comes from its own directory and the system's. Never freed: it may have
  // threads.
  const HMODULE library = LoadLibraryExW(Wide(*path).c_str(), nullptr,
                                         LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) return nullptr;
  return reinterpret_cast<LPWABOPEN>(reinterpret_cast<void*>(GetProcAddress(library, "WABOpen")));
}

// The library's texts are in the system's code page.
std::string TextOf(const SPropValue& value) {
  if (PROP_TYPE(value.ulPropTag) != PT_STRING8 || value.Value.lpszA == nullptr) return {};
  const int length = MultiByteToWideChar(CP_ACP, 0, value.Value.lpszA, -1, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_ACP, 0, value.Value.lpszA, -1, wide.data(), length);
  return Latin1FromTyped(Utf8(wide.c_str()));
}

// False when nobody reads any more.
bool Tell(const FoundSender& contact) {
  const std::string bytes = ContactBytes(contact);
  DWORD written = 0;
  return WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                   nullptr) &&
         written == bytes.size();
}

// Nothing of what is in the rows may be used after this.
void FreeRows(IWABObject& memory, SRowSet* rows) {
  for (ULONG i = 0; i < rows->cRows; ++i) memory.FreeBuffer(rows->aRow[i].lpProps);
  memory.FreeBuffer(rows);
}

bool TellContacts(IWABObject& memory, IMAPITable& table) {
  enum { kName, kAddress, kCount };
  SizedSPropTagArray(kCount, columns) = {kCount, {PR_DISPLAY_NAME_A, PR_EMAIL_ADDRESS_A}};
  if (FAILED(table.SetColumns(reinterpret_cast<LPSPropTagArray>(&columns), 0))) return false;
  for (;;) {
    SRowSet* rows = nullptr;
    if (FAILED(table.QueryRows(kRowsAtOnce, 0, &rows)) || rows == nullptr) return false;
    const ULONG count = rows->cRows;
    bool is_heard = true;
    for (ULONG i = 0; i < count && is_heard; ++i) {
      const SRow& row = rows->aRow[i];
      if (row.cValues < kCount) continue;
      is_heard = Tell({TextOf(row.lpProps[kName]), TextOf(row.lpProps[kAddress])});
    }
    FreeRows(memory, rows);
    if (count == 0 || !is_heard) return is_heard;
  }
}

bool TellAddressBook() {
  const LPWABOPEN open = LoadEntry();
  IAddrBook* opened = nullptr;
  IWABObject* opened_memory = nullptr;
  if (open == nullptr || FAILED(open(&opened, &opened_memory, nullptr, 0)) || opened == nullptr ||
      opened_memory == nullptr) {
    return false;
  }
  const UniqueInterface<IWABObject> memory(opened_memory);
  const UniqueInterface<IAddrBook> book(opened);
  ULONG id_size = 0;
  ENTRYID* id = nullptr;
  if (FAILED(book->GetPAB(&id_size, &id))) return false;
  ULONG type = 0;
  IUnknown* entry = nullptr;
  const HRESULT found = book->OpenEntry(id_size, id, nullptr, 0, &type, &entry);
  memory->FreeBuffer(id);
  if (FAILED(found) || entry == nullptr) return false;
  const UniqueInterface<IUnknown> kept(entry);
  if (type != MAPI_ABCONT) return false;
  IMAPITable* contents = nullptr;
  // Without an interface asked for, the entry is of the one that its type has.
  if (FAILED(static_cast<IABContainer*>(entry)->GetContentsTable(0, &contents)) || contents == nullptr) {
    return false;
  }
  const UniqueInterface<IMAPITable> table(contents);
  return TellContacts(*memory, *table);
}

LONG WINAPI EndQuietly(EXCEPTION_POINTERS*) {
  TerminateProcess(GetCurrentProcess(), 1);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

bool IsAddressBookChild(std::wstring_view arguments) {
  return TrimBlanks(Utf8(arguments)) == Utf8(kReadAddressBook);
}

int ReadAddressBook() {
  // The library's crash is told by the end of this process, not by a box.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  SetUnhandledExceptionFilter(EndQuietly);
  const int exit_code = TellAddressBook() ? 0 : 1;
  // The library's own threads end here too, without being asked.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_code));
  return exit_code;
}

}  // namespace quillbeaker
