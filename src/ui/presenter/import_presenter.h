// SPDX-License-Identifier: MIT
#pragma once

// What an import of senders shows and asks, as the dialogs of the Windows program. Knows no window.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/senders/sender_import.h"
#include "ui/presenter/file_filter.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

// The windows of one import; they may be gone while it still runs. Texts are UTF-8.
class ImportWindows {
 public:
  virtual ~ImportWindows() = default;
  // Runs the dialog of that template; true when it was answered and not cancelled or taken away.
  virtual bool Run(int template_id, SmallDialog& dialog) = 0;
  // The system's dialog to open a file. `extension` is added to a name without one. Nothing on Cancel.
  virtual std::optional<std::string> ChooseFile(const std::vector<FileFilter>& filters,
                                                std::string_view extension) = 0;
  // Shows the progress window with that text, and handles what the person did since the last call. False when
  // that was Cancel, or when the windows are gone.
  virtual bool ShowProgress(std::string_view text) = 0;
  virtual void EndProgress() = 0;
  // A box with the application's title and an icon for information, or for a warning when there was trouble.
  virtual void Inform(std::string_view text, bool trouble) = 0;
};

class ImportPresenter : public SenderImportView {
 public:
  // `windows` must outlive this object.
  explicit ImportPresenter(ImportWindows& windows) : windows_(windows) {}

  ImportChoice AskSource(std::optional<std::string_view> first_choice) override;
  std::optional<std::string> AskFile() override;
  std::optional<CsvColumns> AskColumns(const std::vector<std::string>& fields,
                                       std::optional<CsvColumns> guess) override;
  OfferAnswer AskOffer(const FoundSender& found) override;
  bool ShowProgress(std::size_t read, std::size_t taken) override;
  void EndProgress() override { windows_.EndProgress(); }
  void ShowCount(std::size_t count, std::string_view trouble) override;

 private:
  ImportWindows& windows_;
};

}  // namespace quillbeaker
