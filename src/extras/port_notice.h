// SPDX-License-Identifier: MIT
#pragma once

// What a person is told when the configured port cannot be had.

#include <string>

namespace quillbeaker {

inline constexpr int kLeastPort = 1;
inline constexpr int kMostPort = 65535;
// Whether a mail program can be served at that port at all.
bool IsPort(int port);
// What to add to the text that the port is in use, when it never can be had: UTF-8, empty otherwise.
std::string DescribePortOutOfRange(int port);

}  // namespace quillbeaker
