// SPDX-License-Identifier: MIT
#include "console/mail_folders.h"

#include <algorithm>
#include <utility>

#include "extras/mbox_file.h"
#include "message/line_ends.h"
#include "platform/files.h"
#include "platform/folder_listing.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPiece = std::size_t{256} * 1024;  // of an mbox, read at once
constexpr std::size_t kBeginning = 1024;                 // of a file, to see what it is

std::string Join(std::string path, std::string_view name) {
  if (!path.ends_with('/') && !path.ends_with(kPathSeparator)) path += kPathSeparator;
  return path.append(name);
}

// Whether a file begins with a header field (RFC 5322, 2.2): a name of visible ASCII, then a colon.
bool BeginsWithField(std::string_view start) {
  const auto is_name = [](char c) { return c > ' ' && c < '\x7F' && c != ':'; };
  const auto name_end = std::find_if_not(start.begin(), start.end(), is_name);
  const auto colon = std::find_if_not(name_end, start.end(), [](char c) { return c == ' ' || c == '\t'; });
  return name_end != start.begin() && colon != start.end() && *colon == ':';
}

bool HasFolder(const std::vector<FolderEntry>& entries, std::string_view name) {
  return std::any_of(entries.begin(), entries.end(), [name](const FolderEntry& entry) {
    return entry.kind == FolderEntryKind::kFolder && entry.name == name;
  });
}

}  // namespace

bool MailFolders::Add(const std::string& path, LearnKind kind) {
  if (DirectoryExists(path)) {
    AddFolder(path, kind);
    return true;
  }
  if (!FileExists(path)) return false;
  AddFile(path, kind, Demand::kAnything);
  return true;
}

void MailFolders::FinishAdding() {
  taken_ = {};
  open_file_.reset();
}

// Folders wait on a list of their own instead of the call stack: how deep they are nested is a stranger's
// choice.
void MailFolders::AddFolder(const std::string& path, LearnKind kind) {
  struct Folder {
    std::string path;
    Demand demand;
  };
  std::vector<Folder> waiting{{path, Demand::kBeginsAsMail}};
  while (!waiting.empty()) {
    const Folder folder = std::move(waiting.back());
    waiting.pop_back();
    const auto entries = ListFolder(folder.path);
    if (!entries) {
      LeaveOut(LeftOut::kUnreadable, folder.path);
      continue;
    }
    if (HasFolder(*entries, "cur") && HasFolder(*entries, "new")) {
      // What is in "tmp" is not delivered yet.
      waiting.push_back({Join(folder.path, "new"), Demand::kAnything});
      waiting.push_back({Join(folder.path, "cur"), Demand::kAnything});
      continue;
    }
    for (const FolderEntry& entry : *entries) {
      if (entry.name.starts_with('.') || entry.kind == FolderEntryKind::kFolder) continue;
      const std::string inside = Join(folder.path, entry.name);
      if (entry.kind == FolderEntryKind::kFile) {
        AddFile(inside, kind, folder.demand);
      } else {
        LeaveOut(LeftOut::kNoFile, inside);
      }
    }
    for (auto entry = entries->rbegin(); entry != entries->rend(); ++entry) {
      if (entry->kind == FolderEntryKind::kFolder && !entry->name.starts_with('.')) {
        waiting.push_back({Join(folder.path, entry->name), Demand::kBeginsAsMail});
      }
    }
  }
}

void MailFolders::AddFile(const std::string& path, LearnKind kind, Demand demand) {
  const std::optional<InputFile> file = InputFile::Open(path);
  std::array<char, kBeginning> buffer;
  const auto got = file ? file->ReadAt(0, buffer.data(), buffer.size()) : std::nullopt;
  if (!got) {
    LeaveOut(LeftOut::kUnreadable, path);
    return;
  }
  const std::string_view start(buffer.data(), *got);
  const bool is_mbox = BeginsAsMbox(start);
  if (start.empty() || (demand == Demand::kBeginsAsMail && !is_mbox && !BeginsWithField(start))) {
    LeaveOut(LeftOut::kNoMail, path);
    return;
  }
  const auto number = static_cast<std::uint32_t>(files_.size());
  files_.push_back({names_.size(), static_cast<std::uint32_t>(path.size()), is_mbox});
  names_ += path;
  if (is_mbox) {
    AddMbox(*file, number, kind);
  } else {
    AddMail(*file, {0, file->size(), number, kind});
  }
}

void MailFolders::AddMbox(const InputFile& file, std::uint32_t number, LearnKind kind) {
  MboxSplitter splitter([&](const MboxMail& mail) {
    AddMail(file, {mail.offset, mail.length, number, kind});
  });
  std::vector<char> buffer(kPiece);
  std::uint64_t offset = 0;
  for (;;) {
    const auto got = file.ReadAt(offset, buffer.data(), buffer.size());
    if (!got) LeaveOut(LeftOut::kUnreadable, PathOf(number));
    if (!got || *got == 0) break;
    splitter.Feed({buffer.data(), *got});
    offset += *got;
  }
  splitter.Finish();
}

void MailFolders::AddMail(const InputFile& file, const Mail& mail) {
  if (mail.length > kMostMailBytes) {
    LeaveOut(LeftOut::kTooLarge, PathOf(mail.file));
    return;
  }
  if (!ReadFrom(file, mail, text_)) {
    LeaveOut(LeftOut::kUnreadable, PathOf(mail.file));
    return;
  }
  const auto [before, is_new] = taken_.try_emplace(FingerprintOf(text_), mail.kind);
  if (!is_new) {
    LeaveOut(before->second == mail.kind ? LeftOut::kRepeated : LeftOut::kBothKinds, PathOf(mail.file));
    return;
  }
  mails_.push_back(mail);
  ++counts_[static_cast<std::size_t>(mail.kind)];
  if (found_) found_(mails_.size());
}

void MailFolders::LeaveOut(LeftOut reason, std::string_view path) {
  Count& count = left_out_[static_cast<std::size_t>(reason)];
  if (count.count++ == 0) count.first = path;
}

std::string_view MailFolders::PathOf(std::uint32_t file) const {
  return std::string_view(names_).substr(files_[file].name, files_[file].name_length);
}

bool MailFolders::Read(std::size_t index, std::string& text) {
  const Mail& mail = mails_[index];
  if (!open_file_ || open_number_ != mail.file) {
    open_file_ = InputFile::Open(std::string(PathOf(mail.file)));
    open_number_ = mail.file;
  }
  return open_file_ && ReadFrom(*open_file_, mail, text);
}

bool MailFolders::ReadFrom(const InputFile& file, const Mail& mail, std::string& text) {
  raw_.resize(static_cast<std::size_t>(mail.length));
  if (file.ReadAt(mail.offset, raw_.data(), raw_.size()) != raw_.size()) return false;
  if (files_[mail.file].is_mbox) UndoMboxQuoting(raw_);
  WithCrLf(raw_, text);
  return true;
}

}  // namespace quillbeaker
