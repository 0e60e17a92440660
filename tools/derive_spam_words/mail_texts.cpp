// SPDX-License-Identifier: MIT
// mail-texts: what the word filter sees of mail files, for the tool that derives the shipped spam words.
//
//   mail-texts texts          writes for each file a line: its length in bytes, then Subject and decoded text
//   mail-texts find PHRASES   writes for each file a line: the numbers of the phrases (lines of the file
//   PHRASES)
//                             that the filter finds in it; one found in both Subject and text stands twice
//
// File names come on the standard input, one a line. Bare LF counts as CR LF, a leading mbox line is left
// out.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "filter/spam_word_search.h"
#include "message/decoded_text.h"
#include "message/line_ends.h"
#include "message/mail_message.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

struct MailText {
  std::string subject;
  std::string text;
};

MailText ReadMailText(const std::string& path) {
  MailText mail;
  const std::optional<std::string> file = ReadWholeFile(path);
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return mail;
  }
  std::string_view bytes = *file;
  if (bytes.starts_with("From ")) bytes.remove_prefix(std::min(bytes.find('\n'), bytes.size() - 1) + 1);
  MailMessage message;
  message.ParseText(WithCrLf(bytes));
  if (!DecodeText(message, /*strip_html=*/true, mail.text)) mail.text.clear();
  mail.subject = message.FindField(kHeaderSubject).value_or(std::string_view());
  return mail;
}

void WriteText(const MailText& mail) {
  std::cout << mail.subject.size() + 1 + mail.text.size() << '\n' << mail.subject << '\n' << mail.text;
}

void WriteFound(const SpamWordSearch& search, const MailText& mail) {
  std::vector<std::uint32_t> found;
  // The filter asks no Subject where the text is empty.
  if (!mail.text.empty()) {
    for (const std::string& place : {mail.subject, mail.text}) {
      search.FindAll(place, found);
      for (const std::uint32_t phrase : found) std::cout << phrase << ' ';
    }
  }
  std::cout << '\n';
}

int Run(const std::vector<std::string>& arguments) {
  const bool find = arguments.size() == 2 && arguments[0] == "find";
  if (!find && !(arguments.size() == 1 && arguments[0] == "texts")) {
    std::fprintf(stderr, "usage: mail-texts texts | find PHRASES   (file names on the standard input)\n");
    return 2;
  }
  std::vector<SpamWord> phrases;
  if (find) {
    std::ifstream file(arguments[1], std::ios::binary);
    for (std::string line; std::getline(file, line);) phrases.push_back({line, 0, true});
  }
  const SpamWordSearch search(phrases);
  for (std::string path; std::getline(std::cin, path);) {
    const MailText mail = ReadMailText(path);
    if (find) {
      WriteFound(search, mail);
    } else {
      WriteText(mail);
    }
  }
  return std::cout.flush() ? 0 : 1;
}

}  // namespace
}  // namespace quillbeaker

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  return quillbeaker::Run(std::vector<std::string>(argv + 1, argv + argc));
}
