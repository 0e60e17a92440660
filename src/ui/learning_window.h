// SPDX-License-Identifier: MIT
#pragma once

// The dialog with the progress of a lesson. It stands beside the window of the training area, which takes
// nothing meanwhile, and looks by itself how far the lesson has come.

#include <cstdint>
#include <memory>

#include "ui/dialog.h"
#include "ui/presenter/training_list.h"

namespace quillbeaker {

class LearningWindow : public Dialog {
 public:
  LearningWindow(HWND owner, std::uint32_t marked, std::shared_ptr<LessonProgress> progress);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  void OnTimer(UINT_PTR timer) override;

  const std::uint32_t marked_;
  const std::shared_ptr<LessonProgress> progress_;
};

}  // namespace quillbeaker
