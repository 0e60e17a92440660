// SPDX-License-Identifier: MIT
#include "console/judgement_text.h"

#include <cstdio>

#include "config/texts.h"
#include "console/failure_text.h"
#include "extras/explanation_text.h"

namespace quillbeaker {
namespace {

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

}  // namespace

Json JsonOfJudgement(const std::string& file, const Judgement& judgement) {
  Json object{{"file", JsonFileName(file)}, {"spam", judgement.spam}};
  object["classifier"] = judgement.classifier_asked ? Json(judgement.classifier_spam) : Json(nullptr);
  object["probability"] =
      judgement.classifier_asked ? Json(FourDecimals(judgement.probability)) : Json(nullptr);
  object["words"] = JsonBytes(judgement.words);
  object["sender_kind"] = judgement.sender_kind;
  object["level"] = judgement.level;
  object["threshold"] = judgement.threshold;
  object["reason"] = ReasonWord(judgement.reason);
  return object;
}

std::string LineOfJudgement(const std::string& file, const Judgement& judgement) {
  std::string line(TextOf(judgement.spam ? Text::kVerdictSpam : Text::kVerdictGood));
  line += "  " + (judgement.classifier_asked ? FourDecimals(judgement.probability) : std::string("-"));
  line += "  " + DisplayLine(file) + "  (" + PlainReason(judgement);
  if (!judgement.words.empty()) {
    line += ": " + DisplayLine(judgement.words);
  }
  return line + ")\n";
}

std::string LineOfUnreadable(const std::string& file, bool json) {
  return json ? JsonLine({{"file", JsonFileName(file)}, {"error", EnglishText(Text::kFileUnreadable)}})
              : UnreadableFile(file) + "\n";
}

}  // namespace quillbeaker
