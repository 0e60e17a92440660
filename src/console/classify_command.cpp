// SPDX-License-Identifier: MIT
// `classify`: what a mail check would decide of message files, and why.
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "console/judgement_text.h"
#include "console/mail_files.h"
#include "filter/mail_filter.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

// Output is gathered up to this size: a line for each of many thousand files must not cost a system call.
constexpr std::size_t kGather = std::size_t{64} * 1024;

}  // namespace

int Classify(Program& program, const ClassifyOptions& options) {
  MailFilter filter(program);
  std::string output;
  const int exit_code =
      ForEachMailFile(options.mail, [&](const std::string& file, const MailMessage* message) {
        if (message == nullptr) {
          output += LineOfUnreadable(file, options.json);
        } else {
          const Judgement judgement = filter.Judge(*message, false);
          output +=
              options.json ? JsonLine(JsonOfJudgement(file, judgement)) : LineOfJudgement(file, judgement);
        }
        if (output.size() >= kGather) {
          WriteStandardOutput(output);
          output.clear();
        }
      });
  WriteStandardOutput(output);
  return exit_code;
}

}  // namespace quillbeaker
