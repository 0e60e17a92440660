// SPDX-License-Identifier: MIT
#include "ui/import_windows.h"

#include "ui/file_dialogs.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/small_dialog_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

// False when the program ends.
bool HandleMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));  // for the loops around this one
      return false;
    }
    if (Dialog::TakeMessage(message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return true;
}

}  // namespace

// Its owner is disabled as long as it stands, as under a modal dialog.
class ImportBoxes::Progress : public Dialog {
 public:
  explicit Progress(HWND owner) : Dialog(DIALOG_IMPORT_PROGRESS), owner_(owner) {
    if (!CreateModeless(owner)) return;
    EnableWindow(owner_, FALSE);
    ShowWindow(window(), SW_SHOW);
  }
  // The owner first: the system activates an enabled window in the place of the one that goes.
  ~Progress() override { EnableWindow(owner_, TRUE); }

  bool is_cancelled() const { return is_cancelled_ || window() == nullptr; }
  void SetText(std::string_view text) { SetDlgItemTextW(window(), IMPORT_PROGRESS_TEXT, Wide(text).c_str()); }

 private:
  bool OnCommand(int id, int) override {
    is_cancelled_ = is_cancelled_ || id == IDCANCEL;
    return true;
  }

  const HWND owner_;
  bool is_cancelled_ = false;
};

ImportBoxes::ImportBoxes(HWND owner, const Program& program) : owner_(owner), program_(program) {}

ImportBoxes::~ImportBoxes() = default;

bool ImportBoxes::Run(int template_id, SmallDialog& dialog) {
  return IsWindow(owner_) && SmallDialogWindow(template_id, dialog, program_).RunModal(owner_) == IDOK;
}

// Deliberate: a name without a file is handed on; the import says how many addresses that gave.
std::optional<std::string> ImportBoxes::ChooseFile(const std::vector<FileFilter>& filters,
                                                   std::string_view extension) {
  return AskForFile(owner_, filters, extension);
}

bool ImportBoxes::ShowProgress(std::string_view text) {
  if (!IsWindow(owner_)) return false;
  if (progress_ == nullptr) progress_ = std::make_unique<Progress>(owner_);
  progress_->SetText(text);
  return HandleMessages() && !progress_->is_cancelled();
}

void ImportBoxes::EndProgress() {
  progress_.reset();
}

void ImportBoxes::Inform(std::string_view text, bool trouble) {
  const UINT icon = trouble ? MB_ICONEXCLAMATION : MB_ICONINFORMATION;
  if (IsWindow(owner_)) ShowMessageBox(owner_, Wide(text), MB_OK | icon);
}

void ImportSenders(Program& program, HWND owner, std::int32_t kind, const SenderImport::OpenListed& open) {
  ImportBoxes boxes(owner, program);
  ImportPresenter presenter(boxes);
  SenderImport(program, presenter, kind).Run(open);
}

}  // namespace quillbeaker
