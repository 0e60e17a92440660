// SPDX-License-Identifier: MIT
#pragma once

// The command line of quillbeaker-cli, parsed into one record per command.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "pop3/upstream/server_security.h"
#include "stores/training_area.h"

namespace quillbeaker {

// Results of the program as a shell sees them.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitWrongUsage = 2;

struct RunOptions {
  std::optional<int> port;  // 1 to 65535; without it the configuration decides
};

// How message files are read.
struct MailFileOptions {
  std::vector<std::string> files;
  bool crlf = false;  // bare LF counts as CR LF, a leading mbox line goes
};

struct InspectOptions {
  MailFileOptions mail;
};

struct SerialiseOptions {
  MailFileOptions mail;  // one file
};

struct ClassifyOptions {
  MailFileOptions mail;
  bool json = false;
};

struct ExplainOptions {
  MailFileOptions mail;  // one file
  bool json = false;
};

struct SendersOptions {
  enum class Action { kList, kLookUp, kAdd, kRemove, kImport } action = Action::kList;
  std::string address;
  std::string name;
  bool is_friend = false;  // of a sender to add; else blocked
  bool json = false;
  std::vector<std::string> files;  // to import
  bool import_blocked = false;     // to the Blocked Senders List; else the Friend List
  // Columns of a text file, from 1; 0 lets the first line decide. Both or none.
  std::size_t name_column = 0;
  std::size_t address_column = 0;
};

struct AccountOptions {
  std::string server;
  std::string user;
  std::optional<std::int32_t> port;
  std::optional<Security> security;  // else the configuration says
  bool password_from_input = false;  // its first line, whatever it is; else a terminal is asked
  bool keep_security = false;
};

struct BinOptions {
  enum class Action {
    kList,
    kView,
    kRestore,
    kUnrestore,
    kDelete,
    kEmpty,
    kRebuild,
    kRepair
  } action = Action::kList;
  std::vector<std::string> names;
  bool json = false;
};

struct TrainingOptions {
  enum class Action { kList, kView, kMark, kDelete, kLearn } action = Action::kList;
  std::vector<std::string> names;
  TrainingMark mark = TrainingMark::kNone;
  bool json = false;
};

struct SettingsOptions {
  enum class Action { kList, kGet, kSet } action = Action::kList;
  std::string name;
  std::string value;
  bool json = false;
};

struct StatsOptions {
  bool json = false;
};

struct LearnOptions {
  std::vector<std::string> good;  // files and folders
  std::vector<std::string> spam;
  bool yes = false;  // save whatever there is to be warned of
  bool keen = false;
  bool plain = false;
  bool json = false;
  bool undo = false;  // take the last lesson back instead
};

using CommandOptions =
    std::variant<RunOptions, InspectOptions, SerialiseOptions, ClassifyOptions, ExplainOptions, LearnOptions,
                 SendersOptions, AccountOptions, BinOptions, TrainingOptions, SettingsOptions, StatsOptions>;

struct ParsedCommandLine {
  std::optional<CommandOptions> command;  // absent: print `text` and end with `exit_code`
  std::optional<std::string> directory;   // program directory as given, never empty
  int exit_code = kExitDone;
  std::string text;  // help, or what is wrong
};

// `arguments` are UTF-8 and begin with the program's name.
ParsedCommandLine ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace quillbeaker
