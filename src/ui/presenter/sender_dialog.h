// SPDX-License-Identifier: MIT
#pragma once

// The dialog for a sender to add or to edit. OK saves at once, and the dialog stays when that was not to be.
// Knows no window.

#include <functional>
#include <string>
#include <string_view>

#include "filter/sender_lists.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

class SenderDialog : public SmallDialog {
 public:
  // `shown` fills the fields; `save` is handed what is in them, in the file's bytes. `configuration_path` is
  // named when the file could not be written.
  SenderDialog(SenderRecord shown, bool is_new, std::string configuration_path,
               std::function<SenderChange(const SenderRecord&)> save);

  std::string Caption() const override;
  void Load(PageView& view) override;
  void Edited(PageView& view, int control) override;
  void Pressed(PageView& view, int control) override;
  bool Ok(PageView& view) override;

  // After Ok.
  const SenderRecord& record() const { return record_; }

 private:
  SenderRecord record_;
  const bool is_new_;
  const std::string configuration_path_;
  const std::function<SenderChange(const SenderRecord&)> save_;
};

// "ann@example.org" as "*@example.org"; a text without "@" as it is.
std::string WholeDomain(std::string_view address);
// Whether it is a pattern of nothing but "*", "?", "@" and ".".
bool MatchesEverybody(std::string_view address);

}  // namespace quillbeaker
