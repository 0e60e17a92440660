// SPDX-License-Identifier: MIT
// Looking up a sender among 20,000 entries, after the first look-up.

#include <benchmark/benchmark.h>

#include <string>

#include "filter/sender_lists.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

// Argument: how many of the 20,000 entries are patterns.
void LookUpSender(benchmark::State& state) {
  constexpr int kEntries = 20000;
  std::string section = "[SENDERS]\r\n";
  for (int i = 0; i < kEntries; ++i) {
    const std::string number = std::to_string(i);
    section += i < state.range(0) ? "*@mail" + number + ".example.com=,1\r\n"
                                  : "person" + number + "@example.com=A Person,2\r\n";
  }
  test::TestProgram program;
  program.Configure("", section);
  SenderLists lists(program.program());
  SenderRecord record;
  lists.LookUp("nobody@example.com", record);
  int i = 0;
  for (auto _ : state) {
    i = (i + 7919) % (2 * kEntries);  // every other one is not listed
    benchmark::DoNotOptimize(lists.LookUp("Person" + std::to_string(i) + "@example.com", record));
  }
}
BENCHMARK(LookUpSender)->ArgName("patterns")->Arg(0)->Arg(10000)->Arg(20000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quillbeaker
