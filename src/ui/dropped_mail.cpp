// SPDX-License-Identifier: MIT
#include "ui/dropped_mail.h"

#include <algorithm>
#include <optional>

#include "extras/dropped_files.h"
#include "platform/input_file.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

// What IDataObject hands out, given back at the end.
class Medium {
 public:
  Medium(IDataObject& data, FORMATETC format) {
    if (FAILED(data.GetData(&format, &medium_))) medium_ = {};
  }
  ~Medium() { ReleaseStgMedium(&medium_); }
  Medium(const Medium&) = delete;
  Medium& operator=(const Medium&) = delete;

  HGLOBAL memory() const { return medium_.tymed == TYMED_HGLOBAL ? medium_.hGlobal : nullptr; }
  IStream* stream() const { return medium_.tymed == TYMED_ISTREAM ? medium_.pstm : nullptr; }

 private:
  STGMEDIUM medium_{};
};

// The bytes of a block of memory while it is locked.
class LockedBytes {
 public:
  explicit LockedBytes(HGLOBAL memory)
      : memory_(memory), bytes_(memory == nullptr ? nullptr : GlobalLock(memory)) {}
  ~LockedBytes() {
    if (bytes_ != nullptr) GlobalUnlock(memory_);
  }
  LockedBytes(const LockedBytes&) = delete;
  LockedBytes& operator=(const LockedBytes&) = delete;
  std::string_view get() const {
    if (bytes_ == nullptr) return {};
    return {static_cast<const char*>(bytes_), GlobalSize(memory_)};
  }

 private:
  HGLOBAL memory_;
  void* bytes_;
};

FORMATETC FormatOf(UINT format, DWORD media, LONG index = -1) {
  return {static_cast<CLIPFORMAT>(format), nullptr, DVASPECT_CONTENT, index, media};
}

UINT ContentsFormat() {
  static const UINT format = RegisterClipboardFormatW(L"FileContents");
  return format;
}

struct Form {
  UINT format;
  DescriptorForm form;
};

// The wide one first: it has names that the other one cannot have.
const std::vector<Form>& DescriptorForms() {
  static const std::vector<Form> forms{
      {RegisterClipboardFormatW(L"FileGroupDescriptorW"), DescriptorForm::kWide},
      {RegisterClipboardFormatW(L"FileGroupDescriptor"), DescriptorForm::kBytes}};
  return forms;
}

bool Has(IDataObject& data, FORMATETC format) {
  return data.QueryGetData(&format) == S_OK;
}

// At most kMostDroppedBytes. The stream may have been read before; one that cannot go back is at its
// beginning.
std::string ReadStream(IStream& stream) {
  static_cast<void>(stream.Seek({}, STREAM_SEEK_SET, nullptr));
  std::string bytes;
  char buffer[16 * 1024];
  while (bytes.size() < kMostDroppedBytes) {
    ULONG count = 0;
    const auto wanted = static_cast<ULONG>(std::min(sizeof buffer, kMostDroppedBytes - bytes.size()));
    if (FAILED(stream.Read(buffer, wanted, &count)) || count == 0 || count > wanted) break;
    bytes.append(buffer, count);
  }
  return bytes;
}

std::optional<std::string> ReadContents(IDataObject& data, const DroppedFile& file, LONG index) {
  const Medium medium(data, FormatOf(ContentsFormat(), TYMED_ISTREAM | TYMED_HGLOBAL, index));
  if (IStream* const stream = medium.stream()) return ReadStream(*stream);
  if (medium.memory() == nullptr) return std::nullopt;
  const LockedBytes bytes(medium.memory());
  const auto size = SizeOfContent(file, bytes.get().size());
  return size ? std::optional(std::string(bytes.get().substr(0, *size))) : std::nullopt;
}

std::vector<DroppedFile> DescribedFiles(IDataObject& data) {
  for (const auto& [format, form] : DescriptorForms()) {
    const Medium medium(data, FormatOf(format, TYMED_HGLOBAL));
    const LockedBytes bytes(medium.memory());
    if (auto files = ReadFileGroupDescriptor(bytes.get(), form)) return *files;
  }
  return {};
}

// A path of a program that knows the system's code page only.
std::string Utf8OfCodePage(const std::string& bytes) {
  std::wstring wide(bytes.size(), L'\0');
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), wide.data(), static_cast<int>(wide.size()))));
  return Utf8(wide);
}

// Not by DragQueryFile, which trusts the bytes of the other process.
std::vector<std::string> DroppedPathsWith(IDataObject& data, bool (*is_wanted)(std::string_view path)) {
  const Medium medium(data, FormatOf(CF_HDROP, TYMED_HGLOBAL));
  const LockedBytes bytes(medium.memory());
  DroppedPaths dropped = ReadDroppedPaths(bytes.get());
  std::vector<std::string> paths;
  for (const std::string& path : dropped.paths) {
    if (!is_wanted(path)) continue;
    paths.push_back(dropped.form == DescriptorForm::kWide ? path : Utf8OfCodePage(path));
  }
  return paths;
}

std::optional<std::string> ReadFile(const std::string& path) {
  const std::optional<InputFile> file = InputFile::Open(path);
  if (!file) return std::nullopt;
  std::string bytes(kMostDroppedBytes, '\0');
  bytes.resize(file->ReadAt(0, bytes.data(), bytes.size()).value_or(0));
  return bytes;
}

}  // namespace

bool OffersMail(IDataObject& data, DropKinds kinds) {
  const auto& forms = DescriptorForms();
  const bool has_descriptor = std::any_of(forms.begin(), forms.end(), [&data](const Form& form) {
    return Has(data, FormatOf(form.format, TYMED_HGLOBAL));
  });
  const bool has_contents = Has(data, FormatOf(ContentsFormat(), TYMED_ISTREAM, 0)) ||
                            Has(data, FormatOf(ContentsFormat(), TYMED_HGLOBAL, 0)) ||
                            Has(data, FormatOf(ContentsFormat(), TYMED_ISTREAM)) ||
                            Has(data, FormatOf(ContentsFormat(), TYMED_HGLOBAL));
  if ((has_descriptor && has_contents) || !DroppedPathsWith(data, IsMailFile).empty()) return true;
  return kinds == DropKinds::kMailboxesToo && !DroppedPathsWith(data, IsMailboxFile).empty();
}

DroppedMail MailsOf(IDataObject& data, DropKinds kinds) {
  DroppedMail dropped;
  const std::vector<DroppedFile> files = DescribedFiles(data);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (auto mail = ReadContents(data, files[i], static_cast<LONG>(i))) {
      dropped.mails.push_back(std::move(*mail));
    }
  }
  if (!dropped.mails.empty()) return dropped;
  for (const std::string& path : DroppedPathsWith(data, IsMailFile)) {
    if (auto mail = ReadFile(path)) dropped.mails.push_back(std::move(*mail));
  }
  if (kinds == DropKinds::kMailboxesToo) dropped.mailboxes = DroppedPathsWith(data, IsMailboxFile);
  return dropped;
}

}  // namespace quillbeaker
