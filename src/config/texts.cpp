// SPDX-License-Identifier: MIT
#include "config/texts.h"

namespace quillbeaker {

std::string_view EnglishText(Text text) {
  switch (text) {
    case Text::kPortInUse:
      // Deliberate: the blanks before "," and "." belong to the text.
      return "The port Quillbeaker uses , is right now in use. Please check if you have other applications "
             "that use "
             "the same port . You can change this value from Settings dialog";
    case Text::kWrongUserName:
      return "The user name in the client mail program has the wrong format.\n"
             "Use the right format: [pop3server]&[username]&[port]";
    case Text::kEnterAValue:
      return "Enter a value!";
    case Text::kConnectingTo:
      return "Connecting to \"%s\"...";
    case Text::kReceivingMessage:
      return "Receiving message %i (%i kb) of %i...";
    case Text::kSenderAlreadyListed:
      return "This sender has already been added to this/another list.";
    case Text::kSpamMessages:
      return "Spam messages: %i";
    case Text::kFilterDisabled:
      return "The Spam-Filter has been disabled";
    case Text::kMessagesDeleted:
      return "- %i messages deleted";
    case Text::kSpamWordsConverted:
      return "This version introduces a new spam filter. Because of that the Spam-Words you added have been "
             "converted. "
             "Every word has now a probability of spam from 0% to 100%.\n\nPlease verify your Spam-Words.";
    case Text::kClosingConnection:
      return "Closing connection...";
    case Text::kLearningFilterMark:
      return "(LF:)";
    case Text::kOnBlockedSendersList:
      return "(Blocked Sender)";
    case Text::kTimeoutQuestion:
      return "The server has not answered for a long time. Do you want to abort connection?";
    case Text::kTimeoutAbort:
      return "Abort";
    case Text::kTimeoutWait:
      return "Wait...";
    case Text::kMessageNotDelivered:
      return "Message %i could not be received: %s";
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
