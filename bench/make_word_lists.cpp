// SPDX-License-Identifier: MIT
// make-word-lists CORPUS DIRECTORY WORDS SPAM-WORDS: counts the first half of the corpus, keeps the WORDS
// most frequent words of good mail and of spam each, and saves them as the learnt lists of the program
// directory DIRECTORY (which must have a folder "training"), with SPAM-WORDS predefined spam words beside
// them.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "corpus.h"
#include "platform/environment.h"

namespace quillbeaker {
namespace {

int MakeWordLists(const std::string& corpus, const std::string& directory, std::size_t words,
                  std::size_t spam_words) {
  WordTables counted;
  for (bench::CorpusMail& mail : bench::ReadCorpus(corpus, 0)) {
    MailMessage message;
    message.ParseText(std::move(mail.text));
    counted.Count(message, mail.kind);
  }
  if (counted.bad.messages == 0 || counted.good.messages == 0) {
    std::fprintf(stderr, "no mail of both kinds in %s\n", corpus.c_str());
    return 1;
  }

  Program program(SystemEnvironment(directory));
  WordTables saved;
  saved.Load(program, /*load_spam_words=*/false);  // for the names of their files
  for (const LearnKind kind : {LearnKind::kGood, LearnKind::kSpam}) {
    const WordCountTable& from = kind == LearnKind::kSpam ? counted.bad : counted.good;
    WordCountTable& to = kind == LearnKind::kSpam ? saved.bad : saved.good;
    to.Clear();
    const WordCountTable picked = bench::MostFrequent(from, words);
    for (const WordEntry& entry : picked.entries()) {
      for (std::uint32_t i = 0; i < entry.count; ++i) to.Add(entry);
    }
    for (std::size_t i = 0; to.entries().size() < words && to.Add("filler" + std::to_string(i) + "x"); ++i) {
    }
    to.messages = picked.messages;
    std::printf("%s list: %zu words of %u messages\n", kind == LearnKind::kSpam ? "bad" : "good",
                to.entries().size(), to.messages);
  }
  const std::vector<SpamWord> picked = bench::PickSpamWords(counted, spam_words);
  const bool written = program.spam_words.Update([&picked](IniDocument& document) {
    for (const SpamWord& word : picked) {
      document.Set(sections::kProbabilities, word.word, std::to_string(word.probability));
    }
  });
  std::printf("%zu spam words\n", picked.size());
  if (!written || !saved.Save()) {
    std::fprintf(stderr, "could not write into %s\n", directory.c_str());
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace quillbeaker

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: make-word-lists CORPUS DIRECTORY WORDS SPAM-WORDS\n");
    return 2;
  }
  return quillbeaker::MakeWordLists(argv[1], argv[2], std::strtoul(argv[3], nullptr, 10),
                                    std::strtoul(argv[4], nullptr, 10));
}
