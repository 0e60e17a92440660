// SPDX-License-Identifier: MIT
#include "app/single_instance.h"

#include "ui/wide_text.h"

namespace quillbeaker {

SingleInstance::SingleInstance() {
  const std::wstring name = Wide(EnglishText(Text::kTitle));
  mutex_.reset(CreateMutexW(nullptr, TRUE, name.c_str()));
  is_first_ = GetLastError() != ERROR_ALREADY_EXISTS;
}

void SingleInstance::Release() {
  if (mutex_ != nullptr) {
    ReleaseMutex(mutex_.get());
    mutex_.reset();
  }
}

}  // namespace quillbeaker
