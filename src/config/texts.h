// SPDX-License-Identifier: MIT
#pragma once

// Every text that a person sees, by number, with its English original: the console draws from here, and so
// does the Windows string table. Formats are printf's.

#include <initializer_list>
#include <string>
#include <string_view>

namespace quillbeaker {

enum class Text {
  kPortInUse = 1,  // the blanks before "," and "." belong to the text
  kWrongUserName = 111,
  kEnterAValue = 112,
  kConnectingTo = 114,      // server name
  kReceivingMessage = 115,  // number, kilobytes, of how many
  kSenderAlreadyListed = 123,
  kSpamMessages = 138,
  kDeletingOldRecycled = 143,
  kFilterDisabled = 159,
  kMessagesDeleted = 163,
  kSpamWordsConverted = 169,  // holds "%": never a format
  kClosingConnection = 172,
  kLearningFilterMark = 183,  // stored in the recycle bin's index, never translated
  kOnBlockedSendersList = 184,
  kTimeoutQuestion = 204,
  kTimeoutAbort = 205,
  kTimeoutWait = 206,
  kMessageNotDelivered = 207,  // message number, the server's words
  kListening = 300,            // port
  kTakingInMessages = 301,
  kCheckNotLoggedIn = 302,
  kCheckCounts = 303,  // account, counts
  kCheckDeleted = 304,
  kCheckUnfinished = 305,
  kCheckUnfiled = 306,
  kTimeoutKeys = 307,
  kNoSuchDirectory = 308,
  kFileUnreadable = 309,
  kNotListed = 310,
  kNotSaved = 311,
  kBinUnreadable = 312,
  kNoSuchMessage = 313,
  kNotRebuilt = 314,
  kListFriend = 315,
  kListBlocked = 316,
  kListNone = 317,
  kVerdictSpam = 318,
  kVerdictGood = 319,
  kReasonTooLarge = 320,
  kReasonFilterOff = 321,
  kReasonLevel = 322,  // aggressiveness level
  kReasonBlocked = 323,
  kReasonFriend = 324,
  kReasonLearntWords = 325,
  kReasonSpamWords = 326,  // threshold, level
  kNoMoreClients = 327,
  kReasonMarkedDeleted = 328,
};

std::string_view EnglishText(Text text);

// The text with its conversions filled in; conversions are printf's "%i" and "%s" and must match the
// arguments.
std::string Format(Text text, std::initializer_list<std::string> arguments);

}  // namespace quillbeaker
