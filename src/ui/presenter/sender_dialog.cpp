// SPDX-License-Identifier: MIT
#include "ui/presenter/sender_dialog.h"

#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "message/mail_sender.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// The field in the file's bytes. What nobody touched keeps those that it had: not all of them can be typed.
std::string Field(const PageView& view, int control, const std::string& shown) {
  const std::string typed = view.TextIn(control);
  const std::string bytes = typed == DisplayLine(shown) ? shown : Latin1FromTyped(typed);
  return std::string(TrimBlanks(WithoutControlBytes(bytes)));
}

bool Refuse(PageView& view, int control, std::string_view why) {
  view.Warn(why);
  view.Focus(control);
  return false;
}

void ShowMatchNote(PageView& view) {
  const bool everybody = MatchesEverybody(view.TextIn(SENDER_ADDRESS));
  view.SetText(SENDER_MATCH_NOTE, everybody ? TextOf(Text::kMatchesEverybody) : std::string_view());
}

}  // namespace

SenderDialog::SenderDialog(SenderRecord shown, bool is_new, std::string configuration_path,
                           std::function<SenderChange(const SenderRecord&)> save)
    : record_(std::move(shown)),
      is_new_(is_new),
      configuration_path_(std::move(configuration_path)),
      save_(std::move(save)) {}

std::string SenderDialog::Caption() const {
  return is_new_ ? std::string() : std::string(TextOf(Text::kEditSender));
}

void SenderDialog::Load(PageView& view) {
  view.LimitText(SENDER_NAME, kMaxSenderName, false);
  view.LimitText(SENDER_ADDRESS, kMaxSenderAddress, false);
  view.SetText(SENDER_NAME, DisplayLine(record_.name));
  view.SetText(SENDER_ADDRESS, DisplayLine(record_.address));
  ShowMatchNote(view);
}

void SenderDialog::Edited(PageView& view, int control) {
  if (control == SENDER_ADDRESS) ShowMatchNote(view);
}

void SenderDialog::Pressed(PageView& view, int control) {
  if (control != SENDER_WHOLE_DOMAIN) return;
  view.SetText(SENDER_ADDRESS, WholeDomain(view.TextIn(SENDER_ADDRESS)));
  ShowMatchNote(view);
}

bool SenderDialog::Ok(PageView& view) {
  SenderRecord typed = record_;
  typed.name = Field(view, SENDER_NAME, record_.name);
  typed.address = Field(view, SENDER_ADDRESS, record_.address);
  if (typed.name.empty()) return Refuse(view, SENDER_NAME, TextOf(Text::kEnterAValue));
  if (typed.address.empty()) return Refuse(view, SENDER_ADDRESS, TextOf(Text::kEnterAValue));
  switch (save_(typed)) {
    case SenderChange::kDone:
      record_ = std::move(typed);
      return true;
    case SenderChange::kRefused:
      return Refuse(view, SENDER_ADDRESS, TextOf(Text::kSenderAlreadyListed));
    case SenderChange::kNotSaved:
      break;
  }
  view.Tell(Format(Text::kSettingNotSaved, {DisplayLine(configuration_path_)}));
  view.Focus(SENDER_ADDRESS);
  return false;
}

std::string WholeDomain(std::string_view address) {
  const std::size_t at = address.rfind('@');
  return at == std::string_view::npos ? std::string(address) : '*' + std::string(address.substr(at));
}

bool MatchesEverybody(std::string_view address) {
  const std::string_view pattern = TrimBlanks(address);
  return pattern.find_first_of("*?") != std::string_view::npos &&
         pattern.find_first_not_of("*?@.") == std::string_view::npos;
}

}  // namespace quillbeaker
