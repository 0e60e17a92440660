// SPDX-License-Identifier: MIT
#pragma once

// "Restore and trust...": what is asked about mails of the recycle bin, and what is done on OK. Knows no
// window.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "config/program.h"
#include "stores/recycle_bin.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

struct TrustChoice {
  bool restores = true;
  bool befriends = true;  // puts the sender on the Friend List
  bool whole_domain = false;
  bool learns = true;  // as good
};

// Those ticked last; kept in the configuration.
TrustChoice ReadTrustChoice(const Program& program);
void WriteTrustChoice(Program& program, const TrustChoice& choice);

class TrustDialog : public SmallDialog {
 public:
  TrustDialog(Program& program, std::vector<RecycleEntry> entries);

  void Load(PageView& view) override;
  void Pressed(PageView& view, int control) override;
  bool Ok(PageView& view) override;

  // After Ok.
  const TrustChoice& choice() const { return choice_; }

 private:
  void Update(PageView& view) const;
  TrustChoice Chosen(const PageView& view) const;

  Program& program_;
  const std::vector<RecycleEntry> entries_;
  std::vector<std::string> addresses_;  // of the senders, each once
  TrustChoice choice_;
};

struct TrustReport {
  std::size_t restored = 0;
  std::size_t friends = 0;  // senders that were none before
  std::size_t learnt = 0;
  bool senders_changed = false;
  std::string trouble;  // the first that could not be done, and why; empty when all could
};

// In this order: restored, on the Friend List, learnt, which is a lesson that can be undone. What fails does
// not hinder the rest. A blocked sender is moved to the friends. Mails that have left the bin are skipped.
TrustReport RestoreAndTrust(Program& program, std::span<const RecycleEntry> entries,
                            const TrustChoice& choice);

// For the status line.
std::string LineOf(const TrustReport& report);

// The entries of these names as the bin has them now, in the order of the names.
std::vector<RecycleEntry> EntriesOf(Program& program, std::span<const std::string> names);

}  // namespace quillbeaker
