// SPDX-License-Identifier: MIT
#include "filter/sender_lists.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"

namespace quillbeaker {

namespace {

constexpr std::uint32_t kNoLine = UINT32_MAX;

// The name stands before the first comma, the number of the list behind the last one. A value without comma
// names no list.
SenderRecord RecordOf(std::string_view key, std::string_view value) {
  SenderRecord record;
  record.address = key.substr(0, kMaxSenderAddress);
  record.name = value.substr(0, std::min(value.find(','), kMaxSenderName));
  const std::size_t comma = value.rfind(',');
  record.kind =
      comma == std::string_view::npos ? kSenderNone : LeadingInteger<std::int32_t>(value.substr(comma + 1));
  return record;
}

std::string ValueOf(const SenderRecord& record) {
  return record.name.substr(0, kMaxSenderName) + ',' + std::to_string(record.kind);
}

// How many lines of the lists have this key, which is as SenderKey gives it.
std::size_t CountKey(const IniDocument& document, std::string_view key) {
  const std::vector<IniEntry> entries = document.Section(sections::kSenders);
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [key](const IniEntry& entry) {
    return entry.has_value && EqualsIgnoringCase(entry.key, key);
  }));
}

bool HasKey(const IniDocument& document, std::string_view key) {
  return CountKey(document, key) > 0;
}

}  // namespace

// The entries as one version of the configuration file has them, prepared for look-ups: plain addresses and
// patterns that begin with their only wildcard, a star ("*@example.com"), are found by their hash; the other
// patterns are tried one by one.
struct SenderLists::Index {
  struct Line {
    std::string_view key;
    std::string_view value;
    std::string_view lower_key;        // in lower_keys
    std::uint32_t same_key = kNoLine;  // next line with an equal key
  };

  explicit Index(std::shared_ptr<const IniDocument> document);
  // Adds the lines whose key is `lower_key`.
  void Collect(std::string_view lower_key, std::vector<std::uint32_t>& found) const;
  // The lines that match the address (in lower case), in file order.
  std::vector<std::uint32_t> Matching(std::string_view lower) const;
  const std::shared_ptr<const IniDocument> source;  // owns what the views show
  std::vector<Line> lines;
  std::unordered_map<std::string_view, std::uint32_t> first_line;  // by lower-case key
  std::vector<std::uint32_t> other_patterns;
  bool has_ending_patterns = false;
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
  for (const Line& line : lines) {
    for (const char c : line.key) lower_keys += ToLowerAscii(c);
  }
  // From the last line to the first, so that each new line of a key stands before those already there.
  std::size_t end = lower_keys.size();
  for (std::uint32_t i = static_cast<std::uint32_t>(lines.size()); i-- > 0;) {
    Line& line = lines[i];
    end -= line.key.size();
    line.lower_key = std::string_view(lower_keys).substr(end, line.key.size());
    const auto [place, is_new] = first_line.emplace(line.lower_key, i);
    if (!is_new) line.same_key = std::exchange(place->second, i);
    const std::size_t last_wildcard = line.lower_key.find_last_of("*?");
    if (last_wildcard == std::string_view::npos) continue;
    if (last_wildcard == 0 && line.lower_key[0] == '*') {
      has_ending_patterns = true;
    } else {
      other_patterns.push_back(i);
    }
  }
}

void SenderLists::Index::Collect(std::string_view lower_key, std::vector<std::uint32_t>& found) const {
  const auto place = first_line.find(lower_key);
  if (place == first_line.end()) return;
  for (std::uint32_t line = place->second; line != kNoLine; line = lines[line].same_key)
    found.push_back(line);
}

std::vector<std::uint32_t> SenderLists::Index::Matching(std::string_view lower) const {
  std::vector<std::uint32_t> found;
  Collect(lower, found);
  if (has_ending_patterns) {
    // A star before each ending of the address, the empty one too.
    std::string ending = '*' + std::string(lower);
    for (std::size_t i = 0; i < ending.size(); ++i) {
      ending[i] = '*';
      Collect(std::string_view(ending).substr(i), found);
    }
  }
  for (const std::uint32_t line : other_patterns) {
    if (MatchesWildcard(lines[line].lower_key, lower)) found.push_back(line);
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

SenderLists::SenderLists(Program& program) : program_(program) {}

std::shared_ptr<const SenderLists::Index> SenderLists::CurrentIndex() const {
  return IndexOf(program_.configuration.Read());
}

std::shared_ptr<const SenderLists::Index> SenderLists::IndexOf(
    std::shared_ptr<const IniDocument> document) const {
  const std::lock_guard guard(mutex_);
  if (!index_ || index_->source != document) index_ = std::make_shared<const Index>(std::move(document));
  return index_;
}

bool SenderLists::LookUp(std::string_view address, SenderRecord& record) const {
  return LookUp(*CurrentIndex(), address, record);
}

bool SenderLists::LookUp(std::string_view address, const std::shared_ptr<const IniDocument>& source,
                         SenderRecord& record) const {
  return LookUp(*IndexOf(source), address, record);
}

bool SenderLists::LookUp(const Index& index, std::string_view address, SenderRecord& record) {
  const std::string lower = LowerAscii(address);
  record.kind = kSenderNone;
  for (const std::uint32_t line : index.Matching(lower)) {
    const bool exact = index.lines[line].lower_key == lower;
    SenderRecord candidate = RecordOf(index.lines[line].key, index.lines[line].value);
    // Deliberate: an exact entry outranks every line above it, whatever its list; of the patterns the first
    // counts, but Friend outranks Blocked, an exact Blocked entry included.
    if (!exact && record.kind != kSenderNone &&
        (record.kind != kSenderBlocked || candidate.kind != kSenderFriend)) {
      continue;
    }
    record.name = std::move(candidate.name);
    record.address = std::move(candidate.address);
    record.kind = candidate.kind;
  }
  return record.kind != kSenderNone;
}

bool SenderLists::LookUp(const MailMessage& message, SenderRecord& record) const {
  record.kind = kSenderNone;
  if (!SenderRecordOf(program_, message, record)) return false;
  const std::string address = record.address;  // the look-up overwrites the record's
  return LookUp(address, record);
}

std::int32_t SenderLists::KindOf(const MailMessage& message,
                                 const std::shared_ptr<const IniDocument>& source) const {
  SenderRecord record;
  if (const std::optional<MailSender> sender = SenderOf(message)) {
    LookUp(*IndexOf(source), sender->address, record);
  }
  return record.kind;
}

bool SenderLists::IsKey(std::string_view address) const {
  return CurrentIndex()->first_line.contains(LowerAscii(SenderKey(address)));
}

bool SenderLists::Write(const SenderRecord& record) {
  const std::string key = SenderKey(record.address);
  if (key.empty()) return false;
  return program_.configuration.WriteString(sections::kSenders, key, ValueOf(record));
}

SenderChange SenderLists::Add(const SenderRecord& record) {
  const std::string key = SenderKey(record.address);
  if (key.empty()) return SenderChange::kNotSaved;
  SenderChange change = SenderChange::kNotSaved;
  const bool saved = program_.configuration.Update([&](IniDocument& document) {
    if (HasKey(document, key)) {
      change = SenderChange::kRefused;
    } else if (document.Set(sections::kSenders, key, ValueOf(record))) {
      change = SenderChange::kDone;
    }
  });
  return saved ? change : SenderChange::kNotSaved;
}

SenderChange SenderLists::Remove(std::string_view address) {
  const std::string key = SenderKey(address);
  SenderChange change = SenderChange::kRefused;
  const bool saved = program_.configuration.Update([&](IniDocument& document) {
    if (!HasKey(document, key)) return;
    while (document.Remove(sections::kSenders, key)) change = SenderChange::kDone;
  });
  return saved ? change : SenderChange::kNotSaved;
}

bool SenderLists::RemoveFromList(std::int32_t kind, std::span<const std::string> keys) {
  struct Lines {
    bool is_on_list = false;
    std::optional<std::string> elsewhere;  // of the other list, the value that counts
  };
  return program_.configuration.Update([&](IniDocument& document) {
    std::unordered_map<std::string, Lines> found;
    for (const std::string& key : keys) found[LowerAscii(key)];
    for (const IniEntry& entry : document.Section(sections::kSenders)) {
      const auto lines = found.find(LowerAscii(entry.key));
      if (!entry.has_value || lines == found.end()) continue;
      if (RecordOf(entry.key, entry.value).kind == kind) {
        lines->second.is_on_list = true;
      } else {
        lines->second.elsewhere = std::string(entry.value);
      }
    }
    for (const std::string& key : keys) {
      const Lines& lines = found[LowerAscii(key)];
      if (!lines.is_on_list || (lines.elsewhere && !IniDocument::CanHoldKey(key))) continue;
      while (document.Remove(sections::kSenders, key)) {
      }
      if (lines.elsewhere) document.Set(sections::kSenders, key, *lines.elsewhere);
    }
  });
}

std::int32_t SenderLists::ListOfKey(std::string_view key) const {
  const std::shared_ptr<const IniDocument> document = program_.configuration.Read();
  std::int32_t kind = kSenderNone;
  for (const IniEntry& entry : document->Section(sections::kSenders)) {
    // Of equal keys the last line counts.
    if (entry.has_value && EqualsIgnoringCase(entry.key, key)) kind = RecordOf(entry.key, entry.value).kind;
  }
  return kind;
}

SenderChange SenderLists::ChangeSender(std::string_view address, const SenderRecord& record) {
  const std::string old_key = SenderKey(address);
  const std::string key = SenderKey(record.address);
  if (key.empty()) return SenderChange::kNotSaved;
  SenderChange change = SenderChange::kNotSaved;
  const bool saved = program_.configuration.Update([&](IniDocument& document) {
    const std::size_t lines = CountKey(document, old_key);
    // One that another program has removed meanwhile is added anew.
    if ((lines == 0 || !EqualsIgnoringCase(key, old_key)) && HasKey(document, key)) {
      change = SenderChange::kRefused;
      return;
    }
    // Of equal keys the last line counts, but Set changes the first: then none of them stays.
    if (lines > 1 || key != old_key) {
      while (document.Remove(sections::kSenders, old_key)) {
      }
    }
    if (document.Set(sections::kSenders, key, ValueOf(record))) change = SenderChange::kDone;
  });
  return saved ? change : SenderChange::kNotSaved;
}

std::optional<std::size_t> SenderLists::AddSenders(std::span<const SenderRecord> records) {
  std::size_t added = 0;
  bool possible = true;
  const bool saved = program_.configuration.Update([&](IniDocument& document) {
    for (const SenderRecord& record : records) {
      const std::string key = SenderKey(record.address);
      // Found without a walk over the lines, unlike HasKey.
      if (key.empty() || document.Find(sections::kSenders, key)) continue;
      possible = document.Set(sections::kSenders, key, ValueOf(record)) && possible;
      ++added;
    }
  });
  return saved && possible ? std::optional(added) : std::nullopt;
}

void SenderLists::Enumerate(const std::function<void(const SenderRecord&)>& callback) const {
  const std::shared_ptr<const IniDocument> document = program_.configuration.Read();
  for (const IniEntry& entry : document->Section(sections::kSenders)) {
    if (entry.has_value) callback(RecordOf(entry.key, entry.value));
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
