// SPDX-License-Identifier: MIT
#pragma once

// Why a mail is judged as it is, in a person's words.

#include <optional>
#include <string>

#include "filter/explanation.h"

namespace quillbeaker {

// What decided, in the middle of a sentence.
std::string PlainReason(const Judgement& judgement);
// The judgement that the words belong to: the size limit is the mail check's, and no part of that.
const Judgement& JudgementOfContent(const Explanation& explanation);

// Who sent it, and the entry of the lists that matches: one line without its end.
std::string LineOfSender(const Explanation& explanation);

// All of it as lines that end in CR LF, UTF-8. `was_spam` is the judgement of the mail check, when that is
// known: it is said when today's is another one.
std::string ExplanationText(const Explanation& explanation, std::optional<bool> was_spam);

}  // namespace quillbeaker
