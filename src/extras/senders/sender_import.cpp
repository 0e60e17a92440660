// SPDX-License-Identifier: MIT
#include "extras/senders/sender_import.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::uint32_t kQuietMilliseconds = 1000;  // nothing is shown of what takes no longer
constexpr std::uint32_t kBetweenProgress = 200;

}  // namespace

SenderImport::SenderImport(Program& program, SenderImportView& view, std::int32_t kind)
    : program_(program), view_(view), kind_(kind), lists_(program) {}

void SenderImport::Run(const OpenListed& open_listed) {
  const std::optional<std::string_view> first_choice =
      kind_ == kSenderBlocked ? std::optional(TextOf(Text::kOutlookExpressBlockedSenders)) : std::nullopt;
  std::string trouble;
  switch (view_.AskSource(first_choice)) {
    case ImportChoice::kCancel:
      return;
    case ImportChoice::kListed:
      if (const std::unique_ptr<SenderSource> source =
              open_listed(kind_, [this] { return LookAtTheTime() == Next::kContinue; })) {
        ImportAll(*source);
      }
      trouble = TroubleOf(SenderFileKind::kText, {});
      break;
    case ImportChoice::kFile: {
      const std::optional<std::string> path = view_.AskFile();
      if (!path) return;
      trouble = TroubleOf(ImportFile(*path), *path);
      break;
    }
  }
  view_.ShowCount(count_, trouble);
}

SenderFileKind SenderImport::ImportFile(const std::string& path) {
  const SenderFile file = OpenSenderFile(path, [this](const std::vector<std::string>& fields) {
    const std::optional<CsvColumns> columns = view_.AskColumns(fields, GuessCsvColumns(fields));
    quiet_since_ = program_.environment.tick_count();
    cancelled_ = cancelled_ || !columns;
    return columns;
  });
  if (file.source) ImportAll(*file.source);
  read_failed_ = file.source && file.source->failed();
  return file.kind;
}

void SenderImport::ImportAll(SenderSource& source) {
  quiet_since_ = last_progress_ = program_.environment.tick_count();
  known_ = nullptr;
  while (const std::optional<FoundSender> found = source.Next()) {
    ++read_;
    if (Offer(*found) == Next::kStop || LookAtTheTime() == Next::kStop) break;
  }
  SaveWaiting();
  if (std::exchange(progress_shown_, false)) view_.EndProgress();
}

SenderImport::Next SenderImport::Offer(const FoundSender& found) {
  // What was saved must not wait for candidates that are skipped.
  if (++candidates_ >= kImportBatch && !SaveWaiting()) return Next::kStop;
  const std::optional<FoundSender> fit = FitToOffer(found);
  if (!fit || IsListed(fit->address)) return Next::kContinue;
  switch (yes_to_all_ ? OfferAnswer::kYes : Answer(*fit)) {
    case OfferAnswer::kCancel:
      cancelled_ = true;
      return Next::kStop;
    case OfferAnswer::kNo:
      return Next::kContinue;
    case OfferAnswer::kYesToAll:
      yes_to_all_ = true;
      break;
    case OfferAnswer::kYes:
      break;
  }
  return Take(*fit);
}

OfferAnswer SenderImport::Answer(const FoundSender& found) {
  if (std::exchange(progress_shown_, false)) view_.EndProgress();
  const OfferAnswer answer = view_.AskOffer(found);
  quiet_since_ = program_.environment.tick_count();
  ReadListsAgain();  // a mail check or another window may have changed them meanwhile
  return answer;
}

SenderImport::Next SenderImport::Take(const FoundSender& found) {
  const std::string key = LowerAscii(SenderKey(found.address));
  waiting_.push_back({found.name, found.address, kind_, {}});
  if (key.find_first_of("*?") != std::string::npos) taken_patterns_.push_back(key);
  taken_keys_.insert(key);
  // Each by itself is saved before the next is offered.
  return yes_to_all_ || SaveWaiting() ? Next::kContinue : Next::kStop;
}

// As the lists would be asked of a mail from there: a pattern that matches is enough.
bool SenderImport::IsListed(const std::string& address) {
  // Not read for every candidate, nor after every save: parsing a large file takes longer than all the rest.
  if (known_ == nullptr) ReadListsAgain();
  const std::string lower = LowerAscii(address);
  if (taken_keys_.contains(lower) || taken_keys_.contains(LowerAscii(SenderKey(address)))) return true;
  const auto matches = [&lower](const std::string& pattern) { return MatchesWildcard(pattern, lower); };
  if (std::any_of(taken_patterns_.begin(), taken_patterns_.end(), matches)) return true;
  SenderRecord record;
  return lists_.LookUp(address, known_, record);
}

void SenderImport::ReadListsAgain() {
  known_ = program_.configuration.Read();
  taken_keys_.clear();
  taken_patterns_.clear();
}

bool SenderImport::SaveWaiting() {
  candidates_ = 0;
  if (waiting_.empty()) return true;
  const std::optional<std::size_t> added = lists_.AddSenders(waiting_);
  not_saved_ = !added;
  count_ += added.value_or(0);
  waiting_.clear();
  // The lists find most patterns by their hash, but these are tried one by one.
  if (taken_patterns_.size() >= kImportBatch) known_ = nullptr;
  return added.has_value();
}

SenderImport::Next SenderImport::LookAtTheTime() {
  const std::uint32_t now = program_.environment.tick_count();
  // Differences of 32 bits, since the counter wraps.
  if (now - quiet_since_ < kQuietMilliseconds || now - last_progress_ < kBetweenProgress) {
    return Next::kContinue;
  }
  last_progress_ = now;
  progress_shown_ = true;
  cancelled_ = cancelled_ || !view_.ShowProgress(read_, count_ + waiting_.size());
  return cancelled_ ? Next::kStop : Next::kContinue;
}

// Deliberate: a file that cannot be opened is no trouble that is told; its count is 0.
std::string SenderImport::TroubleOf(SenderFileKind kind, const std::string& path) const {
  if (not_saved_) return Format(Text::kImportNotSaved, {DisplayLine(program_.configuration.path())});
  if (read_failed_) return DisplayLine(path) + ": " + std::string(TextOf(Text::kFileUnreadable));
  if (kind == SenderFileKind::kNoText) return Format(Text::kImportNoText, {DisplayLine(path)});
  return {};
}

}  // namespace quillbeaker
