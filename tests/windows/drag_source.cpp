// SPDX-License-Identifier: MIT
//
// drag_source.exe FORMAT FILE...: a mail program from which mail can be dragged. Its window hands over the
// contents of the files while the left mouse button is dragged out of it; then its title tells the effect.
// The formats: wide-stream, wide-memory, bytes-stream, bytes-memory, wide-storage (which nobody should take),
// files (CF_HDROP), text; and lies: count-lie announces more files than it describes, size-lie more bytes
// than a file has.
#include <windows.h>

#include <ole2.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string format;
std::vector<std::wstring> paths;

std::string ContentOf(const std::wstring& path) {
  std::ifstream file(path.c_str(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

HGLOBAL Memory(const void* bytes, std::size_t size) {
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, size);
  std::memcpy(GlobalLock(memory), bytes, size);
  GlobalUnlock(memory);
  return memory;
}

bool StartsWith(const char* beginning) {
  return format.rfind(beginning, 0) == 0;
}
bool IsLie() {
  return format == "count-lie" || format == "size-lie";
}
bool IsWide() {
  return StartsWith("wide") || IsLie();
}
DWORD ContentMedium() {
  if (format == "wide-storage") return TYMED_ISTORAGE;
  return format == "wide-stream" || format == "bytes-stream" ? TYMED_ISTREAM : TYMED_HGLOBAL;
}

template <typename Group, typename Descriptor>
HGLOBAL Descriptors() {
  const std::size_t count = paths.size();
  std::vector<char> bytes(sizeof(UINT) + count * sizeof(Descriptor));
  auto* const group = reinterpret_cast<Group*>(bytes.data());
  group->cItems = static_cast<UINT>(format == "count-lie" ? count + 50 : count);
  for (std::size_t i = 0; i < count; ++i) {
    Descriptor& one = group->fgd[i];
    const std::size_t size = ContentOf(paths[i]).size();
    one.dwFlags = FD_FILESIZE;
    one.nFileSizeLow = static_cast<DWORD>(format == "size-lie" ? size + 100'000 : size);
    for (int c = 0; c < 8; ++c) one.cFileName[c] = static_cast<decltype(one.cFileName[0] + 0)>("mail.eml"[c]);
  }
  return Memory(bytes.data(), bytes.size());
}

HGLOBAL PathList() {
  std::wstring list;
  for (const std::wstring& path : paths) list += path + L'\0';
  list += L'\0';
  std::vector<char> bytes(sizeof(DROPFILES) + list.size() * sizeof(wchar_t));
  auto* const drop = reinterpret_cast<DROPFILES*>(bytes.data());
  drop->pFiles = sizeof(DROPFILES);
  drop->fWide = TRUE;
  std::memcpy(bytes.data() + sizeof(DROPFILES), list.data(), list.size() * sizeof(wchar_t));
  return Memory(bytes.data(), bytes.size());
}

class Data : public IDataObject {
 public:
  Data() {
    const auto add = [this](const wchar_t* name, DWORD media) {
      formats_.push_back(
          {static_cast<CLIPFORMAT>(RegisterClipboardFormatW(name)), nullptr, DVASPECT_CONTENT, -1, media});
    };
    if (format == "text") {
      formats_.push_back({CF_UNICODETEXT, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL});
    } else if (format == "files") {
      formats_.push_back({CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL});
    } else {
      add(IsWide() ? L"FileGroupDescriptorW" : L"FileGroupDescriptor", TYMED_HGLOBAL);
      add(L"FileContents", ContentMedium());
    }
  }
  virtual ~Data() = default;

  STDMETHODIMP QueryInterface(REFIID id, void** result) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDataObject);
    *result = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

  STDMETHODIMP QueryGetData(FORMATETC* wanted) override {
    return std::any_of(formats_.begin(), formats_.end(),
                       [wanted](const FORMATETC& one) {
                         return one.cfFormat == wanted->cfFormat && (one.tymed & wanted->tymed) != 0;
                       })
               ? S_OK
               : DV_E_FORMATETC;
  }
  STDMETHODIMP GetData(FORMATETC* wanted, STGMEDIUM* medium) override {
    *medium = {};
    if (QueryGetData(wanted) != S_OK) return DV_E_FORMATETC;
    medium->tymed = TYMED_HGLOBAL;
    if (format == "text") {
      medium->hGlobal = Memory(L"From: text", sizeof L"From: text");
    } else if (format == "files") {
      medium->hGlobal = PathList();
    } else if (wanted->cfFormat != formats_[1].cfFormat) {
      medium->hGlobal = IsWide() ? Descriptors<FILEGROUPDESCRIPTORW, FILEDESCRIPTORW>()
                                 : Descriptors<FILEGROUPDESCRIPTORA, FILEDESCRIPTORA>();
    } else {
      return GetContents(wanted->lindex, medium);
    }
    return S_OK;
  }
  STDMETHODIMP EnumFormatEtc(DWORD, IEnumFORMATETC** result) override {
    return SHCreateStdEnumFmtEtc(static_cast<UINT>(formats_.size()), formats_.data(), result);
  }

  STDMETHODIMP GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  STDMETHODIMP GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
  STDMETHODIMP SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP DUnadvise(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

 private:
  static HRESULT GetContents(LONG index, STGMEDIUM* medium) {
    if (index < 0 || static_cast<std::size_t>(index) >= paths.size()) return DV_E_LINDEX;
    const std::string content = ContentOf(paths[static_cast<std::size_t>(index)]);
    medium->tymed = ContentMedium();
    if (medium->tymed == TYMED_HGLOBAL) {
      medium->hGlobal = Memory(content.data(), content.size());
      return S_OK;
    }
    if (medium->tymed == TYMED_ISTORAGE) {
      return StgCreateDocfile(nullptr, STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_DELETEONRELEASE, 0,
                              &medium->pstg);
    }
    // At its end, as a stream is that was just written.
    const HRESULT made = CreateStreamOnHGlobal(nullptr, TRUE, &medium->pstm);
    ULONG written = 0;
    return FAILED(made) ? made
                        : medium->pstm->Write(content.data(), static_cast<ULONG>(content.size()), &written);
  }
  std::vector<FORMATETC> formats_;
};

class Source : public IDropSource {
 public:
  virtual ~Source() = default;
  STDMETHODIMP QueryInterface(REFIID id, void** result) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDropSource);
    *result = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP QueryContinueDrag(BOOL escape, DWORD keys) override {
    if (escape) return DRAGDROP_S_CANCEL;
    return (keys & MK_LBUTTON) == 0 ? DRAGDROP_S_DROP : S_OK;
  }
  STDMETHODIMP GiveFeedback(DWORD effect) override {
    feedback = effect;
    return DRAGDROP_S_USEDEFAULTCURSORS;
  }
  DWORD feedback = 0xFF;
};

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_LBUTTONDOWN: {
      Data data;
      Source source;
      DWORD effect = 0;
      const HRESULT result = DoDragDrop(&data, &source, DROPEFFECT_COPY | DROPEFFECT_MOVE, &effect);
      const std::wstring title = std::wstring(result == DRAGDROP_S_DROP ? L"dropped " : L"cancelled ") +
                                 std::to_wstring(effect) + L" over " + std::to_wstring(source.feedback);
      SetWindowTextW(window, title.c_str());
      return 0;
    }
    case WM_ENDSESSION:
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, wparam, lparam);
  }
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  for (const wchar_t* c = count > 1 ? arguments[1] : L""; *c != 0; ++c)
    format.push_back(static_cast<char>(*c));
  for (int i = 2; i < count; ++i) paths.emplace_back(arguments[i]);
  OleInitialize(nullptr);
  WNDCLASSW kind{};
  kind.lpfnWndProc = Procedure;
  kind.hInstance = GetModuleHandleW(nullptr);
  kind.lpszClassName = L"DragSource";
  kind.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
  RegisterClassW(&kind);
  CreateWindowExW(WS_EX_TOPMOST, kind.lpszClassName, L"ready", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 20, 40, 220,
                  140, nullptr, nullptr, kind.hInstance, nullptr);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  OleUninitialize();
  return 0;
}
