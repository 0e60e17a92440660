// SPDX-License-Identifier: MIT
// Any bytes as an mbox file, fed in pieces. The first bytes of the input say how it is cut.

#include <algorithm>
#include <string>
#include <vector>

#include "extras/mbox_file.h"
#include "fuzz_support.h"

namespace quillbeaker {
namespace {

std::vector<MboxMail> Split(std::string_view file, std::string_view lengths) {
  std::vector<MboxMail> mails;
  MboxSplitter splitter([&](const MboxMail& mail) { mails.push_back(mail); });
  for (std::size_t turn = 0; !file.empty(); ++turn) {
    std::size_t piece = file.size();
    if (!lengths.empty())
      piece = std::min<std::size_t>(piece, static_cast<unsigned char>(lengths[turn % lengths.size()]));
    splitter.Feed(file.substr(0, std::max<std::size_t>(piece, 1)));
    file.remove_prefix(std::max<std::size_t>(piece, 1));
  }
  splitter.Finish();
  return mails;
}

void CheckMails(std::string_view file, const std::vector<MboxMail>& mails) {
  std::uint64_t end_before = 0;
  for (const MboxMail& mail : mails) {
    Check(mail.length > 0 && mail.offset + mail.length <= file.size(), "a mail lies within its file");
    Check(mail.offset > end_before, "mails do not overlap, and a line stands before each");
    const std::string_view between = file.substr(end_before, mail.offset - end_before);
    Check(between.ends_with('\n'), "a mail begins at the beginning of a line");
    const std::size_t line = between.rfind('\n', between.size() - 2);
    Check(
        end_before == 0 || between.substr(line == std::string_view::npos ? 0 : line + 1).starts_with("From "),
        "the line before a mail begins with From");
    end_before = mail.offset + mail.length;
  }
}

void CheckQuoting(std::string_view file) {
  std::string once(file);
  UndoMboxQuoting(once);
  Check(once.size() <= file.size(), "undoing adds nothing");
  // Quoted as a writer does it, a text comes back as it was.
  std::string quoted;
  for (std::size_t line = 0; line < file.size();) {
    const std::size_t lf = file.find('\n', line);
    const std::string_view text = file.substr(line, lf == std::string_view::npos ? lf : lf + 1 - line);
    const std::size_t word = std::min(text.find_first_not_of('>'), text.size());
    if (text.substr(word).starts_with("From ")) quoted += '>';
    quoted += text;
    line += text.size();
  }
  UndoMboxQuoting(quoted);
  Check(quoted == file, "undoing the quoting gives the text that was quoted");
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLengths = 4;
  if (size <= kLengths) return 0;
  const std::string_view text = quillbeaker::TextOf(data, size);
  const std::string_view file = text.substr(kLengths);
  const auto whole = quillbeaker::Split(file, {});
  const auto pieces = quillbeaker::Split(file, text.substr(0, kLengths));
  const auto same = [](const quillbeaker::MboxMail& a, const quillbeaker::MboxMail& b) {
    return a.offset == b.offset && a.length == b.length;
  };
  quillbeaker::Check(std::equal(whole.begin(), whole.end(), pieces.begin(), pieces.end(), same),
                     "where a file is cut does not matter");
  quillbeaker::CheckMails(file, whole);
  quillbeaker::CheckQuoting(file);
  return 0;
}
