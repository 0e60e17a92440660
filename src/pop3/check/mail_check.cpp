// SPDX-License-Identifier: MIT
#include "pop3/check/mail_check.h"

#include <string>

#include "config/texts.h"
#include "filter/mail_filter.h"
#include "message/display_text.h"
#include "pop3/local/client_session.h"

namespace quillbeaker {
namespace {

ClientView CountVisible(const MessageList& messages) {
  ClientView view;
  for (const MessageEntry& entry : messages) {
    if (entry.is_visible()) {
      ++view.count;
      view.size += entry.size;
    }
  }
  return view;
}

// One walk over the mailbox. Holds the filter's word tables and lists for as long as it takes.
class ViewBuild {
 public:
  explicit ViewBuild(ClientSession& session)
      : session_(session),
        observer_(session.observer()),
        messages_(session.upstream().messages()),
        filter_(session.program()) {}

  ClientView Run() {
    std::uint64_t total_size = 0;
    std::uint64_t known_size = 0;
    const std::uint32_t total = session_.upstream().CountMessages(total_size);
    const std::uint32_t known = session_.upstream().CountKnown(known_size);
    new_count_ = total - known;
    session_.summary.listed = total;
    observer_.SetRange(total_size - known_size);
    messages_.ClearNumbers();
    for (MessageEntry& entry : messages_) {
      if (!Visit(entry)) {
        break;
      }
    }
    return view_;
  }

 private:
  // False when the walk ends here.
  bool Visit(MessageEntry& entry) {
    if (entry.known) {
      ++session_.summary.known;
      Show(entry);
      return true;
    }
    // Deliberate: a mail client gives up after a minute or two; going on for nobody would keep the next one
    // waiting. One that has closed only its own side counts as gone too.
    if (session_.ClientHasGone()) {
      view_.client_gone = true;
      return false;
    }
    ++new_index_;
    observer_.ShowTooltip(
        Format(Text::kReceivingMessage,
               {std::to_string(new_index_), std::to_string(entry.size / 1024), std::to_string(new_count_)}));
    if (observer_.IsCancelled()) {
      view_.cancelled = true;
      return false;
    }
    if (!FilterIsOn(session_.program())) {
      observer_.ShowStatus(TextOf(Text::kFilterDisabled));
    }
    return Fetch(entry);
  }

  bool Fetch(MessageEntry& entry) {
    UpstreamSession& upstream = session_.upstream();
    if (upstream.FetchMessage(entry.server_number) == nullptr) {
      view_.cancelled = observer_.IsCancelled();
      if (!view_.cancelled) {
        observer_.ShowStatus(Format(Text::kMessageNotDelivered, {std::to_string(entry.server_number),
                                                                 DisplayLine(upstream.last_refusal())}));
      }
      return false;
    }
    if (entry.is_restored()) {
      Show(entry);
    } else {
      Judge(entry);
    }
    downloaded_ += entry.size;
    observer_.SetPosition(downloaded_);
    return true;
  }

  void Judge(MessageEntry& entry) {
    Judgement judgement = filter_.Judge(*entry.message, entry.delete_on_server);
    entry.judged = true;
    entry.verdict_text = std::move(judgement.words);
    entry.spam_probability = judgement.probability;
    ++session_.summary.downloaded;
    if (!judgement.spam) {
      Show(entry);
      return;
    }
    entry.client_number = kHiddenFromClient;
    entry.delete_on_server = true;
    observer_.ShowSpamCount(++session_.summary.spam);
  }

  void Show(MessageEntry& entry) {
    messages_.NumberNext(entry);
    ++view_.count;
    view_.size += entry.size;
  }

  ClientSession& session_;
  CheckObserver& observer_;
  MessageList& messages_;
  MailFilter filter_;
  ClientView view_;
  std::uint32_t new_count_ = 0;
  std::uint32_t new_index_ = 0;
  std::uint64_t downloaded_ = 0;
};

}  // namespace

ClientView BuildView(ClientSession& session) {
  if (session.view_built) {
    return CountVisible(session.upstream().messages());
  }
  const ClientView view = ViewBuild(session).Run();
  session.view_built = true;
  return view;
}

}  // namespace quillbeaker
