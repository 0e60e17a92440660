// SPDX-License-Identifier: MIT
#include "ui/ui_queue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "support/window_script.h"

namespace quillbeaker {
namespace {

// Handles messages until the queue has run a task that is posted now.
void RunUntilDone(UiQueue& queue) {
  bool done = false;
  queue.Post([&done] { done = true; });
  MSG message;
  while (!done && GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

HWND WindowOfQueue() {
  return FindWindowExW(HWND_MESSAGE, nullptr, L"QuillbeakerQueue", nullptr);
}

TEST(UiQueue, RunsTasksOfAnotherThreadInTheirOrder) {
  UiQueue queue;
  ASSERT_TRUE(queue.Open());
  std::string order;
  DWORD ran_on = 0;
  std::thread other([&] {
    for (char letter = 'a'; letter <= 'e'; ++letter) {
      queue.Post([&, letter] {
        order += letter;
        ran_on = GetCurrentThreadId();
      });
    }
  });
  other.join();
  EXPECT_EQ(order, "");
  RunUntilDone(queue);
  EXPECT_EQ(order, "abcde");
  EXPECT_EQ(ran_on, GetCurrentThreadId());
}

TEST(UiQueue, DrainRunsWhatWaitsWithoutAMessage) {
  UiQueue queue;
  ASSERT_TRUE(queue.Open());
  int runs = 0;
  queue.Post([&] { ++runs; });
  queue.Drain();
  EXPECT_EQ(runs, 1);
  RunUntilDone(queue);
  EXPECT_EQ(runs, 1);
}

TEST(UiQueue, AMadeUpMessageRunsOnlyWhatWaits) {
  UiQueue queue;
  ASSERT_TRUE(queue.Open());
  const HWND window = WindowOfQueue();
  ASSERT_NE(window, nullptr);
  int runs = 0;
  queue.Post([&] { ++runs; });
  for (UINT message = WM_USER; message <= WM_USER + 200; ++message) SendMessageW(window, message, 1, 1);
  SetWindowLongPtrW(window, GWLP_USERDATA, 1);
  SendMessageW(window, WM_USER, 1, 1);
  EXPECT_EQ(runs, 1);
}

TEST(UiQueue, KeepsTheOrderWhileATaskShowsABox) {
  UiQueue queue;
  ASSERT_TRUE(queue.Open());
  std::string order;
  queue.Post([&] {
    order += "(";
    const test::Shown shown = test::ShowAndWork([] { return MessageBoxW(nullptr, L"text", L"title", MB_OK); },
                                                [&queue, &order](HWND box) {
                                                  queue.Post([&order] { order += "c"; });
                                                  queue.Post([&order, box] {
                                                    order += "d";
                                                    PostMessageW(box, WM_COMMAND, IDOK, 0);
                                                  });
                                                });
    EXPECT_TRUE(shown.appeared && shown.ended);
    order += ")";
  });
  queue.Post([&order] { order += "b"; });
  RunUntilDone(queue);
  EXPECT_EQ(order, "(bcd)");
}

TEST(UiQueue, RunsNothingOnceClosed) {
  UiQueue queue;
  ASSERT_TRUE(queue.Open());
  int runs = 0;
  queue.Post([&] {
    ++runs;
    queue.Close();
  });
  queue.Post([&] { ++runs; });
  queue.Drain();
  EXPECT_EQ(runs, 1);
}

TEST(UiQueue, DropsWhatHasNotRunWhenItEnds) {
  const auto kept = std::make_shared<int>(0);
  {
    UiQueue queue;
    ASSERT_TRUE(queue.Open());
    queue.Post([kept] { ++*kept; });
    EXPECT_EQ(kept.use_count(), 2);
  }
  EXPECT_EQ(kept.use_count(), 1);
  EXPECT_EQ(*kept, 0);
  EXPECT_EQ(WindowOfQueue(), nullptr);
}

}  // namespace
}  // namespace quillbeaker
