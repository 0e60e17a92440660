// SPDX-License-Identifier: MIT
#include "pop3/check/spam_filing.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "pop3/check/mail_batches.h"

namespace quillbeaker {

SpamFiling::SpamFiling(Program& program, Mailbox& mailbox, const FetchedMail& fetched,
                       UnconfirmedRows& unconfirmed)
    : mailbox_(mailbox), fetched_(fetched), unconfirmed_(unconfirmed), recycle_bin_(program) {}

// Another program over the same directory can reserve the same name in the same millisecond; the later one's
// mail gets another name.
void SpamFiling::Run(const std::function<void()>& on_each) {
  constexpr int kAttempts = 5;
  std::vector<MessageEntry*> spam = WithoutWhatIsFiled(SpamWithContent());
  for (int attempt = 0; attempt < kAttempts && !spam.empty(); ++attempt) {
    spam = FileUnderNewNames(std::move(spam), on_each);
  }
}

std::vector<MessageEntry*> SpamFiling::FileUnderNewNames(std::vector<MessageEntry*> spam,
                                                         const std::function<void()>& on_each) {
  for (const MessageEntry* const entry : spam) unfiled_.erase(entry);
  if (unfiled_.empty()) why_.clear();
  std::vector<std::string> names = NamesFor(spam);
  // The rows name the files before there are any: what a filing leaves that is cut off can be told by them.
  if (FileResult saved = SaveRows(spam, names); !saved) {
    why_ = saved.Text();
    const auto rest = std::stable_partition(spam.begin(), spam.end(),
                                            [](const MessageEntry* entry) { return !entry->unconfirmed; });
    unfiled_.insert(rest, spam.end());
    spam.erase(rest, spam.end());
    names = NamesFor(spam);
  }
  std::vector<MessageEntry*> taken;
  for (const MailBatch& batch : SplitIntoBatches(spam)) {
    const std::vector<MessageEntry*> more = File(std::span(spam).subspan(batch.first, batch.count),
                                                 std::span(names).subspan(batch.first, batch.count), on_each);
    taken.insert(taken.end(), more.begin(), more.end());
  }
  return taken;
}

void SpamFiling::KeepAllOnServer() {
  for (const MessageEntry& entry : mailbox_) {
    if (entry.fate == Fate::kSpam) unfiled_.insert(&entry);
  }
}

void SpamFiling::KeepRowsOnServer(const FileResult& why) {
  if (why_.empty()) why_ = why.Text();
  for (const MessageEntry& entry : mailbox_) {
    if (entry.fate == Fate::kSpam && entry.unconfirmed) unfiled_.insert(&entry);
  }
}

// An empty message has nothing to keep.
std::vector<MessageEntry*> SpamFiling::SpamWithContent() {
  std::vector<MessageEntry*> spam;
  for (MessageEntry& entry : mailbox_) {
    if (entry.fate == Fate::kSpam && entry.size > 0) spam.push_back(&entry);
  }
  return spam;
}

// Deliberate: a file that no readable index lists does not count, and the mail is filed as new: nobody could
// find that file. It becomes the mail's file again where the index can be read. Without an index, or with a
// foreign one, the mail gets another file at each check until there is one again.
std::vector<MessageEntry*> SpamFiling::WithoutWhatIsFiled(const std::vector<MessageEntry*>& spam) {
  std::vector<MessageEntry*> candidates;
  std::vector<MessageEntry*> others;
  for (MessageEntry* const entry : spam) {
    const bool filed_before = entry->unconfirmed && !entry->unconfirmed->bin_file.empty();
    (filed_before ? candidates : others).push_back(entry);
  }
  for (const MailBatch& batch : SplitIntoBatches(candidates)) {
    std::vector<std::shared_ptr<const MailMessage>> messages;
    std::vector<FiledMessage> filed;
    for (std::size_t i = batch.first; i < batch.first + batch.count; ++i) {
      messages.push_back(fetched_.MessageOf(*candidates[i]));
      filed.push_back({candidates[i]->unconfirmed->bin_file, messages.back().get()});
    }
    const HoldingResult held = recycle_bin_.HoldingsOf(filed);
    if (held.index_unusable) {
      // Were their rows given new files now, they would be filed a second time.
      why_ = held.why.Text();
      KeepAllOnServer();
      return {};
    }
    for (std::size_t i = 0; i < held.holdings.size(); ++i) {
      MessageEntry* const entry = candidates[batch.first + i];
      if (held.holdings[i] != Holding::kListed) others.push_back(entry);
      if (held.holdings[i] == Holding::kFileOnly) has_file_.insert(entry);
    }
  }
  return others;
}

// The file that an erase left which was cut off is used again: beside a second one it would be listed, too,
// when the index is repaired.
std::vector<std::string> SpamFiling::NamesFor(std::span<MessageEntry* const> spam) {
  std::vector<std::string> names = recycle_bin_.ReserveNames(spam.size());
  for (std::size_t i = 0; i < spam.size(); ++i) {
    if (has_file_.contains(spam[i])) names[i] = spam[i]->unconfirmed->bin_file;
  }
  return names;
}

FileResult SpamFiling::SaveRows(std::span<MessageEntry* const> spam, const std::vector<std::string>& names) {
  for (std::size_t i = 0; i < spam.size(); ++i) {
    if (UnconfirmedMail* const row = UnconfirmedRows::RowOf(*spam[i])) {
      row->bin_file = names[i];
      row->deletion_due = false;
    }
  }
  return unconfirmed_.Save(mailbox_);
}

std::vector<MessageEntry*> SpamFiling::File(std::span<MessageEntry* const> spam,
                                            std::span<const std::string> names,
                                            const std::function<void()>& on_each) {
  std::vector<std::shared_ptr<const MailMessage>> messages;
  std::vector<DeletedMessage> deleted;
  for (std::size_t i = 0; i < spam.size(); ++i) {
    messages.push_back(fetched_.MessageOf(*spam[i]));
    deleted.push_back({messages[i].get(), spam[i]->judgement_words, spam[i]->spam_probability, names[i]});
  }
  const FilingResult filing = recycle_bin_.File(deleted, mailbox_.AccountKey(), on_each);
  for (std::size_t i = 0; i < spam.size(); ++i) {
    if (!filing.names[i].empty()) {
      filed_.push_back(filing.names[i]);
    } else {
      unfiled_.insert(spam[i]);
    }
  }
  if (filing.index_unusable) KeepAllOnServer();
  if (why_.empty() && !filing.written) why_ = filing.written.Text();
  std::vector<MessageEntry*> taken;
  for (const std::size_t place : filing.name_taken) taken.push_back(spam[place]);
  return taken;
}

}  // namespace quillbeaker
