// SPDX-License-Identifier: MIT
#include "ui/presenter/viewed_message.h"

#include <algorithm>
#include <new>
#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "message/header_text.h"
#include "message/mail_sender.h"
#include "message/shown_text.h"
#include "platform/files.h"
#include "platform/input_file.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPiece = 1024 * 1024;  // bytes read before the next look whether to go on

struct FileText {
  std::string bytes;
  std::string trouble;
  bool is_cancelled = false;
};

std::string TroubleWith(const std::string& path) {
  if (path.empty() || !FileExists(path)) return std::string(TextOf(Text::kMailGone));
  // What has become readable meanwhile is read at the next look.
  return Format(Text::kMailUnreadable, {DisplayLine(ReadContents(path).result.Text())});
}

FileText ReadText(const std::string& path, const std::function<bool()>& is_cancelled) {
  FileText text;
  const auto file = path.empty() ? std::nullopt : InputFile::Open(path);
  if (!file || file->size() > kMostFileBytes) {
    text.trouble = TroubleWith(path);
    return text;
  }
  text.bytes.resize(static_cast<std::size_t>(file->size()));
  std::size_t done = 0;
  while (done < text.bytes.size()) {
    text.is_cancelled = is_cancelled();
    if (text.is_cancelled) return text;
    const std::size_t wanted = std::min(kPiece, text.bytes.size() - done);
    const auto got = file->ReadAt(done, text.bytes.data() + done, wanted);
    if (!got) {
      text.trouble = TroubleWith(path);
      return text;
    }
    done += *got;
    if (*got < wanted) break;  // another program has cut it
  }
  text.bytes.resize(done);
  return text;
}

std::string LineOf(const MailLink& link) {
  std::string line = DisplayLine(link.target);
  if (!link.text.empty()) line = "\"" + DisplayLine(link.text) + "\"  \xE2\x86\x92  " + line;
  // A server that stands behind a user's name is easily read over.
  if (link.target.find('@') != std::string::npos && !link.server.empty()) {
    line += "  [" + DisplayLine(link.server) + "]";
  }
  return line;
}

std::string LinesOf(const std::vector<MailLink>& links) {
  if (links.empty()) return std::string(TextOf(Text::kMailLeadsNowhere));
  std::string lines;
  for (const MailLink& link : links) lines += (lines.empty() ? "" : "\r\n") + LineOf(link);
  return lines;
}

ViewedMessage OfRow(const MailToView& mail) {
  ViewedMessage message;
  message.sender = DisplayLine(mail.sender);
  message.address = DisplayLine(mail.address);
  message.subject = DisplayLine(mail.subject);
  return message;
}

void TakeHeader(const MailMessage& mail, ViewedMessage& message) {
  if (const auto from = mail.FindField(kHeaderFrom)) {
    message.address = DisplayLine(SplitSender(*from).address);
    const std::string_view name = TrimBlanks(from->substr(0, from->rfind('<')));
    const bool is_quoted = name.size() >= 2 && name.front() == '"' && name.back() == '"';
    message.sender = HeaderToShow(is_quoted ? name.substr(1, name.size() - 2) : name);
    if (message.sender.empty()) message.sender = message.address;
  }
  if (const auto subject = mail.FindField(kHeaderSubject)) message.subject = HeaderToShow(*subject);
}

void TakeText(ShownText shown, ViewedMessage& message) {
  message.text = std::move(shown.text);
  message.links = LinesOf(shown.links);
}

}  // namespace

std::optional<ViewedMessage> ReadViewedMessage(const MailToView& mail,
                                               const std::function<bool()>& is_cancelled) {
  ViewedMessage message = OfRow(mail);
  try {
    FileText file = ReadText(mail.path, is_cancelled);
    if (file.is_cancelled) return std::nullopt;
    if (!file.trouble.empty()) {
      message.trouble = std::move(file.trouble);
    } else if (mail.is_stored_text) {
      TakeText(TextToShow(file.bytes), message);
    } else {
      MailMessage parsed;
      parsed.ParseText(std::move(file.bytes));
      TakeHeader(parsed, message);
      TakeText(TextToShow(parsed), message);
    }
  } catch (const std::bad_alloc&) {
    message.trouble = TextOf(Text::kMailNeedsMemory);
  }
  return message;
}

ViewedMessagePresenter::ViewedMessagePresenter(Surroundings surroundings, PageView& view)
    : surroundings_(std::move(surroundings)), view_(view) {}

void ViewedMessagePresenter::Fill(const ViewedMessage& message, const std::string& label) {
  // As its template and the language have it.
  if (label_.empty()) label_ = view_.TextIn(VIEW_LABEL);
  view_.SetText(VIEW_SENDER, message.sender);
  view_.SetText(VIEW_ADDRESS, message.address);
  view_.SetText(VIEW_SUBJECT, message.subject);
  view_.SetText(VIEW_LABEL, label.empty() ? label_ : label);
  view_.SetText(VIEW_TEXT, message.text);
  view_.SetText(VIEW_LINKS, message.links);
}

void ViewedMessagePresenter::Show(std::string_view name) {
  name_ = name;
  surroundings_.cancel_reading();
  const std::optional<MailToView> mail = surroundings_.mails.MailOf(name_);
  view_.SetText(VIEW_DATE, mail ? DisplayLine(mail->date) : std::string());
  if (!mail) {
    Read({.trouble = std::string(TextOf(Text::kMailGone))});
  } else {
    surroundings_.mails.WasShown(name_);
    const bool is_large = FileSize(mail->path).value_or(0) > kMostReadAtOnce;
    if (is_large && surroundings_.begin_reading(*mail)) {
      Fill(OfRow(*mail), std::string(TextOf(Text::kReadingMail)));
    } else if (const auto message = ReadViewedMessage(*mail, [] { return false; })) {
      Read(*message);
    }
  }
  RowsChanged();
}

void ViewedMessagePresenter::Read(const ViewedMessage& message) {
  Fill(message, message.trouble);
}

void ViewedMessagePresenter::Step(int step) {
  if (const std::string next = surroundings_.mails.NextTo(name_, step); !next.empty()) Show(next);
}

void ViewedMessagePresenter::RowsChanged() {
  for (const auto& [control, step] : {std::pair{COMMAND_NEXT_MAIL, 1}, {COMMAND_PREVIOUS_MAIL, -1}}) {
    const bool there_is_one = !surroundings_.mails.NextTo(name_, step).empty();
    // A disabled button would keep the focus, and with it all keys.
    if (!there_is_one && view_.HasFocus(control)) view_.Focus(VIEW_TEXT);
    view_.Enable(control, there_is_one);
  }
}

}  // namespace quillbeaker
