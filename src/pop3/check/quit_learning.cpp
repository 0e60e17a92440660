// SPDX-License-Identifier: MIT
#include "pop3/check/quit_learning.h"

#include <algorithm>
#include <vector>

#include "filter/filter_settings.h"
#include "filter/learning.h"
#include "filter/sender_lists.h"
#include "stores/training_area.h"

namespace quillbeaker {
namespace {

struct Lessons {
  std::vector<const MailMessage*> good;
  std::vector<const MailMessage*> spam;
  std::vector<const MailMessage*> for_the_user;
};

// Deliberate: with automatic learning switched off a friend's or a blocked sender's mail is not put into the
// training area either: the lists have judged it, there is nothing to ask the user.
Lessons SortMail(Program& program, const FilterSettings& settings,
                 std::span<const MailMessage* const> messages) {
  const bool from_friends = program.Read(keys::kFilterLearningAutoFriends) != 0;
  const bool from_blocked = program.Read(keys::kFilterLearningAutoBlocked) != 0;
  const SenderLists senders(program);
  Lessons lessons;
  for (const MailMessage* message : messages) {
    if (settings.IsTooLarge(message->size())) continue;
    const std::int32_t kind = senders.KindOf(*message, settings.source);
    if (kind == kSenderFriend) {
      if (from_friends) lessons.good.push_back(message);
    } else if (kind == kSenderBlocked) {
      if (from_blocked) lessons.spam.push_back(message);
    } else {
      lessons.for_the_user.push_back(message);
    }
  }
  return lessons;
}

}  // namespace

bool LearnFromMail(Program& program, std::span<const MailMessage* const> messages) {
  const FilterSettings settings = ReadFilterSettings(program);
  if (messages.empty() || !settings.LearningIsOn()) return false;
  const Lessons lessons = SortMail(program, settings, messages);
  if (!lessons.good.empty() || !lessons.spam.empty()) {
    LearningBatch batch(program);
    for (const MailMessage* message : lessons.good) batch.Count(*message, LearnKind::kGood);
    for (const MailMessage* message : lessons.spam) batch.Count(*message, LearnKind::kSpam);
    static_cast<void>(batch.Save());
  }
  if (lessons.for_the_user.empty()) return false;
  const std::vector<bool> added = TrainingArea(program).Add(lessons.for_the_user);
  return std::ranges::find(added, true) != added.end();
}

}  // namespace quillbeaker
