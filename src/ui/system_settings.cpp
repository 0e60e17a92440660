// SPDX-License-Identifier: MIT
#include "ui/system_settings.h"

#include <winsock2.h>
#include <windows.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "config/texts.h"
#include "ui/handles.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// Empty when the system does not tell.
std::string ProgramOf(DWORD process_id) {
  const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
  wchar_t path[1024];
  DWORD length = 1024;
  if (process == nullptr || !QueryFullProcessImageNameW(process.get(), 0, path, &length)) return {};
  const std::wstring_view whole(path, length);
  return Utf8(whole.substr(whole.find_last_of(L"\\/") + 1));
}

// The rows come in one block whose size may grow between the question for it and the one for them.
std::vector<MIB_TCPROW_OWNER_PID> Listeners() {
  DWORD size = 0;
  std::vector<std::byte> block;
  constexpr int kTries = 5;
  for (int i = 0; i < kTries; ++i) {
    const DWORD result = GetExtendedTcpTable(block.empty() ? nullptr : block.data(), &size, FALSE, AF_INET,
                                             TCP_TABLE_OWNER_PID_LISTENER, 0);
    if (result == NO_ERROR && !block.empty()) {
      const auto* const table = reinterpret_cast<const MIB_TCPTABLE_OWNER_PID*>(block.data());
      return {table->table, table->table + table->dwNumEntries};
    }
    if (result != ERROR_INSUFFICIENT_BUFFER) return {};
    block.resize(size);
  }
  return {};
}

}  // namespace

std::wstring ExecutablePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (size < path.size()) {
      path.resize(size);
      return path;
    }
    path.resize(2 * path.size());
  }
}

bool StartsWithWindows() {
  DWORD bytes = 0;
  const LSTATUS found = RegGetValueW(HKEY_CURRENT_USER, kRunKey, WideText(Text::kTitle).c_str(),
                                     RRF_RT_ANY | RRF_NOEXPAND, nullptr, nullptr, &bytes);
  return found == ERROR_SUCCESS && bytes > sizeof(wchar_t);
}

bool SetStartsWithWindows(bool starts) {
  const std::wstring name = WideText(Text::kTitle);
  if (!starts) {
    const LSTATUS removed = RegDeleteKeyValueW(HKEY_CURRENT_USER, kRunKey, name.c_str());
    return removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND;
  }
  const std::wstring command = L"\"" + ExecutablePath() + L"\"";
  return RegSetKeyValueW(HKEY_CURRENT_USER, kRunKey, name.c_str(), REG_SZ, command.c_str(),
                         static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

std::vector<PortUse> PortsInUse(int own_port) {
  std::vector<PortUse> uses;
  for (const MIB_TCPROW_OWNER_PID& row : Listeners()) {
    const DWORD address = ntohl(row.dwLocalAddr);
    if (address != INADDR_LOOPBACK && address != INADDR_ANY) continue;
    const int port = ntohs(static_cast<u_short>(row.dwLocalPort));
    const bool is_own = row.dwOwningPid == 0 ? port == own_port : row.dwOwningPid == GetCurrentProcessId();
    uses.push_back(
        {port, row.dwOwningPid == 0 || is_own ? std::string() : ProgramOf(row.dwOwningPid), is_own});
  }
  std::sort(uses.begin(), uses.end(), [](const PortUse& a, const PortUse& b) { return a.port < b.port; });
  return uses;
}

}  // namespace quillbeaker
