// SPDX-License-Identifier: MIT
#include "ui/recycle_bin_window.h"

#include <commctrl.h>

#include <utility>

#include "ui/file_dialogs.h"
#include "ui/resource.h"
#include "ui/restore_and_trust.h"
#include "ui/why_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr ToolButton kButtons[] = {{COMMAND_EMPTY_BIN, Text::kEmptyBin},
                                   {COMMAND_VIEW_MAIL, Text::kViewMessage},
                                   {COMMAND_DELETE_MAIL, Text::kDelete},
                                   {COMMAND_RESTORE_MAIL, Text::kRestore, MENU_RESTORE},
                                   {COMMAND_TOOLBAR_HELP, Text::kHelp}};

constexpr ListKey kKeys[] = {{VK_RETURN, COMMAND_VIEW_MAIL},
                             {VK_DELETE, COMMAND_DELETE_MAIL},
                             {'I', COMMAND_WHY_TAKEN, /*with_control=*/true}};

constexpr MailListLook kLook{.toolbar = RECYCLE_TOOLBAR,
                             .list = RECYCLE_LIST,
                             .status = RECYCLE_STATUS,
                             .search = RECYCLE_SEARCH,
                             .menu = MENU_RECYCLE_MAIL,
                             .tool_bitmap = BITMAP_RECYCLE_TOOLBAR,
                             .buttons = kButtons,
                             .keys = kKeys};

constexpr std::size_t kMostAccountText = 200;

}  // namespace

// Its owner stays usable.
class RecycleBinWindow::ProgressWindow : public Dialog {
 public:
  ProgressWindow(HWND owner, RecycleBinList& mails) : Dialog(DIALOG_DELETING), mails_(mails) {
    if (CreateModeless(owner)) ShowWindow(window(), SW_SHOW);
  }

 private:
  static constexpr UINT_PTR kTimer = 1;
  static constexpr UINT kEvery = 100;  // milliseconds

  bool OnInit() override {
    Show();
    SetTimer(window(), kTimer, kEvery, nullptr);
    return true;
  }
  // It stands until the deletion has come to its end, which a person may have to wait for.
  bool OnCommand(int id, int) override {
    if (id != IDCANCEL) return false;
    mails_.CancelDeletion();
    EnableWindow(Control(IDCANCEL), FALSE);
    return true;
  }
  void OnTimer(UINT_PTR) override { Show(); }
  void Show() const {
    const RecycleBinList::Progress progress = mails_.DeletionProgress();
    SendMessageW(Control(DELETING_BAR), PBM_SETRANGE32, 0, static_cast<LPARAM>(progress.count));
    SendMessageW(Control(DELETING_BAR), PBM_SETPOS, progress.done, 0);
    SetDlgItemTextW(
        window(), DELETING_TEXT,
        WideFormat(Text::kDeletingMessages, {std::to_string(progress.done), std::to_string(progress.count)})
            .c_str());
  }

  RecycleBinList& mails_;
};

RecycleBinWindow::RecycleBinWindow(WindowSurroundings& surroundings, int)
    : MailListWindow(DIALOG_RECYCLE_BIN, kLook, surroundings),
      mails_(*this, *this, surroundings.program),
      viewer_(surroundings, mails_) {}

RecycleBinWindow::~RecycleBinWindow() = default;

std::span<const Anchor> RecycleBinWindow::Anchors() const {
  static constexpr unsigned kBelow = kLeftEdge | kBottomEdge;
  static constexpr Anchor kAnchors[] = {{RECYCLE_TOOLBAR, kLeftEdge | kTopEdge | kRightEdge},
                                        {RECYCLE_LIST, kAllEdges},
                                        {RECYCLE_ACCOUNT_LABEL, kBelow},
                                        {RECYCLE_ACCOUNT, kBelow},
                                        {RECYCLE_SEARCH_LABEL, kRightEdge | kBottomEdge},
                                        {RECYCLE_SEARCH, kRightEdge | kBottomEdge},
                                        {RECYCLE_STATUS, kLeftEdge | kRightEdge | kBottomEdge}};
  return kAnchors;
}

bool RecycleBinWindow::OnInit() {
  const bool sets_focus = MailListWindow::OnInit();
  changes_ = surroundings().store_changes.Subscribe(Store::kRecycleBin,
                                                    [this](const StoreChange&) { mails_.Reload(); });
  return sets_focus;
}

bool RecycleBinWindow::OnCommand(int id, int notification) {
  if (id == RECYCLE_ACCOUNT) {
    if (notification == CBN_SELCHANGE) {
      const LRESULT chosen = SendMessageW(Control(id), CB_GETCURSEL, 0, 0);
      mails_.ChooseAccount(chosen < 0 ? 0 : static_cast<std::size_t>(chosen));
    }
    return true;
  }
  return MailListWindow::OnCommand(id, notification);
}

UniqueImageList RecycleBinWindow::RowPictures(int dpi) {
  return LoadPictures(BITMAP_RESTORED, dpi);
}

void RecycleBinWindow::OnClosing() {
  changes_.reset();
  mails_.CancelDeletion();
  progress_.reset();
}

void RecycleBinWindow::ShowAccounts(const std::vector<std::string>& texts, std::size_t chosen) {
  const HWND box = Control(RECYCLE_ACCOUNT);
  SendMessageW(box, CB_RESETCONTENT, 0, 0);
  for (const std::string& text : texts) {
    SendMessageW(box, CB_ADDSTRING, 0,
                 reinterpret_cast<LPARAM>(Wide(text).substr(0, kMostAccountText).c_str()));
  }
  SendMessageW(box, CB_SETCURSEL, chosen, 0);
}

void RecycleBinWindow::ClearSearch() {
  SetDlgItemTextW(window(), RECYCLE_SEARCH, L"");
}

void RecycleBinWindow::ShowRows(std::size_t count, const ListPlace& place) {
  MailListWindow::ShowRows(count, place);
  viewer_.RowsChanged();
}

void RecycleBinWindow::ViewMail(const std::string& name) {
  if (window() != nullptr) viewer_.Show(window(), name);
}

Trusted RecycleBinWindow::RestoreAndTrust(const std::vector<std::string>& names) {
  if (window() == nullptr) return {};
  RestoredAndTrusted result = quillbeaker::RestoreAndTrust(window(), surroundings().program, names);
  return {result.restored, result.senders_changed, std::move(result.done)};
}

void RecycleBinWindow::Explain(const std::string& path) {
  if (window() != nullptr) ShowWhy(window(), surroundings(), {.path = path, .was_spam = true});
}

std::optional<std::string> RecycleBinWindow::AskForFile(const std::string& proposed) {
  if (window() == nullptr) return std::nullopt;
  const std::vector<FileFilter> filters{
      {std::string(quillbeaker::TextOf(Text::kMessageFileFilter)), "*.eml"}};
  const auto chosen = AskWhereToSave(window(), filters, proposed, "eml");
  return chosen ? std::optional(chosen->path) : std::nullopt;
}

void RecycleBinWindow::BeginProgress() {
  if (window() != nullptr) progress_ = std::make_unique<ProgressWindow>(window(), mails_);
}

void RecycleBinWindow::EndProgress() {
  progress_.reset();
}

}  // namespace quillbeaker
