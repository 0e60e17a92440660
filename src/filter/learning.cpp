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

std::vector<std::uint32_t> CountsOf(const WordCountTable& list) {
  std::vector<std::uint32_t> counts;
  counts.reserve(list.entries().size());
  for (const WordEntry& entry : list.entries()) counts.push_back(entry.count);
  return counts;
}

// The lists need no step then: the new name alone decides.
bool KeepLessonWithoutWords(const Program& program, std::string_view mails) {
  const std::string prepared = program.PathOf(kLessonPrepared);
  EraseFile(prepared);
  if (!WriteWholeFile(prepared, SerialiseLesson({}, {}, mails), /*flush=*/true)) return false;
  return static_cast<bool>(RenameFile(prepared, program.PathOf(kLessonOpen)));
}

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
  base.counts = CountsOf(list);
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
bool LearningBatch::AddToDisk(const WordCountTable& list, const Base& base, Merged& merged) {
  WordCountTable& fresh = merged.fresh.emplace();
  fresh.byte_budget = list.byte_budget;
  if (!fresh.Load(list.file_name())) return false;
  merged.counts = CountsOf(fresh);
  merged.messages = fresh.messages;
  fresh.AddMessages(list.messages - base.messages);
  const std::span<const WordEntry> entries = list.entries();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const WordEntry& entry = entries[i];
    const std::uint32_t counted = entry.count - (i < base.counts.size() ? base.counts[i] : 0);
    if (counted != 0 && !fresh.Add(entry, counted)) merged.refusals += counted;
  }
  // Words that found this batch's copy full: somebody else may have had room for them.
  for (const WordEntry& entry : base.refused.entries()) {
    if (fresh.Add(entry, entry.count)) merged.refusals -= entry.count;
  }
  return true;
}

bool LearningBatch::Merge(const WordCountTable& list, const Base& base, Merged& merged) {
  merged.refusals = base.refusals;
  if (base.certain && StateOfFile(list.file_name()) == base.file) return true;
  return AddToDisk(list, base, merged);
}

// What the saved list has beyond the one of the disk, which is what an undo takes from it: a full list or a
// count at its largest may have taken less than was counted.
LearntWords LearningBatch::Added(const Merged& merged, const WordCountTable& list, const Base& base) {
  const WordCountTable& saved = merged.fresh ? *merged.fresh : list;
  const std::vector<std::uint32_t>& counts = merged.fresh ? merged.counts : base.counts;
  LearntWords added;
  added.messages = saved.messages - (merged.fresh ? merged.messages : base.messages);
  const std::span<const WordEntry> entries = saved.entries();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::uint32_t count = entries[i].count - (i < counts.size() ? counts[i] : 0);
    if (count == 0) continue;
    added.words.push_back(entries[i]);
    added.words.back().count = count;
  }
  return added;
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

// The record is prepared first: the lists are not replaced without one. A record that would be too large ends
// what the former one could undo, since that is no longer the last lesson.
bool LearningBatch::SaveBothAsLesson(const Merged& good, const Merged& bad, std::string_view mails) const {
  const std::string record =
      mails.size() < kMostLessonBytes
          ? SerialiseLesson(Added(good, tables_.good, good_), Added(bad, tables_.bad, bad_), mails)
          : std::string();
  if (record.empty() || record.size() > kMostLessonBytes) {
    EraseFile(program_.PathOf(kLastLesson));
    return SaveBoth(good, bad);
  }
  const std::string prepared = program_.PathOf(kLessonPrepared);
  EraseFile(prepared);
  if (!WriteWholeFile(prepared, record, /*flush=*/true)) return false;
  const WordCountTable& good_list = good.fresh ? *good.fresh : tables_.good;
  const WordCountTable& bad_list = bad.fresh ? *bad.fresh : tables_.bad;
  const RecordStep step = mails.empty() ? RecordStep::kClose : RecordStep::kOpen;
  if (SaveBothWordLists(program_, good_list.Serialise(), bad_list.Serialise(), step)) return true;
  EraseFile(prepared);
  return false;
}

// On failure nothing of the batch has changed, or a second attempt would count twice.
bool LearningBatch::SaveWith(const std::function<bool(const Merged& good, const Merged& bad)>& save) {
  const std::string directory = program_.PathOf(kListDirectory);
  if (!MakeDirectory(directory)) return false;
  StoreLock lock(program_.PathOf(kWordListLock));
  const auto held = lock.Acquire();
  if (!RecoverWordLists(program_)) return false;
  Merged good;
  Merged bad;
  if (!Merge(tables_.good, good_, good) || !Merge(tables_.bad, bad_, bad)) return false;
  if (!save(good, bad)) return false;
  TakeOver(good, tables_.good, good_);
  TakeOver(bad, tables_.bad, bad_);
  // Callers delete the learnt mail after this returns, so it must be on the disk.
  FlushDirectory(directory);
  counted_ = 0;
  return true;
}

bool LearningBatch::Save() {
  if (empty()) return true;
  return SaveWith([this](const Merged& good, const Merged& bad) { return SaveBoth(good, bad); });
}

bool LearningBatch::SaveAsLesson(std::string_view mails) {
  if (empty()) return mails.empty() || KeepLessonWithoutWords(program_, mails);
  return SaveWith([&](const Merged& good, const Merged& bad) { return SaveBothAsLesson(good, bad, mails); });
}

}  // namespace quillbeaker
