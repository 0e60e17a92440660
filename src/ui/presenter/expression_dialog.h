// SPDX-License-Identifier: MIT
#pragma once

// The dialog for a spam word to add or to edit: what it takes and what it refuses. Knows no window.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ui/presenter/list_page.h"

namespace quillbeaker {

inline constexpr std::size_t kMostExpressionBytes = 254;

class ExpressionDialog : public SmallDialog {
 public:
  // To add one: `is_listed` says of an expression, in the file's bytes, whether the list has it already.
  explicit ExpressionDialog(std::function<bool(const std::string&)> is_listed);
  // To edit one, of which only the probability can change.
  ExpressionDialog(std::string expression, std::int32_t probability);

  std::string Caption() const override;
  void Load(PageView& view) override;
  bool Ok(PageView& view) override;

  // After Ok, in the file's bytes.
  const std::string& expression() const { return expression_; }
  std::int32_t probability() const { return probability_; }

 private:
  const std::function<bool(const std::string&)> is_listed_;
  const bool is_new_;
  std::string expression_;
  std::int32_t probability_ = 0;
};

}  // namespace quillbeaker
