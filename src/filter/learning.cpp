// SPDX-License-Identifier: MIT
#include "filter/learning.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <utility>

#include "filter/tokeniser.h"
#include "filter/word_list_journal.h"
#include "platform/file_lock.h"

namespace quillbeaker {

namespace {

constexpr std::string_view kListDirectory = "training";
// Room for the words that found a list full, so that endless new words cost no endless memory: some 80,000.
constexpr std::uint32_t kMostRefusedBytes = 1U << 20;

}  // namespace

LearningBatch::LearningBatch(Program& program) : program_(program) {
  Load();
}

void LearningBatch::Load() {
  // The state is taken first: a list that somebody replaces in between then counts as changed.
  good_.file = StateOfFile(program_.PathOf(kGoodWordList));
  bad_.file = StateOfFile(program_.PathOf(kBadWordList));
  good_.certain = !ChangedJustNow(good_.file);
  bad_.certain = !ChangedJustNow(bad_.file);
  if (!tables_.Load(program_, /*load_spam_words=*/false)) good_.certain = bad_.certain = false;
  Remember(tables_.good, good_);
  Remember(tables_.bad, bad_);
}

void LearningBatch::Remember(const WordCountTable& list, Base& base) {
  base.counts.clear();
  base.counts.reserve(list.entries().size());
  for (const WordEntry& entry : list.entries()) base.counts.push_back(entry.count);
  base.messages = list.messages;
  base.refused.Clear();
  base.refused.byte_budget = kMostRefusedBytes;
}

void LearningBatch::Count(const MailMessage& message, LearnKind kind, std::uint32_t times) {
  words_.Clear();
  CountMessage(message, words_);
  Count(words_, kind, times);
}

void LearningBatch::Count(const WordCountTable& words, LearnKind kind, std::uint32_t times) {
  if (times == 0) return;
  const bool spam = kind == LearnKind::kSpam;
  CountInto(words, times, spam ? tables_.bad : tables_.good, spam ? bad_ : good_);
  ++counted_;
}

void LearningBatch::CountInto(const WordCountTable& words, std::uint32_t times, WordCountTable& list,
                              Base& base) {
  list.AddMessages(times);
  for (const WordEntry& word : words.entries()) {
    const std::uint64_t product = std::uint64_t{word.count} * times;
    const std::uint32_t count = static_cast<std::uint32_t>(std::min<std::uint64_t>(product, UINT32_MAX));
    if (list.Add(word, count)) continue;
    base.refused.Add(word, count);
    base.refusals += count;
  }
}

std::uint64_t LearningBatch::refused(LearnKind kind) const {
  return kind == LearnKind::kSpam ? bad_.refusals : good_.refusals;
}

// The list as the disk has it, plus what was counted. Words are added in the order in which they were first
// seen, which is all that slots and a budget depend on.
bool LearningBatch::AddToDisk(const WordCountTable& list, const Base& base, WordCountTable& fresh,
                              std::uint64_t& refusals) {
  fresh.byte_budget = list.byte_budget;
  if (!fresh.Load(list.file_name())) return false;
  fresh.AddMessages(list.messages - base.messages);
  const std::span<const WordEntry> entries = list.entries();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const WordEntry& entry = entries[i];
    const std::uint32_t counted = entry.count - (i < base.counts.size() ? base.counts[i] : 0);
    if (counted != 0 && !fresh.Add(entry, counted)) refusals += counted;
  }
  // Words that found this batch's copy full: somebody else may have had room for them.
  for (const WordEntry& entry : base.refused.entries()) {
    if (fresh.Add(entry, entry.count)) refusals -= entry.count;
  }
  return true;
}

bool LearningBatch::Merge(const WordCountTable& list, const Base& base, Merged& merged) {
  merged.refusals = base.refusals;
  if (base.certain && StateOfFile(list.file_name()) == base.file) return true;
  return AddToDisk(list, base, merged.fresh.emplace(), merged.refusals);
}

void LearningBatch::TakeOver(Merged& merged, WordCountTable& list, Base& base) {
  if (merged.fresh) list = std::move(*merged.fresh);
  base.refusals = merged.refusals;
  Remember(list, base);
  base.certain = false;
}

bool LearningBatch::SaveBoth(const Merged& good, const Merged& bad) const {
  const WordCountTable& good_list = good.fresh ? *good.fresh : tables_.good;
  const WordCountTable& bad_list = bad.fresh ? *bad.fresh : tables_.bad;
  const bool good_changes = tables_.good.messages != good_.messages;
  const bool bad_changes = tables_.bad.messages != bad_.messages;
  if (good_changes && bad_changes) {
    return SaveBothWordLists(program_, good_list.Serialise(), bad_list.Serialise());
  }
  // The list that nothing was counted into goes first: when the other one then cannot be written, nothing has
  // changed.
  return bad_changes ? good_list.Save() && bad_list.Save() : bad_list.Save() && good_list.Save();
}

// On failure nothing of the batch has changed, or a second attempt would count twice.
bool LearningBatch::Save() {
  if (empty()) return true;
  const std::string directory = program_.PathOf(kListDirectory);
  if (!MakeDirectory(directory)) return false;
  StoreLock lock(program_.PathOf(kWordListLock));
  const auto held = lock.Acquire();
  if (!RecoverWordLists(program_)) return false;
  Merged good;
  Merged bad;
  if (!Merge(tables_.good, good_, good) || !Merge(tables_.bad, bad_, bad)) return false;
  if (!SaveBoth(good, bad)) return false;
  TakeOver(good, tables_.good, good_);
  TakeOver(bad, tables_.bad, bad_);
  // Callers delete the learnt mail after this returns, so it must be on the disk.
  FlushDirectory(directory);
  counted_ = 0;
  return true;
}

}  // namespace quillbeaker
