// SPDX-License-Identifier: MIT
// `bin`: the recycle bin from the terminal.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "config/day_number.h"
#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "message/decoded_text.h"
#include "message/mail_message.h"
#include "platform/console.h"
#include "stores/recycle_bin.h"

namespace quillbeaker {
namespace {

int Fail(const std::string& text) {
  WriteStandardError(text + "\n");
  return kExitFailed;
}

int Fail(Text text) {
  return Fail(std::string(EnglishText(text)));
}

template <typename... Values>
std::string Printed(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string TimeOf(const RecycleEntry& entry) {
  return Printed("%02i:%02i", entry.minutes / 60, entry.minutes % 60);
}

Json JsonOf(const RecycleEntry& entry) {
  return {{"name", JsonBytes(entry.name)},
          {"date", entry.day},
          {"time", TimeOf(entry)},
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
  const CalendarTime date = DateOfDayNumber(entry.day);
  std::string line = DisplayText(entry.name) + (entry.restored ? " *" : "") + "\n";
  line += Printed("    %04i-%02i-%02i ", date.year, date.month, date.day) + TimeOf(entry);
  line += "  " + DisplayText(entry.sender) + " <" + DisplayText(entry.address) + ">\n";
  line += "    " + DisplayText(entry.subject) + "\n";
  if (!entry.spam_words.empty()) {
    line += Printed("    %.4f  ", entry.probability) + DisplayText(entry.spam_words) + "\n";
  }
  return line;
}

int List(const RecycleBin& bin, bool json) {
  const auto entries = bin.List();
  if (!entries) {
    return Fail(Text::kBinUnreadable);
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

int View(const RecycleBin& bin, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::string path = bin.PathOfMessage(name);
    MailMessage message;
    if (path.empty() || message.LoadFromFile(path) != MailMessage::kLoaded) {
      return Fail(Format(Text::kNoSuchMessage, {name}));
    }
    std::string text;
    for (const HeaderKind kind : {kHeaderFrom, kHeaderTo, kHeaderSubject, kHeaderDate}) {
      for (const HeaderField& field : message.root()->fields) {
        if (field.kind == kind) {
          text +=
              DisplayText(field.full_name) + ": " + DisplayText(DecodeEncodedWord(field.full_value)) + "\n";
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
                bool (*act)(RecycleBin& bin, const std::vector<std::string>& names)) {
  const auto entries = bin.List();
  if (!entries) {
    return Fail(Text::kBinUnreadable);
  }
  for (const std::string& name : names) {
    if (std::none_of(entries->begin(), entries->end(),
                     [&](const RecycleEntry& e) { return e.name == name; })) {
      return Fail(Format(Text::kNoSuchMessage, {name}));
    }
  }
  return act(bin, names) ? kExitDone : Fail(Text::kNotSaved);
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
      return bin.Empty() ? kExitDone : Fail(Text::kBinUnreadable);
    case BinOptions::Action::kRebuild:
      return bin.RebuildIndex() ? kExitDone : Fail(Text::kNotRebuilt);
  }
  return kExitWrongUsage;
}

}  // namespace quillbeaker
