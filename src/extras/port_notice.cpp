// SPDX-License-Identifier: MIT
#include "extras/port_notice.h"

#include "config/texts.h"

namespace quillbeaker {

bool IsPort(int port) {
  return port >= kLeastPort && port <= kMostPort;
}

std::string DescribePortOutOfRange(int port) {
  return IsPort(port) ? std::string() : Format(Text::kPortOutOfRange, {std::to_string(port)});
}

}  // namespace quillbeaker
