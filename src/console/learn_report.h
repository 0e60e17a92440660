// SPDX-License-Identifier: MIT
#pragma once

// What `learn` tells of a run, in words for people and as JSON for programs.

#include <string>

#include "config/program.h"
#include "console/json_text.h"
#include "console/mail_folders.h"
#include "filter/bulk_learning.h"

namespace quillbeaker {

// A line for each warning that lists of these sizes call for; empty without any.
std::string LinesOfWarnings(const LearningSizes& sizes);

// What the lists knew before and what the run added to it.
LearningSizes SizesLearnt(const BulkReport& report);

// A line for each reason why mail, or what might have been mail, was not taken.
std::string LinesOfMailLeftOut(const MailFolders& mails);

std::string LinesOfLearning(const BulkReport& report, const MailFolders& mails, const Program& program);
Json JsonOfLearning(const BulkReport& report, const MailFolders& mails);

}  // namespace quillbeaker
