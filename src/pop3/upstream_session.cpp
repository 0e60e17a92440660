// SPDX-License-Identifier: MIT
#include "pop3/upstream_session.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "config/ascii.h"
#include "platform/files.h"
#include "pop3/message_listing.h"
#include "stores/recycle_bin.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

constexpr std::string_view kQuit = "QUIT\r\n";
constexpr std::size_t kMaxUserName = 80;  // bytes
// The watch over a connection that is being made looks at the person's answer this often.
constexpr milliseconds kConnectStep{250};
// How long a server may take to close after QUIT before we do.
constexpr milliseconds kFarewell{2'500};
constexpr std::size_t kMessageChunk = 51'200;     // bytes
constexpr std::size_t kRestoredListArea = 2'000;  // bytes

// Outside this range a timer would silently give no time-out at all.
milliseconds TimeoutOf(std::int32_t seconds) {
  constexpr std::int32_t kDefault = 60;
  constexpr std::int32_t kMax = 1'000;
  return std::chrono::seconds(seconds <= 0 ? kDefault : std::min(seconds, kMax));
}

std::string_view WithoutLineEnd(std::string_view text) {
  return text.substr(0, text.find(kLineEnd));
}

bool IsPositive(std::string_view reply) {
  return reply.starts_with("+OK");
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
// one endless header line to every mail client.
std::string WithCrLf(std::string text) {
  if (text.find(kLineEnd) != std::string::npos) {
    return text;
  }
  std::string converted;
  converted.reserve(text.size() + text.size() / 16);
  for (const char c : text) {
    if (c == '\n') {
      converted += '\r';
    }
    converted += c;
  }
  return converted;
}

}  // namespace

UpstreamSession::UpstreamSession(Program& program, CheckObserver& observer)
    : program_(program), observer_(observer) {}

UpstreamSession::~UpstreamSession() {
  Close();
}

std::string UpstreamSession::Account() const {
  return user_name_ + " @ " + server_name_;
}

bool UpstreamSession::Login(const std::string& server, int port, const std::string& user,
                            const std::string& password, std::int32_t timeout_seconds) {
  if (connection_ != nullptr) {
    Close();
  }
  OpenLog();
  timeout_ = TimeoutOf(timeout_seconds);
  if (!Connect(server, port)) {
    return false;
  }
  if (!ReadStatus()) {
    Close();
    return false;
  }
  if (!Authorise(user, password)) {
    return false;
  }
  user_name_ = user;
  server_name_ = server;
  messages_.Clear();
  message_count_ = -1;
  return true;
}

bool UpstreamSession::OpenLog() {
  const std::string path =
      LogPath(program_.environment.program_directory, program_.Read(keys::kLogFileServerFileName));
  if (path.empty() || !server_log_.Open(path, program_.Read(keys::kLogFileServerMaxSize))) {
    return false;
  }
  server_log_.WriteLine(BannerLine("Server", program_.environment.local_time()));
  return true;
}

bool UpstreamSession::Connect(const std::string& server, int port) {
  if (server.empty()) {
    return false;  // some systems resolve an empty name to this very machine
  }
  const auto given_up = std::make_shared<std::atomic<bool>>(false);
  milliseconds waited{0};
  const auto on_wait = [&] {
    waited += kConnectStep;
    if (waited >= timeout_) {
      waited = milliseconds{0};
      if (!GoOnWaiting([given_up] { *given_up = true; })) {
        return false;
      }
    }
    return !*given_up && !aborted_;
  };
  std::shared_ptr<Connection> connection = ConnectTo(server, port, kConnectStep, on_wait).connection;
  if (connection == nullptr) {
    return false;
  }
  dead_ = false;
  pending_ = {};
  const std::lock_guard lock(connection_mutex_);
  connection_ = std::move(connection);
  return true;
}

bool UpstreamSession::Authorise(const std::string& user, const std::string& password) {
  if (user.size() > kMaxUserName || !SendLine("USER " + user + "\r\n") || !ReadStatus()) {
    return false;
  }
  // The log is off while the password goes out, so that it never gets there.
  const bool logging = std::exchange(server_log_.enabled, false);
  const bool sent = SendLine("PASS " + password + "\r\n");
  server_log_.enabled = logging;
  server_log_.WriteLine(MarkerLine('C', "PASS ********"));
  return sent && ReadStatus();
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
  if (!SendLine("LIST\r\n")) {
    return false;
  }
  const Reply reply = ReadUntil(ListingFormat(), false);
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    return false;
  }
  const auto listed = ParseListReply(reply.text);
  if (!listed) {
    dead_ = true;
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
  if (!SendLine("UIDL\r\n")) {
    return;
  }
  const Reply reply = ReadUntil(ListingFormat(), false);
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    return;
  }
  const auto ids = ParseUidlReply(reply.text);
  if (!ids) {
    dead_ = true;
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
    entry.message->ParseText(WithCrLf(std::move(*text)));
  }
  entry.size = entry.message->size();
  server_log_.WriteLine(MarkerLine('C', "(message completely restored from recycle bin)"));
}

bool UpstreamSession::Download(MessageEntry& entry) {
  last_refusal_.clear();
  if (!SendLine("RETR " + std::to_string(entry.server_number) + "\r\n")) {
    return false;
  }
  const ReplyFormat format{.terminator = kMultilineEnd,
                           .expected_size = std::size_t{entry.size} + 128,
                           .chunk_size = kMessageChunk,
                           .limit = kMaxMessage};
  const bool logging = std::exchange(server_log_.enabled, false);
  Reply reply = ReadUntil(format, true);
  server_log_.enabled = logging;
  if (reply.status != ReplyStatus::kComplete || !IsPositive(reply.text)) {
    if (reply.status != ReplyStatus::kLost && reply.status != ReplyStatus::kCancelled) {
      last_refusal_ = WithoutControlBytes(WithoutLineEnd(reply.text));
    }
    return false;
  }
  server_log_.WriteLine(MarkerLine('S', WithoutLineEnd(reply.text)));
  server_log_.WriteLine(MarkerLine('C', "(message completely received)"));
  entry.message = std::make_unique<MailMessage>();
  std::string text = MessageText(std::move(reply.text));
  if (!text.empty()) {
    entry.message->ParseText(std::move(text));
  }
  entry.size = entry.message->size();
  server_log_.WriteLine(MarkerLine('C', "(message has been parsed)"));
  return true;
}

bool UpstreamSession::DeleteMessage(std::uint32_t server_number) {
  const MessageEntry* entry = messages_.FindByServerNumber(server_number);
  if (entry != nullptr && entry->is_restored()) {
    EraseFile(entry->file_path);
    return true;
  }
  return SendLine("DELE " + std::to_string(server_number) + "\r\n") && ReadStatus();
}

bool UpstreamSession::Noop() {
  return SendLine("NOOP\r\n") && ReadStatus();
}

bool UpstreamSession::SendLine(std::string_view line) {
  if (!IsUsable() || !FinishPendingReply()) {
    return false;
  }
  if (!line.empty()) {
    server_log_.WriteLine(TimedLine(program_.environment.local_time(), 'C', line));
  }
  return SendBytes(line);
}

bool UpstreamSession::SendBytes(std::string_view bytes) {
  while (!bytes.empty()) {
    const IoResult sent = connection_->Send(bytes, timeout_);
    bytes.remove_prefix(std::min(sent.bytes, bytes.size()));
    const bool waiting = sent.status == IoStatus::kTimedOut && GoOnWaiting(AbortLater());
    if (sent.status != IoStatus::kOk && !waiting) {
      dead_ = true;
      return false;
    }
  }
  return true;
}

std::ptrdiff_t UpstreamSession::ReceiveChunk(char* buffer, std::size_t capacity) {
  if (buffer == nullptr || capacity == 0 || !IsUsable()) {
    return 0;
  }
  IoResult received = connection_->Receive(buffer, capacity, timeout_);
  while (received.status == IoStatus::kTimedOut && GoOnWaiting(AbortLater())) {
    received = connection_->Receive(buffer, capacity, timeout_);
  }
  if (received.status != IoStatus::kOk) {
    dead_ = true;
    return received.status == IoStatus::kClosed ? 0 : -1;
  }
  server_log_.WriteLine(TimedLine(program_.environment.local_time(), 'S', {buffer, received.bytes}));
  return static_cast<std::ptrdiff_t>(received.bytes);
}

Reply UpstreamSession::ReadUntil(const ReplyFormat& format, bool with_progress) {
  const auto source = [this](char* buffer, std::size_t capacity) { return ReceiveChunk(buffer, capacity); };
  ReplyProgress progress;
  if (with_progress) {
    progress = [this](std::size_t bytes) {
      if (observer_.IsCancelled()) {
        return false;
      }
      observer_.Advance(bytes);
      return true;
    };
  }
  Reply reply = ReadReply(source, format, progress);
  if (reply.status == ReplyStatus::kLost) {
    dead_ = true;
  } else if (reply.status == ReplyStatus::kRefused) {
    pending_ = {kLineEnd, reply.text, kMaxStatusLine};
  } else if (reply.status == ReplyStatus::kCancelled) {
    pending_ = {format.terminator, reply.text, format.limit};
  }
  return reply;
}

bool UpstreamSession::ReadStatus() {
  const Reply reply = ReadUntil({.terminator = kLineEnd, .limit = kMaxStatusLine}, false);
  return reply.status == ReplyStatus::kComplete && IsPositive(reply.text);
}

bool UpstreamSession::FinishPendingReply() {
  if (pending_.terminator.empty()) {
    return true;
  }
  // Deliberate: read to its end, else it would be taken for the answer to the next command.
  const PendingReply pending = std::exchange(pending_, {});
  const bool logging = std::exchange(server_log_.enabled, false);
  const auto source = [this](char* buffer, std::size_t capacity) { return ReceiveChunk(buffer, capacity); };
  if (!SkipReply(source, pending.tail, pending.terminator, pending.limit)) {
    dead_ = true;
  }
  server_log_.enabled = logging;
  return !dead_;
}

bool UpstreamSession::GoOnWaiting(std::function<void()> abort) {
  if (program_.Read(keys::kAutoAbortOnTimeout) == 1) {
    abort();
    return false;
  }
  observer_.AskToAbort(std::move(abort));
  return true;
}

std::function<void()> UpstreamSession::AbortLater() {
  return [connection = std::weak_ptr<Connection>(connection_)] {
    if (const auto alive = connection.lock()) {
      alive->Abort(kQuit);
    }
  };
}

void UpstreamSession::Abort() {
  aborted_ = true;
  std::shared_ptr<Connection> connection;
  {
    const std::lock_guard lock(connection_mutex_);
    connection = connection_;
  }
  if (connection != nullptr) {
    connection->Abort(kQuit);
  }
}

void UpstreamSession::Close() {
  CloseConnection();
  messages_.Clear();
  message_count_ = -1;
  server_log_.Close();
}

void UpstreamSession::CloseConnection() {
  if (connection_ == nullptr) {
    return;
  }
  if (!dead_ && !aborted_) {
    pending_ = {};
    if (SendLine(kQuit)) {
      // Deliberate: a socket closed over unread bytes resets the connection, and a server that is reset may
      // forget the deletions. So it is the server that closes; what it says is not looked at.
      connection_->FinishSending();
      std::array<char, 4096> dropped;
      const auto end = std::chrono::steady_clock::now() + kFarewell;
      for (auto left = kFarewell; left.count() > 0;
           left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now())) {
        if (connection_->Receive(dropped.data(), dropped.size(), left).status != IoStatus::kOk) {
          break;
        }
      }
    }
  }
  const std::lock_guard lock(connection_mutex_);
  connection_ = nullptr;
}

}  // namespace quillbeaker
