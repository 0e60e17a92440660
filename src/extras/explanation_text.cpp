// SPDX-License-Identifier: MIT
#include "extras/explanation_text.h"

#include <cstdio>

#include "config/texts.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

std::string Line(std::string_view text) {
  return std::string(text) + "\r\n";
}

// In percent, with as many digits as it has up to five.
std::string Percent(double probability) {
  char text[64];
  std::snprintf(text, sizeof text, "%.5f", probability * 100);
  std::string digits(text);
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits;
}

std::string LinesOfJudgement(const Explanation& explanation, std::optional<bool> was_spam) {
  const Judgement& judgement = explanation.judgement;
  std::string lines =
      Line(Format(judgement.spam ? Text::kWhySpam : Text::kWhyGood, {PlainReason(judgement)}));
  if (was_spam && *was_spam != judgement.spam) {
    lines += Line(TextOf(*was_spam ? Text::kWhyWasSpam : Text::kWhyWasGood));
  }
  if (explanation.without_limit) {
    const Judgement& otherwise = *explanation.without_limit;
    lines += Line(Format(
        otherwise.spam ? Text::kWhySpamButForSize : Text::kWhyGoodButForSize,
        {std::to_string(explanation.size), std::to_string(explanation.size_limit), PlainReason(otherwise)}));
  }
  return lines;
}

std::string LineNotAsked(const Judgement& judgement) {
  return Line(Format(Text::kExplainNotCounted, {PlainReason(judgement)}));
}

std::string LinesOfLearntWords(const Explanation& explanation) {
  std::string lines;
  if (!explanation.learnt_words_say_something) {
    lines = Line(TextOf(Text::kExplainLearntSilent));
  } else {
    lines = Line(Format(Text::kWhyLearntHead, {std::to_string(explanation.good_messages),
                                               std::to_string(explanation.spam_messages)}));
    for (const TellingWord& word : explanation.telling_words) {
      lines += Line(Format(Text::kWhyLearntWord, {DisplayLine(word.word), std::to_string(word.good),
                                                  std::to_string(word.spam), Percent(word.probability)}));
    }
    lines += Line(Format(Text::kWhyLearntSum, {Percent(explanation.learnt_probability), Percent(kSpamFrom),
                                               Percent(kSurelyGood)}));
  }
  const Judgement& judgement = JudgementOfContent(explanation);
  if (!judgement.classifier_asked) return lines + LineNotAsked(judgement);
  return explanation.learnt_words_on ? lines : lines + Line(TextOf(Text::kExplainLearntOff));
}

Text TextOfPlace(const ExplainedSpamWord& word) {
  if (word.in_subject && word.in_text) return Text::kWhySpamWordInBoth;
  return word.in_subject ? Text::kWhySpamWordInSubject : Text::kWhySpamWordInText;
}

std::string LinesOfSpamWords(const Explanation& explanation) {
  std::string lines =
      Line(TextOf(explanation.spam_words.empty() ? Text::kExplainSpamNone : Text::kWhySpamWordHead));
  for (const ExplainedSpamWord& word : explanation.spam_words) {
    lines += Line(Format(TextOfPlace(word), {DisplayLine(word.word), std::to_string(word.percent)}));
  }
  const Judgement& judgement = JudgementOfContent(explanation);
  lines += Line(Format(Text::kWhySum, {std::to_string(explanation.percent), std::to_string(judgement.level),
                                       std::to_string(explanation.threshold.percent)}));
  if (!judgement.classifier_asked || judgement.reason == JudgementReason::kLearntWords) {
    return lines + LineNotAsked(judgement);
  }
  return explanation.spam_words_on ? lines : lines + Line(TextOf(Text::kExplainSpamOff));
}

}  // namespace

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

const Judgement& JudgementOfContent(const Explanation& explanation) {
  return explanation.without_limit ? *explanation.without_limit : explanation.judgement;
}

std::string LineOfSender(const Explanation& explanation) {
  if (!explanation.sender) return std::string(TextOf(Text::kExplainSenderNone));
  std::string sender = DisplayLine(explanation.sender->address);
  const std::string name = DisplayLine(explanation.sender->name);
  if (!name.empty() && name != sender) sender += " (" + name + ")";
  const std::string entry = DisplayLine(explanation.entry.address);
  switch (explanation.entry.kind) {
    case kSenderFriend:
      return Format(Text::kExplainSenderFriend, {sender, entry});
    case kSenderBlocked:
      return Format(Text::kExplainSenderBlocked, {sender, entry});
    default:
      return Format(Text::kExplainSenderUnlisted, {sender});
  }
}

std::string ExplanationText(const Explanation& explanation, std::optional<bool> was_spam) {
  std::string text = LinesOfJudgement(explanation, was_spam) + "\r\n" + Line(LineOfSender(explanation));
  return text + "\r\n" + LinesOfLearntWords(explanation) + "\r\n" + LinesOfSpamWords(explanation);
}

}  // namespace quillbeaker
