// SPDX-License-Identifier: MIT
#pragma once

// The few socket calls that the helper programs of the mail check's benchmarks need. They are measured beside
// the proxy or between it and a server, so they do nothing more than the calls themselves: no time-outs, no
// logs. Only for 127.0.0.1, only POSIX.

#include <cstdint>
#include <string_view>

namespace quillbeaker::bench {

// A listening socket on a port that the system chose. Prints "listening PORT" on standard output, where the
// script that started the program reads it. Ends the program when there is none.
int ListenOnLoopback();

// The next connection, TCP_NODELAY set. Waits for ever; -1 when the listener is broken.
int Accept(int listener);

// -1 when nobody listens there.
int Connect(std::uint16_t port);

// False when the other side has gone.
bool SendAll(int socket, std::string_view bytes);

// The port named by the argument; ends the program when it is none.
std::uint16_t PortArgument(const char* argument);

}  // namespace quillbeaker::bench
