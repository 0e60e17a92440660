// SPDX-License-Identifier: MIT
// `senders import`: the senders of other programs' files, all of them without a question.
#include <optional>
#include <string>
#include <vector>

#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "console/progress_line.h"
#include "extras/senders/sender_import.h"
#include "platform/console.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

void PrintError(const std::string& text) {
  WriteStandardError(text + "\n");
}

class ConsoleImport : public SenderImportView {
 public:
  explicit ConsoleImport(const SendersOptions& options) : options_(options) {}

  // Of the file that is read now.
  std::string path;
  bool columns_unknown = false;

  ImportChoice AskSource(std::optional<std::string_view>) override { return ImportChoice::kFile; }
  std::optional<std::string> AskFile() override { return path; }
  OfferAnswer AskOffer(const FoundSender&) override { return OfferAnswer::kYesToAll; }
  void ShowCount(std::size_t, std::string_view) override {}

  std::optional<CsvColumns> AskColumns(const std::vector<std::string>& fields,
                                       std::optional<CsvColumns> guess) override {
    if (options_.name_column > 0) return CsvColumns{options_.name_column - 1, options_.address_column - 1};
    if (guess) return guess;
    columns_unknown = true;
    PrintError(Format(Text::kImportColumnsUnknown, {DisplayLine(path)}));
    for (std::size_t i = 0; i < fields.size(); ++i) {
      PrintError(Format(Text::kImportColumn, {std::to_string(i + 1), DisplayLine(fields[i])}));
    }
    return std::nullopt;
  }

  bool ShowProgress(std::size_t read, std::size_t taken) override {
    line_.Draw(0, 0, Format(Text::kImportProgress, {std::to_string(read), std::to_string(taken)}));
    return true;
  }
  void EndProgress() override { line_.Clear(); }

 private:
  const SendersOptions& options_;
  ProgressLine line_;
};

// False, and said so, when the file gave nothing for a reason or could not be read to its end.
bool ImportOne(SenderImport& import, ConsoleImport& view, const std::string& path) {
  view.path = path;
  view.columns_unknown = false;
  switch (import.ImportFile(path)) {
    case SenderFileKind::kUnreadable:
      PrintError(WithReason(Format(Text::kImportUnreadable, {DisplayLine(path)}), ReadContents(path).result));
      return false;
    case SenderFileKind::kNoText:
      PrintError(Format(Text::kImportNoText, {DisplayLine(path)}));
      return false;
    case SenderFileKind::kText:
    case SenderFileKind::kVCard:
      break;
  }
  if (import.read_failed()) PrintError(UnreadableFile(path));
  return !view.columns_unknown && !import.read_failed();
}

}  // namespace

int ImportSenders(Program& program, const SendersOptions& options) {
  ConsoleImport view(options);
  SenderImport import(program, view, options.import_blocked ? kSenderBlocked : kSenderFriend);
  bool whole = true;
  for (const std::string& path : options.files) {
    whole = ImportOne(import, view, path) && whole;
    if (import.not_saved()) break;
  }
  if (import.not_saved()) {
    PrintError(WithReason(Format(Text::kImportNotSaved, {DisplayLine(program.configuration.path())}),
                          program.configuration.LastUpdate()));
  }
  WriteStandardOutput(Format(Text::kAddressesImported, {std::to_string(import.count())}) + "\n");
  return whole && !import.not_saved() ? kExitDone : kExitFailed;
}

}  // namespace quillbeaker
