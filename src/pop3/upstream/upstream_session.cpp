// SPDX-License-Identifier: MIT
#include "pop3/upstream/upstream_session.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "config/ascii.h"
#include "config/secret_masking.h"
#include "message/display_text.h"
#include "message/line_ends.h"
#include "platform/files.h"
#include "pop3/upstream/message_listing.h"
#include "stores/recycle_bin.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMaxUserName = 80;          // bytes
constexpr std::size_t kMaxShownRefusal = 200;     // bytes
constexpr std::size_t kMessageChunk = 51'200;     // bytes
constexpr std::size_t kRestoredListArea = 2'000;  // bytes

std::string_view WithoutLineEnd(std::string_view text) {
  return text.substr(0, text.find(kLineEnd));
}

ReplyFormat ListingFormat() {
  return {.terminator = kMultilineEnd, .limit = kMaxListing};
}

// Cuts the status line and the closing dot off a RETR reply. The text keeps its dot-stuffing, so that it can
// go to the mail client as it is; the CR LF before the closing dot is not part of it.
std::string MessageText(std::string reply) {
  const std::size_t begin = reply.find(kLineEnd) + kLineEnd.size();
  // An empty message leaves the bare closing line, whose CR LF went with the status line.
  if (std::string_view(reply).substr(begin).starts_with(".\r\n")) {
    return {};
  }
  reply.resize(reply.find(kMultilineEnd, begin));
  reply.erase(0, begin);
  return reply;
}

// Deliberate: a file that the user dropped in may end its lines with LF alone; served like that it would be
// one endless header line to every mail client. The first line decides; a file of ours ends it with CR LF.
std::string FitToSend(std::string text) {
  const std::size_t first = text.find('\n');
  const bool bare = first != std::string::npos && (first == 0 || text[first - 1] != '\r');
  return bare ? WithCrLf(text) : text;
}

}  // namespace

UpstreamSession::UpstreamSession(Program& program, CheckObserver& observer)
    : program_(program), connection_(program, observer) {}

UpstreamSession::~UpstreamSession() {
  Close();
}

std::string UpstreamSession::Account() const {
  return user_name_ + " @ " + server_name_;
}

bool UpstreamSession::Login(const std::string& server, std::optional<std::int32_t> port,
                            const std::string& user, const std::string& password,
                            std::int32_t timeout_seconds, int own_port) {
  if (connection_.is_open()) {
    Close();
  }
  login_problem_ = {};
  if (!LogIn(server, port, user, password, timeout_seconds, own_port)) {
    if (login_problem_.failure != LoginFailure::kNone) {
      connection_.LogMarker('S', ProblemMarker(login_problem_));
    }
    return false;
  }
  user_name_ = user;
  server_name_ = server;
  messages_.Clear();
  message_count_ = -1;
  return true;
}

bool UpstreamSession::LogIn(const std::string& server, std::optional<std::int32_t> port,
                            const std::string& user, const std::string& password,
                            std::int32_t timeout_seconds, int own_port) {
  connection_.OpenLog();
  const SecurityChoice choice = ChooseSecurity(program_, server, port);
  if (!choice.address) {
    login_problem_.failure = LoginFailure::kSecurityUnclear;
    login_problem_.server = server;
    login_problem_.detail = DisplayLine(choice.unclear);
    return false;
  }
  login_problem_.server = choice.address->Key();
  return connection_.Open(*choice.address, timeout_seconds, own_port, login_problem_) &&
         Greet(*choice.address) &&
         (choice.address->security != Security::kStartTls || StartTls(*choice.address)) &&
         Authorise(user, password);
}

bool UpstreamSession::Greet(const ServerAddress& address) {
  if (address.security != Security::kStartTls) {
    return Agreed(LoginFailure::kGreeting);
  }
  if (!Agreed(LoginFailure::kGreeting, Behind::kForbidden)) {
    connection_.Drop();  // not even QUIT is said in clear
    return false;
  }
  return true;
}

bool UpstreamSession::StartTls(const ServerAddress& address) {
  if (!Say("STLS\r\n") || !Agreed(LoginFailure::kStartTlsRefused, Behind::kForbidden)) {
    connection_.Drop();
    return false;
  }
  return connection_.Secure(address, login_problem_);
}

bool UpstreamSession::Authorise(const std::string& user, const std::string& password) {
  if (user.size() > kMaxUserName) {
    return false;
  }
  if (!Say("USER " + user + "\r\n") || !Agreed(LoginFailure::kUserRefused)) {
    return false;
  }
  if (!connection_.SendSecretLine("PASS " + password + "\r\n", "PASS ********")) {
    login_problem_.failure = connection_.HowItEnded();
    return false;
  }
  return Agreed(LoginFailure::kPasswordRefused, Behind::kIgnored, password);
}

bool UpstreamSession::Say(const std::string& line) {
  if (connection_.SendLine(line)) {
    return true;
  }
  login_problem_.failure = connection_.HowItEnded();
  return false;
}

bool UpstreamSession::Agreed(LoginFailure failure, Behind behind, std::string_view secret) {
  const Reply reply = connection_.ReadStatusReply(secret);
  if (reply.status == ReplyStatus::kLost && reply.text.size() < kMaxStatusLine) {
    login_problem_.failure = connection_.HowItEnded();
    return false;
  }
  const std::string_view line = WithoutLineEnd(reply.text);
  const bool positive = reply.status == ReplyStatus::kComplete && IsPositive(line);
  // RFC 2595, section 4: what was sent in clear behind an answer could be anybody's, and would be taken for
  // the next.
  const bool injected = behind == Behind::kForbidden && line.size() + kLineEnd.size() < reply.text.size();
  if (positive && !injected) {
    return true;
  }
  login_problem_.failure = failure;
  // Masked with its line end, so that an answer that came whole is known for one.
  const std::string shown = secret.empty() ? reply.text : MaskPassword(reply.text, secret);
  login_problem_.detail =
      positive ? "bytes behind the answer"
               : std::string(FirstColumns(DisplayLine(WithoutLineEnd(shown)), kMaxShownRefusal));
  return false;
}

bool UpstreamSession::HasMessages() {
  if (messages_.empty() && message_count_ == -1) {
    std::uint64_t total_size = 0;
    CountMessages(total_size);
  }
  return !messages_.empty();
}

std::uint32_t UpstreamSession::CountMessages(std::uint64_t& total_size) {
  if (message_count_ == -1) {
    if (messages_.empty()) {
      ListMessages();
    }
    total_size_ = 0;
    for (const MessageEntry& entry : messages_) {
      total_size_ += entry.size;
    }
    message_count_ = static_cast<std::int64_t>(messages_.size());
  }
  total_size = total_size_;
  return static_cast<std::uint32_t>(message_count_);
}

std::uint32_t UpstreamSession::CountKnown(std::uint64_t& known_size) {
  std::uint32_t count = 0;
  known_size = 0;
  if (HasMessages()) {
    for (const MessageEntry& entry : messages_) {
      if (entry.known) {
        ++count;
        known_size += entry.size;
      }
    }
  }
  return count;
}

void UpstreamSession::ListMessages() {
  if (!ReadListing()) {
    return;
  }
  if (program_.Read(keys::kUidChecking) != 0) {
    ReadUniqueIds();
  }
  AddRestoredMessages();
}

bool UpstreamSession::ReadListing() {
  if (!connection_.SendLine("LIST\r\n")) {
    return false;
  }
  const Reply reply = connection_.ReadUntil(ListingFormat(), false);
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    return false;
  }
  const auto listed = ParseListReply(reply.text);
  if (!listed) {
    connection_.GiveUp();
    return false;
  }
  messages_.Clear();
  message_count_ = -1;
  for (const ListedMessage& message : *listed) {
    if (messages_.FindByServerNumber(message.number) != nullptr) {
      continue;  // one number is one message, however often a server names it
    }
    MessageEntry entry;
    entry.server_number = message.number;
    entry.client_number = message.number;
    entry.size = message.size;
    messages_.Insert(std::move(entry));
  }
  return true;
}

void UpstreamSession::ReadUniqueIds() {
  if (!connection_.SendLine("UIDL\r\n")) {
    return;
  }
  const Reply reply = connection_.ReadUntil(ListingFormat(), false);
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    return;
  }
  const auto ids = ParseUidlReply(reply.text);
  if (!ids) {
    connection_.GiveUp();
    return;
  }
  const std::unique_ptr<UniqueIdStore> store = UniqueIdStore::Open(program_);
  for (const ListedUniqueId& listed : *ids) {
    MessageEntry* entry = messages_.FindByServerNumber(listed.number);
    if (entry == nullptr) {
      break;  // Deliberate: a line of a message that LIST did not name ends the reading.
    }
    entry->unique_id = std::string(listed.unique_id);
    if (store != nullptr && store->Contains(listed.unique_id)) {
      entry->known = true;
      store->Refresh(listed.unique_id);
    }
  }
  if (store != nullptr) {
    store->PurgeAndClose();
  }
}

void UpstreamSession::AddRestoredMessages() {
  const RecycleBin recycle_bin(program_);
  const RestoredList restored = recycle_bin.RestoredFor(Account(), kRestoredListArea);
  std::uint32_t number = kRestoredNumberBase;
  for (const std::string& name : restored.names) {
    MessageEntry entry;
    entry.server_number = ++number;
    entry.client_number = number;
    entry.file_path = restored.directory + name;
    const std::uint64_t size = FileSize(entry.file_path).value_or(0);
    entry.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, UINT32_MAX));
    messages_.Insert(std::move(entry));
  }
}

MessageEntry* UpstreamSession::FetchMessage(std::uint32_t server_number) {
  MessageEntry* entry = messages_.FindByServerNumber(server_number);
  if (entry == nullptr || entry->message != nullptr) {
    return entry;
  }
  if (entry->is_restored()) {
    FetchRestored(*entry);
    return entry;
  }
  return Download(*entry) ? entry : nullptr;
}

void UpstreamSession::FetchRestored(MessageEntry& entry) {
  entry.message = std::make_unique<MailMessage>();
  if (auto text = ReadWholeFile(entry.file_path)) {
    entry.message->ParseText(FitToSend(std::move(*text)));
  } else {
    entry.file_unreadable = FileExists(entry.file_path);
  }
  entry.size = entry.message->size();
  connection_.LogMarker('C', "(message completely restored from recycle bin)");
}

bool UpstreamSession::Download(MessageEntry& entry) {
  last_refusal_.clear();
  if (!connection_.SendLine("RETR " + std::to_string(entry.server_number) + "\r\n")) {
    return false;
  }
  const ReplyFormat format{.terminator = kMultilineEnd,
                           .expected_size = std::size_t{entry.size} + 128,
                           .chunk_size = kMessageChunk,
                           .limit = kMaxMessage};
  Reply reply = connection_.ReadUntil(format, true, UpstreamConnection::Logging::kOff);
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    if (reply.status != ReplyStatus::kLost && reply.status != ReplyStatus::kCancelled) {
      last_refusal_ = WithoutControlBytes(WithoutLineEnd(reply.text).substr(0, kMaxShownRefusal));
    }
    return false;
  }
  if (WithoutLineEnd(reply.text).size() > kMaxStatusLine) {
    connection_.GiveUp();
    return false;
  }
  connection_.LogMarker('S', WithoutLineEnd(reply.text));
  connection_.LogMarker('C', "(message completely received)");
  entry.message = std::make_unique<MailMessage>();
  std::string text = MessageText(std::move(reply.text));
  if (!text.empty()) {
    entry.message->ParseText(std::move(text));
  }
  entry.size = entry.message->size();
  connection_.LogMarker('C', "(message has been parsed)");
  return true;
}

bool UpstreamSession::DeleteMessage(std::uint32_t server_number) {
  const MessageEntry* entry = messages_.FindByServerNumber(server_number);
  if (entry != nullptr && entry->is_restored()) {
    return !entry->file_unreadable && EraseFile(entry->file_path);
  }
  return connection_.SendLine("DELE " + std::to_string(server_number) + "\r\n") && connection_.ReadStatus();
}

bool UpstreamSession::Noop() {
  return connection_.SendLine("NOOP\r\n") && connection_.ReadStatus();
}

void UpstreamSession::Close() {
  connection_.Close();
  messages_.Clear();
  message_count_ = -1;
}

}  // namespace quillbeaker
