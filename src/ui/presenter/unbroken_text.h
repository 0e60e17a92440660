// SPDX-License-Identifier: MIT
#pragma once

// Where a text may be broken into lines. The system breaks behind every hyphen, but "-ERR" is one word. Knows
// no window.

#include <string>

namespace quillbeaker {

// The text for drawing: a hyphen that begins a word becomes the one that is never broken at, which looks the
// same. Not for what is copied or read aloud.
std::wstring Unbroken(std::wstring text);

}  // namespace quillbeaker
