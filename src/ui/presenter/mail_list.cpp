// SPDX-License-Identifier: MIT
#include "ui/presenter/mail_list.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <unordered_map>

#include "config/ascii.h"
#include "extras/entry_text.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

// For each of the former names the place of the same entry among the present ones, `none` where it is gone.
// Of entries of one name the first is the first again, and so on.
std::vector<std::size_t> PlacesAmong(const std::vector<std::string_view>& present,
                                     const std::vector<std::string_view>& former, std::size_t none) {
  // The first place of a name, and for each place the next one of the same name.
  std::unordered_map<std::string_view, std::size_t> first;
  first.reserve(present.size());
  std::vector<std::size_t> next(present.size(), none);
  for (std::size_t place = present.size(); place-- > 0;) {
    const auto [found, is_new] = first.try_emplace(present[place], place);
    if (!is_new) next[place] = std::exchange(found->second, place);
  }
  std::vector<std::size_t> places;
  places.reserve(former.size());
  for (const std::string_view name : former) {
    const auto found = first.find(name);
    const bool is_there = found != first.end() && found->second != none;
    places.push_back(is_there ? std::exchange(found->second, next[found->second]) : none);
  }
  return places;
}

template <typename Key>
void SortByKeys(std::vector<std::size_t>& rows, const std::vector<Key>& keys, bool is_descending) {
  std::stable_sort(rows.begin(), rows.end(), [&](std::size_t a, std::size_t b) {
    return is_descending ? keys[b] < keys[a] : keys[a] < keys[b];
  });
}

}  // namespace

SearchedText::SearchedText(std::string_view typed) : utf8_(typed), latin1_(Latin1FromTyped(typed)) {
  if (latin1_ == utf8_) latin1_.clear();
}

bool SearchedText::IsIn(std::string_view bytes) const {
  return FindIgnoringCase(bytes, utf8_) != std::string_view::npos ||
         (!latin1_.empty() && FindIgnoringCase(bytes, latin1_) != std::string_view::npos);
}

std::string MailList::RowText(std::size_t row, std::size_t column) const {
  return row < rows_.size() ? EntryText(rows_[row], column) : std::string();
}

int MailList::RowPicture(std::size_t row) const {
  return row < rows_.size() ? EntryPicture(rows_[row]) : -1;
}

std::string MailList::KeyIn(std::size_t entry, std::size_t column) const {
  return LowerAscii(EntryText(entry, column));
}

void MailList::Search(std::string_view typed) {
  ShowAgain([&] { search_ = SearchedText(typed); });
}

void MailList::SortBy(std::size_t column) {
  if (column >= Columns().size()) return;
  ShowAgain([&] { order_ = {column, column == order_.column && !order_.is_descending}; });
}

std::vector<std::size_t> MailList::SelectedEntries() const {
  std::vector<std::size_t> entries;
  for (const std::size_t row : view_.Place().selected) {
    if (row < rows_.size()) entries.push_back(rows_[row]);
  }
  return entries;
}

std::vector<std::string> MailList::SelectedNames() const {
  std::vector<std::string> names;
  for (const std::size_t entry : SelectedEntries()) names.emplace_back(EntryName(entry));
  return names;
}

std::size_t MailList::FocusedEntry() const {
  const ListPlace place = view_.Place();
  if (place.focused && *place.focused < rows_.size()) return rows_[*place.focused];
  const bool is_any = !place.selected.empty() && place.selected.front() < rows_.size();
  return is_any ? rows_[place.selected.front()] : kNone;
}

// kNone when no row has it. Of rows of one name the first is meant.
std::size_t MailList::RowOf(std::string_view name) const {
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](std::size_t entry) { return EntryName(entry) == name; });
  return found == rows_.end() ? kNone : static_cast<std::size_t>(found - rows_.begin());
}

std::string MailList::NextTo(std::string_view name, int step) const {
  const std::size_t row = RowOf(name);
  // Above the first row the number turns over, beyond all rows.
  const std::size_t next = row + static_cast<std::size_t>(step);
  return row == kNone || next >= rows_.size() ? std::string() : std::string(EntryName(rows_[next]));
}

void MailList::WasShown(std::string_view name) {
  const std::size_t row = RowOf(name);
  if (row == kNone) return;
  view_.ShowRow(row);
  view_.CommandsChanged();
}

MailList::Kept MailList::Keep() const {
  const ListPlace place = view_.Place();
  const auto entry_at = [this](std::size_t row) { return row < rows_.size() ? rows_[row] : kNone; };
  Kept kept;
  for (const std::size_t row : place.selected) {
    if (row < rows_.size()) kept.selected.push_back(rows_[row]);
  }
  if (place.focused) kept.focused = entry_at(*place.focused);
  kept.top = entry_at(place.top);
  return kept;
}

void MailList::SelectWhere(const std::function<bool(std::size_t entry)>& is_wanted) {
  ListPlace place = view_.Place();
  place.selected.clear();
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    if (is_wanted(rows_[row])) place.selected.push_back(row);
  }
  view_.ShowRows(rows_.size(), place);
  view_.CommandsChanged();
}

void MailList::ShowAgain(const std::function<void()>& change) {
  const Kept kept = Keep();
  const SortOrder former = order_;
  if (change) change();
  Arrange();
  Kept shown = kept;
  if (order_ != former) {
    // Sorted anew the list stands at what is selected, else at its begin.
    shown.top = kNone;
    if (shown.selected.empty()) shown.focused = kNone;
  }
  Show(shown);
}

// The entry's new place, or that of the nearest row after it, else before it, that is still there.
std::size_t MailList::SurvivorOf(std::size_t entry, const std::vector<std::size_t>& new_places) const {
  const auto is_there = [&](std::size_t one) { return new_places[one] != kNone; };
  const auto own = std::find(rows_.begin(), rows_.end(), entry);
  if (own == rows_.end()) return kNone;
  if (const auto after = std::find_if(own, rows_.end(), is_there); after != rows_.end()) {
    return new_places[*after];
  }
  const auto before = std::find_if(std::make_reverse_iterator(own), rows_.rend(), is_there);
  return before != rows_.rend() ? new_places[*before] : kNone;
}

void MailList::ReplaceWith(const std::vector<std::string_view>& names, const std::function<void()>& replace) {
  std::vector<std::string_view> former;
  former.reserve(EntryCount());
  for (std::size_t entry = 0; entry < EntryCount(); ++entry) former.push_back(EntryName(entry));
  const std::vector<std::size_t> new_places = PlacesAmong(names, former, kNone);
  Kept kept = Keep();
  std::erase_if(kept.selected, [&](std::size_t entry) { return new_places[entry] == kNone; });
  for (std::size_t& entry : kept.selected) entry = new_places[entry];
  if (kept.focused != kNone) kept.focused = SurvivorOf(kept.focused, new_places);
  if (kept.top != kNone) kept.top = SurvivorOf(kept.top, new_places);
  replace();
  Arrange();
  Show(kept);
}

void MailList::Arrange() {
  rows_.clear();
  for (std::size_t entry = 0; entry < EntryCount(); ++entry) {
    if (IsShown(entry) && (search_.IsEmpty() || Has(entry, search_))) rows_.push_back(entry);
  }
  if (order_.column < Columns().size()) Sort();
}

// The keys of what is shown, once: comparing is what sorting does most.
void MailList::Sort() {
  const std::size_t column = order_.column;
  SortBegins();
  if (IsNumber(column)) {
    std::vector<double> keys(EntryCount());
    for (const std::size_t entry : rows_) keys[entry] = NumberIn(entry, column);
    SortByKeys(rows_, keys, order_.is_descending);
  } else {
    std::vector<std::string> keys(EntryCount());
    for (const std::size_t entry : rows_) keys[entry] = KeyIn(entry, column);
    SortByKeys(rows_, keys, order_.is_descending);
  }
}

void MailList::Show(const Kept& kept) const {
  std::vector<std::size_t> row_of(EntryCount(), kNone);
  for (std::size_t row = 0; row < rows_.size(); ++row) row_of[rows_[row]] = row;
  const auto row = [&](std::size_t entry) { return entry == kNone ? kNone : row_of[entry]; };
  ListPlace place;
  for (const std::size_t entry : kept.selected) {
    if (row(entry) != kNone) place.selected.push_back(row(entry));
  }
  std::sort(place.selected.begin(), place.selected.end());
  if (row(kept.focused) != kNone) {
    place.focused = row(kept.focused);
  } else if (!rows_.empty()) {
    place.focused = place.selected.empty() ? 0 : place.selected.front();
  }
  if (row(kept.top) != kNone) {
    place.top = row(kept.top);
  } else if (kept.top == kNone && place.focused) {
    place.top = *place.focused;
  }
  view_.ShowRows(rows_.size(), place);
  ShowCounts();
  view_.CommandsChanged();
}

void MailList::ShowCounts() const {
  std::uint64_t bytes = 0;
  for (const std::size_t entry : rows_) bytes += EntrySize(entry);
  char size[48];
  std::snprintf(size, sizeof size, "%.2f", static_cast<double>(bytes) / 1024.0);
  view_.ShowCounts(Format(Text::kStatusMessages, {std::to_string(rows_.size()), size}));
}

std::string MailDate(std::int32_t day, int minutes) {
  return HasEntryDate(day) ? EntryDate(day, minutes) : std::string();
}

}  // namespace quillbeaker
