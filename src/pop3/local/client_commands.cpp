// SPDX-License-Identifier: MIT
#include "pop3/local/client_commands.h"

#include <zlib.h>

#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "message/dot_stuffing.h"
#include "pop3/check/mail_check.h"
#include "pop3/local/client_session.h"
#include "pop3/local/command_arguments.h"

namespace quillbeaker {
namespace {

using enum CommandResult;

constexpr std::int32_t kNoNumber = -1;
constexpr std::string_view kEndOfList = ".\r\n";
constexpr std::string_view kEndOfMessage = "\r\n.\r\n";

std::int32_t FirstNumber(std::string_view arguments) {
  return NumberArgument(arguments).value_or(kNoNumber);
}

std::string Hexadecimal(std::uint32_t value) {
  std::array<char, 8> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  return std::string(digits.data(), end);
}

// Deliberate: "%i" of the hidden entries' number is -1, also where a server number reached one.
std::string ClientNumberText(const MessageEntry& entry) {
  return std::to_string(static_cast<std::int32_t>(entry.client_number));
}

// A number of the client's as a server number. Deliberate: one that no entry was given is taken for a server
// number itself; numbers below 1 lead nowhere.
std::uint32_t ServerNumberOf(ClientSession& session, std::int32_t number) {
  if (number < 1 || !session.check().HasMessages()) {
    return 0;
  }
  const MessageEntry* entry = session.check().mailbox().FindByClientNumber(number);
  return entry != nullptr ? entry->server_number : static_cast<std::uint32_t>(number);
}

MessageEntry* FindMapped(ClientSession& session, std::int32_t number) {
  return session.check().mailbox().FindByServerNumber(ServerNumberOf(session, number));
}

CommandResult HandleUser(ClientSession& session, std::string_view arguments) {
  session.user_name.clear();
  session.server_name.clear();
  session.server_port.reset();
  const auto account = SplitAccountName(TextArgument(arguments));
  if (!account) {
    session.wire().SendErr("Username isn't correct");
    session.wire().Flush();
    session.observer().WrongUserName();
    return kEndSession;
  }
  session.server_name = account->server;
  session.user_name = account->user;
  session.server_port = account->port;
  session.wire().SendOk("Username accepted");
  session.observer().ShowTooltip(Format(Text::kConnectingTo, {DisplayLine(account->server)}));
  return kGoOn;
}

CommandResult HandlePass(ClientSession& session, std::string_view arguments) {
  const std::string password(TextArgument(arguments));
  const bool logged_in =
      password.size() <= kMaxAccountField &&
      session.check().LogIn({session.server_name, session.server_port, session.user_name, password});
  if (!logged_in) {
    session.wire().SendErr("Password isn't correct");
    return kEndSession;
  }
  session.wire().SendOk("Password accepted");
  return kGoOn;
}

// Nobody is there to be answered.
bool NobodyWaits(Stop stopped) {
  return stopped == Stop::kClientGone || stopped == Stop::kProgramEnds;
}

CommandResult HandleStat(ClientSession& session, std::string_view) {
  session.BeginSlowAnswer();
  const bool empty = !session.check().HasMessages();
  const ClientView view =
      empty ? ClientView{.stopped = session.check().stopped()} : session.check().BuildView();
  if (NobodyWaits(view.stopped)) {
    return kEndSession;
  }
  session.wire().SendRaw("+OK " + std::to_string(view.count) + " " + std::to_string(view.size) + "\r\n");
  return view.stopped == Stop::kCancelled ? kEndSession : kGoOn;
}

void SendListing(ClientSession& session) {
  session.wire().SendOk("Message list follows");
  for (const MessageEntry& entry : session.check().mailbox()) {
    if (entry.is_visible()) {
      session.wire().SendRaw(ClientNumberText(entry) + " " + std::to_string(entry.size) + "\r\n");
    }
  }
  session.wire().SendRaw(kEndOfList);
}

CommandResult HandleList(ClientSession& session, std::string_view arguments) {
  const std::int32_t number = FirstNumber(arguments);
  if (number == kNoNumber) session.BeginSlowAnswer();
  if (NobodyWaits(session.check().BuildView().stopped)) {
    return kEndSession;
  }
  if (session.check().mailbox().empty()) {
    session.wire().SendOk("There are no messages");
    session.wire().SendRaw(kEndOfList);
  } else if (number == kNoNumber) {
    SendListing(session);
  } else if (const MessageEntry* entry = session.check().mailbox().FindByClientNumber(number)) {
    session.wire().SendRaw("+OK " + std::to_string(number) + " " + std::to_string(entry->size) + "\r\n");
  } else {
    session.wire().SendErr("message does not exist!");
  }
  return kGoOn;
}

CommandResult HandleRetr(ClientSession& session, std::string_view arguments) {
  MessageEntry* entry = FindMapped(session, FirstNumber(arguments));
  if (entry == nullptr || !session.check().Fetch(*entry)) {
    return kEndSession;  // Deliberate: without any reply.
  }
  const std::shared_ptr<const MailMessage> message = session.check().MessageOf(*entry);
  if (message == nullptr) {
    return kEndSession;
  }
  std::string text = message->Serialise().value_or(std::string());
  if (entry->is_restored()) {
    text = StuffDots(std::move(text));
  }
  session.wire().SendRaw("+OK " + std::to_string(entry->size) + "\r\n");
  session.wire().SendUnlogged(text);
  session.wire().SendUnlogged(kEndOfMessage);
  session.wire().Flush();
  session.wire().LogMarker("(message completely transferred)");
  entry->done = true;
  return kGoOn;
}

CommandResult HandleDele(ClientSession& session, std::string_view arguments) {
  MessageEntry* entry = session.check().HasMessages()
                            ? session.check().mailbox().FindByClientNumber(FirstNumber(arguments))
                            : nullptr;
  if (entry == nullptr) {
    session.wire().SendErr("Message could not be deleted");
    return kEndSession;
  }
  entry->done = true;
  entry->delete_on_server = true;
  session.wire().SendOk("Message deleted");
  return kGoOn;
}

CommandResult HandleRset(ClientSession& session, std::string_view) {
  // Deliberate: the deletion marks stay, whatever RFC 1939 says of RSET.
  session.wire().SendOk("I pretend that everything is now clean");
  return kGoOn;
}

// Deliberate: the number of body lines that the client asks for is not looked at, and nothing is downloaded
// for it.
CommandResult HandleTop(ClientSession& session, std::string_view arguments) {
  const MessageEntry* entry = FindMapped(session, FirstNumber(arguments));
  if (entry == nullptr) {
    session.wire().SendErr("Message could not be received");
    return kEndSession;
  }
  session.wire().SendOk("Message header follows");
  const std::shared_ptr<const MailMessage> message = session.check().MessageOf(*entry);
  if (message != nullptr && message->root() != nullptr) {
    std::string header;
    for (const HeaderField& field : message->root()->fields) {
      header.append(field.full_name).append(": ").append(field.full_value).append("\r\n");
    }
    session.wire().SendUnlogged(entry->is_restored() ? StuffDots(std::move(header)) : header);
  }
  session.wire().SendUnlogged(kEndOfMessage);
  session.wire().Flush();
  session.wire().LogMarker("(message header completely transferred)");
  return kGoOn;
}

// Deliberate: changes from session to session, so that the client fetches the message again.
std::string SyntheticUniqueId(ClientSession& session, const MessageEntry& entry) {
  std::string id = "Quillbeaker";
  if (const auto message = session.check().MessageOf(entry)) {
    const std::string text = message->Serialise().value_or(std::string());
    id += Hexadecimal(
        static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size())));
  }
  return id + Hexadecimal(session.ticks().Next(session.program().environment));
}

CommandResult SendUniqueIds(ClientSession& session) {
  session.BeginSlowAnswer();
  session.check().HasMessages();
  if (NobodyWaits(session.check().stopped())) {
    return kEndSession;
  }
  session.wire().SendOk("UID list follows");
  for (const MessageEntry& entry : session.check().mailbox()) {
    if (entry.is_visible()) {
      const std::string id = entry.unique_id ? *entry.unique_id : SyntheticUniqueId(session, entry);
      session.wire().SendRaw(ClientNumberText(entry) + " " + id + "\r\n");
    }
  }
  session.wire().SendRaw(kEndOfList);
  return kGoOn;
}

CommandResult HandleUidl(ClientSession& session, std::string_view arguments) {
  const std::int32_t number = FirstNumber(arguments);
  if (number == kNoNumber) {
    return SendUniqueIds(session);
  }
  const MessageEntry* entry = FindMapped(session, number);
  if (entry != nullptr && entry->unique_id && entry->client_number != kUnnumbered) {
    session.wire().SendRaw("+OK " + ClientNumberText(*entry) + " " + *entry->unique_id + "\r\n");
  } else {
    session.wire().SendErr("UID not found");
  }
  return kGoOn;
}

CommandResult HandleNoop(ClientSession& session, std::string_view) {
  session.check().Noop();
  return kGoOn;  // Deliberate: the client gets no reply.
}

CommandResult HandleQuit(ClientSession& session, std::string_view) {
  session.BeginSlowAnswer();
  session.check().Quit([&session] {
    session.wire().SendOk("Everything done.");
    session.check().FlushLog();
    session.wire().Flush();
  });
  return kEndSession;
}

struct Command {
  std::string_view word;
  CommandResult (*handle)(ClientSession& session, std::string_view arguments);
};

// In the order in which they are compared.
constexpr std::array kCommands{
    Command{"QUIT", HandleQuit}, Command{"USER", HandleUser}, Command{"PASS", HandlePass},
    Command{"STAT", HandleStat}, Command{"LIST", HandleList}, Command{"RETR", HandleRetr},
    Command{"DELE", HandleDele}, Command{"RSET", HandleRset}, Command{"TOP", HandleTop},
    Command{"NOOP", HandleNoop}, Command{"UIDL", HandleUidl},
};

}  // namespace

CommandResult Dispatch(ClientSession& session, std::string_view command) {
  for (const Command& candidate : kCommands) {
    if (StartsWithIgnoringCase(command, candidate.word)) {
      return candidate.handle(session, ArgumentsOf(command, candidate.word.size()));
    }
  }
  return kUnknown;
}

}  // namespace quillbeaker
