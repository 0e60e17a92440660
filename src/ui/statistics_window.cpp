// SPDX-License-Identifier: MIT
#include "ui/statistics_window.h"

#include <vector>

#include "platform/files.h"
#include "ui/clipboard.h"
#include "ui/file_dialogs.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

std::string TextIn(HWND control) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(control, text.data(), static_cast<int>(text.size()))));
  return Utf8(text);
}

}  // namespace

StatisticsWindow::StatisticsWindow(WindowSurroundings& surroundings, int)
    : TableWindow(DIALOG_STATISTICS),
      surroundings_(surroundings),
      chart_(surroundings.program, [this] { FillLines(); }) {}

bool StatisticsWindow::OnInit() {
  maximum_format_ = TextIn(Control(STATISTICS_MAXIMUM));
  average_format_ = TextIn(Control(STATISTICS_AVERAGE));
  chart_.Begin(Control(STATISTICS_CHART));
  FillLines();
  counted_ = surroundings_.store_changes.Subscribe(Store::kStatistics,
                                                   [this](const StoreChange&) { chart_.Redraw(); });
  SetFocus(Control(IDCANCEL));  // not the chart, which comes first by Tab
  return false;
}

void StatisticsWindow::FillLines() {
  const StatisticNumbers& numbers = chart_.numbers();
  SetDlgItemTextW(window(), STATISTICS_MAXIMUM, Wide(MaximumLine(maximum_format_, numbers)).c_str());
  SetDlgItemTextW(window(), STATISTICS_AVERAGE, Wide(AverageLine(average_format_, numbers)).c_str());
}

std::span<const Anchor> StatisticsWindow::Anchors() const {
  constexpr unsigned kBelow = kLeftEdge | kBottomEdge;
  static constexpr Anchor kAnchors[] = {
      {STATISTICS_CHART, kAllEdges},
      {STATISTICS_MAXIMUM, kBelow},
      {STATISTICS_AVERAGE, kBelow},
      {STATISTICS_NOTE, kBelow},
      {IDCANCEL, kRightEdge | kBottomEdge},
      {STATISTICS_COPY, kRightEdge | kBottomEdge},
      {STATISTICS_SAVE, kRightEdge | kBottomEdge},
  };
  return kAnchors;
}

std::span<const ACCEL> StatisticsWindow::Accelerators() const {
  static constexpr ACCEL kKeys[] = {{FVIRTKEY | FCONTROL, 'C', STATISTICS_COPY},
                                    {FVIRTKEY | FCONTROL, 'S', STATISTICS_SAVE}};
  return kKeys;
}

// 0 is a pressed button, 1 a key of the accelerators.
bool StatisticsWindow::OnCommand(int id, int notification) {
  if (notification > 1) return false;
  switch (id) {
    case IDOK:
    case IDCANCEL:
      End(id);
      return true;
    case STATISTICS_COPY:
      Copy();
      return true;
    case STATISTICS_SAVE:
      Save();
      return true;
    default:
      return false;
  }
}

void StatisticsWindow::OnClosing() {
  counted_.reset();
}

// The lines move along with what they showed. While the window is being made that may not be painted yet, and
// what moved would stay.
void StatisticsWindow::OnSize(int, int) {
  RedrawWindow(window(), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void StatisticsWindow::OnDpiChanged(int) {
  chart_.OnDpiChanged();
}

void StatisticsWindow::OnSystemColours() {
  chart_.Redraw();
}

void StatisticsWindow::Copy() {
  const ScreenSize size = chart_.Size();
  DrawnPicture picture(size.width, size.height);
  std::string packed;
  if (picture.context() != nullptr) {
    chart_.DrawInto(picture);
    packed = picture.ForClipboard();
  }
  if (!CopyToClipboard(window(), Wide(TabSeparated(chart_.numbers())), packed)) {
    ShowMessageBox(window(), Text::kNotCopied, MB_OK | MB_ICONEXCLAMATION);
  }
}

std::optional<std::string> StatisticsWindow::Png() const {
  const ScreenSize size = chart_.Size();
  DrawnPicture picture(size.width, size.height);
  if (picture.context() == nullptr) return std::nullopt;
  chart_.DrawInto(picture);
  return picture.Png();
}

void StatisticsWindow::Save() {
  const std::vector<FileFilter> filters = {{std::string(TextOf(Text::kCsvFileFilter)), "*.csv"},
                                           {std::string(TextOf(Text::kPngFileFilter)), "*.png"}};
  const auto file = AskWhereToSave(window(), filters, TextOf(Text::kStatistic), "csv");
  if (!file) return;
  const auto bytes = IsPictureFile(file->path, file->filter == 1) ? Png() : CommaSeparated(chart_.numbers());
  if (!bytes || !ReplaceWholeFile(file->path, *bytes)) {
    ShowMessageBox(window(), WideFormat(Text::kStatisticNotSaved, {file->path}), MB_OK | MB_ICONEXCLAMATION);
  }
}

}  // namespace quillbeaker
