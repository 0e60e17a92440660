// SPDX-License-Identifier: MIT
#include "filter/classifier.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <span>

#include "config/texts.h"
#include "filter/tokeniser.h"
#include "message/decoded_text.h"

namespace quillbeaker {

namespace {

constexpr double kUndecided = 0.4;                 // of a word, and of a message, that the lists do not know
constexpr std::uint64_t kFewestSightings = 6;      // of a word, the good ones counted double
constexpr std::size_t kLearntWordsCapacity = 100;  // bytes, a terminating zero included
constexpr std::size_t kSpamWordsCapacity = 255;

// How much one word speaks for spam. Both message counts must be above 0.
double ProbabilityOfWord(const Word& word, const WordTables& tables) {
  const std::uint64_t bad = tables.bad.Count(word);
  const std::uint64_t good = std::uint64_t{tables.good.Count(word)} * 2;
  if (good + bad < kFewestSightings) return kUndecided;
  const double bad_share = std::min(1.0, static_cast<double>(bad) / tables.bad.messages);
  const double good_share = std::min(1.0, static_cast<double>(good) / tables.good.messages);
  return std::clamp(bad_share / (good_share + bad_share), 0.01, 0.99);
}

// With nothing learnt of one kind every message is undecided, whatever its words.
bool HaveLearntBothKinds(const WordTables& tables) {
  return tables.bad.messages != 0 && tables.good.messages != 0;
}

// Keeps the words whose probability lies farthest from one half, the most telling first; of equally telling
// words the one that was offered first.
class MostTelling {
 public:
  explicit MostTelling(LearntEvidence& evidence) : evidence_(evidence) {}

  void Offer(const WeighedWord& word) {
    constexpr std::size_t kMost = LearntEvidence::kMostTelling;
    const double distance = std::fabs(word.probability - 0.5);
    if (evidence_.word_count == kMost) {
      if (distance <= distances_[kMost - 1]) return;
    } else {
      ++evidence_.word_count;
    }
    std::size_t place = evidence_.word_count - 1;
    for (; place > 0 && distances_[place - 1] < distance; --place) {
      distances_[place] = distances_[place - 1];
      evidence_.words[place] = evidence_.words[place - 1];
    }
    distances_[place] = distance;
    evidence_.words[place] = word;
  }

 private:
  LearntEvidence& evidence_;
  std::array<double, LearntEvidence::kMostTelling> distances_{};
};

// The words that speak for spam.
void NameTellingWords(const LearntEvidence& evidence, std::string& words) {
  words.clear();
  bool first = true;
  for (const WeighedWord& word : evidence.telling()) {
    if (word.probability > kUndecided && words.size() + word.entry->length + 3 < kLearntWordsCapacity) {
      // Deliberate: the separator goes by the word's rank, so that the list may begin with one.
      if (!first) words += ", ";
      words += word.entry->word();
    }
    first = false;
  }
}

// Adds a spam word to the list of words that is shown. False when there is no room for it.
bool AppendSpamWord(std::string_view word, bool separated, std::string& words) {
  if (words.size() + word.size() + 2 >= kSpamWordsCapacity) return false;
  if (separated) words += ", ";
  words += word;
  return true;
}

double ScoreOf(const SpamWordEvidence& evidence) {
  return static_cast<double>(evidence.percent) * 0.01;
}

}  // namespace

Classifier::Classifier(const WordTables& tables) : tables_(tables), search_(tables.spam_words) {}

const std::string& Classifier::DecodedOnce(const MailMessage& message, bool strip_html) {
  std::string& text = texts_[strip_html];
  if (!decoded_[strip_html]) {
    if (!DecodeText(message, strip_html, text)) text.clear();
    decoded_[strip_html] = true;
  }
  return text;
}

void Classifier::ForgetTexts() {
  decoded_[false] = decoded_[true] = false;
}

double Classifier::LearntProbability(const MailMessage& message, std::string& words) {
  ForgetTexts();
  const LearntEvidence evidence = WeighLearntWords(message);
  NameTellingWords(evidence, words);
  return evidence.probability;
}

double Classifier::LearntProbability(const WordCountTable& tokens, std::string& words) const {
  const LearntEvidence evidence = WeighLearntWords(tokens);
  NameTellingWords(evidence, words);
  return evidence.probability;
}

LearntEvidence Classifier::WeighLearntWords(const MailMessage& message) {
  tokens_.Clear();
  if (HaveLearntBothKinds(tables_)) CountMessage(message, DecodedOnce(message, /*strip_html=*/true), tokens_);
  return WeighLearntWords(tokens_);
}

LearntEvidence Classifier::WeighLearntWords(const WordCountTable& tokens) const {
  LearntEvidence evidence;
  evidence.probability = kUndecided;
  if (!HaveLearntBothKinds(tables_) || tokens.entries().empty()) return evidence;

  // Deliberate: of equally telling words, of which a mail often has more than there is room for, those of the
  // earlier slots are taken, which are spread over the whole text. Taken in the order of the text it would be
  // the first lines that speak, and on real mail that costs wanted mail.
  MostTelling most_telling(evidence);
  for (std::size_t slot = 0; slot < tokens.slot_count(); ++slot) {
    const WordEntry* const entry = tokens.EntryInSlot(slot);
    if (entry != nullptr) most_telling.Offer({entry, ProbabilityOfWord(*entry, tables_)});
  }
  for (const WeighedWord& word : evidence.telling()) {
    evidence.spam *= word.probability;
    evidence.good *= 1 - word.probability;
  }
  evidence.probability = evidence.spam / (evidence.spam + evidence.good);
  evidence.says_something = true;
  return evidence;
}

double Classifier::SpamWordScore(const MailMessage& message, bool strip_html, std::string& words) {
  ForgetTexts();
  const SpamWordEvidence evidence = FindSpamWords(message, strip_html);
  NameSpamWords(evidence, words);
  return ScoreOf(evidence);
}

SpamWordEvidence Classifier::FindSpamWords(const MailMessage& message, bool strip_html) {
  const std::string& text = DecodedOnce(message, strip_html);
  if (text.empty()) return {};
  search_.FindAll(text, in_text_);
  in_subject_.clear();
  const std::optional<std::string_view> subject = message.FindField(kHeaderSubject);
  if (subject) search_.FindAll(*subject, in_subject_);

  found_.clear();
  std::int64_t percent = 0;
  auto subject_hit = in_subject_.begin();
  auto text_hit = in_text_.begin();
  while (subject_hit != in_subject_.end() || text_hit != in_text_.end()) {
    FoundSpamWord found;
    found.index = std::min(subject_hit != in_subject_.end() ? *subject_hit : UINT32_MAX,
                           text_hit != in_text_.end() ? *text_hit : UINT32_MAX);
    found.in_subject = subject_hit != in_subject_.end() && *subject_hit == found.index;
    found.in_text = text_hit != in_text_.end() && *text_hit == found.index;
    subject_hit += found.in_subject;
    text_hit += found.in_text;
    // Deliberate: a word found in both places counts twice.
    const std::int64_t places = found.in_subject + found.in_text;
    percent += places * tables_.spam_words[found.index].probability;
    found_.push_back(found);
  }
  return {found_, percent};
}

// Deliberate: the separator goes by the running sum, not by the list; and a word of both places that finds no
// room at the first is tried at the second, which may need less.
void Classifier::NameSpamWords(const SpamWordEvidence& evidence, std::string& words) const {
  words.clear();
  std::int64_t sum = 0;
  for (const FoundSpamWord& found : evidence.found) {
    const SpamWord& word = tables_.spam_words[found.index];
    bool listed = false;
    for (const bool is_there : {found.in_subject, found.in_text}) {
      if (!is_there) continue;
      if (!listed) listed = AppendSpamWord(word.word, sum > 0, words);
      sum += word.probability;
    }
  }
}

Classifier::Evidence Classifier::Weigh(const MailMessage& message, bool strip_html) {
  ForgetTexts();
  return {WeighLearntWords(message), FindSpamWords(message, strip_html)};
}

bool Classifier::Decide(const FilterSettings& settings, const MailMessage& message, double& probability,
                        std::string& words) {
  learnt_words_decided_ = false;
  if (!settings.enabled) return false;
  ForgetTexts();
  probability = kUndecided;
  words.clear();
  bool spam = false;
  if (settings.learning_filter) {
    const LearntEvidence evidence = WeighLearntWords(message);
    probability = evidence.probability;
    NameTellingWords(evidence, words);
    if (probability >= kSpamFrom) {
      spam = true;
      const std::string_view mark = EnglishText(Text::kLearningFilterMark);
      if (words.size() + mark.size() < kSpamWordsCapacity) words.insert(0, std::string(mark) + ' ');
    }
  }
  if (probability > kSurelyGood && probability < kSpamFrom) {
    words.clear();
    if (settings.word_filter) {
      const SpamWordEvidence evidence = FindSpamWords(message, settings.strip_html);
      probability = ScoreOf(evidence);
      NameSpamWords(evidence, words);
    }
    // Deliberate: with the word filter off the learnt probability itself is held against the level's
    // threshold.
    spam = probability >= settings.threshold.percent * 0.01;
  } else {
    // Deliberate: a mail that the learnt words call surely good is not held against the spam words at all.
    learnt_words_decided_ = true;
  }
  return spam;
}

}  // namespace quillbeaker
