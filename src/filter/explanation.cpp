// SPDX-License-Identifier: MIT
#include "filter/explanation.h"

#include "filter/filter_settings.h"

namespace quillbeaker {

Explanation MailFilter::Explain(const MailMessage& message) {
  FilterSettings settings = ReadFilterSettings(program_);
  Explanation explanation;
  explanation.judgement = Judge(settings, message, /*marked_deleted=*/false);
  explanation.size = message.size();
  explanation.size_limit = settings.size_limit;
  explanation.threshold = settings.threshold;
  explanation.learnt_words_on = settings.learning_filter;
  explanation.spam_words_on = settings.word_filter;
  if (explanation.judgement.reason == JudgementReason::kTooLarge) {
    settings.size_limit = 0;
    explanation.without_limit = Judge(settings, message, /*marked_deleted=*/false);
  }
  SenderRecord sender;
  if (SenderRecordOf(program_, message, sender)) explanation.sender = sender;
  senders_.LookUp(message, explanation.entry);

  const Classifier::Evidence evidence = classifier_.Weigh(message, settings.strip_html);
  explanation.good_messages = tables_.good.messages;
  explanation.spam_messages = tables_.bad.messages;
  for (const auto& [entry, probability] : evidence.learnt.telling()) {
    explanation.telling_words.push_back(
        {std::string(entry->word()), tables_.good.Count(*entry), tables_.bad.Count(*entry), probability});
  }
  explanation.spam_product = evidence.learnt.spam;
  explanation.good_product = evidence.learnt.good;
  explanation.learnt_probability = evidence.learnt.probability;
  explanation.learnt_words_say_something = evidence.learnt.says_something;
  for (const FoundSpamWord& found : evidence.spam_words.found) {
    const SpamWord& word = tables_.spam_words[found.index];
    explanation.spam_words.push_back(
        {word.word, word.probability, word.predefined, found.in_subject, found.in_text});
  }
  explanation.percent = evidence.spam_words.percent;
  return explanation;
}

}  // namespace quillbeaker
