// SPDX-License-Identifier: MIT
#pragma once

// The client's QUIT: spam is filed in the recycle bin, counted in the statistic and deleted on the server,
// the filter learns (quit_learning.h), ids of what stays there are stored, restored messages that arrived
// leave the bin. A session that ends without QUIT does none of it.

namespace quillbeaker {

class ClientSession;

// Replies "+OK Everything done."; the session ends after it. Runs with or without a view built, and on a dead
// connection too: spam is filed, each deletion fails.
void QuitProcessing(ClientSession& session);

}  // namespace quillbeaker
