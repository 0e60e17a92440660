// SPDX-License-Identifier: MIT
// `classify`: what a mail check would decide of message files, and why.
#include <cstdio>
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "console/mail_files.h"
#include "filter/mail_filter.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

// Output is gathered up to this size: a line for each of many thousand files must not cost a system call.
constexpr std::size_t kGather = std::size_t{64} * 1024;

std::string FourDecimals(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.4f", value);
  return text;
}

// The word by which programs know the reason; people get the sentence of PlainReason.
std::string_view ReasonWord(JudgementReason reason) {
  switch (reason) {
    case JudgementReason::kTooLarge:
      return "too large";
    case JudgementReason::kFilterOff:
      return "filter off";
    case JudgementReason::kLevel:
      return "level";
    case JudgementReason::kBlockedSender:
    case JudgementReason::kFriend:
      return "sender list";
    case JudgementReason::kMarkedDeleted:
      return "deleted";
    case JudgementReason::kLearntWords:
      return "learnt words";
    case JudgementReason::kSpamWords:
      return "spam words";
  }
  return {};
}

std::string PlainReason(const Judgement& judgement) {
  switch (judgement.reason) {
    case JudgementReason::kTooLarge:
      return std::string(TextOf(Text::kReasonTooLarge));
    case JudgementReason::kFilterOff:
      return std::string(TextOf(Text::kReasonFilterOff));
    case JudgementReason::kLevel:
      return Format(Text::kReasonLevel, {std::to_string(judgement.level)});
    case JudgementReason::kBlockedSender:
      return std::string(TextOf(Text::kReasonBlocked));
    case JudgementReason::kFriend:
      return std::string(TextOf(Text::kReasonFriend));
    case JudgementReason::kMarkedDeleted:
      return std::string(TextOf(Text::kReasonMarkedDeleted));
    case JudgementReason::kLearntWords:
      return std::string(TextOf(Text::kReasonLearntWords));
    case JudgementReason::kSpamWords:
      return Format(Text::kReasonSpamWords,
                    {std::to_string(judgement.threshold), std::to_string(judgement.level)});
  }
  return {};
}

std::string JsonOf(const std::string& file, const Judgement& judgement) {
  Json object{{"file", JsonFileName(file)}, {"spam", judgement.spam}};
  object["classifier"] = judgement.classifier_asked ? Json(judgement.classifier_spam) : Json(nullptr);
  object["probability"] =
      judgement.classifier_asked ? Json(FourDecimals(judgement.probability)) : Json(nullptr);
  object["words"] = JsonBytes(judgement.words);
  object["sender_kind"] = judgement.sender_kind;
  object["level"] = judgement.level;
  object["threshold"] = judgement.threshold;
  object["reason"] = ReasonWord(judgement.reason);
  return JsonLine(object);
}

std::string LineOf(const std::string& file, const Judgement& judgement) {
  std::string line(TextOf(judgement.spam ? Text::kVerdictSpam : Text::kVerdictGood));
  line += "  " + (judgement.classifier_asked ? FourDecimals(judgement.probability) : std::string("-"));
  line += "  " + DisplayLine(file) + "  (" + PlainReason(judgement);
  if (!judgement.words.empty()) {
    line += ": " + DisplayLine(judgement.words);
  }
  return line + ")\n";
}

std::string ErrorLine(const std::string& file, bool json) {
  return json ? JsonLine({{"file", JsonFileName(file)}, {"error", EnglishText(Text::kFileUnreadable)}})
              : DisplayLine(file) + ": " + std::string(TextOf(Text::kFileUnreadable)) + "\n";
}

}  // namespace

int Classify(Program& program, const ClassifyOptions& options) {
  MailFilter filter(program);
  std::string output;
  const int exit_code =
      ForEachMailFile(options.mail, [&](const std::string& file, const MailMessage* message) {
        if (message == nullptr) {
          output += ErrorLine(file, options.json);
        } else {
          const Judgement judgement = filter.Judge(*message, false);
          output += options.json ? JsonOf(file, judgement) : LineOf(file, judgement);
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
