// SPDX-License-Identifier: MIT
#pragma once

// Whether the program's data can be kept where it is. Found out at start-up: later every save would fail in
// silence.

#include <string>

#include "config/program.h"

namespace quillbeaker {

// The first of the program directory, recycle/ and training/ in which no file can be made; empty when all can
// be written to. The directories must exist.
std::string UnwritableDirectory(const Program& program);

}  // namespace quillbeaker
