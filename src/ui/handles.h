// SPDX-License-Identifier: MIT
#pragma once

// Owners of the system's handles: what is made is destroyed, on every way out.

#include <windows.h>

#include <memory>
#include <type_traits>

namespace quillbeaker {

template <typename Handle, auto Destroy>
struct HandleDeleter {
  using pointer = Handle;
  void operator()(Handle handle) const { Destroy(handle); }
};
template <typename Handle, auto Destroy>
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<Handle>, HandleDeleter<Handle, Destroy>>;

using UniqueIcon = UniqueHandle<HICON, DestroyIcon>;
using UniqueMenu = UniqueHandle<HMENU, DestroyMenu>;
using UniqueBitmap = UniqueHandle<HBITMAP, DeleteObject>;
using UniqueAccelerators = UniqueHandle<HACCEL, DestroyAcceleratorTable>;
using UniqueFont = UniqueHandle<HFONT, DeleteObject>;
using UniqueBrush = UniqueHandle<HBRUSH, DeleteObject>;
using UniqueDeviceContext = UniqueHandle<HDC, DeleteDC>;
// A thread, process, event or mutex; null when the system gave none.
using UniqueKernelHandle = UniqueHandle<HANDLE, CloseHandle>;

// A device context of a window (of the screen for null), given back at the end.
class WindowContext {
 public:
  explicit WindowContext(HWND window) : window_(window), context_(GetDC(window)) {}
  ~WindowContext() { ReleaseDC(window_, context_); }
  WindowContext(const WindowContext&) = delete;
  WindowContext& operator=(const WindowContext&) = delete;
  HDC get() const { return context_; }

 private:
  HWND window_;
  HDC context_;
};

// Selects a GDI object into a device context for a while.
class Selected {
 public:
  Selected(HDC context, HGDIOBJ object) : context_(context), former_(SelectObject(context, object)) {}
  ~Selected() { SelectObject(context_, former_); }
  Selected(const Selected&) = delete;
  Selected& operator=(const Selected&) = delete;

 private:
  HDC context_;
  HGDIOBJ former_;
};

}  // namespace quillbeaker
