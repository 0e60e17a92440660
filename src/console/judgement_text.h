// SPDX-License-Identifier: MIT
#pragma once

// A judgement as `classify` and `explain` tell it: a line for people, an object for programs.

#include <string>

#include "console/json_text.h"
#include "filter/mail_filter.h"

namespace quillbeaker {

// Judgement, probability, file and reason, with the line's end.
std::string LineOfJudgement(const std::string& file, const Judgement& judgement);
Json JsonOfJudgement(const std::string& file, const Judgement& judgement);

// In the place of a judgement where the file can not be read.
std::string LineOfUnreadable(const std::string& file, bool json);

}  // namespace quillbeaker
