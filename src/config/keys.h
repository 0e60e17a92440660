// SPDX-License-Identifier: MIT
#pragma once

// Names of the configuration file's sections and keys, byte for byte, with their defaults: each stands here
// once.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillbeaker {

struct IntegerKey {
  std::string_view section;
  std::string_view name;
  std::int32_t default_value;
};

struct TextKey {
  std::string_view section;
  std::string_view name;
  std::string_view default_value;
  std::size_t capacity;  // bytes, the terminating zero of the text included
};

namespace sections {
inline constexpr std::string_view kMain = "QUILLBEAKER";
inline constexpr std::string_view kServer = "SERVER";
inline constexpr std::string_view kSenders = "SENDERS";
inline constexpr std::string_view kProbabilities = "PROBABILITIES";
inline constexpr std::string_view kThreshold = "THRESHOLD";
inline constexpr std::string_view kPoints = "POINTS";
inline constexpr std::string_view kStatistics = "STATS";
inline constexpr std::string_view kSecurity = "SECURITY";          // how to connect, by server
inline constexpr std::string_view kCertificates = "CERTIFICATES";  // trusted fingerprints, by server
inline constexpr std::string_view kOptionalMessageBoxes = "OPTIONALMESSAGEBOXES";
}  // namespace sections

namespace keys {
inline constexpr IntegerKey kEnable{sections::kMain, "Enable", 1};
inline constexpr IntegerKey kAggressiveness{sections::kMain, "Aggressiveness", 50};
inline constexpr IntegerKey kFilterWordEnable{sections::kMain, "FilterWordEnable", 1};
inline constexpr IntegerKey kFilterWordHtml{sections::kMain, "FilterWordHTML", 1};
inline constexpr IntegerKey kFilterLearningEnable{sections::kMain, "FilterLearningEnable", 1};
// Bytes; mail of this size and more is passed on unjudged. 0 means no limit.
inline constexpr IntegerKey kFilterMaxMessageSize{sections::kMain, "FilterMaxMessageSize", 65536};
inline constexpr IntegerKey kFilterLearningAutoFriends{sections::kMain, "FilterLearningAutoFriends", 1};
inline constexpr IntegerKey kFilterLearningAutoBlocked{sections::kMain, "FilterLearningAutoBlocked", 1};
inline constexpr IntegerKey kUidChecking{sections::kMain, "UIDChecking", 1};
inline constexpr IntegerKey kRecycleBinMaxDays{sections::kMain, "RecycleBinMaxDays", 30};
// From which day those are counted: "mail", the mail's own Date, or "filing".
inline constexpr TextKey kRecycleBinDaysFrom{sections::kMain, "RecycleBinDaysFrom", "mail", 16};
inline constexpr IntegerKey kRecycleOldMessagesLast{sections::kMain, "RecycleOldMessagesLast", 0};
// Kilobytes for both learnt word lists together.
inline constexpr IntegerKey kTrainingAreaMaxMemory{sections::kMain, "TrainingAreaMaxMemory", 2048};
inline constexpr IntegerKey kTrainingAreaMaxDays{sections::kMain, "TrainingAreaMaxDays", 3};
inline constexpr IntegerKey kTrainingAreaDeleteOldMessagesLast{sections::kMain,
                                                               "TrainingAreaDeleteOldMessagesLast", 0};
// A command of the tray menu, run by a double click on the tray icon.
inline constexpr IntegerKey kTrayDblClk{sections::kMain, "TrayDblClk", 40005};
// Seconds.
inline constexpr IntegerKey kTrayNumSeconds{sections::kMain, "TrayNumSeconds", 180};
inline constexpr IntegerKey kShowBubble{sections::kMain, "ShowBubble", 1};
inline constexpr IntegerKey kAlphaBlending{sections::kMain, "AlphaBlending", 1};
inline constexpr TextKey kLogFileClientFileName{sections::kMain, "LogFileClientFileName", "client.log", 260};
inline constexpr IntegerKey kLogFileClientMaxSize{sections::kMain, "LogFileClientMaxSize", 102400};
inline constexpr TextKey kLogFileServerFileName{sections::kMain, "LogFileServerFileName", "server.log", 260};
inline constexpr IntegerKey kLogFileServerMaxSize{sections::kMain, "LogFileServerMaxSize", 102400};
inline constexpr IntegerKey kAutoAbortOnTimeout{sections::kMain, "AutoAbortOnTimeout", 0};
// A language file's name, or "default" for the built-in English; empty: the user's language decides.
inline constexpr TextKey kLanguage{sections::kMain, "Language", "", 260};
inline constexpr IntegerKey kConvertedSpamPoints096{sections::kMain, "ConvertedSpamPoints096", 0};
inline constexpr IntegerKey kPort{sections::kServer, "Port", 110};
// Seconds.
inline constexpr IntegerKey kTimeout{sections::kServer, "Timeout", 60};
// Seconds that a mail client may be silent; 0 means for ever.
inline constexpr IntegerKey kClientTimeout{sections::kServer, "ClientTimeout", 600};
// Seconds after which a server that hears nothing is sent a NOOP; 0 means never.
inline constexpr IntegerKey kKeepAliveSeconds{sections::kServer, "KeepAliveSeconds", 120};
// Seconds after which a mail client that waits for an answer gets the next byte of "+OK "; 0 means never.
inline constexpr IntegerKey kKeepWaitingSeconds{sections::kServer, "KeepWaitingSeconds", 40};
// Megabytes of mail that a session holds in memory; what is beyond them waits in a file.
inline constexpr IntegerKey kSessionMegabytes{sections::kServer, "SessionMegabytes", 256};
// Megabytes of mail kept for a mail client that gave up; 0 means none.
inline constexpr IntegerKey kFetchCacheMegabytes{sections::kServer, "FetchCacheMegabytes", 256};
// Whether commands are sent ahead of their answers to a server that offers it: "auto" over TLS alone,
// "always", "never".
inline constexpr TextKey kPipelining{sections::kServer, "Pipelining", "auto", 16};
// A notification in the tray when a login fails.
inline constexpr IntegerKey kShowErrors{sections::kMain, "ShowErrors", 1};
// Day numbers, and the counts beside them; lists of decimal numbers, each followed by a comma.
inline constexpr TextKey kStatisticsDays{sections::kStatistics, "Days", "", 330};
inline constexpr TextKey kStatisticsMails{sections::kStatistics, "Mails", "", 330};
}  // namespace keys

}  // namespace quillbeaker
