// SPDX-License-Identifier: MIT

// What it costs to file the spam of one session: 1,000 messages into a recycle bin that holds 20,000, all
// flushed to the disk, side by side with a plain loop that writes and flushes the same 1,000 files; and 2,000
// messages after that.
//
//   filing [CORPUS]    CORPUS is the folder of real mail (corpus.h); without it the messages are made up.
//
// Works in a new directory under TMPDIR, which decides the disk. Exit code 1 when filing takes more than
// twice the plain loop and one second, or could not be done.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "corpus.h"
#include "message/mail_message.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "stores/recycle_bin.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kHeld = 20000;
constexpr std::size_t kSpam = 1000;
constexpr int kRounds = 5;

double SecondsOf(const auto& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::vector<std::string> MadeUpMail() {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < kSpam; ++i) {
    std::string text = "From: Sales " + std::to_string(i) + " <sales" + std::to_string(i) +
                       "@shop.example>\r\nTo: ann@example.org\r\nSubject: Cheap offer number " +
                       std::to_string(i) + "\r\nDate: Wed, 1 Mar 2006 10:00:00 +0000\r\n\r\n";
    while (text.size() < 1000 + (i * 37) % 7000)
      text += "Buy cheap things today, they are never as cheap again.\r\n";
    texts.push_back(std::move(text));
  }
  return texts;
}

std::vector<std::string> Texts(const char* corpus) {
  std::vector<std::string> texts;
  if (corpus != nullptr) {
    for (bench::CorpusMail& mail : bench::ReadCorpus(corpus, -1)) {
      if (mail.kind == LearnKind::kSpam) texts.push_back(std::move(mail.text));
    }
  }
  return texts.empty() ? MadeUpMail() : texts;
}

// `count` parsed messages, the texts again from the start when there are fewer.
std::deque<MailMessage> Messages(const std::vector<std::string>& texts, std::size_t count) {
  std::deque<MailMessage> messages;
  for (std::size_t i = 0; i < count; ++i) messages.emplace_back().ParseText(texts[i % texts.size()]);
  return messages;
}

// A bin that holds kHeld messages, with its index.
bool FillBin(RecycleBin& bin, const std::vector<std::string>& texts) {
  for (std::size_t i = 0; i < kHeld; ++i) {
    const std::string name = "2453796_120000_" + std::to_string(i) + ".recycle";
    if (!WriteWholeFile(bin.directory() + name, texts[i % texts.size()], false)) return false;
  }
  return bin.RebuildIndex();
}

bool WriteAndFlush(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0) return false;
  const bool written =
      write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) && fsync(file) == 0;
  return close(file) == 0 && written;
}

class Bench {
 public:
  explicit Bench(const char* corpus)
      : texts_(Texts(corpus)), program_(SystemEnvironment(directory_.utf8())), bin_(program_) {}

  int Run() {
    if (!FillBin(bin_, texts_)) return Fail("the bin could not be filled");
    const std::deque<MailMessage> messages = Messages(texts_, 2 * kSpam);
    std::vector<double> plain;
    std::vector<double> once;
    std::vector<double> twice;
    for (int round = 0; round < kRounds; ++round) {
      plain.push_back(PlainLoop(messages));
      once.push_back(File(messages, kSpam));
      twice.push_back(File(messages, 2 * kSpam));
    }
    if (failed_) return Fail("a file could not be written");
    Report(Median(plain), Median(once), Median(twice));
    return Median(once) <= 2 * Median(plain) + 1
               ? 0
               : Fail("filing takes more than twice the plain loop and a second");
  }

 private:
  static int Fail(const char* why) {
    std::fprintf(stderr, "filing: %s\n", why);
    return 1;
  }

  // The bytes are made beforehand: writing and flushing them is all that is measured.
  double PlainLoop(const std::deque<MailMessage>& messages) {
    std::vector<std::string> bytes;
    for (std::size_t i = 0; i < kSpam; ++i) bytes.push_back(messages[i].Serialise().value_or(""));
    const std::string folder = directory_.PathOf("plain");
    MakeDirectory(folder);
    const double seconds = SecondsOf([&] {
      for (std::size_t i = 0; i < kSpam; ++i) {
        if (!WriteAndFlush(folder + "/" + std::to_string(i), bytes[i])) failed_ = true;
      }
    });
    for (std::size_t i = 0; i < kSpam; ++i) EraseFile(folder + "/" + std::to_string(i));
    return seconds;
  }

  // Seconds that filing takes; what was filed is deleted again, so that each round meets the same bin.
  double File(const std::deque<MailMessage>& messages, std::size_t count) {
    std::vector<DeletedMessage> spam;
    for (std::size_t i = 0; i < count; ++i) spam.push_back({&messages[i], "cheap, offer", 0.99});
    std::vector<std::string> names;
    const double seconds = SecondsOf([&] { names = bin_.File(spam, "ann @ mail.example.org").names; });
    for (const std::string& name : names) failed_ = failed_ || name.empty();
    const auto rows = bin_.List();
    failed_ = failed_ || !rows || rows->size() != kHeld + count || !bin_.DeleteMessages(names);
    return seconds;
  }

  static void Report(double plain, double once, double twice) {
    std::printf("medians of %d rounds, a bin of %zu messages\n", kRounds, kHeld);
    std::printf("plain loop, %zu files written and flushed  %8.3f s\n", kSpam, plain);
    std::printf(
        "filing %zu messages                        %8.3f s  %.2f of the plain loop (at most 2 and a "
        "second)\n",
        kSpam, once, once / plain);
    std::printf("filing %zu messages                        %8.3f s  %.2f of filing %zu\n", 2 * kSpam, twice,
                twice / once, kSpam);
  }

  const std::vector<std::string> texts_;
  const test::TestDirectory directory_;
  Program program_;
  RecycleBin bin_;
  bool failed_ = false;
};

}  // namespace
}  // namespace quillbeaker

int main(int argc, char** argv) {
  return quillbeaker::Bench(argc > 1 ? argv[1] : nullptr).Run();
}
