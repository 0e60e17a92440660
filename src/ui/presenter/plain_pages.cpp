// SPDX-License-Identifier: MIT
#include "ui/presenter/plain_pages.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "extras/language_choice.h"
#include "extras/port_notice.h"
#include "extras/setting_text.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr Setting Row(const IntegerKey& key) {
  return {&key, nullptr};
}

constexpr Setting Row(const TextKey& key) {
  return {nullptr, &key};
}

constexpr std::string_view kBuiltInLanguage = "default";
constexpr std::size_t kSizeDigits = 9;

// Those that a page shows, in the order of its list.
constexpr BoundChoice kTrayChoices[] = {{Text::kRecycleBin, "40005"},
                                        {Text::kStatistic, "40007"},
                                        {Text::kTrainingArea, "40014"},
                                        {Text::kSettings, "40004"}};
constexpr BoundChoice kSecurityChoices[] = {{Text::kSecurityAutomatic, "auto"},
                                            {Text::kSecurityTls, "tls"},
                                            {Text::kSecurityStartTls, "starttls"},
                                            {Text::kSecurityNone, "plain"}};

constexpr Binding kGeneralBindings[] = {
    {GENERAL_UPDATES, Row(keys::kAutoCheckForUpdates)},
    {GENERAL_UPDATE_DAYS, Row(keys::kAutoCheckForUpdatesDays), GENERAL_UPDATES},
    {GENERAL_RECYCLE_DAYS, Row(keys::kRecycleBinMaxDays)},
    {GENERAL_ALPHA_BLENDING, Row(keys::kAlphaBlending)},
    {GENERAL_UID_CHECKING, Row(keys::kUidChecking)},
};
constexpr Binding kTrayBindings[] = {
    {TRAY_SHOW_BUBBLE, Row(keys::kShowBubble)},
    {TRAY_SECONDS, Row(keys::kTrayNumSeconds)},
    {TRAY_DOUBLE_CLICK, Row(keys::kTrayDblClk), 0, Writing::kAlways, kTrayChoices},
};
constexpr Binding kConnectionBindings[] = {
    {CONNECTION_TIMEOUT, Row(keys::kTimeout)},
    {CONNECTION_BYPASS_CHECK, Row(keys::kBypassConnectedState)},
    {CONNECTION_CLIENT_LOG, Row(keys::kLogFileClientFileName)},
    {CONNECTION_CLIENT_LOG_SIZE, Row(keys::kLogFileClientMaxSize)},
    {CONNECTION_SERVER_LOG, Row(keys::kLogFileServerFileName)},
    {CONNECTION_SERVER_LOG_SIZE, Row(keys::kLogFileServerMaxSize)},
    {CONNECTION_ALWAYS_ABORT, Row(keys::kAutoAbortOnTimeout)},
    {CONNECTION_PORT, Row(keys::kPort), 0, Writing::kIfOtherText},
    {CONNECTION_SECURITY, Row(keys::kSecurity), 0, Writing::kIfChangedHere, kSecurityChoices},
    {CONNECTION_CLIENT_TIMEOUT, Row(keys::kClientTimeout), 0, Writing::kIfChangedHere},
    {CONNECTION_SHOW_ERRORS, Row(keys::kShowErrors), 0, Writing::kIfChangedHere},
};
constexpr Binding kFilterBindings[] = {
    {FILTER_SPAM_WORDS, Row(keys::kFilterWordEnable)},
    {FILTER_IGNORE_HTML, Row(keys::kFilterWordHtml), FILTER_SPAM_WORDS},
    {FILTER_LEARNING, Row(keys::kFilterLearningEnable)},
    {FILTER_LEARN_FRIENDS, Row(keys::kFilterLearningAutoFriends), FILTER_LEARNING},
    {FILTER_LEARN_BLOCKED, Row(keys::kFilterLearningAutoBlocked), FILTER_LEARNING},
};
constexpr Binding kTrainingBindings[] = {
    {TRAINING_PAGE_DAYS, Row(keys::kTrainingAreaMaxDays), 0, Writing::kIfNumber},
    {TRAINING_PAGE_MEMORY, Row(keys::kTrainingAreaMaxMemory), 0, Writing::kIfNumber},
};

constexpr const IntegerKey* kFilterNeeds[] = {&keys::kEnable};
constexpr const IntegerKey* kTrainingNeeds[] = {&keys::kEnable, &keys::kFilterLearningEnable};

}  // namespace

TrayPage::TrayPage(const SettingsSurroundings& surroundings, PageView& view)
    : BindingsPage(surroundings, view, kTrayBindings, {}) {}

TrainingAreaPage::TrainingAreaPage(const SettingsSurroundings& surroundings, PageView& view)
    : BindingsPage(surroundings, view, kTrainingBindings, kTrainingNeeds) {}

GeneralPage::GeneralPage(const SettingsSurroundings& surroundings, PageView& view)
    : BindingsPage(surroundings, view, kGeneralBindings, {}) {}

void GeneralPage::Load() {
  BindingsPage::Load();
  view().SetChecked(GENERAL_RUN_AT_START_UP, surroundings().starts_with_system());
  view().Enable(GENERAL_ALPHA_BLENDING, surroundings().can_fade);
  for (const int command : {GENERAL_CHECK_NOW, GENERAL_EXPORT, GENERAL_IMPORT}) {
    view().Enable(command, surroundings().can_run(command));
  }
  languages_ = {std::string(kBuiltInLanguage), std::string()};
  std::vector<std::string> texts = {std::string(TextOf(Text::kLanguageBuiltIn)),
                                    std::string(TextOf(Text::kLanguageAsWindows))};
  for (LanguageInformation& language : ListLanguages(surroundings().program.environment.program_directory)) {
    texts.push_back(language.name.empty() ? language.file_name : std::move(language.name));
    languages_.push_back(std::move(language.file_name));
  }
  view().SetChoices(GENERAL_LANGUAGE, texts);
  const std::string stored = ReadableValue(Row(keys::kLanguage), loaded());
  const auto found = std::find_if(languages_.begin(), languages_.end(), [&stored](const std::string& one) {
    return EqualsIgnoringCase(one, stored);
  });
  const bool is_known = found != languages_.end();
  view().Choose(GENERAL_LANGUAGE, is_known ? static_cast<int>(found - languages_.begin()) : -1);
  language_changed_ = false;
}

void GeneralPage::Pressed(int control) {
  if (control == GENERAL_CHECK_NOW || control == GENERAL_EXPORT || control == GENERAL_IMPORT) {
    surroundings().run(control);
    return;
  }
  BindingsPage::Pressed(control);
}

void GeneralPage::Chosen(int control) {
  if (control == GENERAL_LANGUAGE) language_changed_ = true;
  BindingsPage::Chosen(control);
}

void GeneralPage::Apply(AppliedSettings& applied) {
  BindingsPage::Apply(applied);
  applied.starts_with_system = view().IsChecked(GENERAL_RUN_AT_START_UP);
  const int chosen = view().ChosenIn(GENERAL_LANGUAGE);
  if (!language_changed_ || chosen < 0 || static_cast<std::size_t>(chosen) >= languages_.size()) return;
  applied.changes.Set(Row(keys::kLanguage), languages_[static_cast<std::size_t>(chosen)]);
}

ConnectionPage::ConnectionPage(const SettingsSurroundings& surroundings, PageView& view)
    : BindingsPage(surroundings, view, kConnectionBindings, {}) {}

void ConnectionPage::Load() {
  ports_in_use_ = surroundings().ports_in_use();
  BindingsPage::Load();
  ShowWarning();
  ShowPortNote();
  view().Enable(CONNECTION_ACCOUNT, surroundings().can_run(COMMAND_ACCOUNT));
}

void ConnectionPage::Pressed(int control) {
  if (control == CONNECTION_ACCOUNT) {
    surroundings().run(COMMAND_ACCOUNT);
    return;
  }
  BindingsPage::Pressed(control);
}

void ConnectionPage::Edited(int control) {
  BindingsPage::Edited(control);
  if (control == CONNECTION_PORT && !is_loading()) ShowPortNote();
}

void ConnectionPage::Chosen(int control) {
  BindingsPage::Chosen(control);
  if (control == CONNECTION_SECURITY && !is_loading()) ShowWarning();
}

void ConnectionPage::ShowWarning() {
  const int chosen = view().ChosenIn(CONNECTION_SECURITY);
  const bool is_plain = chosen >= 0 && static_cast<std::size_t>(chosen) < std::size(kSecurityChoices) &&
                        kSecurityChoices[chosen].text == Text::kSecurityNone;
  view().SetText(CONNECTION_SECURITY_WARNING, is_plain ? TextOf(Text::kSecurityWarning) : std::string_view());
}

void ConnectionPage::ShowPortNote() {
  view().SetText(CONNECTION_PORT_NOTE, PortNote(ports_in_use_, view().TextIn(CONNECTION_PORT)));
}

std::string PortNote(const std::vector<PortUse>& in_use, std::string_view typed) {
  const int port = WholeNumber(typed).value_or(0);
  const auto user_of = [&in_use](int wanted) {
    return std::find_if(in_use.begin(), in_use.end(),
                        [wanted](const PortUse& use) { return use.port == wanted && !use.is_own; });
  };
  if (!IsPort(port)) {
    // An emptied field shows its former number again.
    if (typed.empty()) return {};
    return Format(Text::kEnterAValueBetween, {std::to_string(kLeastPort), std::to_string(kMostPort)});
  }
  const auto user = user_of(port);
  if (user == in_use.end()) return {};
  const std::string program =
      user->program.empty() ? std::string(TextOf(Text::kAnotherProgram)) : user->program;
  for (int next = port + 1; IsPort(next); ++next) {
    if (user_of(next) == in_use.end()) {
      return Format(Text::kPortUsedBy, {program, std::to_string(next)});
    }
  }
  return Format(Text::kPortUsedByNoOther, {program});
}

FilterPage::FilterPage(const SettingsSurroundings& surroundings, PageView& view)
    : BindingsPage(surroundings, view, kFilterBindings, kFilterNeeds) {}

void FilterPage::Load() {
  const auto configuration = surroundings().program.configuration.Read();
  is_off_ = LeadingInteger<std::int32_t>(ShownValue(Row(keys::kEnable), *configuration)) == 0;
  const std::string shown = ReadableValue(Row(keys::kFilterMaxMessageSize), *configuration);
  // A limit below one unit is still a limit: 0 would be none.
  const std::int32_t stored = surroundings().program.Read(keys::kFilterMaxMessageSize);
  const bool no_limit = stored <= 0;
  last_size_ = no_limit ? ReadableDefault(Row(keys::kFilterMaxMessageSize)) : shown == "0" ? "1" : shown;
  view().LimitText(FILTER_MAX_SIZE, kSizeDigits, true);
  view().SetText(FILTER_MAX_SIZE, no_limit ? std::string() : last_size_);
  view().SetChecked(FILTER_NO_SIZE_LIMIT, no_limit);
  BindingsPage::Load();
  EnableSize();
  size_changed_ = false;
}

void FilterPage::EnableSize() {
  if (!is_off_) view().Enable(FILTER_MAX_SIZE, !view().IsChecked(FILTER_NO_SIZE_LIMIT));
}

// 0 would mean no limit, and for that there is the check box.
void FilterPage::RestoreEmptiedSize() {
  if (view().IsChecked(FILTER_NO_SIZE_LIMIT)) return;
  const std::string text = view().TextIn(FILTER_MAX_SIZE);
  if (WholeNumber(text).value_or(0) == 0) {
    view().SetText(FILTER_MAX_SIZE, last_size_);
  } else {
    last_size_ = text;
  }
}

void FilterPage::Pressed(int control) {
  BindingsPage::Pressed(control);
  if (control != FILTER_NO_SIZE_LIMIT) return;
  RestoreEmptiedSize();
  EnableSize();
  size_changed_ = true;
}

void FilterPage::Edited(int control) {
  BindingsPage::Edited(control);
  if (control == FILTER_MAX_SIZE && !is_loading()) size_changed_ = true;
}

void FilterPage::Left(int control) {
  BindingsPage::Left(control);
  if (control == FILTER_MAX_SIZE) RestoreEmptiedSize();
}

void FilterPage::Apply(AppliedSettings& applied) {
  BindingsPage::Apply(applied);
  if (is_off_ || !size_changed_) return;
  RestoreEmptiedSize();
  const bool no_limit = view().IsChecked(FILTER_NO_SIZE_LIMIT);
  const StoredValue stored = StoredForm(Row(keys::kFilterMaxMessageSize), no_limit ? "0" : last_size_);
  if (stored.fault == SettingFault::kNone) {
    applied.changes.Set(Row(keys::kFilterMaxMessageSize), stored.text);
  }
}

}  // namespace quillbeaker
