// SPDX-License-Identifier: MIT
#pragma once

// Every text that a person sees, by number, with its English original: the console draws from here, and so does the
// Windows string table. Formats are printf's.

#include <initializer_list>
#include <string>
#include <string_view>

namespace quillbeaker {

enum class Text {
  kPortInUse = 1,
  kWrongUserName = 111,
  kEnterAValue = 112,
  kConnectingTo = 114,          // "%s": server name
  kReceivingMessage = 115,      // "%i": number, kilobytes, of how many
  kSenderAlreadyListed = 123,
  kSpamMessages = 138,          // "%i"
  kFilterDisabled = 159,
  kMessagesDeleted = 163,       // "%i"
  kSpamWordsConverted = 169,
  kClosingConnection = 172,
  kLearningFilterMark = 183,    // "(LF:)", stored in the recycle bin's index
  kOnBlockedSendersList = 184,
  kTimeoutQuestion = 204,
  kTimeoutAbort = 205,
  kTimeoutWait = 206,
  kMessageNotDelivered = 207,   // "%i", "%s": message number, the server's words
};

std::string_view EnglishText(Text text);

// The text with its conversions filled in; conversions are printf's "%i" and "%s" and must match the arguments.
std::string Format(Text text, std::initializer_list<std::string> arguments);

}  // namespace quillbeaker
