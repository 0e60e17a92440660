// SPDX-License-Identifier: MIT
#include "ui/presenter/import_presenter.h"

#include "config/texts.h"
#include "ui/presenter/import_dialogs.h"
#include "ui/resource.h"

namespace quillbeaker {

ImportChoice ImportPresenter::AskSource(std::optional<std::string_view> first_choice) {
  ImportSourceDialog dialog(first_choice);
  return windows_.Run(DIALOG_IMPORT_SOURCE, dialog) ? dialog.choice() : ImportChoice::kCancel;
}

std::optional<std::string> ImportPresenter::AskFile() {
  return windows_.ChooseFile({{std::string(TextOf(Text::kTextFileFilter)), "*.csv;*.txt"},
                              {std::string(TextOf(Text::kAllTextFilesFilter)), "*.*"},
                              {std::string(TextOf(Text::kVCardFileFilter)), "*.vcf"}},
                             "csv");
}

std::optional<CsvColumns> ImportPresenter::AskColumns(const std::vector<std::string>& fields,
                                                      std::optional<CsvColumns> guess) {
  ImportColumnsDialog dialog(fields, guess);
  return windows_.Run(DIALOG_IMPORT_COLUMNS, dialog) ? dialog.columns() : std::nullopt;
}

OfferAnswer ImportPresenter::AskOffer(const FoundSender& found) {
  ImportOfferDialog dialog(found);
  return windows_.Run(DIALOG_OFFER_SENDER, dialog) ? dialog.answer() : OfferAnswer::kCancel;
}

bool ImportPresenter::ShowProgress(std::size_t read, std::size_t taken) {
  return windows_.ShowProgress(Format(Text::kImportProgress, {std::to_string(read), std::to_string(taken)}));
}

void ImportPresenter::ShowCount(std::size_t count, std::string_view trouble) {
  std::string text = Format(Text::kAddressesImported, {std::to_string(count)});
  if (!trouble.empty()) text.insert(0, std::string(trouble) + "\n\n");
  windows_.Inform(text, !trouble.empty());
}

}  // namespace quillbeaker
