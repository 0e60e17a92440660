// SPDX-License-Identifier: MIT
#pragma once

// A page that shows settings: a list of bindings between controls and rows of the settings table. Loading,
// enabling, checking and writing follow from the kind of the setting. Knows no window.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "config/texts.h"
#include "ui/presenter/settings_page.h"

namespace quillbeaker {

// What OK writes of a control.
enum class Writing {
  kAlways,         // also when it is as it was
  kIfNumber,       // a text that is no whole number leaves the stored value
  kIfOtherText,    // compared with the stored text; asks for a restart
  kIfChangedHere,  // only when the person has changed it on this page
};

// An entry of a drop-down list: the text it shows and what it stands for, as it is stored.
struct BoundChoice {
  Text text;
  std::string_view stored;
};

// A flag is a check box; with choices a drop-down list; everything else an edit field.
struct Binding {
  int control;
  Setting setting;
  int enabled_by = 0;  // a check box of the page; 0: none
  Writing writing = Writing::kAlways;
  std::span<const BoundChoice> choices = {};
};

class BindingsPage : public SettingsPage {
 public:
  // `needed` are flags of the configuration without which the page is disabled. Both lists must outlive the
  // page.
  BindingsPage(const SettingsSurroundings& surroundings, PageView& view, std::span<const Binding> bindings,
               std::span<const IntegerKey* const> needed);

  void Load() override;
  void Pressed(int control) override;
  void Edited(int control) override;
  void Left(int control) override;
  void Chosen(int control) override;
  void Apply(AppliedSettings& applied) override;

 protected:
  const SettingsSurroundings& surroundings() const { return surroundings_; }
  PageView& view() { return view_; }
  // The configuration as it was when the page was loaded.
  const IniDocument& loaded() const { return *loaded_; }
  // What the window reports while this page sets its controls itself is no change by the person.
  bool is_loading() const { return is_loading_; }

 private:
  struct State {
    bool changed = false;   // by the person
    std::string last_text;  // of an edit field for a number: put back when it is left empty
  };

  void LoadControl(const Binding& binding, State& state);
  void LoadChoices(const Binding& binding);
  std::string EditText(const Binding& binding) const;
  void RestoreEmptied(std::size_t place);
  void UpdateEnabling();
  void NoteChange(int control);
  void Write(std::size_t place, AppliedSettings& applied);

  const SettingsSurroundings& surroundings_;
  PageView& view_;
  const std::span<const Binding> bindings_;
  const std::span<const IntegerKey* const> needed_;
  std::shared_ptr<const IniDocument> loaded_;
  std::vector<State> states_;
  bool is_loading_ = false;
  bool is_disabled_ = false;
};

}  // namespace quillbeaker
