// SPDX-License-Identifier: MIT
#include "extras/first_start.h"

#include "platform/files.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {

bool IsFirstStart(const Program& program) {
  return !FileExists(program.configuration.path()) && !FileExists(program.PathOf(kUniqueIdFile));
}

}  // namespace quillbeaker
