// SPDX-License-Identifier: MIT
#include "extras/trust_questions.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(TrustQuestions, AskOncePerServerAndAnewAfterAYes) {
  TrustQuestions questions;
  EXPECT_TRUE(questions.Begin("pop.example.org:995"));
  EXPECT_FALSE(questions.Begin("POP.example.org:995"));
  EXPECT_TRUE(questions.Begin("pop.example.org:110"));
  questions.Forget("pop.example.org:995");
  EXPECT_TRUE(questions.Begin("pop.example.org:995"));
  EXPECT_FALSE(questions.Begin("pop.example.org:110"));
}

}  // namespace
}  // namespace quillbeaker
