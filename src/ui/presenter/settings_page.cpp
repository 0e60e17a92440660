// SPDX-License-Identifier: MIT
#include "ui/presenter/settings_page.h"

#include "config/texts.h"
#include "message/display_text.h"

namespace quillbeaker {

void SettingsPage::Open(const Program& program, PageView& view) {
  for (const IniFile* const file : {&program.configuration, &program.spam_words, &program.user_spam_words}) {
    if (file->ReadOrNull() != nullptr) continue;
    view.DisablePage();
    view.Tell(Format(Text::kSettingsNotRead, {DisplayLine(file->path())}));
    return;
  }
  is_open_ = true;
  Load();
}

}  // namespace quillbeaker
