// SPDX-License-Identifier: MIT
#pragma once

// The windows of an import of senders, opened one after the other over the settings dialog.

#include <windows.h>

#include <cstdint>
#include <memory>

#include "config/program.h"
#include "extras/senders/sender_import.h"
#include "ui/dialog.h"
#include "ui/presenter/import_presenter.h"

namespace quillbeaker {

class ImportBoxes : public ImportWindows {
 public:
  // `owner` is the dialog that they belong to: with it they go, and everything is answered with Cancel.
  ImportBoxes(HWND owner, const Program& program);
  ~ImportBoxes() override;

  bool Run(int template_id, SmallDialog& dialog) override;
  std::optional<std::string> ChooseFile(const std::vector<FileFilter>& filters,
                                        std::string_view extension) override;
  bool ShowProgress(std::string_view text) override;
  void EndProgress() override;
  void Inform(std::string_view text, bool trouble) override;

 private:
  class Progress;

  const HWND owner_;
  const Program& program_;
  std::unique_ptr<Progress> progress_;
};

// One import into the list of that kind, from the first question to the count. Takes messages meanwhile.
void ImportSenders(Program& program, HWND owner, std::int32_t kind, const SenderImport::OpenListed& open);

}  // namespace quillbeaker
