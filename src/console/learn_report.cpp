// SPDX-License-Identifier: MIT
#include "console/learn_report.h"

#include <initializer_list>
#include <utility>

#include "config/texts.h"

namespace quillbeaker {
namespace {

std::string Number(std::uint64_t value) {
  return std::to_string(value);
}

void AddLine(std::string& lines, Text text, std::initializer_list<std::string> arguments) {
  lines += Format(text, arguments) + "\n";
}

// How the mail was treated and why.
void AddRules(std::string& lines, const BulkReport& report) {
  const LearningSizes sizes = SizesLearnt(report);
  if (report.keen_refused) AddLine(lines, Text::kLearnKeenRefused, {Number(kKeenFrom), Number(sizes.good)});
  if (report.good_weight > 1) {
    AddLine(lines, Text::kLearnGoodWeight,
            {Number(report.good_weight), Number(kWeightGoodBelow), Number(kGoodPerSpamUnweighted)});
  }
  if (report.spam_weight > 1) AddLine(lines, Text::kLearnSpamWeight, {Number(report.spam_weight)});
  if (report.long_good_left_out > 0) {
    AddLine(lines, Text::kLearnLongLeftOut, {Number(report.long_good_left_out), Number(kLongMail)});
  }
  if (report.sure_good_left_out > 0) {
    AddLine(lines, Text::kLearnSureLeftOut, {Number(report.sure_good_left_out)});
  }
}

}  // namespace

std::string LinesOfWarnings(const LearningSizes& sizes) {
  std::string lines;
  const LearningWarnings warnings = WarningsFor(sizes);
  if (warnings.too_few_good)
    AddLine(lines, Text::kLearnTooFewGood, {Number(sizes.good), Number(kTooFewGood)});
  if (warnings.too_little_spam)
    AddLine(lines, Text::kLearnTooLittleSpam, {Number(sizes.spam), Number(sizes.good)});
  return lines;
}

LearningSizes SizesLearnt(const BulkReport& report) {
  return {report.good_at_start + report.good_learnt, report.spam_at_start + report.spam_learnt};
}

std::string LinesOfMailLeftOut(const MailFolders& mails) {
  constexpr std::pair<LeftOut, Text> kReasons[] = {
      {LeftOut::kUnreadable, Text::kLearnUnreadable},
      {LeftOut::kNoFile, Text::kLearnNoFile},
      {LeftOut::kNoMail, Text::kLearnNotLikeMail},
      {LeftOut::kBothKinds, Text::kLearnBothKinds},
  };
  std::string lines;
  for (const auto& [reason, text] : kReasons) {
    const auto& [count, first] = mails.left_out(reason);
    if (count > 0) AddLine(lines, text, {Number(count), DisplayLine(first)});
  }
  if (const auto& [count, first] = mails.left_out(LeftOut::kTooLarge); count > 0) {
    AddLine(lines, Text::kLearnTooLarge, {Number(count), Number(kMostMailBytes >> 20), DisplayLine(first)});
  }
  if (const auto& [count, first] = mails.left_out(LeftOut::kRepeated); count > 0) {
    AddLine(lines, Text::kLearnRepeated, {Number(count)});
  }
  return lines;
}

std::string LinesOfLearning(const BulkReport& report, const MailFolders& mails, const Program& program) {
  std::string lines;
  if (report.interrupted) AddLine(lines, Text::kLearnInterrupted, {});
  AddLine(lines, Text::kLearnDone, {Number(report.good_learnt), Number(report.spam_learnt)});
  AddRules(lines, report);
  lines += LinesOfMailLeftOut(mails);
  if (report.unreadable > 0) AddLine(lines, Text::kLearnGone, {Number(report.unreadable)});
  const std::uint64_t refused = report.refused_good_words + report.refused_spam_words;
  if (refused > 0) {
    AddLine(lines, Text::kLearnWordsRefused,
            {Number(refused), std::to_string(program.Read(keys::kTrainingAreaMaxMemory))});
  }
  AddLine(lines, Text::kLearnTotals,
          {Number(report.good_messages), Number(report.good_words), Number(report.spam_messages),
           Number(report.spam_words)});
  return lines;
}

Json JsonOfLearning(const BulkReport& report, const MailFolders& mails) {
  const LearningWarnings warnings = WarningsFor(SizesLearnt(report));
  const auto left_out = [&mails](LeftOut reason) { return mails.left_out(reason).count; };
  return {{"good_at_start", report.good_at_start},
          {"spam_at_start", report.spam_at_start},
          {"good_learnt", report.good_learnt},
          {"spam_learnt", report.spam_learnt},
          {"good_weight", report.good_weight},
          {"spam_weight", report.spam_weight},
          {"keen_refused", report.keen_refused},
          {"interrupted", report.interrupted},
          {"too_few_good", warnings.too_few_good},
          {"too_little_spam", warnings.too_little_spam},
          {"long_good_left_out", report.long_good_left_out},
          {"sure_good_left_out", report.sure_good_left_out},
          {"repeated", left_out(LeftOut::kRepeated)},
          {"both_kinds", left_out(LeftOut::kBothKinds)},
          {"unreadable", left_out(LeftOut::kUnreadable) + report.unreadable},
          {"no_file", left_out(LeftOut::kNoFile)},
          {"no_mail", left_out(LeftOut::kNoMail)},
          {"too_large", left_out(LeftOut::kTooLarge)},
          {"refused_good_words", report.refused_good_words},
          {"refused_spam_words", report.refused_spam_words},
          {"good_messages", report.good_messages},
          {"spam_messages", report.spam_messages},
          {"good_words", report.good_words},
          {"spam_words", report.spam_words}};
}

}  // namespace quillbeaker
