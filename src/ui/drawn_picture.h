// SPDX-License-Identifier: MIT
#pragma once

// A picture in memory to draw on with GDI, of 24 bits for each pixel; and as what other programs read it: the
// clipboard's form and a PNG file.

#include <windows.h>

#include <optional>
#include <span>
#include <string>

#include "ui/handles.h"

namespace quillbeaker {

class DrawnPicture {
 public:
  DrawnPicture(int width, int height);
  ~DrawnPicture();
  DrawnPicture(const DrawnPicture&) = delete;
  DrawnPicture& operator=(const DrawnPicture&) = delete;

  // Null when there was no memory for it; nothing else may be called then.
  HDC context() const { return bitmap_ == nullptr ? nullptr : context_.get(); }

  // A packed bitmap, as CF_DIB is.
  std::string ForClipboard() const;
  // By the system's own codec (WIC), on a thread that has called OleInitialize; nothing when it refused.
  std::optional<std::string> Png() const;

 private:
  // Rows from the bottom, each filled up to a multiple of four bytes.
  std::span<const BYTE> Bytes() const;

  BITMAPINFOHEADER header_{};
  UniqueDeviceContext context_;
  UniqueBitmap bitmap_;
  HGDIOBJ former_ = nullptr;
  void* bits_ = nullptr;
};

}  // namespace quillbeaker
