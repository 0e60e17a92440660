// SPDX-License-Identifier: MIT

#include "stores/unconfirmed_mail.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <unordered_set>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "platform/files.h"
#include "stores/index_entries.h"
#include "stores/set_aside.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kDirectoryName = "recycle";
constexpr std::string_view kFileName = "unconfirmed.xml";
constexpr std::string_view kLockName = "recyclebin.xml.lock";  // the recycle bin's own
constexpr std::string_view kBinFileEnd = ".recycle";

constexpr const char* kRoot = "unconfirmed";
constexpr const char* kMail = "mail";
constexpr const char* kServer = "server";
constexpr const char* kPort = "port";
constexpr const char* kUser = "user";
constexpr const char* kUniqueId = "uid";
constexpr const char* kBinFile = "file";
constexpr const char* kCounted = "counted";
constexpr const char* kLearnt = "learnt";
constexpr const char* kDeletionDue = "due";

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// Servers choose their ids and people their user names: both are any bytes, of which XML cannot hold all.
std::string Escaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && c != '%') {
      escaped += c;
    } else {
      escaped += '%';
      escaped += kHexDigits[byte >> 4];
      escaped += kHexDigits[byte & 0xF];
    }
  }
  return escaped;
}

// A percent sign without two hexadecimal digits after it, which only an edited file has, stands for itself.
std::string Unescaped(std::string_view escaped) {
  std::string text;
  text.reserve(escaped.size());
  for (std::size_t at = 0; at < escaped.size(); ++at) {
    unsigned byte = 0;
    const char* digits = escaped.data() + at + 1;
    if (escaped[at] == '%' && escaped.size() - at > 2 &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      text += static_cast<char>(byte);
      at += 2;
    } else {
      text += escaped[at];
    }
  }
  return text;
}

std::string Column(const xmlNode* element, const char* name) {
  return Unescaped(TextAttribute(element, name));
}

bool Flag(const xmlNode* element, const char* name) {
  return TextAttribute(element, name).starts_with('1');
}

// A name that leads nowhere but to a message file: files are erased by it.
bool IsBinFile(std::string_view name) {
  return IsBareFileName(name) && EndsWithIgnoringCase(name, kBinFileEnd);
}

UnconfirmedMail ReadRow(const xmlNode* element) {
  UnconfirmedMail row;
  row.unique_id = Column(element, kUniqueId);
  row.bin_file = Column(element, kBinFile);
  if (!IsBinFile(row.bin_file)) row.bin_file.clear();
  row.counted = Flag(element, kCounted);
  row.learnt = Flag(element, kLearnt);
  row.deletion_due = Flag(element, kDeletionDue);
  return row;
}

void AppendRow(xmlNode* root, const MailboxName& mailbox, const UnconfirmedMail& row) {
  xmlNode* element = AddElement(root, kMail);
  SetAttribute(element, kServer, Escaped(mailbox.server));
  SetAttribute(element, kPort, std::to_string(mailbox.port));
  SetAttribute(element, kUser, Escaped(mailbox.user));
  SetAttribute(element, kUniqueId, Escaped(row.unique_id));
  if (!row.bin_file.empty()) SetAttribute(element, kBinFile, Escaped(row.bin_file));
  if (row.counted) SetAttribute(element, kCounted, "1");
  if (row.learnt) SetAttribute(element, kLearnt, "1");
  if (row.deletion_due) SetAttribute(element, kDeletionDue, "1");
}

MailboxName MailboxOf(const xmlNode* element) {
  return {Column(element, kServer), LeadingInteger<std::int32_t>(TextAttribute(element, kPort)),
          Column(element, kUser)};
}

bool IsOf(const xmlNode* element, const MailboxName& mailbox) {
  return LeadingInteger<std::int32_t>(TextAttribute(element, kPort)) == mailbox.port &&
         Column(element, kServer) == mailbox.server && Column(element, kUser) == mailbox.user;
}

std::vector<UnconfirmedMail> RowsOf(const XmlDocument& document, const MailboxName& mailbox) {
  std::vector<UnconfirmedMail> rows;
  xmlNode* root = RootNamed(document, kRoot);
  if (root == nullptr) return rows;
  ForEachElement(root, kMail, [&](const xmlNode* element) {
    if (!IsOf(element, mailbox)) return;
    UnconfirmedMail row = ReadRow(element);
    if (!row.unique_id.empty()) rows.push_back(std::move(row));
  });
  return rows;
}

}  // namespace

UnconfirmedMailStore::UnconfirmedMailStore(Program& program)
    : program_(program),
      directory_(program.PathOf(kDirectoryName) + kPathSeparator),
      path_(directory_ + std::string(kFileName)),
      lock_(directory_ + std::string(kLockName)) {}

UnconfirmedMailStore::Contents UnconfirmedMailStore::Open() const {
  Contents contents;
  FileContents file = ReadContents(path_);
  if (!file.result && !file.result.IsMissing()) return contents;
  contents.bytes = std::move(file.bytes);
  if (contents.bytes) {
    contents.document = ParseXml(*contents.bytes);
    if (RootNamed(contents.document, kRoot) != nullptr) return contents;
    contents.document.reset();
    contents.bytes.reset();
    if (!SetAside(path_)) return contents;
  }
  contents.document = NewXmlDocument(kRoot);
  return contents;
}

FileResult UnconfirmedMailStore::MakeItsDirectory() const {
  const std::string path = program_.PathOf(kDirectoryName);
  if (DirectoryExists(path)) return {};
  FileResult made = MakeDirectory(path);
  return made ? FlushDirectory(program_.PathOf("")) : made;
}

// No bytes are no file. The directory's flush comes last: without it a crash could bring the old file back
// after its mail has been deleted.
FileResult UnconfirmedMailStore::PutBytes(const std::optional<std::string>& bytes) const {
  FileResult put;
  if (bytes) {
    put = ReplaceWholeFile(path_, *bytes);
  } else if (StateOfFile(path_).exists) {
    put = EraseFile(path_);
  }
  return put ? FlushDirectory(directory_) : put;
}

std::optional<std::vector<UnconfirmedMail>> UnconfirmedMailStore::Rows(const MailboxName& mailbox) const {
  const auto held = lock_.Acquire();
  const Contents contents = Open();
  if (contents.document == nullptr) return std::nullopt;
  return RowsOf(contents.document, mailbox);
}

FileResult UnconfirmedMailStore::WhyUnreadable() const {
  FileResult read = ReadContents(path_).result;
  // It was of another form and could not be set aside, or can be read again.
  if (read || read.IsMissing()) return {path_, std::make_error_code(std::errc::io_error)};
  return read;
}

FileResult UnconfirmedMailStore::Replace(const MailboxName& mailbox,
                                         const std::vector<UnconfirmedMail>& rows) {
  if (!rows.empty()) {
    if (FileResult made = MakeItsDirectory(); !made) return made;
  }
  const auto held = lock_.Acquire();
  const Contents contents = Open();
  if (contents.document == nullptr) return WhyUnreadable();
  if (RowsOf(contents.document, mailbox) == rows) return {};

  // Made anew: what a file edited by hand in another encoding holds besides the rows might make it one that
  // cannot be read again.
  const XmlDocument after = NewXmlDocument(kRoot);
  xmlNode* root = RootNamed(after, kRoot);
  ForEachElement(RootNamed(contents.document, kRoot), kMail, [&](const xmlNode* element) {
    const UnconfirmedMail row = ReadRow(element);
    if (!row.unique_id.empty() && !IsOf(element, mailbox)) AppendRow(root, MailboxOf(element), row);
  });
  for (const UnconfirmedMail& row : rows) AppendRow(root, mailbox, row);
  std::optional<std::string> bytes;
  if (xmlFirstElementChild(root) != nullptr) {
    bytes = DumpXml(after, true);
    // A mail is deleted on the strength of its row, so the row must be one that can be read again: an id may
    // be too long for the parser, or memory may have run out.
    if (!bytes || RowsOf(ParseXml(*bytes), mailbox) != rows) {
      return {path_, std::make_error_code(std::errc::invalid_argument)};
    }
  }
  FileResult put = PutBytes(bytes);
  // Renamed, perhaps, but not flushed.
  if (!put && ReadWholeFile(path_) != contents.bytes) static_cast<void>(PutBytes(contents.bytes));
  return put;
}

std::vector<std::string> UnconfirmedMailStore::FilesNotDue() const {
  std::vector<std::string> files;
  std::unordered_set<std::string> due;
  const auto held = lock_.Acquire();
  const Contents contents = Open();
  xmlNode* root = RootNamed(contents.document, kRoot);
  if (root == nullptr) return files;
  ForEachElement(root, kMail, [&](const xmlNode* element) {
    UnconfirmedMail row = ReadRow(element);
    if (row.bin_file.empty()) return;
    if (row.deletion_due) {
      due.insert(std::move(row.bin_file));
    } else {
      files.push_back(std::move(row.bin_file));
    }
  });
  std::erase_if(files, [&](const std::string& file) { return due.contains(file); });
  return files;
}

}  // namespace quillbeaker
