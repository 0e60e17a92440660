// SPDX-License-Identifier: MIT
// `bin`: the recycle bin from the terminal.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "extras/entry_text.h"
#include "message/decoded_text.h"
#include "message/mail_message.h"
#include "message/mail_sender.h"
#include "platform/console.h"
#include "stores/recycle_bin.h"

namespace quillbeaker {
namespace {

int Fail(const std::string& text) {
  WriteStandardError(text + "\n");
  return kExitFailed;
}

int Fail(Text text) {
  return Fail(std::string(TextOf(text)));
}

template <typename... Values>
std::string Printed(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

Json JsonOf(const RecycleEntry& entry) {
  return {{"name", JsonBytes(entry.name)},
          {"date", entry.day},
          {"time", EntryTime(entry.minutes)},
          {"subject", JsonBytes(entry.subject)},
          {"spamwords", JsonBytes(entry.spam_words)},
          {"probability", Printed("%.4f", entry.probability)},
          {"account", JsonBytes(entry.account)},
          {"sender", JsonBytes(entry.sender)},
          {"address", JsonBytes(entry.address)},
          {"size", entry.size},
          {"restored", entry.restored}};
}

std::string LineOf(const RecycleEntry& entry) {
  std::string text = DisplayLine(entry.name) + "  " + EntrySize(entry.size);
  if (entry.restored) text += "  (" + std::string(TextOf(Text::kEntryRestored)) + ")";
  text +=
      "\n" + EntryLine(EntryDate(entry.day, entry.minutes) + "  " + EntrySender(entry.sender, entry.address));
  text += EntryLine(DisplayLine(entry.subject));
  if (!entry.spam_words.empty()) {
    text += EntryLine(Printed("%.4f  ", entry.probability) + DisplayLine(entry.spam_words));
  }
  return text;
}

int Fail(Text text, const FileResult& why) {
  return Fail(WithReason(text, why));
}

// What is in the bin; nothing when the index cannot be read. Before the first spam there is no index.
std::optional<std::vector<RecycleEntry>> EntriesOf(const RecycleBin& bin) {
  auto entries = bin.List();
  if (!entries && bin.TroubleWithIndex().is_missing) {
    entries.emplace();
  }
  return entries;
}

int FailUnreadable(const RecycleBin& bin) {
  const IndexTrouble trouble = bin.TroubleWithIndex();
  std::string text = WithReason(Text::kBinUnreadable, trouble.why);
  if (trouble.is_damaged) text += "\n" + std::string(TextOf(Text::kBinRepairAdvice));
  return Fail(text);
}

int List(const RecycleBin& bin, bool json) {
  const auto entries = EntriesOf(bin);
  if (!entries) {
    return FailUnreadable(bin);
  }
  Json array = Json::array();
  std::string text;
  for (const RecycleEntry& entry : *entries) {
    if (json) {
      array.push_back(JsonOf(entry));
    } else {
      text += LineOf(entry);
    }
  }
  WriteStandardOutput(json ? JsonLine(array) : text);
  return kExitDone;
}

// A header line for a person: the sender as lists and the index know it, the Subject decoded, others as sent.
std::string HeaderLine(const HeaderField& field) {
  std::string value;
  if (field.kind == kHeaderFrom) {
    const MailSender sender = SplitSender(field.full_value);
    value = DisplayLine(sender.name) + " <" + DisplayLine(sender.address) + ">";
  } else {
    value =
        DisplayLine(field.kind == kHeaderSubject ? DecodeEncodedWord(field.full_value) : field.full_value);
  }
  return DisplayLine(field.full_name) + ": " + value + "\n";
}

int View(const RecycleBin& bin, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::string path = bin.PathOfMessage(name);
    MailMessage message;
    if (path.empty() || message.LoadFromFile(path) != MailMessage::kLoaded) {
      return Fail(Format(Text::kNoSuchMessage, {DisplayLine(name)}));
    }
    std::string text;
    for (const HeaderKind kind : {kHeaderFrom, kHeaderTo, kHeaderSubject, kHeaderDate}) {
      for (const HeaderField& field : message.root()->fields) {
        if (field.kind == kind) {
          text += HeaderLine(field);
        }
      }
    }
    std::string body;
    DecodeText(message, true, body);
    WriteStandardOutput(text + DisplayText(body) + "\n");
  }
  return kExitDone;
}

// Every name must be in the index before anything is done to one of them.
int WithEntries(RecycleBin& bin, const std::vector<std::string>& names,
                FileResult (*act)(RecycleBin& bin, const std::vector<std::string>& names)) {
  const auto entries = EntriesOf(bin);
  if (!entries) {
    return FailUnreadable(bin);
  }
  for (const std::string& name : names) {
    if (std::none_of(entries->begin(), entries->end(),
                     [&](const RecycleEntry& e) { return e.name == name; })) {
      return Fail(Format(Text::kNoSuchMessage, {DisplayLine(name)}));
    }
  }
  const FileResult done = act(bin, names);
  return done ? kExitDone : Fail(Text::kNotSaved, done);
}

int Empty(RecycleBin& bin) {
  const auto entries = EntriesOf(bin);
  if (!entries) {
    return FailUnreadable(bin);
  }
  if (entries->empty()) return kExitDone;
  const FileResult emptied = bin.Empty();
  return emptied ? kExitDone : Fail(Text::kNotSaved, emptied);
}

int Repair(RecycleBin& bin) {
  const RepairReport report = bin.Repair();
  if (!report.done) {
    return Fail(Format(Text::kBinNotRepaired, {DisplayLine(report.done.Text())}));
  }
  std::string text;
  const auto say = [&text](const std::string& line) { text += line + "\n"; };
  if (report.index_was_missing) {
    say(std::string(TextOf(Text::kBinIndexWasMissing)));
  }
  if (report.index_was_damaged) {
    say(std::string(TextOf(Text::kBinIndexWasDamaged)));
  }
  say(Format(Text::kBinFilesAdopted, {std::to_string(report.adopted)}));
  say(Format(Text::kBinEntriesDropped, {std::to_string(report.dropped)}));
  if (report.unreadable > 0) {
    say(Format(Text::kBinFilesUnreadable, {std::to_string(report.unreadable)}));
  }
  WriteStandardOutput(text);
  return kExitDone;
}

using Names = std::vector<std::string>;

}  // namespace

int ManageBin(Program& program, const BinOptions& options) {
  RecycleBin bin(program);
  switch (options.action) {
    case BinOptions::Action::kList:
      return List(bin, options.json);
    case BinOptions::Action::kView:
      return View(bin, options.names);
    case BinOptions::Action::kRestore:
      return WithEntries(bin, options.names,
                         [](RecycleBin& b, const Names& names) { return b.MarkRestored(names, true); });
    case BinOptions::Action::kUnrestore:
      return WithEntries(bin, options.names,
                         [](RecycleBin& b, const Names& names) { return b.MarkRestored(names, false); });
    case BinOptions::Action::kDelete:
      return WithEntries(bin, options.names,
                         [](RecycleBin& b, const Names& names) { return b.DeleteMessages(names); });
    case BinOptions::Action::kEmpty:
      return Empty(bin);
    case BinOptions::Action::kRebuild:
      return bin.RebuildIndex() ? kExitDone : Fail(Text::kNotRebuilt);
    case BinOptions::Action::kRepair:
      return Repair(bin);
  }
  return kExitWrongUsage;
}

}  // namespace quillbeaker
