// SPDX-License-Identifier: MIT
#include "ui/presenter/settings_dialog.h"

#include <algorithm>

#include "message/display_text.h"
#include "ui/presenter/level_page.h"
#include "ui/presenter/plain_pages.h"
#include "ui/presenter/senders_page.h"
#include "ui/presenter/spam_words_page.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

template <typename Page>
std::unique_ptr<SettingsPage> Make(const SettingsSurroundings& surroundings, PageView& view) {
  return std::make_unique<Page>(surroundings, view);
}

template <typename Page>
std::unique_ptr<ListPage> MakeList(const SettingsSurroundings& surroundings, ListPageView& view) {
  return std::make_unique<Page>(surroundings, view);
}

template <std::int32_t kind>
std::unique_ptr<ListPage> MakeSenders(const SettingsSurroundings& surroundings, ListPageView& view) {
  return std::make_unique<SendersPage>(surroundings, view, kind);
}

constexpr SettingsPageRow kPages[] = {
    {PAGE_GENERAL, 0, Text::kPageGeneral, "configgeneral.htm", Make<GeneralPage>},
    {PAGE_TRAY, PAGE_GENERAL, Text::kPageTray, "configtray.htm", Make<TrayPage>},
    {PAGE_CONNECTION, PAGE_GENERAL, Text::kPageConnection, "configconn.htm", Make<ConnectionPage>},
    {PAGE_FILTER, 0, Text::kPageFilter, "configfilter.htm", Make<FilterPage>},
    {PAGE_TRAINING_AREA, PAGE_FILTER, Text::kPageTrainingArea, "configtrainingarea.htm",
     Make<TrainingAreaPage>},
    {PAGE_AGGRESSIVENESS, PAGE_FILTER, Text::kPageAggressiveness, "configaggressiveness.htm",
     Make<LevelPage>},
    {PAGE_SPAM_WORDS, PAGE_FILTER, Text::kPageSpamWords, "configspamwords.htm", nullptr,
     MakeList<SpamWordsPage>},
    {PAGE_SENDERS, 0, Text::kPageSenders, "configsenders.htm", nullptr},
    {PAGE_BLOCKED_SENDERS, PAGE_SENDERS, Text::kPageBlockedSenders, "configblocked.htm", nullptr,
     MakeSenders<kSenderBlocked>},
    {PAGE_FRIENDS, PAGE_SENDERS, Text::kPageFriends, "configfriends.htm", nullptr,
     MakeSenders<kSenderFriend>},
};

}  // namespace

std::span<const SettingsPageRow> SettingsPages() {
  return kPages;
}

const SettingsPageRow* FindSettingsPage(int id) {
  const auto found = std::find_if(std::begin(kPages), std::end(kPages),
                                  [id](const SettingsPageRow& page) { return page.id == id; });
  return found == std::end(kPages) ? nullptr : found;
}

SettingsDialogPresenter::SettingsDialogPresenter(const SettingsSurroundings& surroundings,
                                                 SettingsDialogView& view, int& last_page, int wanted)
    : surroundings_(surroundings), view_(view), last_page_(last_page) {
  if (FindSettingsPage(wanted) != nullptr) last_page_ = wanted;
  if (FindSettingsPage(last_page_) == nullptr) last_page_ = PAGE_GENERAL;
}

void SettingsDialogPresenter::Select(int id) {
  const SettingsPageRow* page = FindSettingsPage(id);
  if (page == nullptr) return;
  last_page_ = id;
  view_.ShowPage(*page);
}

std::string_view SettingsDialogPresenter::HelpPage() const {
  const SettingsPageRow* page = FindSettingsPage(last_page_);
  return page == nullptr ? kPages[0].help_page : page->help_page;
}

void SettingsDialogPresenter::Ok() {
  if (is_applying_) return;
  is_applying_ = true;
  applied_ = {};
  view_.SendApply(ApplyAddress());
  is_applying_ = false;
  const std::string unsaved = applied_.changes.Save(surroundings_.program);
  if (!unsaved.empty()) {
    // The dialog stays, with everything that was entered.
    view_.Warn(Format(Text::kSettingNotSaved, {DisplayLine(unsaved)}));
    return;
  }
  if (applied_.starts_with_system && !surroundings_.set_starts_with_system(*applied_.starts_with_system)) {
    view_.Warn(TextOf(Text::kStartNotSaved));
  }
  if (applied_.restart_needed) view_.Inform(TextOf(Text::kRestartNeeded));
  view_.RearmUpdateCheck();
  view_.Close();
}

bool SettingsDialogPresenter::ApplyPage(SettingsPage& page, const void* address) {
  if (!is_applying_ || address != ApplyAddress()) return false;
  if (page.is_open()) page.Apply(applied_);
  return true;
}

}  // namespace quillbeaker
