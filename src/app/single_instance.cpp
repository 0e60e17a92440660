// SPDX-License-Identifier: MIT
#include "app/single_instance.h"

#include "ui/wide_text.h"

namespace quillbeaker {

SingleInstance::SingleInstance() {
  const std::wstring name = Wide(EnglishText(Text::kTitle));
  mutex_.reset(CreateMutexW(nullptr, TRUE, name.c_str()));
  // Access is denied to the mutex of an instance that runs with more rights.
  const DWORD error = GetLastError();
  is_first_ = error != ERROR_ALREADY_EXISTS && error != ERROR_ACCESS_DENIED;
}

void SingleInstance::Release() {
  if (mutex_ != nullptr) {
    ReleaseMutex(mutex_.get());
    mutex_.reset();
  }
}

}  // namespace quillbeaker
