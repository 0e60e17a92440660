// SPDX-License-Identifier: MIT
#include "ui/why_window.h"

#include <string>

#include "ui/clipboard.h"
#include "ui/presenter/why_dialog.h"
#include "ui/resource.h"
#include "ui/small_dialog_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {

void ShowWhy(HWND owner, WindowSurroundings& surroundings, const MailToExplain& mail) {
  WhyDialog dialog({.program = surroundings.program,
                    .copy = [owner](std::string_view text) { return CopyToClipboard(owner, Wide(text)); },
                    .show_word =
                        [&surroundings](const std::string& word) {
                          *surroundings.settings.word_to_show = word;
                          surroundings.last_settings_page = PAGE_SPAM_WORDS;
                          surroundings.settings.run(COMMAND_SETTINGS);
                        }},
                   mail);
  SmallDialogWindow(DIALOG_WHY, dialog, surroundings.program).RunModal(owner);
}

}  // namespace quillbeaker
