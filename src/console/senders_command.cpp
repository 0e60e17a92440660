// SPDX-License-Identifier: MIT
// `senders`: the Friend List and the Blocked Senders List from the terminal.
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "filter/sender_lists.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

std::string_view KindName(std::int32_t kind) {
  switch (kind) {
    case kSenderBlocked:
      return TextOf(Text::kListBlocked);
    case kSenderFriend:
      return TextOf(Text::kListFriend);
    default:
      return TextOf(Text::kListNone);
  }
}

Json JsonOf(const SenderRecord& record) {
  return {{"address", JsonBytes(record.address)}, {"name", JsonBytes(record.name)}, {"kind", record.kind}};
}

std::string LineOf(const SenderRecord& record) {
  std::string line(KindName(record.kind));
  line += "  " + DisplayLine(record.address);
  if (!record.name.empty()) {
    line += "  (" + DisplayLine(record.name) + ")";
  }
  return line + "\n";
}

int Fail(Text text) {
  WriteStandardError(std::string(TextOf(text)) + "\n");
  return kExitFailed;
}

int List(const SenderLists& lists, bool json) {
  Json array = Json::array();
  std::string text;
  lists.Enumerate([&](const SenderRecord& record) {
    if (json) {
      array.push_back(JsonOf(record));
    } else {
      text += LineOf(record);
    }
  });
  WriteStandardOutput(json ? JsonLine(array) : text);
  return kExitDone;
}

int FailNotListed(const std::string& address) {
  WriteStandardError(Format(Text::kNotListed, {DisplayLine(address)}) + "\n");
  return kExitFailed;
}

int LookUp(const SenderLists& lists, const std::string& address, bool json) {
  SenderRecord record;
  record.address = address;
  const bool listed = lists.LookUp(address, record);
  if (json) {
    WriteStandardOutput(JsonLine(JsonOf(record)));
  } else {
    WriteStandardOutput(listed ? LineOf(record) : Format(Text::kNotListed, {DisplayLine(address)}) + "\n");
  }
  return kExitDone;
}

int FailNotSaved(const Program& program) {
  WriteStandardError(WithReason(Text::kNotSaved, program.configuration.LastUpdate()) + "\n");
  return kExitFailed;
}

int Add(const Program& program, SenderLists& lists, const SendersOptions& options) {
  SenderRecord record;
  record.name = Latin1FromTyped(options.name);
  record.address = Latin1FromTyped(options.address);
  record.kind = options.is_friend ? kSenderFriend : kSenderBlocked;
  if (SenderKey(record.address).empty()) {
    return Fail(Text::kEnterAValue);
  }
  switch (lists.Add(record)) {
    case SenderChange::kDone:
      return kExitDone;
    case SenderChange::kRefused:
      return Fail(Text::kSenderAlreadyListed);
    case SenderChange::kNotSaved:
      break;
  }
  return FailNotSaved(program);
}

int Remove(const Program& program, SenderLists& lists, const std::string& address) {
  switch (lists.Remove(address)) {
    case SenderChange::kDone:
      return kExitDone;
    case SenderChange::kRefused:
      return FailNotListed(address);
    case SenderChange::kNotSaved:
      break;
  }
  return FailNotSaved(program);
}

}  // namespace

int ManageSenders(Program& program, const SendersOptions& options) {
  SenderLists lists(program);
  switch (options.action) {
    case SendersOptions::Action::kList:
      return List(lists, options.json);
    case SendersOptions::Action::kLookUp:
      return LookUp(lists, Latin1FromTyped(options.address), options.json);
    case SendersOptions::Action::kAdd:
      return Add(program, lists, options);
    case SendersOptions::Action::kRemove:
      return Remove(program, lists, Latin1FromTyped(options.address));
    case SendersOptions::Action::kImport:
      return ImportSenders(program, options);
  }
  return kExitWrongUsage;
}

}  // namespace quillbeaker
