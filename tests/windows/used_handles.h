// SPDX-License-Identifier: MIT
#pragma once

// What this process holds. The functions made for this (GetGuiResources, GetProcessHandleCount) always say 0
// under Wine; the tables that they would read are there.

namespace quillbeaker::test {

int UsedGdiObjects();
int UsedHandles();

}  // namespace quillbeaker::test
