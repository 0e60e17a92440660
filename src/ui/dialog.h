// SPDX-License-Identifier: MIT
#pragma once

// Base of every dialog and window that is made from a template: one object, one window. Derived classes
// answer the few events below; everything else is the system's. One thread: the one that creates it.

#include <windows.h>

#include <memory>
#include <span>

#include "ui/anchored_layout.h"
#include "ui/handles.h"

namespace quillbeaker {

class Dialog {
 public:
  explicit Dialog(int template_id) : template_id_(template_id) {}
  virtual ~Dialog();
  Dialog(const Dialog&) = delete;
  Dialog& operator=(const Dialog&) = delete;

  // Runs until End; gives what End was given, or -1 when the window could not be made.
  INT_PTR RunModal(HWND owner);
  // Makes the window, hidden unless its template says otherwise. False when that failed.
  bool CreateModeless(HWND owner);
  // The same for a template that is a part of another dialog (DS_CONTROL): that dialog handles Tab, Enter and
  // Esc for its controls, too.
  bool CreateChild(HWND parent);
  void Destroy();

  // Null before the window was made and after it is gone.
  HWND window() const { return window_; }
  HWND Control(int id) const { return GetDlgItem(window_, id); }
  int template_id() const { return template_id_; }

  // For the message loop: hands the message to the modeless dialog it belongs to, for Tab, Enter and Esc.
  // True when it was one. The loops of modal dialogs and message boxes on this thread do so by themselves
  // while a modeless dialog exists.
  static bool TakeMessage(MSG& message);

  // Deletes the object as soon as no call into any dialog of this thread is on the stack: a handler that has
  // opened a box may return to it after its window is gone.
  static void DeleteLater(std::unique_ptr<Dialog> dialog);

 protected:
  // The controls are there and carry their translated texts. True lets the system set the focus.
  virtual bool OnInit() { return true; }
  // After OnInit, the window not shown yet.
  virtual void OnMade() {}
  // How the controls follow when the window is sized; asked once, after OnInit. A window that can be sized is
  // never smaller than it was made.
  virtual std::span<const Anchor> Anchors() const { return {}; }
  // Keys that are commands of this window (FVIRTKEY), whatever control has the focus; asked once, after
  // OnInit. They arrive in OnCommand, and like buttons not while a modal box disables the window. Only
  // modeless dialogs are asked.
  virtual std::span<const ACCEL> Accelerators() const { return {}; }
  // True when the command was handled. Esc arrives as IDCANCEL. What a button or a menu sends while a modal
  // box disables the dialog is dropped, so that no handler runs a second time under its own box.
  virtual bool OnCommand(int id, int notification) = 0;
  // True when `result` is the answer.
  virtual bool OnNotify(const NMHDR& /*notice*/, LRESULT& /*result*/) { return false; }
  // The close box, Alt+F4.
  virtual void OnClose() { OnCommand(IDCANCEL, 0); }
  virtual void OnTimer(UINT_PTR) {}
  // The client area has a new size, and the controls with a row in Anchors have followed.
  virtual void OnSize(int /*width*/, int /*height*/) {}
  // The context menu of a control was asked for, at a place of the screen, or (-1, -1) by the keyboard. True
  // when it was shown.
  virtual bool OnContextMenu(HWND /*control*/, POINT /*place*/) { return false; }
  // F1. False hands the request on to the owner or the parent.
  virtual bool OnHelp() { return false; }
  // The window is on a screen of another resolution now; controls and window have been scaled already.
  virtual void OnDpiChanged(int /*dpi*/) {}
  // The system's colours changed; the controls have been told already.
  virtual void OnSystemColours() {}
  // A message of the keyboard for one of the controls, before Tab, Enter and Esc take effect. True when it
  // was used up. Only modeless dialogs are asked.
  virtual bool OnKey(const MSG& /*message*/) { return false; }
  // Everything else; true when `result` is the answer.
  virtual bool OnMessage(UINT, WPARAM, LPARAM, LRESULT& /*result*/) { return false; }
  // The window is about to be taken down; its controls are still there.
  virtual void OnDestroying() {}
  // The window is gone; a modeless object may be handed to DeleteLater now. Not called when the object went
  // first.
  virtual void OnDestroyed() {}

  // The smallest size that the window can have now, its frame included.
  SIZE LeastSize() const { return layout_.LeastSize(); }

  // Ends RunModal with that result, or destroys the modeless window.
  void End(INT_PTR result);

 private:
  enum class Kind { kModal, kModeless, kChild };

  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  bool Create(HWND owner, Kind kind);
  bool Begin();
  INT_PTR Handle(UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR Answer(UINT message, LRESULT result);
  bool IsUnderModalBox() const;
  void Rescale(int dpi, const RECT& suggested);
  bool TakeKey(MSG& message);
  void Forget();

  const int template_id_;
  HWND window_ = nullptr;
  Kind kind_ = Kind::kModal;
  AnchoredLayout layout_;
  UniqueAccelerators accelerators_;
  int dpi_ = 0;      // that the controls are laid out for
  UniqueFont font_;  // of the controls, when that is not the one they were made with
};

}  // namespace quillbeaker
