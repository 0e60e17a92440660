// SPDX-License-Identifier: MIT
#include "pop3/upstream/pop3_client.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quillbeaker {
namespace {

// Bytes asked for at once: of a message, and of what is logged as it comes.
constexpr std::size_t kMessageChunk = 51'200;
constexpr std::size_t kLoggedChunk = 10'240;
constexpr std::string_view kKeepAlive = "NOOP";

}  // namespace

Pop3Client::Pop3Client(Program& program, Watch& watch, std::shared_ptr<TlsSessions> tls_sessions)
    : program_(program),
      watch_(watch),
      link_(program, watch, std::move(tls_sessions)),
      received_(kMessageChunk, '\0') {}

void Pop3Client::OpenLog() {
  const std::string path =
      LogPath(program_.environment.program_directory, program_.Read(keys::kLogFileServerFileName));
  if (!path.empty() && log_.Open(path, program_.Read(keys::kLogFileServerMaxSize))) {
    log_.WriteLine(BannerLine("Server", program_.environment.local_time()));
  }
}

bool Pop3Client::Open(const ServerLink::Destination& destination, LoginProblem& problem) {
  commands_.clear();
  queued_.clear();
  unsent_.clear();
  begin_ = end_ = 0;
  watch_.AboutToWait();
  if (!link_.Open(destination, problem)) {
    return false;
  }
  // The greeting is the reply to a command that nobody sent.
  commands_.push_back(MakeCommand({}, ReplyKind::kStatus, 0));
  return true;
}

// A message never reaches the log.
Pop3Client::Command Pop3Client::MakeCommand(std::string_view command, ReplyKind kind, std::size_t announced) {
  return {.logged_line = std::string(command),
          .reply = ReplyParser(kind, announced),
          .logs_reply = kind != ReplyKind::kMessage};
}

void Pop3Client::Queue(std::string_view command, ReplyKind kind, std::size_t announced) {
  queued_.push_back(MakeCommand(command, kind, announced));
  unsent_.append(command).append(kLineEnd);
}

bool Pop3Client::SendQueued() {
  if (!ReadAwayForgotten()) {
    queued_.clear();
    unsent_.clear();
    return false;
  }
  const std::size_t first_queued = commands_.size();
  std::ranges::move(queued_, std::back_inserter(commands_));
  queued_.clear();
  watch_.AboutToWait();
  last_command_ = std::chrono::steady_clock::now();
  std::string bytes = std::exchange(unsent_, {});
  const bool sent = link_.Send(bytes) == ServerLink::Outcome::kDone;
  WipeSecret(bytes);  // it may be PASS
  if (!sent) return false;
  for (std::size_t i = first_queued; i < commands_.size(); ++i) commands_[i].reply.Prepare();
  return true;
}

bool Pop3Client::Request(std::string_view command, ReplyKind kind, std::size_t announced) {
  if (!ReadAwayForgotten()) {
    return false;
  }
  Queue(command, kind, announced);
  LogCommand(queued_.back());
  return SendQueued();
}

bool Pop3Client::RequestWithPassword(const std::string& password) {
  if (!ReadAwayForgotten()) {
    return false;
  }
  queued_.push_back(MakeCommand({}, ReplyKind::kStatus, 0));
  unsent_.reserve(unsent_.size() + password.size() + 16);  // grown, it would leave a copy behind
  unsent_.append("PASS ").append(password).append(kLineEnd);
  LogMarker('C', "PASS ********");
  answer_mask_.emplace(password);
  return SendQueued();
}

Reply Pop3Client::Receive(const Progress& progress) {
  Reply reply;
  if (!ReadAwayForgotten() || commands_.empty()) {
    return reply;
  }
  Command& command = commands_.front();
  LogCommand(command);
  link_.BeginReply();
  bool cancelled = false;
  const ServerLink::Outcome outcome = ReadOn(command, progress, cancelled);
  answer_mask_.reset();
  reply.status_line = command.reply.status_line();
  reply.line_ended = command.reply.ended() && command.reply.state() != ReplyParser::State::kTooLong;
  reply.too_long = command.reply.state() == ReplyParser::State::kTooLong;
  if (outcome == ServerLink::Outcome::kStopped) {
    reply.status = link_.stopped() == Stop::kCancelled ? ReplyStatus::kCancelled : ReplyStatus::kStopped;
  } else if (outcome == ServerLink::Outcome::kOver || reply.too_long) {
    link_.GiveUpOnServer();
  } else if (command.reply.state() == ReplyParser::State::kRefused) {
    reply.status = ReplyStatus::kRefused;
  } else if (cancelled) {
    reply.status = ReplyStatus::kCancelled;
  } else {
    reply.status = ReplyStatus::kComplete;
    reply.body = command.reply.TakeBody();
  }
  if (command.reply.ended()) {
    reply.bytes_behind = begin_ < end_ && !expects_more_;
    DropFirstCommand();
  } else {
    command.forgotten = true;
    command.logs_reply = false;
    command.reply.Discard();
  }
  return reply;
}

ServerLink::Outcome Pop3Client::ReadOn(Command& command, const Progress& progress, bool& cancelled) {
  while (!command.reply.ended()) {
    if (begin_ == end_) {
      const ServerLink::Outcome outcome = Fill(command);
      if (outcome != ServerLink::Outcome::kDone) {
        return outcome;
      }
    }
    const std::size_t taken = command.reply.Take(Unread());
    begin_ += taken;
    cancelled = (progress && !progress(taken)) || cancelled;
    const bool refused = command.reply.state() == ReplyParser::State::kRefused;
    if ((refused || cancelled) && !command.forgotten) {
      break;
    }
  }
  return ServerLink::Outcome::kDone;
}

ServerLink::Outcome Pop3Client::Fill(const Command& command) {
  const bool message = command.reply.kind() == ReplyKind::kMessage;
  watch_.AboutToWait();
  expects_more_ = commands_.size() > 1;
  begin_ = end_ = 0;
  const ServerLink::Outcome outcome =
      link_.Receive(received_.data(), message ? kMessageChunk : kLoggedChunk, end_,
                    command.may_ask ? ServerLink::Question::kAsk : ServerLink::Question::kNever);
  if (outcome != ServerLink::Outcome::kDone) {
    end_ = 0;
  } else if (command.logs_reply) {
    LogReceived(Unread());
  }
  return outcome;
}

// Deliberate: bytes behind a reply are what nobody asked for, and would be taken for the answer to the next
// command. They are kept only where an answer to a command sent ahead may have come with them.
void Pop3Client::DropFirstCommand() {
  commands_.pop_front();
  if (!expects_more_ || commands_.empty()) {
    begin_ = end_ = 0;
  }
}

bool Pop3Client::ReadAwayForgotten() {
  while (!commands_.empty() && commands_.front().forgotten) {
    Command& command = commands_.front();
    link_.BeginReply();
    bool cancelled = false;
    if (ReadOn(command, {}, cancelled) != ServerLink::Outcome::kDone) {
      return false;
    }
    if (command.reply.state() == ReplyParser::State::kTooLong) {
      link_.GiveUpOnServer();
    }
    DropFirstCommand();
  }
  return link_.is_open();
}

void Pop3Client::Forget() {
  for (Command& command : commands_) {
    if (command.forgotten) continue;
    LogCommand(command);
    command.forgotten = true;
    command.logs_reply = false;
    command.reply.Discard();
  }
}

void Pop3Client::LogCommand(Command& command) {
  if (!command.logged_line.empty() && log_.IsWriting()) {
    log_.WriteLine(TimedLine(program_.environment.local_time(), 'C', command.logged_line));
  }
  command.logged_line.clear();
}

void Pop3Client::LogNextCommand() {
  const auto next =
      std::ranges::find_if(commands_, [](const Command& command) { return !command.logged_line.empty(); });
  if (next != commands_.end()) {
    LogCommand(*next);
  }
}

void Pop3Client::LogReceived(std::string_view bytes) {
  if (log_.IsWriting()) {
    log_.WriteLine(TimedLine(program_.environment.local_time(), 'S',
                             answer_mask_ ? answer_mask_->Next(bytes) : std::string(bytes)));
  }
}

void Pop3Client::LogMarker(char side, std::string_view text) {
  if (log_.IsWriting()) {
    log_.WriteLine(MarkerLine(side, text));
  }
}

void Pop3Client::KeepAlive(std::chrono::seconds period) {
  const auto now = std::chrono::steady_clock::now();
  if (!link_.is_open()) {
    return;
  }
  if (commands_.empty()) {
    if (now - last_command_ >= period) {
      Queue(kKeepAlive, ReplyKind::kStatus);
      LogCommand(queued_.back());
      queued_.back().forgotten = true;
      queued_.back().may_ask = false;
      SendQueued();
    }
    return;
  }
  Command& command = commands_.front();
  if (command.may_ask) {
    return;  // the rest of another reply: it is read away before the next command
  }
  if (begin_ == end_) {
    begin_ = 0;
    end_ = link_.ReceiveNow(received_.data(), kLoggedChunk);
    LogReceived(Unread());
  }
  begin_ += command.reply.Take(Unread());
  if (command.reply.ended()) {
    DropFirstCommand();
  } else if (now - last_command_ >= link_.timeout()) {
    link_.GiveUpOnServer();
  }
}

bool Pop3Client::SendQuit() {
  if (link_.farewell().empty()) {
    return false;
  }
  // What is left of earlier replies is not waited for here.
  Forget();
  commands_.push_back(MakeCommand("QUIT", ReplyKind::kStatus, 0));
  LogCommand(commands_.back());
  watch_.AboutToWait();
  return link_.Send(link_.farewell()) == ServerLink::Outcome::kDone;
}

Pop3Client::Farewell Pop3Client::WaitForItsEnd() {
  Farewell farewell;
  const auto take = [&](std::string_view bytes) {
    while (!bytes.empty() && !commands_.empty()) {
      ReplyParser& reply = commands_.front().reply;
      bytes.remove_prefix(reply.Take(bytes));
      if (!reply.ended()) {
        continue;
      }
      if (commands_.size() == 1) {
        farewell.answered = true;
        farewell.accepted = reply.state() == ReplyParser::State::kComplete && IsPositive(reply.status_line());
        farewell.refusal = farewell.accepted ? std::string() : reply.status_line();
      }
      commands_.pop_front();
    }
  };
  watch_.AboutToWait();
  take(Unread());
  begin_ = end_ = 0;
  link_.WaitForItsEnd(take);
  return farewell;
}

void Pop3Client::Close() {
  commands_.clear();
  link_.Close();
  log_.Close();
}

}  // namespace quillbeaker
