// SPDX-License-Identifier: MIT
#pragma once

// "Why was this taken?": what the filter says of a stored mail with today's lists. Knows no window.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "ui/presenter/list_page.h"
#include "ui/presenter/mail_to_explain.h"

namespace quillbeaker {

class WhyDialog : public SmallDialog {
 public:
  struct Surroundings {
    Program& program;
    std::function<bool(std::string_view text)> copy;  // into the clipboard; false when that failed
    // Opens the settings at that spam word, in the bytes of its file, once the dialog is closed.
    std::function<void(const std::string& word)> show_word;
  };

  WhyDialog(Surroundings surroundings, MailToExplain mail);

  void Load(PageView& view) override;
  void Pressed(PageView& view, int control) override;
  bool IsAnswered() const override { return is_answered_; }
  bool Ok(PageView&) override { return true; }

 private:
  const Surroundings surroundings_;
  const MailToExplain mail_;
  std::string text_;
  std::vector<std::string> words_;  // spam words in the order of the list
  bool is_answered_ = false;
};

}  // namespace quillbeaker
