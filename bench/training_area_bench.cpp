// SPDX-License-Identifier: MIT
// Feeding the training area after a mail check: what N new messages cost when it holds 10,000 already.

#include <benchmark/benchmark.h>

#include <deque>
#include <string>
#include <vector>

#include "stores/training_area.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kHeld = 10000;

std::string MailText(std::size_t number) {
  std::string text = "From: Ann <ann" + std::to_string(number) + "@example.org>\r\nSubject: Number " +
                     std::to_string(number) + "\r\nDate: Wed, 1 Mar 2006 10:00:00 +0000\r\n\r\nText " +
                     std::to_string(number) + "\r\n";
  while (text.size() < 1000 + (number * 37) % 7000) text += "We meet at the station and go on together.\r\n";
  return text;
}

std::vector<const MailMessage*> Pointers(const std::deque<MailMessage>& messages) {
  std::vector<const MailMessage*> pointers;
  for (const MailMessage& message : messages) pointers.push_back(&message);
  return pointers;
}

std::deque<MailMessage> Messages(std::size_t first, std::size_t count) {
  std::deque<MailMessage> messages;
  for (std::size_t i = 0; i < count; ++i) messages.emplace_back().ParseText(MailText(first + i));
  return messages;
}

// Argument: number of new messages.
void FeedTrainingArea(benchmark::State& state) {
  test::TestProgram program;
  TrainingArea area(program.program());
  if (area.Add(Pointers(Messages(0, kHeld))).size() != kHeld)
    return state.SkipWithError("could not be filled");
  const std::deque<MailMessage> messages = Messages(kHeld, static_cast<std::size_t>(state.range(0)));
  const std::vector<const MailMessage*> pointers = Pointers(messages);
  for (auto _ : state) {
    for (const bool kept : area.Add(pointers)) {
      if (!kept) return state.SkipWithError("a message was not kept");
    }
    state.PauseTiming();
    const auto entries = area.List();
    std::vector<std::string> names;
    for (std::size_t i = kHeld; entries && i < entries->size(); ++i) names.push_back((*entries)[i].name);
    if (!area.DeleteMessages(names)) return state.SkipWithError("could not be emptied again");
    state.ResumeTiming();
  }
  state.counters["messages/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(state.range(0)),
                         benchmark::Counter::kIsRate);
}
BENCHMARK(FeedTrainingArea)
    ->ArgName("messages")
    ->Arg(1)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace quillbeaker
