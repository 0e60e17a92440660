// SPDX-License-Identifier: MIT
#pragma once

// The commands of quillbeaker-cli, one function each. All take the program directory's record and give the
// exit code.

#include "config/program.h"
#include "console/options.h"

namespace quillbeaker {

int RunProxy(Program& program, const RunOptions& options);
int Inspect(Program& program, const InspectOptions& options);
int Serialise(Program& program, const SerialiseOptions& options);
int Classify(Program& program, const ClassifyOptions& options);
int Explain(Program& program, const ExplainOptions& options);
int Learn(Program& program, const LearnOptions& options);
int UndoLearning(Program& program, const LearnOptions& options);  // of Learn
int ManageSenders(Program& program, const SendersOptions& options);
int ImportSenders(Program& program, const SendersOptions& options);  // of ManageSenders
int TestAccount(Program& program, const AccountOptions& options);
int ManageBin(Program& program, const BinOptions& options);
int ManageTraining(Program& program, const TrainingOptions& options);
int ManageSettings(Program& program, const SettingsOptions& options);
int ShowStatistics(Program& program, const StatsOptions& options);

}  // namespace quillbeaker
