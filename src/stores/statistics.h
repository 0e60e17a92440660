// SPDX-License-Identifier: MIT
#pragma once

// How many spams were removed, by the day of their date, over the last 30 days; kept in the configuration
// file. Days are UTC here (local elsewhere). An object is for one thread; any number of them, also in several
// programs, add to the same counts and lose none of each other's.

#include <array>
#include <cstddef>
#include <cstdint>

#include "config/program.h"

namespace quillbeaker {

inline constexpr std::size_t kStatisticDays = 30;

class Statistics {
 public:
  // All counts and days are 0 until Load. `program` must outlive the object.
  explicit Statistics(Program& program);

  // An object that is loaded already is saved first; what then cannot be saved is lost. The window of 30 days
  // is fixed here. Counts for days in the future or 30 and more days back are dropped; of several for one day
  // the last one counts.
  void Load();
  // One more spam of that day (DayNumber). Days outside the window are not counted.
  void Count(std::uint32_t day);
  // Adds what was counted since the last Save to the counts of the file as it is now, in one step under its
  // lock, and writes both keys: days with a count only, newest first; empty when there are none. A file that
  // would get the bytes that it has is left alone. False when they could not be written: the counts are then
  // kept and Save may be called again. True without effect before Load.
  bool Save();

  // The largest count; `day`, when given, gets the newest day that has it, or today when all are 0.
  std::uint32_t Highest(std::uint32_t* day = nullptr) const;
  // Spams per day over the 30 days.
  double Average() const;
  // Of slot 0 (today) to 29.
  std::uint32_t CountOf(std::size_t slot) const { return counts_[slot]; }
  std::uint32_t DayOf(std::size_t slot) const { return days_[slot]; }

 private:
  using Counts = std::array<std::uint32_t, kStatisticDays>;

  Program& program_;
  Counts counts_{};
  Counts unsaved_{};  // the part of counts_ that the file does not have
  std::array<std::uint32_t, kStatisticDays> days_{};
  std::uint32_t today_ = 0;
  bool loaded_ = false;
};

}  // namespace quillbeaker
