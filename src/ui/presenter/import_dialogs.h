// SPDX-License-Identifier: MIT
#pragma once

// The questions of an import of senders, each a small dialog: where from, which columns of a text file, and
// whether to take a sender that was found. Know no window.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/senders/sender_import.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

// Where to import from.
class ImportSourceDialog : public SmallDialog {
 public:
  // `first_choice` names the system's own list; nothing leaves what the template says.
  explicit ImportSourceDialog(std::optional<std::string_view> first_choice) : first_choice_(first_choice) {}

  void Load(PageView& view) override;
  bool Ok(PageView& view) override;

  // ImportChoice::kCancel before Ok.
  ImportChoice choice() const { return choice_; }

 private:
  const std::optional<std::string_view> first_choice_;
  ImportChoice choice_ = ImportChoice::kCancel;
};

// Which columns of a text file hold name and address, by the fields of its first line.
class ImportColumnsDialog : public SmallDialog {
 public:
  // What `guess` names is selected at first; without it nothing is.
  ImportColumnsDialog(std::vector<std::string> fields, std::optional<CsvColumns> guess)
      : fields_(std::move(fields)), guess_(guess) {}

  void Load(PageView& view) override;
  // Asks for the column that is not selected yet.
  bool Ok(PageView& view) override;

  // Nothing before Ok.
  std::optional<CsvColumns> columns() const { return columns_; }

 private:
  const std::vector<std::string> fields_;
  const std::optional<CsvColumns> guess_;
  std::optional<CsvColumns> columns_;
};

// What a dialog shows of a name or an address: longer ones lose their middle, so that beginning and domain
// stay in view.
inline constexpr std::size_t kMostShownOfSender = 80;  // characters

// One sender that was found.
class ImportOfferDialog : public SmallDialog {
 public:
  explicit ImportOfferDialog(FoundSender found) : found_(std::move(found)) {}

  void Load(PageView& view) override;
  void Pressed(PageView& view, int control) override;
  bool IsAnswered() const override { return answer_ != OfferAnswer::kCancel; }
  bool Ok(PageView&) override { return false; }  // it has no OK

  // OfferAnswer::kCancel until another button was pressed.
  OfferAnswer answer() const { return answer_; }

 private:
  const FoundSender found_;
  OfferAnswer answer_ = OfferAnswer::kCancel;
};

}  // namespace quillbeaker
