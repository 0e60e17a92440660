// SPDX-License-Identifier: MIT
#pragma once

// The resource ids of the bare list window, for the resource compiler too.

#define BARE_LIST_DIALOG 30001
#define BARE_LIST_ROWS 30002
#define BARE_LIST_COUNT 30003
