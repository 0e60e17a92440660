// SPDX-License-Identifier: MIT
#pragma once

// Cuts text into the words that the learnt lists count.

#include <string_view>

#include "filter/word_count_table.h"
#include "message/mail_message.h"

namespace quillbeaker {

// Adds every word of 3 to 20 bytes that is followed by a delimiter and is not made of digits alone, in lower
// case. Deliberate: a word at the very end of the text does not count, and the length counter starts again at
// 500.
void Tokenise(std::string_view text, WordCountTable& table);

// Counts one message: messages + 1, the words of its decoded text without HTML, then those of its Subject.
void CountMessage(const MailMessage& message, WordCountTable& table);
// The same when the decoded text (HTML removed) is at hand already.
void CountMessage(const MailMessage& message, std::string_view stripped_text, WordCountTable& table);

}  // namespace quillbeaker
