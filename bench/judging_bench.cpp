// SPDX-License-Identifier: MIT
// Judging real mail: what the number of spam words costs, and what parsing and judging together take.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "corpus.h"
#include "filter/mail_filter.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

std::string CorpusDirectory() {
  const char* const directory = std::getenv("QUILLBEAKER_CORPUS");
  return directory != nullptr ? directory : "build/deps/corpus";
}

// The second half of the corpus, which nothing here learns from.
const std::vector<bench::CorpusMail>& JudgedMail() {
  static const std::vector<bench::CorpusMail> mail = bench::ReadCorpus(CorpusDirectory(), 1);
  return mail;
}

const WordTables& LearntFromTheOtherHalf() {
  static const std::unique_ptr<WordTables> learnt = [] {
    auto tables = std::make_unique<WordTables>();
    for (bench::CorpusMail& mail : bench::ReadCorpus(CorpusDirectory(), 0)) {
      MailMessage message;
      message.ParseText(std::move(mail.text));
      tables->Count(message, mail.kind);
    }
    return tables;
  }();
  return *learnt;
}

bool HasCorpus(benchmark::State& state) {
  if (!JudgedMail().empty()) return true;
  state.SkipWithError("no corpus: run tools/fetch-corpus.sh, or set QUILLBEAKER_CORPUS to its directory");
  return false;
}

// A program directory with so many spam words and, when asked, learnt lists of 40,000 words.
void PutWords(const test::TestProgram& program, std::size_t spam_words, bool learnt_lists) {
  const WordTables& learnt = LearntFromTheOtherHalf();
  std::string table = "[PROBABILITIES]\r\n";
  for (const SpamWord& word : bench::PickSpamWords(learnt, spam_words)) {
    table += word.word + "=" + std::to_string(word.probability) + "\r\n";
  }
  program.directory.Put("spampoints.ini", table);
  if (!learnt_lists) return;
  program.directory.Put(kGoodWordList, bench::MostFrequent(learnt.good, 40000).Serialise());
  program.directory.Put(kBadWordList, bench::MostFrequent(learnt.bad, 40000).Serialise());
}

void CountMail(benchmark::State& state, std::size_t mails) {
  state.counters["mails/s"] = benchmark::Counter(
      static_cast<double>(mails) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// Arguments: number of spam words; 1 with learnt lists. The mail is parsed beforehand.
void JudgeParsedMail(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  test::TestProgram program;
  PutWords(program, static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  std::vector<std::unique_ptr<MailMessage>> messages;
  for (const bench::CorpusMail& mail : JudgedMail()) {
    messages.push_back(std::make_unique<MailMessage>());
    messages.back()->ParseText(mail.text);
  }
  MailFilter filter(program.program());
  std::size_t spam = 0;
  for (auto _ : state) {
    spam = 0;
    for (const auto& message : messages) spam += filter.Judge(*message, false).spam;
  }
  CountMail(state, messages.size());
  state.counters["spam"] = static_cast<double>(spam);
}
BENCHMARK(JudgeParsedMail)
    ->ArgNames({"spam_words", "lists"})
    ->ArgsProduct({{50, 500, 5000}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

void ParseMail(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  for (auto _ : state) {
    for (const bench::CorpusMail& mail : JudgedMail()) {
      MailMessage message;
      message.ParseText(mail.text);
      benchmark::DoNotOptimize(message.root());
    }
  }
  CountMail(state, JudgedMail().size());
}
BENCHMARK(ParseMail)->Unit(benchmark::kMillisecond);

void ParseAndJudgeMail(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  test::TestProgram program;
  PutWords(program, 500, true);
  MailFilter filter(program.program());
  for (auto _ : state) {
    for (const bench::CorpusMail& mail : JudgedMail()) {
      MailMessage message;
      message.ParseText(mail.text);
      benchmark::DoNotOptimize(filter.Judge(message, false).spam);
    }
  }
  CountMail(state, JudgedMail().size());
}
BENCHMARK(ParseAndJudgeMail)->Unit(benchmark::kMillisecond);

void LoadFilter(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  test::TestProgram program;
  PutWords(program, static_cast<std::size_t>(state.range(0)), true);
  for (auto _ : state) {
    MailFilter filter(program.program());
    benchmark::DoNotOptimize(filter);
  }
}
BENCHMARK(LoadFilter)->ArgName("spam_words")->Arg(50)->Arg(500)->Arg(5000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quillbeaker
