// SPDX-License-Identifier: MIT
#include "ui/presenter/viewed_message.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "config/texts.h"
#include "platform/files.h"
#include "recording_page_view.h"
#include "support/test_program.h"
#include "ui/presenter/background_reading.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// Mails in files of the test's directory, in the order of their names.
class Mails : public ViewedMails {
 public:
  std::optional<MailToView> MailOf(std::string_view name) const override {
    for (const auto& [key, mail] : rows) {
      if (key == name) return mail;
    }
    return std::nullopt;
  }
  std::string NextTo(std::string_view name, int step) const override {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::size_t next =
          i + static_cast<std::size_t>(step);  // wraps to a great number before the first
      if (rows[i].first == name) return next < rows.size() ? rows[next].first : std::string();
    }
    return {};
  }
  void WasShown(std::string_view name) override { shown.emplace_back(name); }

  std::vector<std::pair<std::string, MailToView>> rows;
  std::vector<std::string> shown;
};

class ViewedMessageTest : public testing::Test {
 protected:
  MailToView Put(const std::string& name, const std::string& bytes) {
    const MailToView mail{.path = program.program().PathOf(name),
                          .sender = "row's sender",
                          .address = "row@example.org",
                          .subject = "row's subject",
                          .date = "01.02.2026, 03:04"};
    EXPECT_TRUE(WriteWholeFile(mail.path, bytes, false));
    mails.rows.emplace_back(name, mail);
    return mail;
  }
  static ViewedMessage ReadIt(const MailToView& mail) {
    return ReadViewedMessage(mail, [] { return false; }).value();
  }

  test::TestProgram program;
  Mails mails;
  test::RecordingPageView view;
  std::vector<std::string> begun;
  int cancelled = 0;
  bool has_thread = true;
  ViewedMessagePresenter presenter{{.mails = mails,
                                    .begin_reading =
                                        [this](const MailToView& mail) {
                                          begun.push_back(mail.path);
                                          return has_thread;
                                        },
                                    .cancel_reading = [this] { ++cancelled; }},
                                   view};
};

TEST_F(ViewedMessageTest, ReadsWhatTheMailSays) {
  const auto message = ReadIt(Put("a",
                                  "From: \"=?utf-8?q?Your_B=C3=A4nk?=\" <thief@evil.example>\r\n"
                                  "Subject: =?utf-8?q?one?= =?utf-8?q?_two?=\r\n\r\n"
                                  "http://bank.example@evil.example/ hello"));
  EXPECT_EQ(message.trouble, "");
  EXPECT_EQ(message.sender, "Your B\xC3\xA4nk");
  EXPECT_EQ(message.address, "thief@evil.example");
  EXPECT_EQ(message.subject, "one two");
  EXPECT_EQ(message.text, "\r\nhttp://bank.example@evil.example/ hello");
  EXPECT_EQ(message.links, "http://bank.example@evil.example/  [evil.example]");
}

TEST_F(ViewedMessageTest, ListsOneLinkToALine) {
  const auto message = ReadIt(Put("a",
                                  "Content-Type: text/html\r\n\r\n<a href='http://a.example'>click</a>"
                                  "<a href='mailto:b@c.example'></a>"));
  EXPECT_EQ(message.links, "\"click\"  \xE2\x86\x92  http://a.example\r\nmailto:b@c.example");
  EXPECT_EQ(ReadIt(Put("b", "\r\n\r\nno link")).links, TextOf(Text::kMailLeadsNowhere));
}

TEST_F(ViewedMessageTest, ShowsTheRowWhereTheMailSaysNothing) {
  const auto message = ReadIt(Put("a", "To: x\r\n\r\ntext"));
  EXPECT_EQ(message.sender, "row's sender");
  EXPECT_EQ(message.address, "row@example.org");
  EXPECT_EQ(message.subject, "row's subject");
}

TEST_F(ViewedMessageTest, ShowsStoredTextAsItIs) {
  MailToView mail = Put("a", "From: x\r\n\r\n<b>text</b>");
  mail.is_stored_text = true;
  EXPECT_EQ(ReadIt(mail).text, "From: x\r\n\r\n<b>text</b>");
  EXPECT_EQ(ReadIt(mail).sender, "row's sender");
}

TEST_F(ViewedMessageTest, SaysWhyThereIsNothingToShow) {
  MailToView mail = Put("a", "x");
  ASSERT_TRUE(EraseFile(mail.path));
  EXPECT_EQ(ReadIt(mail).trouble, TextOf(Text::kMailGone));
  EXPECT_EQ(ReadIt(mail).subject, "row's subject");
  mail.path.clear();
  EXPECT_EQ(ReadIt(mail).trouble, TextOf(Text::kMailGone));
}

TEST_F(ViewedMessageTest, CanBeCancelled) {
  const MailToView mail = Put("a", std::string(3 * 1024 * 1024, 'x'));
  int asked = 0;
  EXPECT_FALSE(ReadViewedMessage(mail, [&asked] { return ++asked == 2; }));
  EXPECT_EQ(asked, 2);
}

TEST_F(ViewedMessageTest, FillsTheFields) {
  Put("a", "Subject: s\r\n\r\ntext");
  view.texts[VIEW_LABEL] = "the label";
  presenter.Show("a");
  EXPECT_EQ(view.texts[VIEW_SENDER], "row's sender");
  EXPECT_EQ(view.texts[VIEW_ADDRESS], "row@example.org");
  EXPECT_EQ(view.texts[VIEW_SUBJECT], "s");
  EXPECT_EQ(view.texts[VIEW_DATE], "01.02.2026, 03:04");
  EXPECT_EQ(view.texts[VIEW_LABEL], "the label");
  EXPECT_EQ(view.texts[VIEW_TEXT], "\r\ntext");
  EXPECT_EQ(mails.shown, std::vector<std::string>{"a"});
}

TEST_F(ViewedMessageTest, PutsTroubleInThePlaceOfTheLabelUntilTheNextMail) {
  Put("a", "x");
  Put("b", "\r\n\r\ntext");
  ASSERT_TRUE(EraseFile(mails.rows[0].second.path));
  view.texts[VIEW_LABEL] = "the label";
  presenter.Show("a");
  EXPECT_EQ(view.texts[VIEW_LABEL], TextOf(Text::kMailGone));
  EXPECT_EQ(view.texts[VIEW_TEXT], "");
  presenter.Step(1);
  EXPECT_EQ(view.texts[VIEW_LABEL], "the label");
  presenter.Show("no such row");
  EXPECT_EQ(view.texts[VIEW_LABEL], TextOf(Text::kMailGone));
  EXPECT_EQ(view.texts[VIEW_DATE], "");
}

TEST_F(ViewedMessageTest, StepsThroughTheList) {
  for (const char* name : {"a", "b", "c"}) Put(name, std::string("\r\n\r\n") + name);
  presenter.Show("a");
  EXPECT_TRUE(view.IsEnabled(COMMAND_NEXT_MAIL));
  EXPECT_FALSE(view.IsEnabled(COMMAND_PREVIOUS_MAIL));
  presenter.Step(-1);
  EXPECT_EQ(mails.shown.size(), 1u);
  view.focus = COMMAND_NEXT_MAIL;
  presenter.Step(1);
  EXPECT_EQ(view.focus, COMMAND_NEXT_MAIL);
  presenter.Step(1);
  EXPECT_EQ(mails.shown, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_FALSE(view.IsEnabled(COMMAND_NEXT_MAIL));
  EXPECT_EQ(view.focus, VIEW_TEXT);
  mails.rows.erase(mails.rows.begin(), mails.rows.begin() + 2);
  presenter.RowsChanged();
  EXPECT_FALSE(view.IsEnabled(COMMAND_PREVIOUS_MAIL));
}

TEST_F(ViewedMessageTest, ReadsLargeFilesBehindTheWindow) {
  Put("a", "\r\n\r\n" + std::string(kMostReadAtOnce - 4, 'x'));
  Put("b", "\r\n\r\n" + std::string(kMostReadAtOnce, 'x'));
  presenter.Show("a");
  EXPECT_TRUE(begun.empty());
  presenter.Show("b");
  EXPECT_EQ(begun.size(), 1u);
  EXPECT_EQ(view.texts[VIEW_LABEL], TextOf(Text::kReadingMail));
  EXPECT_EQ(view.texts[VIEW_TEXT], "");
  presenter.Read({.text = "there it is"});
  EXPECT_EQ(view.texts[VIEW_TEXT], "there it is");
  const int before = cancelled;
  presenter.Show("a");
  EXPECT_EQ(cancelled, before + 1);
  has_thread = false;
  presenter.Show("b");
  EXPECT_EQ(view.texts[VIEW_TEXT].size(), 102400u);
}

// The window's thread of a test: runs what was posted.
class Tasks {
 public:
  void Post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
  }
  bool RunOne(std::chrono::milliseconds limit) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      if (!changed_.wait_for(lock, limit, [this] { return !tasks_.empty(); })) return false;
      task = std::move(tasks_.front());
      tasks_.erase(tasks_.begin());
    }
    task();
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::function<void()>> tasks_;
};

TEST_F(ViewedMessageTest, BackgroundReadingTellsTheLastMailOnly) {
  const auto tasks = std::make_shared<Tasks>();
  std::vector<std::string> read;
  BackgroundReading reading([tasks](std::function<void()> task) { tasks->Post(std::move(task)); },
                            [&read](const ViewedMessage& message) { read.push_back(message.text); });
  ASSERT_TRUE(reading.Begin(Put("a", "To: x\r\n\r\nfirst")));
  ASSERT_TRUE(reading.Begin(Put("b", "To: x\r\n\r\nsecond")));
  while (read.empty() && tasks->RunOne(std::chrono::seconds(20))) {
  }
  EXPECT_EQ(read, std::vector<std::string>{"\r\nsecond"});

  ASSERT_TRUE(reading.Begin(mails.rows[0].second));
  reading.Cancel();
  while (tasks->RunOne(std::chrono::milliseconds(300))) {
  }
  EXPECT_EQ(read.size(), 1u);
}

}  // namespace
}  // namespace quillbeaker
