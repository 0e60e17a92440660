// SPDX-License-Identifier: MIT
// quillbeaker-cli: the core in a terminal.
#include <string>
#include <variant>
#include <vector>

#include "config/program.h"
#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/options.h"
#include "extras/language_choice.h"
#include "message/display_text.h"
#include "platform/console.h"
#include "platform/environment.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

struct Execute {
  Program& program;
  int operator()(const RunOptions& options) const { return RunProxy(program, options); }
  int operator()(const InspectOptions& options) const { return Inspect(program, options); }
  int operator()(const SerialiseOptions& options) const { return Serialise(program, options); }
  int operator()(const ClassifyOptions& options) const { return Classify(program, options); }
  int operator()(const ExplainOptions& options) const { return Explain(program, options); }
  int operator()(const LearnOptions& options) const { return Learn(program, options); }
  int operator()(const SendersOptions& options) const { return ManageSenders(program, options); }
  int operator()(const AccountOptions& options) const { return TestAccount(program, options); }
  int operator()(const BinOptions& options) const { return ManageBin(program, options); }
  int operator()(const TrainingOptions& options) const { return ManageTraining(program, options); }
  int operator()(const SettingsOptions& options) const { return ManageSettings(program, options); }
  int operator()(const StatsOptions& options) const { return ShowStatistics(program, options); }
};

int Main(const std::vector<std::string>& arguments) {
  const ParsedCommandLine line = ParseCommandLine(arguments);
  if (!line.command) {
    if (line.exit_code == kExitDone) {
      WriteStandardOutput(line.text);
    } else {
      WriteStandardError(line.text);
    }
    return line.exit_code;
  }
  const std::string directory = line.directory ? *line.directory : ExecutableDirectory();
  if (!DirectoryExists(directory)) {
    WriteStandardError(Format(Text::kNoSuchDirectory, {directory}) + "\n");
    return kExitFailed;
  }
  Program program(SystemEnvironment(directory));
  // Deliberate: an empty key leaves the console English, whatever the user's language is: scripts read it.
  if (const auto language = LoadSetLanguage(program)) {
    SetTranslatedTexts(language->texts);
  }
  // The command goes on with what is built in, which judges nothing and knows nobody: that would look as if
  // nothing were set. The settings themselves say it.
  if (!std::holds_alternative<SettingsOptions>(*line.command) &&
      program.configuration.ReadOrNull() == nullptr) {
    WriteStandardError(WithReason(Text::kConfigurationUnreadable, program.configuration.WhyUnreadable()) +
                       "\n");
  }
  const int exit_code = std::visit(Execute{program}, *line.command);
  // The proxy's own work is done whether or not anybody could read of it.
  const bool output_counts = !std::holds_alternative<RunOptions>(*line.command);
  return exit_code == kExitDone && output_counts && !StandardOutputIsWhole() ? kExitFailed : exit_code;
}

}  // namespace
}  // namespace quillbeaker

int main(int argc, char** argv) {
  return quillbeaker::Main(quillbeaker::CommandLine(argc, argv));
}
