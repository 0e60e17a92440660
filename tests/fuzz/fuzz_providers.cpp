// SPDX-License-Identifier: MIT
// Any bytes as a file of providers, and any text as an address. The first line of the input is the address.

#include <algorithm>
#include <string>

#include "extras/account/mail_client_settings.h"
#include "extras/account/providers.h"
#include "fuzz_support.h"
#include "message/display_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view text = TextOf(data, size);
  const std::size_t line_end = std::min(text.find('\n'), text.size());
  const std::string_view address = text.substr(0, line_end);
  const ProviderTable table(text.substr(std::min(line_end + 1, text.size())), ShippedProviders());
  const Proposals proposals = table.Propose(address);
  Check(proposals.servers.size() <= 2, "few servers are proposed");
  for (const ServerProposal& one : proposals.servers) {
    Check(one.port >= 1 && one.port <= 65535, "a port is one");
    Check(JoinAccountName(one.server, "ann", one.port).has_value(), "a proposed server can be typed");
    Check(IsUtf8(one.source), "a source can be shown");
  }
  return 0;
}
