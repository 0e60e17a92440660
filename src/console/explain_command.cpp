// SPDX-License-Identifier: MIT
// `explain`: why a message file is judged as it is, with everything that the judgement goes by.
#include <cstdio>
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "console/judgement_text.h"
#include "console/mail_files.h"
#include "extras/explanation_text.h"
#include "filter/explanation.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

std::string Real(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.4g", value);
  return text;
}

std::string Line(std::string_view text) {
  return std::string(text) + "\n";
}

std::string LineOfSize(const Explanation& explanation) {
  if (!explanation.without_limit) return {};
  const Judgement& otherwise = *explanation.without_limit;
  return Line(Format(Text::kExplainTooLarge,
                     {std::to_string(explanation.size), std::to_string(explanation.size_limit),
                      std::string(TextOf(otherwise.spam ? Text::kVerdictSpam : Text::kVerdictGood)),
                      PlainReason(otherwise)}));
}

std::string LineNotAsked(const Judgement& judgement) {
  return Line(Format(Text::kExplainNotCounted, {PlainReason(judgement)}));
}

// What the learnt words' result leads to.
std::string LineOfLearntJudgement(const Explanation& explanation) {
  const Judgement& judgement = JudgementOfContent(explanation);
  if (!judgement.classifier_asked) return LineNotAsked(judgement);
  if (!explanation.learnt_words_on) return Line(TextOf(Text::kExplainLearntOff));
  const double probability = explanation.learnt_probability;
  if (probability >= kSpamFrom) return Line(Format(Text::kExplainLearntSpam, {Real(kSpamFrom)}));
  if (probability <= kSurelyGood) return Line(Format(Text::kExplainLearntGood, {Real(kSurelyGood)}));
  return Line(Format(Text::kExplainLearntOpen, {Real(kSurelyGood), Real(kSpamFrom)}));
}

std::string LinesOfLearntWords(const Explanation& explanation) {
  if (!explanation.learnt_words_say_something) {
    return Line(TextOf(Text::kExplainLearntSilent)) + LineOfLearntJudgement(explanation);
  }
  std::string lines = Line(Format(Text::kExplainLearntHead, {std::to_string(explanation.good_messages),
                                                             std::to_string(explanation.spam_messages)}));
  for (const TellingWord& word : explanation.telling_words) {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%13.4f%10u%10u  ", word.probability, word.good, word.spam);
    lines += Line(numbers + DisplayLine(word.word));
  }
  lines +=
      Line(Format(Text::kExplainLearntResult, {Real(explanation.spam_product), Real(explanation.good_product),
                                               Real(explanation.learnt_probability)}));
  return lines + LineOfLearntJudgement(explanation);
}

// Name of the file that sets the level's threshold; empty when none does.
std::string_view FileOf(const LevelThreshold& threshold) {
  switch (threshold.source) {
    case LevelThreshold::Source::kUserFile:
      return "spampoints_user.ini";
    case LevelThreshold::Source::kShippedFile:
      return "spampoints.ini";
    case LevelThreshold::Source::kDefault:
      break;
  }
  return {};
}

std::string LinesOfSpamWords(const Explanation& explanation) {
  std::string lines =
      Line(TextOf(explanation.spam_words.empty() ? Text::kExplainSpamNone : Text::kExplainSpamHead));
  for (const ExplainedSpamWord& word : explanation.spam_words) {
    char columns[64];
    std::snprintf(columns, sizeof columns, "%9d%9s%6s  ", word.percent, word.in_subject ? "x" : "",
                  word.in_text ? "x" : "");
    lines += Line(columns + DisplayLine(word.word));
  }
  const std::string_view file = FileOf(explanation.threshold);
  const Judgement& judgement = JudgementOfContent(explanation);
  lines +=
      Line(Format(Text::kExplainSum, {std::to_string(explanation.percent), std::to_string(judgement.level),
                                      std::to_string(explanation.threshold.percent),
                                      std::string(file.empty() ? TextOf(Text::kExplainByNoFile) : file)}));
  if (!judgement.classifier_asked || judgement.reason == JudgementReason::kLearntWords) {
    lines += LineNotAsked(judgement);
  } else if (!explanation.spam_words_on) {
    lines += Line(TextOf(Text::kExplainSpamOff));
  }
  return lines;
}

Json JsonOfLearntWords(const Explanation& explanation) {
  Json words = Json::array();
  for (const TellingWord& word : explanation.telling_words) {
    words.push_back({{"word", JsonBytes(word.word)},
                     {"good", word.good},
                     {"spam", word.spam},
                     {"probability", word.probability}});
  }
  return {{"on", explanation.learnt_words_on},
          {"good_messages", explanation.good_messages},
          {"spam_messages", explanation.spam_messages},
          {"words", words},
          {"p", explanation.spam_product},
          {"q", explanation.good_product},
          {"probability", explanation.learnt_probability}};
}

Json JsonOfSpamWords(const Explanation& explanation) {
  Json words = Json::array();
  for (const ExplainedSpamWord& word : explanation.spam_words) {
    words.push_back({{"word", JsonBytes(word.word)},
                     {"percent", word.percent},
                     {"predefined", word.predefined},
                     {"in_subject", word.in_subject},
                     {"in_text", word.in_text}});
  }
  const std::string_view file = FileOf(explanation.threshold);
  return {{"on", explanation.spam_words_on},
          {"words", words},
          {"sum", explanation.percent},
          {"threshold", explanation.threshold.percent},
          {"threshold_file", file.empty() ? Json(nullptr) : Json(file)}};
}

Json JsonOfSender(const SenderRecord& sender) {
  return {{"address", JsonBytes(sender.address)}, {"name", JsonBytes(sender.name)}};
}

Json JsonOf(const std::string& file, const Explanation& explanation) {
  Json object = JsonOfJudgement(file, explanation.judgement);
  object["size"] = explanation.size;
  object["size_limit"] = explanation.size_limit;
  object["spam_without_limit"] =
      explanation.without_limit ? Json(explanation.without_limit->spam) : Json(nullptr);
  object["sender"] = explanation.sender ? JsonOfSender(*explanation.sender) : Json(nullptr);
  object["entry"] = explanation.entry.kind != kSenderNone ? JsonOfSender(explanation.entry) : Json(nullptr);
  object["learnt_words"] = JsonOfLearntWords(explanation);
  object["spam_words"] = JsonOfSpamWords(explanation);
  return object;
}

}  // namespace

int Explain(Program& program, const ExplainOptions& options) {
  MailFilter filter(program);
  return ForEachMailFile(options.mail, [&](const std::string& file, const MailMessage* message) {
    if (message == nullptr) {
      WriteStandardOutput(LineOfUnreadable(file, options.json));
      return;
    }
    const Explanation explanation = filter.Explain(*message);
    WriteStandardOutput(options.json ? JsonLine(JsonOf(file, explanation))
                                     : LineOfJudgement(file, explanation.judgement) +
                                           Line(LineOfSender(explanation)) + LineOfSize(explanation) +
                                           LinesOfLearntWords(explanation) + LinesOfSpamWords(explanation));
  });
}

}  // namespace quillbeaker
