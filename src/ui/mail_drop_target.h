// SPDX-License-Identifier: MIT
#pragma once

// A window as the target of mail that is dragged there out of a mail program, or as files from a folder. The
// formats: "FileGroupDescriptorW" or "FileGroupDescriptor" with "FileContents" as memory or as a stream, and
// CF_HDROP with "*.eml", and with "*.mbox" where the window takes those.

#include <windows.h>

#include <ole2.h>

#include <functional>
#include <memory>
#include <utility>

#include "ui/dropped_mail.h"

namespace quillbeaker {

// An object of COM: a program that drags may keep it for longer than its window lives.
class MailDropTarget : public IDropTarget {
 public:
  // Handed what was dropped while the source waits: it must not open anything. False refuses the drop.
  using Take = std::function<bool(DroppedMail dropped)>;

  explicit MailDropTarget(Take take, DropKinds kinds = DropKinds::kMails)
      : take_(std::move(take)), kinds_(kinds) {}
  MailDropTarget(const MailDropTarget&) = delete;
  MailDropTarget& operator=(const MailDropTarget&) = delete;

  // For a window of this thread, which has called OleInitialize. False when the system refuses.
  bool Register(HWND window);
  // Nothing is taken any more. While the window is still there.
  void Revoke();

  STDMETHODIMP QueryInterface(REFIID id, void** result) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP DragEnter(IDataObject* data, DWORD keys, POINTL place, DWORD* effect) override;
  STDMETHODIMP DragOver(DWORD keys, POINTL place, DWORD* effect) override;
  STDMETHODIMP DragLeave() override { return S_OK; }
  STDMETHODIMP Drop(IDataObject* data, DWORD keys, POINTL place, DWORD* effect) override;

 private:
  virtual ~MailDropTarget() = default;
  DWORD Effect(DWORD allowed) const;

  const Take take_;
  const DropKinds kinds_;
  ULONG references_ = 1;  // all calls come on the window's thread
  HWND window_ = nullptr;
  bool is_mail_ = false;  // what is being dragged over the window now
};

struct DropTargetRevoker {
  void operator()(MailDropTarget* target) const {
    target->Revoke();
    target->Release();
  }
};
using UniqueMailDropTarget = std::unique_ptr<MailDropTarget, DropTargetRevoker>;

}  // namespace quillbeaker
