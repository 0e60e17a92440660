// SPDX-License-Identifier: MIT
#include "ui/presenter/expression_dialog.h"

#include <utility>

#include "config/ascii.h"
#include "config/settings.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::int32_t kLeastProbability = 0;
constexpr std::int32_t kMostProbability = 100;
constexpr std::size_t kProbabilityDigits = 9;

// What was typed as the file holds it: one line without outer blanks, no character cut in two.
std::string FileForm(std::string typed) {
  std::string bytes(TrimBlanks(WithoutControlBytes(Latin1FromTyped(typed))));
  while (bytes.size() > kMostExpressionBytes) {
    do {
      typed.pop_back();
    } while (!typed.empty() && !IsUtf8(typed));
    bytes = TrimBlanks(WithoutControlBytes(Latin1FromTyped(typed)));
  }
  return bytes;
}

bool FileCanHold(const std::string& expression) {
  return expression.find('=') == std::string::npos && expression.front() != ';' && expression.front() != '[';
}

bool Refuse(PageView& view, int control, std::string_view why) {
  view.Warn(why);
  view.Focus(control);
  return false;
}

}  // namespace

ExpressionDialog::ExpressionDialog(std::function<bool(const std::string&)> is_listed)
    : is_listed_(std::move(is_listed)), is_new_(true) {}

ExpressionDialog::ExpressionDialog(std::string expression, std::int32_t probability)
    : is_new_(false), expression_(std::move(expression)), probability_(probability) {}

std::string ExpressionDialog::Caption() const {
  return is_new_ ? std::string() : std::string(TextOf(Text::kEditExpression));
}

void ExpressionDialog::Load(PageView& view) {
  view.LimitText(EXPRESSION_TEXT, kMostExpressionBytes, false);
  view.LimitText(EXPRESSION_PROBABILITY, kProbabilityDigits, true);
  if (is_new_) return;
  view.SetText(EXPRESSION_TEXT, DisplayLine(expression_));
  view.Enable(EXPRESSION_TEXT, false);
  view.SetText(EXPRESSION_PROBABILITY, std::to_string(probability_));
  view.Focus(EXPRESSION_PROBABILITY);
}

bool ExpressionDialog::Ok(PageView& view) {
  std::string expression = is_new_ ? FileForm(view.TextIn(EXPRESSION_TEXT)) : expression_;
  if (is_new_) {
    if (expression.empty()) return Refuse(view, EXPRESSION_TEXT, TextOf(Text::kEnterAValue));
    if (!FileCanHold(expression)) {
      return Refuse(view, EXPRESSION_TEXT, TextOf(Text::kExpressionMalformed));
    }
  }
  const std::optional<std::int32_t> probability = WholeNumber(view.TextIn(EXPRESSION_PROBABILITY));
  if (!probability || *probability > kMostProbability) {
    return Refuse(view, EXPRESSION_PROBABILITY,
                  Format(Text::kEnterAValueBetween,
                         {std::to_string(kLeastProbability), std::to_string(kMostProbability)}));
  }
  if (is_new_ && is_listed_(expression)) {
    return Refuse(view, EXPRESSION_TEXT, TextOf(Text::kExpressionAlreadyListed));
  }
  expression_ = std::move(expression);
  probability_ = *probability;
  return true;
}

}  // namespace quillbeaker
