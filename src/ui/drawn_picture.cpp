// SPDX-License-Identifier: MIT
#include "ui/drawn_picture.h"

#include <objbase.h>
#include <wincodec.h>

#include <memory>

namespace quillbeaker {
namespace {

constexpr int kBitsOfPixel = 24;

int BytesOfRow(int width) {
  return (width * kBitsOfPixel + 31) / 32 * 4;
}

// Owner of a COM object. Filled by the functions that give one through a pointer to its pointer.
template <typename Interface>
class ComObject {
 public:
  ComObject() = default;
  ~ComObject() {
    if (object_ != nullptr) object_->Release();
  }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;
  Interface** Receive() { return &object_; }
  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }

 private:
  Interface* object_ = nullptr;
};

std::optional<std::string> BytesOf(IStream& stream) {
  HGLOBAL memory = nullptr;
  STATSTG facts{};
  if (FAILED(GetHGlobalFromStream(&stream, &memory)) || FAILED(stream.Stat(&facts, STATFLAG_NONAME))) {
    return std::nullopt;
  }
  const void* const bytes = GlobalLock(memory);
  if (bytes == nullptr) return std::nullopt;
  // The block may be larger than what was written into it.
  std::string copy(static_cast<const char*>(bytes), static_cast<std::size_t>(facts.cbSize.QuadPart));
  GlobalUnlock(memory);
  return copy;
}

bool Encode(IWICImagingFactory& factory, IStream& target, const BITMAPINFOHEADER& header,
            std::span<const BYTE> bytes) {
  const auto width = static_cast<UINT>(header.biWidth);
  const auto height = static_cast<UINT>(header.biHeight);
  const auto row = static_cast<UINT>(BytesOfRow(header.biWidth));
  ComObject<IWICBitmapEncoder> encoder;
  ComObject<IWICBitmapFrameEncode> frame;
  ComObject<IPropertyBag2> options;
  WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
  if (FAILED(factory.CreateEncoder(GUID_ContainerFormatPng, nullptr, encoder.Receive())) ||
      FAILED(encoder->Initialize(&target, WICBitmapEncoderNoCache)) ||
      FAILED(encoder->CreateNewFrame(frame.Receive(), options.Receive())) ||
      FAILED(frame->Initialize(options.get())) || FAILED(frame->SetSize(width, height)) ||
      FAILED(frame->SetPixelFormat(&format)) || format != GUID_WICPixelFormat24bppBGR) {
    return false;
  }
  for (UINT y = height; y-- > 0;) {
    BYTE* const pixels = const_cast<BYTE*>(bytes.data()) + std::size_t{y} * row;  // it is only read
    if (FAILED(frame->WritePixels(1, row, row, pixels))) return false;
  }
  return SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit());
}

}  // namespace

DrawnPicture::DrawnPicture(int width, int height) : context_(CreateCompatibleDC(nullptr)) {
  header_ = {sizeof header_, width, height, 1, kBitsOfPixel, BI_RGB, 0, 0, 0, 0, 0};
  header_.biSizeImage = static_cast<DWORD>(BytesOfRow(width) * height);
  BITMAPINFO info{};
  info.bmiHeader = header_;
  bitmap_.reset(CreateDIBSection(context_.get(), &info, DIB_RGB_COLORS, &bits_, nullptr, 0));
  if (bitmap_ != nullptr) former_ = SelectObject(context_.get(), bitmap_.get());
}

DrawnPicture::~DrawnPicture() {
  if (bitmap_ != nullptr) SelectObject(context_.get(), former_);
}

std::span<const BYTE> DrawnPicture::Bytes() const {
  GdiFlush();
  return {static_cast<const BYTE*>(bits_), header_.biSizeImage};
}

std::string DrawnPicture::ForClipboard() const {
  std::string packed(reinterpret_cast<const char*>(&header_), sizeof header_);
  const std::span<const BYTE> bytes = Bytes();
  packed.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return packed;
}

std::optional<std::string> DrawnPicture::Png() const {
  ComObject<IWICImagingFactory> factory;
  ComObject<IStream> stream;
  if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                              reinterpret_cast<void**>(factory.Receive()))) ||
      FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive())) ||
      !Encode(*factory.get(), *stream.get(), header_, Bytes())) {
    return std::nullopt;
  }
  return BytesOf(*stream.get());
}

}  // namespace quillbeaker
