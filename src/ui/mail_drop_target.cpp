// SPDX-License-Identifier: MIT
#include "ui/mail_drop_target.h"

#include <utility>

namespace quillbeaker {

bool MailDropTarget::Register(HWND window) {
  if (FAILED(RegisterDragDrop(window, this))) return false;
  window_ = window;
  return true;
}

void MailDropTarget::Revoke() {
  if (window_ != nullptr) RevokeDragDrop(window_);
  window_ = nullptr;
}

STDMETHODIMP MailDropTarget::QueryInterface(REFIID id, void** result) {
  const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDropTarget);
  *result = known ? static_cast<IDropTarget*>(this) : nullptr;
  if (known) AddRef();
  return known ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) MailDropTarget::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

// A box that stands over the dialog has its turn first.
DWORD MailDropTarget::Effect(DWORD allowed) const {
  const bool is_ready = is_mail_ && IsWindowEnabled(GetAncestor(window_, GA_ROOT)) != FALSE;
  return is_ready ? allowed & DROPEFFECT_COPY : static_cast<DWORD>(DROPEFFECT_NONE);
}

STDMETHODIMP MailDropTarget::DragEnter(IDataObject* data, DWORD, POINTL, DWORD* effect) {
  is_mail_ = OffersMail(*data, kinds_);
  *effect = Effect(*effect);
  return S_OK;
}

STDMETHODIMP MailDropTarget::DragOver(DWORD, POINTL, DWORD* effect) {
  *effect = Effect(*effect);
  return S_OK;
}

STDMETHODIMP MailDropTarget::Drop(IDataObject* data, DWORD, POINTL, DWORD* effect) {
  *effect = Effect(*effect);
  if (*effect == DROPEFFECT_NONE) return S_OK;
  // Asking the other process lets messages in: the window may go meanwhile.
  DroppedMail dropped = MailsOf(*data, kinds_);
  if (window_ == nullptr || !take_(std::move(dropped))) *effect = DROPEFFECT_NONE;
  return S_OK;
}

}  // namespace quillbeaker
