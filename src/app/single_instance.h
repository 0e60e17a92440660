// SPDX-License-Identifier: MIT
#pragma once

// One instance of the program per user session.

#include "ui/handles.h"

namespace quillbeaker {

class SingleInstance {
 public:
  SingleInstance();
  ~SingleInstance() { Release(); }
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  bool is_first() const { return is_first_; }
  // From now on another instance may start. Any thread: the one that does not own the mutex closes it, which
  // does as well.
  void Release();

 private:
  UniqueKernelHandle mutex_;
  bool is_first_ = false;
};

}  // namespace quillbeaker
