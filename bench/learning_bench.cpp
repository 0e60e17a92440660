// SPDX-License-Identifier: MIT
// Learning real mail that is in memory already: what the manners of bulk learning cost beside each other, and
// what a QUIT pays that learns from many messages against one that learns from a single one.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "corpus.h"
#include "filter/bulk_learning.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class CorpusSource : public MailSource {
 public:
  explicit CorpusSource(const std::vector<bench::CorpusMail>& mail) : mail_(mail) {}
  std::size_t size() const override { return mail_.size(); }
  LearnKind KindOf(std::size_t index) const override { return mail_[index].kind; }
  bool Read(std::size_t index, std::string& text) override {
    text = mail_[index].text;
    return true;
  }

 private:
  const std::vector<bench::CorpusMail>& mail_;
};

const std::vector<bench::CorpusMail>& AllMail() {
  static const std::vector<bench::CorpusMail> mail = [] {
    const char* const directory = std::getenv("QUILLBEAKER_CORPUS");
    return bench::ReadCorpus(directory != nullptr ? directory : "build/deps/corpus", -1);
  }();
  return mail;
}

bool HasCorpus(benchmark::State& state) {
  if (!AllMail().empty()) return true;
  state.SkipWithError("no corpus: run tools/fetch-corpus.sh, or set QUILLBEAKER_CORPUS to its directory");
  return false;
}

void LearnInBulk(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  CorpusSource source(AllMail());
  std::uint64_t learnt = 0;
  for (auto _ : state) {
    test::TestProgram program;
    BulkLearning learning(program.program(), source, static_cast<LearningManner>(state.range(0)));
    learning.Run({});
    if (!learning.Save()) return state.SkipWithError("the lists could not be saved");
    learnt = learning.report().good_learnt + learning.report().spam_learnt;
  }
  state.counters["learnt"] = static_cast<double>(learnt);
  state.counters["mails/s"] =
      benchmark::Counter(static_cast<double>(AllMail().size()) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate);
}
BENCHMARK(LearnInBulk)
    ->ArgName("manner")
    ->Arg(static_cast<int>(LearningManner::kCareful))
    ->Arg(static_cast<int>(LearningManner::kKeen))
    ->Arg(static_cast<int>(LearningManner::kPlain))
    ->Unit(benchmark::kMillisecond);

// Argument: messages of one batch. The lists hold the whole corpus.
void LearnABatch(benchmark::State& state) {
  if (!HasCorpus(state)) return;
  test::TestProgram program;
  CorpusSource source(AllMail());
  BulkLearning before(program.program(), source, LearningManner::kPlain);
  before.Run({});
  if (!before.Save()) return state.SkipWithError("the lists could not be saved");
  std::vector<std::unique_ptr<MailMessage>> messages;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    messages.push_back(std::make_unique<MailMessage>());
    messages.back()->ParseText(AllMail()[static_cast<std::size_t>(i)].text);
  }
  for (auto _ : state) {
    LearningBatch batch(program.program());
    for (const auto& message : messages) batch.Count(*message, LearnKind::kGood);
    if (!batch.Save()) return state.SkipWithError("the lists could not be saved");
  }
}
BENCHMARK(LearnABatch)->ArgName("messages")->Arg(1)->Arg(500)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace quillbeaker
