// SPDX-License-Identifier: MIT
#include "ui/presenter/why_dialog.h"

#include <optional>
#include <utility>

#include "config/texts.h"
#include "extras/explanation_text.h"
#include "filter/mail_filter.h"
#include "message/display_text.h"
#include "message/mail_message.h"
#include "platform/files.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

void Parse(std::string bytes, const MailToExplain& mail, MailMessage& message) {
  if (!mail.stored_subject) {
    message.ParseText(std::move(bytes));
    return;
  }
  // As learning reads it (stores/training_lesson.cpp).
  message.ParseBodyOnly(std::move(bytes));
  if (!mail.stored_subject->empty()) message.AddField("Subject", *mail.stored_subject);
  if (!mail.stored_sender.empty()) message.AddField("From", mail.stored_sender);
}

}  // namespace

WhyDialog::WhyDialog(Surroundings surroundings, MailToExplain mail)
    : surroundings_(std::move(surroundings)), mail_(std::move(mail)) {}

void WhyDialog::Load(PageView& view) {
  FileContents file;
  if (!mail_.path.empty()) file = ReadContents(mail_.path);
  if (file.bytes) {
    MailMessage message;
    Parse(std::move(*file.bytes), mail_, message);
    const Explanation explanation = MailFilter(surroundings_.program).Explain(message);
    text_ = ExplanationText(explanation, mail_.was_spam);
    for (const ExplainedSpamWord& word : explanation.spam_words) words_.push_back(word.word);
  } else if (mail_.path.empty() || file.result.IsMissing()) {
    text_ = TextOf(Text::kMailGone);
  } else {
    text_ = Format(Text::kMailUnreadable, {DisplayLine(file.result.Text())});
  }
  view.SetText(WHY_TEXT, text_);
  std::vector<std::string> shown;
  for (const std::string& word : words_) shown.push_back(DisplayLine(word));
  view.SetChoices(WHY_WORD, shown);
  view.Choose(WHY_WORD, words_.empty() ? -1 : 0);
  view.Enable(WHY_WORD, !words_.empty());
  view.Enable(WHY_SHOW_WORD, !words_.empty());
  // In the text the focus would select all of it.
  view.Focus(BUTTON_CANCEL);
}

void WhyDialog::Pressed(PageView& view, int control) {
  if (control == WHY_COPY) {
    if (!surroundings_.copy(text_)) view.Tell(TextOf(Text::kNotCopied));
    return;
  }
  const auto place = static_cast<std::size_t>(view.ChosenIn(WHY_WORD));
  if (control != WHY_SHOW_WORD || place >= words_.size()) return;
  surroundings_.show_word(words_[place]);
  is_answered_ = true;
}

}  // namespace quillbeaker
