// SPDX-License-Identifier: MIT
#include "config/texts.h"

namespace quillbeaker {

namespace {

struct TableRow {
  Text text;
  std::string_view english;
};

constexpr TableRow kTexts[] = {
    {Text::kPortInUse,
     "The port Quillbeaker uses , is right now in use. Please check if you have other applications that use "
     "the same port . You can change this value from Settings dialog"},
    {Text::kWrongUserName,
     "The user name in the client mail program has the wrong format.\nUse the right format: "
     "[pop3server]&[username]&[port]"},
    {Text::kEnterAValue, "Enter a value!"},
    {Text::kConnectingTo, "Connecting to \"%s\"..."},
    {Text::kReceivingMessage, "Receiving message %i (%i kb) of %i..."},
    {Text::kSenderAlreadyListed, "This sender has already been added to this/another list."},
    {Text::kSpamMessages, "Spam messages: %i"},
    {Text::kDeletingOldRecycled, "Deleting old messages from recycle bin..."},
    {Text::kFilterDisabled, "The Spam-Filter has been disabled"},
    {Text::kMessagesDeleted, "- %i messages deleted"},
    {Text::kSpamWordsConverted,
     "This version introduces a new spam filter. Because of that the Spam-Words you added have been "
     "converted. Every word has now a probability of spam from 0% to 100%.\n\nPlease verify your "
     "Spam-Words."},
    {Text::kClosingConnection, "Closing connection..."},
    {Text::kLearningFilterMark, "(LF:)"},
    {Text::kOnBlockedSendersList, "(Blocked Sender)"},
    {Text::kTimeoutQuestion, "The server has not answered for a long time. Do you want to abort connection?"},
    {Text::kTimeoutAbort, "Abort"},
    {Text::kTimeoutWait, "Wait..."},
    {Text::kMessageNotDelivered, "Message %i could not be received: %s"},
    {Text::kListening, "Quillbeaker listens on 127.0.0.1:%i. Ctrl+C ends it."},
    {Text::kTakingInMessages, "Please wait...\nQuillbeaker is adding messages to the recycle bin..."},
    {Text::kCheckNotLoggedIn, "A mail program connected, but no login to a server succeeded."},
    {Text::kCheckCounts, "%s: %i messages, %i new, %i known, %i spam"},
    {Text::kCheckDeleted, ", %i deleted."},
    {Text::kCheckUnfinished, "; ended without QUIT, nothing was deleted."},
    {Text::kCheckUnfiled, " %i could not be kept and stay on the server."},
    {Text::kTimeoutKeys, "Type A to abort, anything else to wait, and press Enter."},
    {Text::kNoSuchDirectory, "The directory \"%s\" does not exist."},
    {Text::kFileUnreadable, "The file can not be read."},
    {Text::kNotListed, "\"%s\" is on neither list."},
    {Text::kNotSaved, "The change could not be saved."},
    {Text::kBinUnreadable, "The index of the recycle bin can not be read."},
    {Text::kNoSuchMessage, "There is no message \"%s\" in the recycle bin."},
    {Text::kNotRebuilt, "The recycle bin has an index already, or it could not be saved."},
    {Text::kListFriend, "friend "},
    {Text::kListBlocked, "blocked"},
    {Text::kListNone, "neither"},
    {Text::kVerdictSpam, "spam"},
    {Text::kVerdictGood, "good"},
    {Text::kReasonTooLarge, "too large to be judged"},
    {Text::kReasonFilterOff, "the filter is switched off"},
    {Text::kReasonLevel, "level %i"},
    {Text::kReasonBlocked, "sender on the Blocked Senders List"},
    {Text::kReasonFriend, "sender on the Friend List"},
    {Text::kReasonLearntWords, "learnt words"},
    {Text::kReasonSpamWords, "spam words against the threshold of %i percent at level %i"},
    {Text::kReasonMarkedDeleted, "deleted by the mail program"},
    {Text::kNoMoreClients, "The mail programs can not be served any longer: no connection can be accepted."},
};

}  // namespace

std::string_view EnglishText(Text text) {
  for (const TableRow& row : kTexts) {
    if (row.text == text) {
      return row.english;
    }
  }
  return {};
}

std::string Format(Text text, std::initializer_list<std::string> arguments) {
  std::string filled;
  std::string_view format = EnglishText(text);
  auto argument = arguments.begin();
  while (!format.empty()) {
    const bool conversion = format.starts_with("%i") || format.starts_with("%s");
    if (conversion && argument != arguments.end()) {
      filled.append(*argument++);
      format.remove_prefix(2);
    } else {
      filled.push_back(format.front());
      format.remove_prefix(1);
    }
  }
  return filled;
}

}  // namespace quillbeaker
