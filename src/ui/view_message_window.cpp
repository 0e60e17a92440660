// SPDX-License-Identifier: MIT
#include "ui/view_message_window.h"

#include <commctrl.h>

#include <functional>
#include <span>
#include <utility>

#include "ui/fade_in.h"
#include "ui/page_controls.h"
#include "ui/place_keeper.h"
#include "ui/presenter/background_reading.h"
#include "ui/presenter/viewed_message.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr Anchor kAnchors[] = {
    {VIEW_SENDER, kLeftEdge | kTopEdge | kRightEdge},
    {VIEW_ADDRESS, kLeftEdge | kTopEdge | kRightEdge},
    {VIEW_SUBJECT, kLeftEdge | kTopEdge | kRightEdge},
    {VIEW_DATE, kLeftEdge | kTopEdge | kRightEdge},
    {VIEW_LABEL, kLeftEdge | kTopEdge | kRightEdge},
    {VIEW_TEXT, kAllEdges},
    {VIEW_LINKS_LABEL, kLeftEdge | kBottomEdge | kRightEdge},
    {VIEW_LINKS, kLeftEdge | kBottomEdge | kRightEdge},
    {VIEW_LIMIT_NOTE, kLeftEdge | kBottomEdge | kRightEdge},
    {COMMAND_PREVIOUS_MAIL, kLeftEdge | kBottomEdge},
    {COMMAND_NEXT_MAIL, kLeftEdge | kBottomEdge},
    {IDCANCEL, kRightEdge | kBottomEdge},
};

constexpr ACCEL kKeys[] = {
    {FVIRTKEY | FCONTROL, VK_NEXT, COMMAND_NEXT_MAIL},
    {FVIRTKEY | FCONTROL, VK_PRIOR, COMMAND_PREVIOUS_MAIL},
};

// Much mail ends its lines with LF alone. Where the system's fields can break there, they shall; the text
// stays as it is.
void BreakLinesAtLineFeeds(HWND edit) {
  constexpr UINT kSetExtendedStyle = 0x150A;  // EM_SETEXTENDEDSTYLE, which MinGW's headers lack
  constexpr LPARAM kAllLineEnds = 3;          // ES_EX_ALLOWEOL_ALL
  SendMessageW(edit, kSetExtendedStyle, kAllLineEnds, kAllLineEnds);
}

}  // namespace

class ViewMessageWindow : public Dialog {
 public:
  // `gone` is called when the window is closed.
  ViewMessageWindow(WindowSurroundings& surroundings, ViewedMails& mails, std::function<void()> gone)
      : Dialog(DIALOG_VIEW_MESSAGE),
        controls_(*this, surroundings.program),
        reading_(surroundings.post, [this](const ViewedMessage& message) { presenter_.Read(message); }),
        presenter_({.mails = mails,
                    .begin_reading = [this](const MailToView& mail) { return reading_.Begin(mail); },
                    .cancel_reading = [this] { reading_.Cancel(); }},
                   controls_),
        places_(surroundings.program.PathOf(kWindowPlacesFile)),
        place_(places_, "ViewMessage"),
        gone_(std::move(gone)) {}

  void ShowMail(std::string_view name) { presenter_.Show(name); }
  void RowsChanged() { presenter_.RowsChanged(); }

 private:
  bool OnInit() override {
    for (const int field : {VIEW_TEXT, VIEW_LINKS}) BreakLinesAtLineFeeds(Control(field));
    SetFocus(Control(VIEW_TEXT));
    return false;
  }
  std::span<const Anchor> Anchors() const override { return kAnchors; }
  std::span<const ACCEL> Accelerators() const override { return kKeys; }
  void OnMade() override { place_.Restore(window(), nullptr, LeastSize()); }
  bool OnCommand(int id, int notification) override {
    if (notification > 1) return false;  // neither a button nor a key
    switch (id) {
      case COMMAND_NEXT_MAIL:
        presenter_.Step(1);
        return true;
      case COMMAND_PREVIOUS_MAIL:
        presenter_.Step(-1);
        return true;
      case IDCANCEL:
        Destroy();
        return true;
      default:
        return false;
    }
  }
  void OnDestroying() override { place_.Remember(); }
  void OnDestroyed() override {
    reading_.Cancel();
    gone_();
  }

  PageControls controls_;
  BackgroundReading reading_;
  ViewedMessagePresenter presenter_;
  IniFile places_;
  PlaceKeeper place_;
  const std::function<void()> gone_;
};

MessageViewer::MessageViewer(WindowSurroundings& surroundings, ViewedMails& mails)
    : surroundings_(surroundings), mails_(mails) {}

MessageViewer::~MessageViewer() {
  // Not by deleting the object alone: the place of the window is remembered.
  if (window_ != nullptr) window_->Destroy();
}

void MessageViewer::Show(HWND owner, std::string_view name) {
  if (window_ == nullptr) {
    window_ = std::make_unique<ViewMessageWindow>(surroundings_, mails_,
                                                  [this] { Dialog::DeleteLater(std::move(window_)); });
    if (!window_->CreateModeless(owner)) {
      window_.reset();
      return;
    }
    window_->ShowMail(name);
    FadeIn(window_->window(), surroundings_.program);
    ShowWindow(window_->window(), SW_SHOW);
    return;
  }
  window_->ShowMail(name);
  if (IsIconic(window_->window())) ShowWindow(window_->window(), SW_RESTORE);
  SetForegroundWindow(window_->window());
}

void MessageViewer::RowsChanged() {
  if (window_ != nullptr) window_->RowsChanged();
}

HWND MessageViewer::window() const {
  return window_ == nullptr ? nullptr : window_->window();
}

}  // namespace quillbeaker
