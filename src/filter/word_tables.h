// SPDX-License-Identifier: MIT
#pragma once

// What the filter knows of words: the spam words and the two learnt lists. Loaded for one pass over mail or
// one learning step and then dropped; nothing is kept between those.

#include <string_view>
#include <vector>

#include "config/program.h"
#include "filter/spam_words.h"
#include "filter/word_count_table.h"
#include "message/mail_message.h"

namespace quillbeaker {

// In the program directory.
inline constexpr std::string_view kGoodWordList = "training/good.Quillbeaker.wordlist";
inline constexpr std::string_view kBadWordList = "training/bad.Quillbeaker.wordlist";

// Held while the lists are brought up to date and saved.
inline constexpr std::string_view kWordListLock = "training/wordlist.lock";

enum class LearnKind { kGood = 0, kSpam = 1 };

struct WordTables {
  // Sets the budgets from the configuration (each list gets half of the kilobytes), loads both lists and,
  // when asked, the spam words. Missing files are empty tables; false when a list is there and cannot be
  // read. Both lists are of one state: what a crash left half saved is finished first, and somebody who saves
  // at this moment is waited for.
  bool Load(const Program& program, bool load_spam_words);
  // Writes both lists back to the files they were loaded from. True when both were written.
  bool Save() const;
  // Counts the message's words into the list of that kind.
  void Count(const MailMessage& message, LearnKind kind);

  std::vector<SpamWord> spam_words;
  WordCountTable good;
  WordCountTable bad;

 private:
  bool LoadLists(const Program& program);
};

}  // namespace quillbeaker
