// SPDX-License-Identifier: MIT

// Any bytes as the file of unconfirmed mail: it is read, or set aside with nothing changed, no name in it
// leads out of its directory; and any bytes as ids and names come back as they were given.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../support/test_program.h"
#include "fuzz_support.h"
#include "stores/unconfirmed_mail.h"

namespace {

using namespace quillbeaker;

using Mails = std::vector<UnconfirmedMail>;

// One directory for the whole run, in memory where the system has a place for it: each input is written and
// flushed several times.
test::TestProgram& Surroundings() {
  static const bool in_memory = DirectoryExists("/dev/shm") && setenv("TMPDIR", "/dev/shm", 0) == 0;
  static_cast<void>(in_memory);
  static test::TestProgram surroundings;
  return surroundings;
}

constexpr std::string_view kFile = "recycle/unconfirmed.xml";
constexpr std::string_view kKept = "recycle/unconfirmed.xml.bad";

void ReadAsFile(std::string_view bytes) {
  const test::TestDirectory& directory = Surroundings().directory;
  Check(directory.Put(kFile, bytes), "the input can be written");
  UnconfirmedMailStore store(Surroundings().program());
  const MailboxName jane{"pop.example.org", 110, "jane"};
  const std::optional<Mails> rows = store.Rows(jane);
  Check(rows.has_value(), "a file that can be read has rows or is set aside");
  if (directory.Has(kKept)) {
    Check(directory.Get(kKept) == bytes, "what is set aside is unchanged");
    Check(rows->empty() && !directory.Has(kFile), "what is set aside counts as empty");
    directory.Remove(kKept);
    return;
  }
  for (const std::string& name : store.FilesNotDue()) {
    Check(name.find_first_of(std::string_view("/\\:\0", 4)) == std::string::npos, "names are bare");
    Check(name != "recyclebin.xml" && name != "unconfirmed.xml", "no index is a bin file");
  }
  // What was read is what is kept when something else changes.
  const MailboxName other{"other", -7, "new"};
  const Mails others = store.Rows(other).value_or(Mails{});
  Mails more = others;
  more.push_back({"added", "1.recycle", true, false, true});
  Check(static_cast<bool>(store.Replace(other, more)), "a row can be added");
  Check(store.Rows(other) == more && store.Rows(jane) == rows, "rows read back");
  Check(store.Replace(other, {}) && store.Replace(jane, {}), "rows can be taken out");
  Check(store.Rows(jane) == Mails{}, "rows are gone");
}

void WriteAsTexts(std::string_view bytes) {
  Surroundings().directory.Remove(kFile);
  UnconfirmedMailStore store(Surroundings().program());
  const std::size_t half = bytes.size() / 2;
  const MailboxName mailbox{std::string(bytes.substr(0, half)), 1, std::string(bytes.substr(half))};
  const Mails rows{{std::string(bytes), "", true, false, true}};
  Check(static_cast<bool>(store.Replace(mailbox, rows)) == !bytes.empty(), "any id but none can be kept");
  Check(bytes.empty() || store.Rows(mailbox) == rows, "ids and names read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = TextOf(data, size);
  ReadAsFile(bytes);
  WriteAsTexts(bytes);
  return 0;
}
