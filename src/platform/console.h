// SPDX-License-Identifier: MIT
#pragma once

// What a console program needs of its system: arguments as UTF-8, a clean end on Ctrl+C, whether a person
// watches.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// The command line as UTF-8, program name included (on Windows from the wide command line, not from argv).
std::vector<std::string> CommandLine(int argc, char** argv);

// From now on SIGINT, SIGTERM and SIGHUP (Ctrl+C, closing the console) call `handler` once, on a thread of
// its own, instead of ending the process; later ones do nothing. Call before any other thread is started.
// Where the system gives no thread they end the process as ever.
void OnInterrupt(std::function<void()> handler);

// True when a person sees the output and the terminal clears a line at ESC [ K.
bool StandardOutputIsTerminal();
bool StandardInputIsTerminal();

// How many columns the terminal behind standard output has now; 80 where no terminal tells.
std::size_t StandardOutputColumns();

// Writes bytes to standard output as they are (no CR LF translation) and flushes. UTF-8 is what a terminal
// shows.
void WriteStandardOutput(std::string_view bytes);
void WriteStandardError(std::string_view bytes);
// False once a write to standard output has failed (a full disk behind it, say).
bool StandardOutputIsWhole();

// One line typed by the person, without its end; nothing at the end of input.
std::optional<std::string> ReadStandardInputLine();
// The same, not shown while it is typed at a terminal, and kept nowhere else. For a program that reads
// nothing else from there. `prompt` goes to standard error once nothing that is typed is shown any more.
std::optional<std::string> ReadSecretLine(std::string_view prompt);

}  // namespace quillbeaker
