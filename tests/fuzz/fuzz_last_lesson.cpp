// SPDX-License-Identifier: MIT

// Any bytes as the record of the last lesson: it is refused with nothing changed, or undone with no file
// written outside the training area, once. The checksum is put right first, so that the fuzzer gets behind
// it.

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "../support/test_program.h"
#include "filter/lesson_record.h"
#include "filter/little_endian.h"
#include "fuzz_support.h"
#include "stores/last_lesson.h"

namespace {

using namespace quillbeaker;

// One directory for the whole run, in memory where the system has a place for it.
test::TestProgram& Surroundings() {
  static const bool in_memory = DirectoryExists("/dev/shm") && setenv("TMPDIR", "/dev/shm", 0) == 0;
  static_cast<void>(in_memory);
  static test::TestProgram surroundings;
  return surroundings;
}

void Undo(std::string_view bytes) {
  const test::TestDirectory& directory = Surroundings().directory;
  Program& program = Surroundings().program();
  Check(static_cast<bool>(MakeDirectory(program.PathOf("training"))), "there is a directory");
  Check(directory.Put(kLastLesson, bytes), "the input can be written");
  const std::optional<LessonRecord> record = ParseLesson(bytes);
  const bool whole = record && ParseTrainingMails(record->mails);
  const UndoneLesson undone = UndoLastLesson(program);
  Check((undone.outcome == UndoOutcome::kDamaged) == !whole, "what is damaged is refused");
  Check(whole == !directory.Has(kLastLesson), "an undone record is gone, a refused one stays");
  if (undone.outcome == UndoOutcome::kUndone) {
    Check(UndoLastLesson(program).outcome == UndoOutcome::kNone, "it is undone once");
  }
  for (const std::string& name : ListFiles(directory.PathOf("."), "")) {
    Check(name == "Quillbeaker.ini" || name.ends_with(".lock"), "nothing is written outside");
  }
}

std::string WithChecksum(std::string_view rest) {
  std::string bytes;
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(
                                  crc32_z(0, reinterpret_cast<const Bytef*>(rest.data()), rest.size())));
  return bytes.append(rest);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = TextOf(data, size);
  Undo(bytes);
  Undo(WithChecksum(bytes));
  std::filesystem::remove_all(Surroundings().directory.path() / "training");
  return 0;
}
