// SPDX-License-Identifier: MIT
#include "filter/sender_lists.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"

namespace quillbeaker {

namespace {

constexpr std::uint32_t kNoLine = UINT32_MAX;

bool IsWildcard(char c) {
  return c == '*' || c == '?';
}

// The name stands before the first comma, the number of the list behind the last one. A value without comma
// names no list.
void ReadValue(std::string_view value, SenderRecord& record) {
  record.name = value.substr(0, std::min(value.find(','), kMaxSenderName));
  const std::size_t comma = value.rfind(',');
  record.kind = comma == std::string_view::npos ? kSenderNone : IntegerOf(value.substr(comma + 1));
}

}  // namespace

// The entries as one version of the configuration file has them, prepared for look-ups: plain addresses are
// found by their hash, and only the patterns are tried one by one.
struct SenderLists::Index {
  struct Line {
    std::string_view key;
    std::string_view value;
    std::string_view lower_key;        // in lower_keys
    std::uint32_t same_key = kNoLine;  // next line with an equal key
    bool pattern = false;
  };

  explicit Index(std::shared_ptr<const IniDocument> document);
  void Fill(std::uint32_t line, SenderRecord& record) const;

  const std::shared_ptr<const IniDocument> source;  // owns what the views show
  std::vector<Line> lines;
  std::vector<std::uint32_t> patterns;                             // ascending
  std::unordered_map<std::string_view, std::uint32_t> first_line;  // by lower-case key, patterns too
  std::string lower_keys;
};

SenderLists::Index::Index(std::shared_ptr<const IniDocument> document) : source(std::move(document)) {
  std::size_t key_bytes = 0;
  for (const IniEntry& entry : source->Section(sections::kSenders)) {
    if (!entry.has_value) continue;
    Line& line = lines.emplace_back();
    line.key = entry.key;
    line.value = entry.value;
    key_bytes += entry.key.size();
  }
  lower_keys.reserve(key_bytes);  // so that the views into it stay
  first_line.reserve(lines.size());
  std::unordered_map<std::string_view, std::uint32_t> last_line;
  for (std::uint32_t i = 0; i < lines.size(); ++i) {
    Line& line = lines[i];
    const std::size_t begin = lower_keys.size();
    for (const char c : line.key) lower_keys += ToLowerAscii(c);
    line.lower_key = std::string_view(lower_keys).substr(begin);
    line.pattern = std::any_of(line.key.begin(), line.key.end(), IsWildcard);
    if (line.pattern) patterns.push_back(i);
    if (!first_line.emplace(line.lower_key, i).second) {
      const auto last = last_line.find(line.lower_key);
      lines[last == last_line.end() ? first_line[line.lower_key] : last->second].same_key = i;
      last_line[line.lower_key] = i;
    }
  }
}

void SenderLists::Index::Fill(std::uint32_t line, SenderRecord& record) const {
  ReadValue(lines[line].value, record);
  record.address = lines[line].key.substr(0, kMaxSenderAddress);
}

SenderLists::SenderLists(Program& program) : program_(program) {}

std::shared_ptr<const SenderLists::Index> SenderLists::CurrentIndex() const {
  std::shared_ptr<const IniDocument> document = program_.configuration.Read();
  const std::lock_guard guard(mutex_);
  if (!index_ || index_->source != document) index_ = std::make_shared<const Index>(std::move(document));
  return index_;
}

// The plain entries of the address and the patterns that match it are visited together in file order; what an
// entry does to those before it depends on that order.
bool SenderLists::LookUp(std::string_view address, SenderRecord& record) const {
  const std::shared_ptr<const Index> index = CurrentIndex();
  const std::string lower = LowerAscii(address);
  record.kind = kSenderNone;

  const auto plain = index->first_line.find(lower);
  std::uint32_t exact = plain == index->first_line.end() ? kNoLine : plain->second;
  const auto apply_exact_before = [&](std::uint32_t end) {
    for (; exact < end; exact = index->lines[exact].same_key) index->Fill(exact, record);
  };
  for (const std::uint32_t line : index->patterns) {
    const std::string_view pattern = index->lines[line].lower_key;
    // A pattern that is written like the address itself is an exact entry and stands in that chain.
    if (!MatchesWildcard(pattern, lower) || pattern == lower) continue;
    apply_exact_before(line);
    SenderRecord candidate;
    ReadValue(index->lines[line].value, candidate);
    if (record.kind == kSenderNone || (record.kind == kSenderBlocked && candidate.kind == kSenderFriend)) {
      index->Fill(line, record);
    }
  }
  apply_exact_before(kNoLine);
  return record.kind != kSenderNone;
}

bool SenderLists::LookUp(const MailMessage& message, SenderRecord& record) const {
  record.kind = kSenderNone;
  if (!SenderRecordOf(program_, message, record)) return false;
  const std::string address = record.address;  // the look-up overwrites the record's
  return LookUp(address, record);
}

bool SenderLists::IsKey(std::string_view address) const {
  return CurrentIndex()->first_line.contains(LowerAscii(SenderKey(address)));
}

bool SenderLists::Write(const SenderRecord& record) {
  const std::string key = SenderKey(record.address);
  if (key.empty()) return false;
  const std::string value = record.name.substr(0, kMaxSenderName) + ',' + std::to_string(record.kind);
  return program_.configuration.WriteString(sections::kSenders, key, value);
}

bool SenderLists::Remove(std::string_view address) {
  return program_.configuration.RemoveKey(sections::kSenders, SenderKey(address));
}

void SenderLists::Refresh(const MailMessage&) {
  // Deliberate: the entry that matched is not written back. Reading cuts a name at its first comma, so that a
  // write would damage "Smith, Bob,2", and it would bring back an entry that was removed since the pass
  // began.
}

void SenderLists::Enumerate(const std::function<void(const SenderRecord&)>& callback) const {
  const std::shared_ptr<const Index> index = CurrentIndex();
  for (std::uint32_t i = 0; i < index->lines.size(); ++i) {
    SenderRecord record;
    index->Fill(i, record);
    callback(record);
  }
}

std::string SenderKey(std::string_view address) {
  std::string key(TrimBlanks(WithoutControlBytes(address.substr(0, kMaxSenderAddress))));
  std::replace(key.begin(), key.end(), '=', '?');
  if (!key.empty() && (key.front() == ';' || key.front() == '[')) key.front() = '?';
  return key;
}

bool MatchesWildcard(std::string_view pattern, std::string_view text) {
  // What stands behind the last star can only match the text's end. Most patterns fail right there.
  while (!pattern.empty() && pattern.back() != '*') {
    if (text.empty() || (pattern.back() != '?' && pattern.back() != text.back())) return false;
    pattern.remove_suffix(1);
    text.remove_suffix(1);
  }
  if (pattern.empty()) return text.empty();

  // After a mismatch only the last star passed takes one byte more: earlier ones need never be tried again.
  std::size_t at = 0;
  std::size_t star = std::string_view::npos;
  std::size_t star_text = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      star_text = i;
    } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text[i])) {
      ++at;
      ++i;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      i = ++star_text;
    } else {
      return false;
    }
  }
  while (at < pattern.size() && pattern[at] == '*') ++at;
  return at == pattern.size();
}

bool SenderRecordOf(const Program& program, const MailMessage& message, SenderRecord& record) {
  std::optional<MailSender> sender = SenderOf(message);
  if (!sender) return false;
  record.name = std::move(sender->name);
  record.address = std::move(sender->address);
  if (ReadDate(message, record.date) == kDateAbsent) record.date = program.environment.local_time();
  return true;
}

}  // namespace quillbeaker
