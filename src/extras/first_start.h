// SPDX-License-Identifier: MIT
#pragma once

#include "config/program.h"

namespace quillbeaker {

// Whether the program has never worked in its directory: neither a configuration nor the unique ids of a mail
// check are there. Writing the configuration ends it.
bool IsFirstStart(const Program& program);

}  // namespace quillbeaker
