// SPDX-License-Identifier: MIT
//
// The real program reads address books that tests/windows/stub_address_book.cpp makes up.
#include "ui/address_book_source.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

using namespace std::chrono_literals;

constexpr wchar_t kKey[] = L"Software\\Microsoft\\WAB\\DLLPath";

// As the system writes it: the build names files in its own way.
std::wstring SystemPath(std::string path) {
  if (path.starts_with('/')) path.insert(0, "Z:");
  std::replace(path.begin(), path.end(), '/', '\\');
  return Wide(path);
}

std::wstring Stub(const std::string& name) {
  return SystemPath(QUILLBEAKER_STUB_DIRECTORY "/" + name);
}

class AddressBookSourceTest : public testing::Test {
 protected:
  ~AddressBookSourceTest() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\WAB"); }

  static void Register(const std::wstring& path, DWORD type = REG_SZ) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, nullptr, type, path.c_str(),
                              static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }
  std::vector<FoundSender> Contacts(std::chrono::milliseconds silence = kAddressBookSilence) {
    AddressBookSource source(
        SystemPath(QUILLBEAKER_PROGRAM), [this] { return ++waits != stop_waiting_at; }, silence);
    std::vector<FoundSender> contacts;
    while (auto contact = source.Next()) contacts.push_back(*contact);
    EXPECT_FALSE(source.Next());
    return contacts;
  }
  int waits = 0;
  int stop_waiting_at = -1;
};

TEST_F(AddressBookSourceTest, ReadsEveryContact) {
  Register(Stub("stub_address_book.dll"));
  const std::vector<FoundSender> contacts = Contacts();
  ASSERT_EQ(contacts.size(), 120U);
  EXPECT_EQ(contacts[0].name, "Contact 1");
  EXPECT_EQ(contacts[0].address, "contact1@example.org");
  EXPECT_EQ(contacts[1].name, "Ren\xE9 2");
  EXPECT_EQ(contacts[2].address, "");  // it has none
  EXPECT_EQ(contacts[119].address, "contact120@example.org");
}

TEST_F(AddressBookSourceTest, FillsInTheVariablesOfARegisteredPath) {
  const std::wstring path = Stub("stub_address_book.dll");
  ASSERT_TRUE(SetEnvironmentVariableW(L"STUB_PLACE", path.substr(0, path.rfind(L'\\')).c_str()));
  Register(L"%STUB_PLACE%\\stub_address_book.dll", REG_EXPAND_SZ);
  EXPECT_EQ(Contacts().size(), 120U);
}

TEST_F(AddressBookSourceTest, FindsNothingWithoutALibrary) {
  EXPECT_TRUE(Contacts().empty());  // none registered, and Wine has none of its own
  Register(L"");
  EXPECT_TRUE(Contacts().empty());
  Register(Stub("missing.dll"));
  EXPECT_TRUE(Contacts().empty());
}

TEST_F(AddressBookSourceTest, FindsNothingInAValueOfAnotherType) {
  const DWORD number = 1;
  ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, nullptr, REG_DWORD, &number, sizeof number),
            ERROR_SUCCESS);
  EXPECT_TRUE(Contacts().empty());
  Register(Stub("stub_address_book.dll"), REG_BINARY);
  EXPECT_TRUE(Contacts().empty());
}

TEST_F(AddressBookSourceTest, LoadsNothingByARelativePath) {
  const std::wstring path = Stub("stub_address_book.dll");
  const std::wstring directory = path.substr(0, path.rfind(L'\\'));
  wchar_t former[MAX_PATH];
  GetCurrentDirectoryW(MAX_PATH, former);
  ASSERT_TRUE(SetCurrentDirectoryW(directory.c_str()));
  Register(L"stub_address_book.dll");
  EXPECT_TRUE(Contacts().empty());
  Register(L".\\stub_address_book.dll");
  EXPECT_TRUE(Contacts().empty());
  SetCurrentDirectoryW(former);
}

TEST_F(AddressBookSourceTest, FindsNothingWithoutTheEntry) {
  Register(Stub("stub_address_book_without_entry.dll"));
  EXPECT_TRUE(Contacts().empty());
}

TEST_F(AddressBookSourceTest, FindsNothingInAFileThatIsNoLibrary) {
  test::TestProgram program;
  ASSERT_TRUE(program.directory.Put("wab32.dll", "This is a text."));
  Register(Wide(program.directory.PathOf("wab32.dll")));
  EXPECT_TRUE(Contacts().empty());
}

TEST_F(AddressBookSourceTest, KeepsWhatCameBeforeACrash) {
  Register(Stub("stub_address_book_crashing.dll"));
  const ULONGLONG began = GetTickCount64();
  EXPECT_EQ(Contacts().size(), 50U);
  EXPECT_LT(GetTickCount64() - began, 15'000U);  // by the end of the process, not by its silence
}

TEST_F(AddressBookSourceTest, KeepsWhatCameBeforeSilence) {
  Register(Stub("stub_address_book_hanging.dll"));
  const ULONGLONG began = GetTickCount64();
  EXPECT_EQ(Contacts(3000ms).size(), 50U);
  EXPECT_GE(GetTickCount64() - began, 3000U);
  EXPECT_GT(waits, 10);
}

TEST_F(AddressBookSourceTest, EndsWhenNobodyWantsToWait) {
  Register(Stub("stub_address_book_hanging.dll"));
  stop_waiting_at = 1;
  EXPECT_LE(Contacts().size(), 50U);
  EXPECT_EQ(waits, 1);
}

TEST_F(AddressBookSourceTest, FindsNothingWhenTheProgramDoesNotStart) {
  AddressBookSource source(Stub("missing.exe"), [] { return true; });
  EXPECT_FALSE(source.Next());
}

}  // namespace
}  // namespace quillbeaker
