// SPDX-License-Identifier: MIT
#include "app/tray_image.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

// A picture of 32-bit pixels with transparency, drawn upon in memory.
class Canvas {
 public:
  Canvas(int width, int height) : width_(width), height_(height), context_(CreateCompatibleDC(nullptr)) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    bitmap_.reset(CreateDIBSection(context_.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    pixels_ = static_cast<std::uint32_t*>(bits);
  }
  bool is_made() const { return context_ != nullptr && bitmap_ != nullptr; }
  HDC context() const { return context_.get(); }
  HBITMAP bitmap() const { return bitmap_.get(); }
  std::uint32_t& At(int x, int y) { return pixels_[y * width_ + x]; }
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  int width_;
  int height_;
  UniqueDeviceContext context_;
  UniqueBitmap bitmap_;
  std::uint32_t* pixels_ = nullptr;
};

UniqueFont NumberFont(int height) {
  return UniqueFont(CreateFontW(-height, 0, 0, 0, FW_BOLD, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                                OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, DEFAULT_PITCH,
                                L"Arial"));
}

struct BadgeColours {
  std::uint32_t ground;
  std::uint32_t ink;
};
constexpr BadgeColours kNumberColours{0xC62828, 0xFFFFFF};
constexpr BadgeColours kAlarmColours{0xFFC107, 0x161616};

// Ground and ink, mixed by how much of the pixel a digit covers (0 to 255).
std::uint32_t BadgePixel(std::uint32_t coverage, const BadgeColours& colours = kNumberColours) {
  std::uint32_t pixel = 0xFF000000;
  for (const int shift : {16, 8, 0}) {
    const std::uint32_t ground = (colours.ground >> shift) & 0xFF;
    const std::uint32_t ink = (colours.ink >> shift) & 0xFF;
    pixel |= ((ground * (255 - coverage) + ink * coverage) / 255) << shift;
  }
  return pixel;
}

// At the bottom right: it must be read on a light and on a dark taskbar.
void DrawBadge(Canvas& icon, const std::wstring& number, const BadgeColours& colours) {
  // GDI knows no transparency: the number is drawn white on black, and its brightness is the coverage.
  Canvas text(icon.width(), icon.height());
  if (!text.is_made()) {
    return;
  }
  const Selected bitmap(text.context(), text.bitmap());
  const UniqueFont font = NumberFont(std::max(8, icon.height() * (number.size() > 2 ? 8 : 10) / 16));
  const Selected selected_font(text.context(), font.get());
  SetTextColor(text.context(), RGB(255, 255, 255));
  SetBkMode(text.context(), TRANSPARENT);
  SIZE size{};
  GetTextExtentPoint32W(text.context(), number.c_str(), static_cast<int>(number.size()), &size);
  TEXTMETRICW metrics{};
  GetTextMetricsW(text.context(), &metrics);
  const int digits_height = static_cast<int>(metrics.tmAscent - metrics.tmInternalLeading);
  const int badge_height = std::min(icon.height(), digits_height + 2);
  const int badge_width = std::min(icon.width(), std::max(static_cast<int>(size.cx) + 2, badge_height));
  const int left = icon.width() - badge_width;
  const int top = icon.height() - badge_height;
  TextOutW(text.context(), left + (badge_width - static_cast<int>(size.cx)) / 2,
           top + 1 - static_cast<int>(metrics.tmInternalLeading), number.c_str(),
           static_cast<int>(number.size()));
  GdiFlush();
  for (int y = top; y < icon.height(); ++y) {
    for (int x = left; x < icon.width(); ++x) {
      const bool corner = (x == left || x == icon.width() - 1) && (y == top || y == icon.height() - 1);
      if (!corner) {
        icon.At(x, y) = BadgePixel(text.At(x, y) & 0xFF, colours);
      }
    }
  }
}

// Grey in the brightness of each colour, and a red line from corner to corner with a white edge: it must be
// seen on a light and on a dark taskbar, by people who see no colours too.
void CrossOut(Canvas& icon) {
  for (int y = 0; y < icon.height(); ++y) {
    for (int x = 0; x < icon.width(); ++x) {
      std::uint32_t& pixel = icon.At(x, y);
      const std::uint32_t grey =
          (((pixel >> 16) & 0xFF) * 299 + ((pixel >> 8) & 0xFF) * 587 + (pixel & 0xFF) * 114) / 1000;
      pixel = (pixel & 0xFF000000) | grey << 16 | grey << 8 | grey;
      const int from_line = std::abs(x * icon.height() - y * icon.width()) / icon.width();
      const int unit = std::max(1, icon.height() / 16);
      if (from_line < 2 * unit) {
        pixel = BadgePixel(0);
      } else if (from_line < 3 * unit) {
        pixel = BadgePixel(255);
      }
    }
  }
}

// Drawing leaves each colour multiplied by its opacity; in an icon the colours are whole, and they would be
// multiplied a second time when it is shown.
void RestoreColours(Canvas& icon) {
  for (int y = 0; y < icon.height(); ++y) {
    for (int x = 0; x < icon.width(); ++x) {
      std::uint32_t& pixel = icon.At(x, y);
      const std::uint32_t opacity = pixel >> 24;
      std::uint32_t restored = pixel & 0xFF000000;
      for (const int shift : {16, 8, 0}) {
        const std::uint32_t colour = (pixel >> shift) & 0xFF;
        restored |= (opacity == 0 ? 0 : std::min<std::uint32_t>(255, (colour * 255 + opacity / 2) / opacity))
                    << shift;
      }
      pixel = restored;
    }
  }
}

// All transparency is in the pixels, but the system asks for a mask all the same: one of zeros.
UniqueBitmap EmptyMask(int width, int height) {
  const std::size_t line = static_cast<std::size_t>((width + 15) / 16) * 2;  // bytes, lines end on 16 bits
  const std::vector<unsigned char> zeros(line * static_cast<std::size_t>(height));
  return UniqueBitmap(CreateBitmap(width, height, 1, 1, zeros.data()));
}

}  // namespace

int TrayIconSize() {
  // The icon stands in the taskbar, whose screen need not have the resolution that the program was started
  // with.
  const HWND taskbar = FindWindowW(L"Shell_TrayWnd", nullptr);
  const UINT of_taskbar = taskbar == nullptr ? 0 : GetDpiForWindow(taskbar);
  return GetSystemMetricsForDpi(SM_CXSMICON, of_taskbar != 0 ? of_taskbar : GetDpiForSystem());
}

UniqueIcon LoadTrayIcon(int icon_id) {
  const int size = TrayIconSize();
  return UniqueIcon(static_cast<HICON>(
      LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(icon_id), IMAGE_ICON, size, size, 0)));
}

UniqueIcon MakeTrayImage(unsigned deleted_count, TrayMark mark) {
  UniqueIcon plain = LoadTrayIcon(ICON_PROGRAM);
  if ((deleted_count == 0 && mark == TrayMark::kNone) || plain == nullptr) {
    return plain;
  }
  const int size = TrayIconSize();
  Canvas canvas(size, size);
  if (!canvas.is_made()) {
    return plain;
  }
  {
    const Selected bitmap(canvas.context(), canvas.bitmap());
    DrawIconEx(canvas.context(), 0, 0, plain.get(), canvas.width(), canvas.height(), 0, nullptr, DI_NORMAL);
    GdiFlush();
  }
  RestoreColours(canvas);
  if (mark == TrayMark::kFilterOff) {
    CrossOut(canvas);
  }
  if (mark == TrayMark::kNotServing) {
    DrawBadge(canvas, L"!", kAlarmColours);
  } else if (deleted_count > 0) {
    DrawBadge(canvas, deleted_count > 99 ? L"99+" : std::to_wstring(deleted_count), kNumberColours);
  }
  const UniqueBitmap mask = EmptyMask(canvas.width(), canvas.height());
  ICONINFO info{TRUE, 0, 0, mask.get(), canvas.bitmap()};
  UniqueIcon image(CreateIconIndirect(&info));
  return image != nullptr ? std::move(image) : std::move(plain);
}

}  // namespace quillbeaker
