// SPDX-License-Identifier: MIT
#include "ui/account_window.h"

#include <algorithm>
#include <utility>

#include "config/secret_masking.h"
#include "ui/clipboard.h"
#include "ui/resource.h"
#include "ui/trust_question_box.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr int kMostPassword = 256;  // characters; the field takes fewer

}  // namespace

AccountWindow::AccountWindow(WindowSurroundings& surroundings, int)
    : TableWindow(DIALOG_ACCOUNT),
      surroundings_(surroundings),
      controls_(*this, surroundings.program),
      check_(surroundings.program,
             {.post = surroundings.post,
              .trust = [this](const LoginProblem& problem) { return AskToTrust(window(), problem); },
              .ended = [this](const AccountResult& result) { presenter_.TestEnded(result); }}),
      presenter_(PresenterNeeds(), controls_) {}

AccountSurroundings AccountWindow::PresenterNeeds() {
  return {.program = surroundings_.program,
          .copy = [this](std::string_view text) { return CopyToClipboard(window(), Wide(text)); },
          .take_password = [this] { return TakePassword(); },
          .start_test = [this](Account& account) { return check_.Start(account); },
          .cancel_test = [this] { check_.Cancel(); }};
}

bool AccountWindow::OnInit() {
  presenter_.Load();
  return true;
}

bool AccountWindow::OnCommand(int id, int notification) {
  if (id == IDCANCEL && notification == BN_CLICKED) {
    End(IDCANCEL);
    return true;
  }
  if (id == BUTTON_HELP && notification == BN_CLICKED) return OnHelp();
  switch (notification) {
    case BN_CLICKED:
      presenter_.Pressed(id);
      return true;
    case EN_CHANGE:
    case CBN_EDITCHANGE:
      presenter_.Edited(id);
      return true;
    case CBN_SELCHANGE:
      presenter_.Chosen(id);
      return true;
    default:
      return false;
  }
}

void AccountWindow::OnClosing() {
  // One that was typed but never tested.
  std::string typed = TakePassword();
  WipeSecret(typed);
}

void AccountWindow::OnDestroyed() {
  // The object may live on below a box of its own.
  check_.Cancel();
  TableWindow::OnDestroyed();
}

std::string AccountWindow::TakePassword() {
  const HWND field = Control(ACCOUNT_PASSWORD);
  wchar_t typed[kMostPassword + 1]{};
  const int length = GetWindowTextW(field, typed, kMostPassword + 1);
  char utf8[4 * kMostPassword];
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, typed, length, utf8, sizeof utf8, nullptr, nullptr);
  std::string password(utf8, static_cast<std::size_t>(std::max(bytes, 0)));
  SecureZeroMemory(utf8, sizeof utf8);
  // The field keeps its memory: as many other characters overwrite it there before it is emptied.
  std::fill_n(typed, length, L'*');
  SetWindowTextW(field, typed);
  SetWindowTextW(field, L"");
  SecureZeroMemory(typed, sizeof typed);
  return password;
}

}  // namespace quillbeaker
