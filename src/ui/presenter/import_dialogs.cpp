// SPDX-License-Identifier: MIT
#include "ui/presenter/import_dialogs.h"

#include <cstddef>

#include "config/texts.h"
#include "message/display_text.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

// The byte at which the character with that number begins.
std::size_t PlaceOf(std::string_view utf8, std::size_t character) {
  std::size_t seen = 0;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const bool begins = (static_cast<unsigned char>(utf8[i]) & 0xC0) != 0x80;
    if (begins && seen++ == character) return i;
  }
  return utf8.size();
}

std::size_t CountCharacters(std::string_view utf8) {
  std::size_t count = 0;
  for (const char byte : utf8) {
    if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) ++count;
  }
  return count;
}

std::string Shown(std::string_view bytes) {
  const std::string text = DisplayLine(bytes);
  const std::size_t count = CountCharacters(text);
  if (count <= kMostShownOfSender) return text;
  constexpr std::size_t kHalf = kMostShownOfSender / 2;
  return text.substr(0, PlaceOf(text, kHalf)) + std::string(kEllipsis) +
         text.substr(PlaceOf(text, count - kHalf));
}

}  // namespace

void ImportSourceDialog::Load(PageView& view) {
  if (first_choice_) view.SetText(SOURCE_SYSTEM, *first_choice_);
  view.SetChecked(SOURCE_SYSTEM, true);
}

bool ImportSourceDialog::Ok(PageView& view) {
  choice_ = view.IsChecked(SOURCE_TEXT_FILE) ? ImportChoice::kFile : ImportChoice::kListed;
  return true;
}

void ImportColumnsDialog::Load(PageView& view) {
  std::vector<std::string> shown;
  shown.reserve(fields_.size());
  for (const std::string& field : fields_) shown.push_back(DisplayLine(field));
  view.SetChoices(COLUMNS_ADDRESS, shown);
  view.SetChoices(COLUMNS_NAME, shown);
  if (!guess_) return;
  view.Choose(COLUMNS_ADDRESS, static_cast<int>(guess_->address));
  view.Choose(COLUMNS_NAME, static_cast<int>(guess_->name));
}

bool ImportColumnsDialog::Ok(PageView& view) {
  for (const int list : {COLUMNS_ADDRESS, COLUMNS_NAME}) {
    if (view.ChosenIn(list) >= 0) continue;
    view.Warn(TextOf(Text::kEnterAValue));
    view.Focus(list);
    return false;
  }
  columns_ = CsvColumns{.name = static_cast<std::size_t>(view.ChosenIn(COLUMNS_NAME)),
                        .address = static_cast<std::size_t>(view.ChosenIn(COLUMNS_ADDRESS))};
  return true;
}

void ImportOfferDialog::Load(PageView& view) {
  view.SetText(OFFER_TEXT, FillIn(view.TextIn(OFFER_TEXT), {Shown(found_.name), Shown(found_.address)}));
}

void ImportOfferDialog::Pressed(PageView&, int control) {
  switch (control) {
    case BUTTON_YES:
      answer_ = OfferAnswer::kYes;
      break;
    case OFFER_YES_TO_ALL:
      answer_ = OfferAnswer::kYesToAll;
      break;
    case BUTTON_NO:
      answer_ = OfferAnswer::kNo;
      break;
    default:
      break;
  }
}

}  // namespace quillbeaker
