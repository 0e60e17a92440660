// SPDX-License-Identifier: MIT
#include "console/options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <utility>

#include "config/texts.h"

namespace quillbeaker {
namespace {

constexpr const char* kAbout =
    "Quillbeaker, a spam filter between your mail program and your POP3 server.\n"
    "Set the account of your mail program to the server 127.0.0.1 and the user name\n"
    "[pop3server]&[username]&[port].";

// CLI11 takes an argument in brackets for a list and cuts it at its commas. Followed by a byte that no
// argument can hold it is one like others, until AsGiven takes the byte off again.
constexpr char kMark = '\0';

std::string Marked(const std::string& argument) {
  return argument.starts_with('[') && argument.ends_with(']') ? argument + kMark : argument;
}

// Every option that takes a text must be handed through here.
CLI::Option* AsGiven(CLI::Option* option) {
  return option->transform([](std::string argument) {
    std::erase(argument, kMark);
    return argument;
  });
}

// Builds the tree of commands; each one that is named on the command line puts its record into the result.
class CommandLineParser {
 public:
  CommandLineParser() : app_(kAbout, "quillbeaker-cli") {
    app_.require_subcommand(1);
    app_.fallthrough(false);
    app_.set_version_flag("--version", "Quillbeaker " + std::string(EnglishText(Text::kVersion)),
                          "Print the version and exit");
    AddRun();
    AddMailCommands();
    AddLearn();
    AddSenders();
    AddAccount();
    AddBin();
    AddTraining();
    AddSettings();
    AddStats();
  }

  ParsedCommandLine Parse(const std::vector<std::string>& arguments) {
    std::vector<std::string> reversed(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end());
    std::reverse(reversed.begin(), reversed.end());
    std::transform(reversed.begin(), reversed.end(), reversed.begin(), Marked);
    try {
      app_.parse(std::move(reversed));
    } catch (const CLI::ExtrasError&) {
      return WrongUsage(Unexpected());
    } catch (const CLI::RequiredError& error) {
      // CLI11 asks for a command before it looks at what it could not read, and that is the real mistake.
      return Leftover().empty() ? Explain(error) : WrongUsage(Unexpected());
    } catch (const CLI::ParseError& error) {
      return Explain(error);
    }
    return std::move(result_);
  }

 private:
  std::vector<std::string> Leftover() const { return app_.remaining(true); }

  std::string Unexpected() const {
    const std::vector<std::string> leftover = Leftover();
    const std::string& first = leftover.front();
    std::string text;
    if (first.starts_with('-')) {
      text = "There is no option \"" + first + "\" here. Options come after the command that they are for.";
    } else {
      text = "\"" + first + "\" is neither a command here nor an argument that is expected.";
    }
    return text + "\nRun with --help for more information.\n";
  }

  static ParsedCommandLine WrongUsage(std::string text) {
    std::erase(text, kMark);
    return {std::nullopt, {}, kExitWrongUsage, std::move(text)};
  }

  ParsedCommandLine Explain(const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream err;
    const bool is_help = app_.exit(error, out, err) == 0;
    std::string text = out.str() + err.str();
    std::erase(text, kMark);
    return {std::nullopt, {}, is_help ? kExitDone : kExitWrongUsage, std::move(text)};
  }

  CLI::App* AddCommand(CLI::App& parent, const char* name, const char* help) {
    CLI::App* command = parent.add_subcommand(name, help);
    // An empty one, as a script's unset variable gives it, must not work on the files of another directory.
    AsGiven(command->add_option_function<std::string>(
                "--directory", [this](const std::string& directory) { result_.directory = directory; },
                "Program directory, with the configuration and all data; else the program's own"))
        ->type_name("DIR")
        ->check([](const std::string& directory) {
          return directory.empty() ? std::string("the directory has no name") : std::string();
        });
    return command;
  }

  void AddRun() {
    CLI::App* command = AddCommand(app_, "run", "Serve mail programs until Ctrl+C");
    command->add_option("--port", run_port_, "Local port; else the key Port of the configuration")
        ->type_name("N")
        ->check(CLI::Range(1, 65535));
    command->callback([this] {
      RunOptions options;
      if (run_port_ != 0) {
        options.port = run_port_;
      }
      result_.command = options;
    });
  }

  CLI::App* AddMailCommand(const char* name, const char* help, MailFileOptions& mail, bool several) {
    CLI::App* command = AddCommand(app_, name, help);
    CLI::Option* files =
        AsGiven(command->add_option("FILE", mail.files, several ? "Message files" : "Message file"))
            ->required();
    if (!several) {
      files->expected(1);
    }
    command->add_flag("--crlf", mail.crlf, "Take LF for CR LF and drop a leading mbox \"From \" line");
    return command;
  }

  void AddMailCommands() {
    AddMailCommand("inspect", "Show how messages are read, one JSON object per file", inspect_.mail, true)
        ->callback([this] { result_.command = inspect_; });
    AddMailCommand("serialise", "Write a message back as it would be stored and delivered", serialise_.mail,
                   false)
        ->callback([this] { result_.command = serialise_; });
    CLI::App* classify =
        AddMailCommand("classify", "Tell what a mail check would decide, and why", classify_.mail, true);
    classify->add_flag("--json", classify_.json, "One JSON object per file");
    classify->callback([this] { result_.command = classify_; });
    CLI::App* explain =
        AddMailCommand("explain", "Tell everything that led to a message's verdict", explain_.mail, false);
    explain->add_flag("--json", explain_.json, "As a JSON object");
    explain->callback([this] { result_.command = explain_; });
  }

  void AddLearn() {
    CLI::App* command = AddCommand(app_, "learn", "Teach the filter from many messages at once");
    CLI::Option_group* mail =
        command->add_option_group("mail", "Files, folders, Maildir folders and mbox files");
    CLI::Option* good = AsGiven(mail->add_option("--good", learn_.good, "Where wanted mail is"));
    good->type_name("PATH");
    CLI::Option* spam = AsGiven(mail->add_option("--spam", learn_.spam, "Where spam is"));
    spam->type_name("PATH");
    mail->add_flag("--undo", learn_.undo, "Take the last learning back instead, whatever it was")
        ->excludes(good)
        ->excludes(spam);
    mail->require_option(1, 0);  // at least one; CLI11's help for "one or two" has a misprint
    CLI::Option* keen = command->add_flag(
        "--keen", learn_.keen,
        "Catch more spam; some more wanted messages will be lost (from 2000 good messages on)");
    command->add_flag("--plain", learn_.plain, "Count every message once, as it comes")->excludes(keen);
    command->add_flag("--yes", learn_.yes,
                      "Ask nothing: learn also where there is too little mail, undo at once");
    command->add_flag("--json", learn_.json, "Report as a JSON object");
    command->callback([this] { result_.command = learn_; });
  }

  CLI::App* AddSendersAction(CLI::App& parent, const char* name, const char* help,
                             SendersOptions::Action action) {
    CLI::App* command = AddCommand(parent, name, help);
    command->callback([this, action] {
      senders_.action = action;
      result_.command = senders_;
    });
    if (action != SendersOptions::Action::kList) {
      AsGiven(command->add_option("ADDRESS", senders_.address, "Mail address; * and ? are wildcards"))
          ->required();
    }
    return command;
  }

  void AddSendersImport(CLI::App& parent) {
    CLI::App* command =
        AddCommand(parent, "import", "Add the senders of text files (comma separated) and vCard files");
    AsGiven(command->add_option("FILE", senders_.files, "Files of other mail programs"))->required();
    command->add_flag("--blocked", senders_.import_blocked,
                      "To the Blocked Senders List; without it, to the Friend List");
    const auto column = [&](const char* name, const char* help, std::size_t& value) {
      return command->add_option(name, value, help)->type_name("N")->check(CLI::Range(1, 1000));
    };
    CLI::Option* name =
        column("--name-column", "Which column of a text file is the name, from 1", senders_.name_column);
    CLI::Option* address =
        column("--address-column", "Which column is the mail address", senders_.address_column);
    name->needs(address);
    address->needs(name);
    command->callback([this] {
      senders_.action = SendersOptions::Action::kImport;
      result_.command = senders_;
    });
  }

  void AddSenders() {
    using enum SendersOptions::Action;
    CLI::App* senders = AddCommand(app_, "senders", "Friend List and Blocked Senders List");
    senders->require_subcommand(1);
    AddSendersAction(*senders, "list", "Print both lists", kList)
        ->add_flag("--json", senders_.json, "As a JSON array");
    AddSendersAction(*senders, "lookup", "Tell which entry an address matches", kLookUp)
        ->add_flag("--json", senders_.json, "As a JSON object");
    CLI::App* add = AddSendersAction(*senders, "add", "Add an address to one of the lists", kAdd);
    AsGiven(add->add_option("NAME,--name", senders_.name, "Name of the sender"));
    CLI::Option_group* list = add->add_option_group("list", "The list to add to");
    list->add_flag("--friend", senders_.is_friend, "Friend List: mail is always wanted");
    list->add_flag("--blocked", is_blocked_, "Blocked Senders List: mail is never wanted");
    list->require_option(1);
    AddSendersAction(*senders, "remove", "Remove an address from its list", kRemove);
    AddSendersImport(*senders);
  }

  void AddAccount() {
    CLI::App* account = AddCommand(app_, "account", "Accounts on mail servers");
    account->require_subcommand(1);
    CLI::App* test =
        AddCommand(*account, "test", "Log in to an account, count its messages, leave it as it is");
    AsGiven(test->add_option("SERVER", account_.server, "The provider's POP3 server"))->required();
    AsGiven(test->add_option("USER", account_.user, "User name there, mostly the e-mail address"))
        ->required();
    test->add_option("--port", account_.port, "Port of the server; else as the security says")
        ->type_name("N")
        ->check(CLI::Range(1, 65535));
    CLI::Option* security =
        AsGiven(test->add_option("--security", security_word_,
                                 "plain, tls or starttls; else as the configuration says"))
            ->check([](const std::string& word) {
              return SecurityOfWord(word) ? std::string() : "the security is none of plain, tls and starttls";
            });
    test->add_flag("--keep-security", account_.keep_security,
                   "If the login works, keep --security for this server in the configuration")
        ->needs(security);
    test->add_flag("--password-stdin", account_.password_from_input,
                   "Read the password from the first line of the input");
    test->callback([this] {
      account_.security = SecurityOfWord(security_word_);
      result_.command = account_;
    });
  }

  CLI::App* AddBinAction(CLI::App& parent, const char* name, const char* help, BinOptions::Action action,
                         bool takes_names) {
    CLI::App* command = AddCommand(parent, name, help);
    command->callback([this, action] {
      bin_.action = action;
      result_.command = bin_;
    });
    if (takes_names) {
      AsGiven(command->add_option("NAME", bin_.names, "Names of messages, as \"bin list\" prints them"))
          ->required();
    }
    return command;
  }

  void AddBin() {
    using enum BinOptions::Action;
    CLI::App* bin = AddCommand(app_, "bin", "Recycle bin");
    bin->require_subcommand(1);
    AddBinAction(*bin, "list", "Print what is in the recycle bin", kList, false)
        ->add_flag("--json", bin_.json, "As a JSON array");
    AddBinAction(*bin, "view", "Print the text of messages", kView, true);
    AddBinAction(*bin, "restore", "Hand messages to the mail program at its next check", kRestore, true);
    AddBinAction(*bin, "unrestore", "Take a restore back", kUnrestore, true);
    AddBinAction(*bin, "delete", "Delete messages for good", kDelete, true);
    AddBinAction(*bin, "empty", "Delete all messages for good", kEmpty, false);
    AddBinAction(*bin, "rebuild", "Make a missing or damaged index from the message files", kRebuild, false);
    AddBinAction(*bin, "repair", "Bring index and message files together again", kRepair, false);
  }

  CLI::App* AddTrainingAction(CLI::App& parent, const char* name, const char* help,
                              TrainingOptions::Action action, bool takes_names) {
    CLI::App* command = AddCommand(parent, name, help);
    command->callback([this, action] {
      training_.action = action;
      result_.command = training_;
    });
    if (takes_names) {
      AsGiven(
          command->add_option("NAME", training_.names, "Names of messages, as \"training list\" prints them"))
          ->required();
    }
    return command;
  }

  void AddMark(CLI::Option_group& marks, const char* name, const char* help, TrainingMark mark) {
    marks.add_flag_callback(
        name, [this, mark] { training_.mark = mark; }, help);
  }

  void AddTraining() {
    using enum TrainingOptions::Action;
    CLI::App* training = AddCommand(app_, "training", "Training area: teach the filter with recent mail");
    training->require_subcommand(1);
    AddTrainingAction(*training, "list", "Print what is in the training area", kList, false)
        ->add_flag("--json", training_.json, "As a JSON array");
    AddTrainingAction(*training, "view", "Print the text of messages", kView, true);
    CLI::Option_group& marks = *AddTrainingAction(*training, "mark", "Say what messages are", kMark, true)
                                    ->add_option_group("mark", "What they are");
    AddMark(marks, "--spam", "Spam", TrainingMark::kSpam);
    AddMark(marks, "--good", "Wanted mail", TrainingMark::kGood);
    AddMark(marks, "--none", "Take the mark back", TrainingMark::kNone);
    marks.require_option(1);
    AddTrainingAction(*training, "delete", "Delete messages without learning from them", kDelete, true);
    AddTrainingAction(*training, "learn", "Learn from the marked messages and remove them", kLearn, false);
  }

  CLI::App* AddSettingsAction(CLI::App& parent, const char* name, const char* help,
                              SettingsOptions::Action action) {
    CLI::App* command = AddCommand(parent, name, help);
    command->callback([this, action] {
      settings_.action = action;
      result_.command = settings_;
    });
    if (action != SettingsOptions::Action::kList) {
      AsGiven(
          command->add_option("NAME", settings_.name, "Name of a setting, as \"settings list\" prints it"))
          ->required();
    }
    return command;
  }

  void AddSettings() {
    using enum SettingsOptions::Action;
    CLI::App* settings = AddCommand(app_, "settings", "What can be set in the configuration");
    settings->require_subcommand(1);
    AddSettingsAction(*settings, "list", "Print all settings", kList)
        ->add_flag("--json", settings_.json, "As a JSON array");
    AddSettingsAction(*settings, "get", "Print the value of a setting", kGet)
        ->add_flag("--json", settings_.json, "As a JSON object");
    CLI::App* set = AddSettingsAction(*settings, "set", "Change a setting", kSet);
    AsGiven(set->add_option("VALUE", settings_.value, "The new value, numbers in the unit of the list"))
        ->required();
  }

  void AddStats() {
    CLI::App* stats = AddCommand(app_, "stats", "Spam of the last 30 days");
    stats->add_flag("--json", stats_.json, "As a JSON object");
    stats->callback([this] { result_.command = stats_; });
  }

  CLI::App app_;
  ParsedCommandLine result_;
  int run_port_ = 0;
  InspectOptions inspect_;
  SerialiseOptions serialise_;
  ClassifyOptions classify_;
  ExplainOptions explain_;
  LearnOptions learn_;
  SendersOptions senders_;
  bool is_blocked_ = false;  // the other choice to is_friend
  AccountOptions account_;
  std::string security_word_;
  BinOptions bin_;
  TrainingOptions training_;
  SettingsOptions settings_;
  StatsOptions stats_;
};

}  // namespace

ParsedCommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  return CommandLineParser().Parse(arguments);
}

}  // namespace quillbeaker
