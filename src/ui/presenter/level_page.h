// SPDX-License-Identifier: MIT
#pragma once

// The page "Aggressiveness": five levels and, of the three in the middle, the threshold. Knows no window.

#include <array>
#include <cstdint>
#include <string>

#include "ui/presenter/settings_page.h"

namespace quillbeaker {

// Aggressiveness is written by OK, as a plain setting is; a threshold into the user's file, and only where it
// differs from the predefined one.
class LevelPage : public SettingsPage {
 public:
  LevelPage(const SettingsSurroundings& surroundings, PageView& view);

  void Load() override;
  void Chosen(int control) override;
  void Edited(int control) override;
  void Left(int control) override;
  void Apply(AppliedSettings& applied) override;

 private:
  void ShowLevel();
  // The place of the chosen level, -1 for none.
  int Place() const;

  const SettingsSurroundings& surroundings_;
  PageView& view_;
  std::array<std::int32_t, std::size(choices::kLevels)> thresholds_{};  // -1: none
  std::int32_t shown_ = -1;  // of the chosen level, before the person typed
  bool is_showing_ = false;
  bool is_disabled_ = false;
};

}  // namespace quillbeaker
