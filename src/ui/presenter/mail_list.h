// SPDX-License-Identifier: MIT
#pragma once

// The list of mails of the recycle bin and of the training area: which rows there are, in which order, which
// of them are selected, and what the status line says of them. A row is known by the name of its message file
// and never by its place: while the window is open a mail check may file and a purge may remove. Knows no
// window; one thread, that of the window.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ui/presenter/list_rows.h"
#include "ui/presenter/mail_list_view.h"
#include "ui/presenter/viewed_mails.h"

namespace quillbeaker {

// What a person typed into a search field, looked for in the bytes of mail without regard to the case of
// ASCII letters: as ISO-8859-1, where it can be written so, and as UTF-8.
class SearchedText {
 public:
  explicit SearchedText(std::string_view typed = {});
  bool IsEmpty() const { return utf8_.empty(); }
  bool IsIn(std::string_view bytes) const;

 private:
  std::string utf8_;
  std::string latin1_;  // empty when it is the same
};

class MailList : public ListRows, public ViewedMails {
 public:
  // `view` must outlive this object.
  explicit MailList(MailListView& view) : view_(view) {}

  // The window is made and not shown yet: lists what there is.
  virtual void Open() = 0;
  // A command of toolbar, menu or key. False when it is none of this list's.
  virtual bool Run(int command) = 0;
  // Whether it has anything to act on now.
  virtual bool CanRun(int command) const = 0;

  // Shows only rows that have the text, or all of them when it is empty.
  void Search(std::string_view typed);

  // ListRows. A list that nobody has sorted stands in the order of its index, where new mails come last.
  std::size_t RowCount() const final { return rows_.size(); }
  std::string RowText(std::size_t row, std::size_t column) const final;
  int RowPicture(std::size_t row) const final;
  SortOrder Order() const final { return order_; }
  void SortBy(std::size_t column) final;
  void SelectionChanged() override { view_.CommandsChanged(); }

  // ViewedMails
  std::string NextTo(std::string_view name, int step) const final;
  void WasShown(std::string_view name) final;

 protected:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  // The entries are counted in the order of the index, and only ReplaceWith changes which there are.
  virtual std::size_t EntryCount() const = 0;
  virtual std::string_view EntryName(std::size_t entry) const = 0;
  virtual std::uint32_t EntrySize(std::size_t entry) const = 0;
  virtual std::string EntryText(std::size_t entry, std::size_t column) const = 0;
  virtual int EntryPicture(std::size_t /*entry*/) const { return -1; }
  // The value that a column sorts by: a number where IsNumber says so, else a text, compared by its bytes.
  virtual bool IsNumber(std::size_t /*column*/) const { return false; }
  virtual double NumberIn(std::size_t /*entry*/, std::size_t /*column*/) const { return 0; }
  virtual std::string KeyIn(std::size_t entry, std::size_t column) const;
  // Many of these will be asked for now.
  virtual void SortBegins() {}
  // Whether a search finds the entry.
  virtual bool Has(std::size_t /*entry*/, const SearchedText& /*text*/) const { return true; }
  // Whether the entry is shown at all, searched for or not.
  virtual bool IsShown(std::size_t /*entry*/) const { return true; }

  // In the order of the rows.
  std::vector<std::size_t> SelectedEntries() const;
  std::vector<std::string> SelectedNames() const;
  // The focused one, or without one the first selected; kNone when there is neither.
  std::size_t FocusedEntry() const;
  bool IsAnySelected() const { return view_.SelectedCount() > 0; }

  // Selects the rows of those entries and no others; focus and place stay.
  void SelectWhere(const std::function<bool(std::size_t entry)>& is_wanted);
  // Runs `change`, which may change what is shown of the entries, and shows the rows with the same selection
  // and at the same place.
  void ShowAgain(const std::function<void()>& change = {});
  // Runs `replace`, which puts other entries in the place of those there are; `names` are what they will be
  // called, in their order. What was selected stays so.
  void ReplaceWith(const std::vector<std::string_view>& names, const std::function<void()>& replace);
  // Text 185, of the rows that are shown.
  void ShowCounts() const;

  MailListView& view_;

 private:
  // What a person has done with the list, by entry.
  struct Kept {
    std::vector<std::size_t> selected;
    std::size_t focused = kNone;
    std::size_t top = kNone;
  };
  Kept Keep() const;
  void Arrange();
  void Sort();
  void Show(const Kept& kept) const;
  std::size_t RowOf(std::string_view name) const;
  std::size_t SurvivorOf(std::size_t entry, const std::vector<std::size_t>& new_places) const;

  std::vector<std::size_t> rows_;  // entries, as they are shown
  SortOrder order_{kNone, false};
  SearchedText search_;
};

// The list of one kind of mail: an Entry has `name` and `size`.
template <typename Entry>
class MailListOf : public MailList {
 public:
  using MailList::MailList;

 protected:
  std::size_t EntryCount() const final { return entries_.size(); }
  std::string_view EntryName(std::size_t entry) const final { return entries_[entry].name; }
  std::uint32_t EntrySize(std::size_t entry) const final { return entries_[entry].size; }

  // What the index holds now, in its order.
  void ShowEntries(std::vector<Entry> entries) {
    std::vector<std::string_view> names;
    names.reserve(entries.size());
    for (const Entry& entry : entries) names.push_back(entry.name);
    // A moved vector's elements, and with them the names, stay where they are.
    ReplaceWith(names, [this, &entries] { entries_ = std::move(entries); });
  }

  // Of entries of one name as many as it is given, the first ones first, as the stores do.
  void RemoveRows(const std::vector<std::string>& names) {
    std::unordered_map<std::string_view, std::size_t> gone;
    for (const std::string& name : names) ++gone[name];
    std::vector<Entry> left;
    left.reserve(entries_.size());
    for (const Entry& entry : entries_) {
      const auto found = gone.find(entry.name);
      if (found != gone.end() && found->second > 0) {
        --found->second;
      } else {
        left.push_back(entry);
      }
    }
    ShowEntries(std::move(left));
  }

  std::vector<Entry> entries_;  // in the index's order
};

// "04.02.2003, 22:15", nothing for a mail without a date.
std::string MailDate(std::int32_t day, int minutes);

}  // namespace quillbeaker
