// SPDX-License-Identifier: MIT
#pragma once

// Base of every dialog and window that is made from a template: one object, one window. Derived classes
// answer the few events below; everything else is the system's. One thread: the one that creates it.

#include <windows.h>

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
  void Destroy();

  // Null before the window was made and after it is gone.
  HWND window() const { return window_; }
  HWND Control(int id) const { return GetDlgItem(window_, id); }

  // For the message loop: hands the message to the modeless dialog it belongs to, for Tab, Enter and Esc.
  // True when it was one.
  static bool TakeMessage(MSG& message);

 protected:
  // The controls are there and carry their translated texts. True lets the system set the focus.
  virtual bool OnInit() { return true; }
  // True when the command was handled. Esc arrives as IDCANCEL.
  virtual bool OnCommand(int id, int notification) = 0;
  // The close box, Alt+F4.
  virtual void OnClose() { OnCommand(IDCANCEL, 0); }
  virtual void OnTimer(UINT_PTR) {}
  // Everything else; true when `result` is the answer.
  virtual bool OnMessage(UINT, WPARAM, LPARAM, LRESULT& /*result*/) { return false; }
  // The window is gone; a modeless object may be deleted by its owner now. Not called when the object went
  // first.
  virtual void OnDestroyed() {}

  // Ends RunModal with that result, or destroys the modeless window.
  void End(INT_PTR result);

 private:
  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR Handle(UINT message, WPARAM wparam, LPARAM lparam);
  void Forget();

  const int template_id_;
  HWND window_ = nullptr;
  bool modal_ = false;
};

}  // namespace quillbeaker
