// SPDX-License-Identifier: MIT
// Any bytes as a configuration file, and any text set in it. The first line of the input is the value, the
// rest the file.

#include <algorithm>
#include <string>

#include "config/ascii.h"
#include "config/ini_document.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view text = TextOf(data, size);
  const std::size_t line_end = std::min(text.find('\n'), text.size());
  const std::string_view value = text.substr(0, line_end);
  const std::string_view bytes = text.substr(std::min(line_end + 1, text.size()));

  IniDocument document(bytes);
  const std::string once = document.Serialise();
  Check(IniDocument(once).Serialise() == once, "what was written once stays as it is");
  const std::size_t senders = document.Section("SENDERS").size();

  Check(document.Set("QUILLBEAKER", "Language", value), "an ordinary key can be set");
  const IniDocument again(document.Serialise());
  Check(again.Find("quillbeaker", "language") == TrimBlanks(WithoutControlBytes(value)),
        "a value is read as it was set");
  Check(again.Section("senders").size() == senders, "a value adds no line to another section");

  // What a file cannot hold in a key is blank in it, so the key is looked for like that.
  const std::string key = WithoutControlBytes(value);
  if (document.Set("SENDERS", value, "1")) {
    const IniDocument with_key(document.Serialise());
    Check(with_key.Find("SENDERS", TrimBlanks(key)) == "1", "a key is found as it was set");
    Check(document.Remove("SENDERS", key), "a key that was set can be removed");
  }
  return 0;
}
