// SPDX-License-Identifier: MIT
#include "config/ini_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

class IniFileTest : public testing::Test {
 protected:
  void Put(std::string_view bytes) { ASSERT_TRUE(directory.Put("Quillbeaker.ini", bytes)); }
  std::string Get() const { return directory.Get("Quillbeaker.ini").value_or("(missing)"); }
  // Puts the file's time an hour back, so that its state is proof enough that it did not change.
  void Age() {
    const std::filesystem::path path = directory.path() / "Quillbeaker.ini";
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) - std::chrono::hours(1));
  }
  std::filesystem::file_time_type Written() const {
    return std::filesystem::last_write_time(directory.path() / "Quillbeaker.ini");
  }

  test::TestDirectory directory;
  IniFile file{directory.PathOf("Quillbeaker.ini")};
};

TEST_F(IniFileTest, WhatIsNoTextOfBytesIsNotTakenForUnset) {
  using namespace std::string_literals;
  for (const std::string& bytes : {"\xFF\xFE[\0S\0]\0\r\0\n\0k\0=\0"s, "\xFE\xFF\0[\0S\0]\0\n"s,
                                   "[\0S\0]\0\n\0"s, "\0[\0S\0]\0\n"s, std::string(200, '\0')}) {
    Put(bytes);
    EXPECT_EQ(file.ReadOrNull(), nullptr);
    EXPECT_FALSE(file.WriteString("SERVER", "Port", "9"));
    EXPECT_EQ(file.LastUpdate().path, file.path());
    EXPECT_EQ(Get(), bytes);
  }
  for (const std::string& bytes : {""s, "["s, "\xEF\xBB\xBF[S]\n"s, "[S]\nx=\0\n"s}) {
    Put(bytes);
    EXPECT_NE(file.ReadOrNull(), nullptr);
  }
}

TEST_F(IniFileTest, IntegerKeysFollowTheTextOfTheirValue) {
  Put("[QUILLBEAKER]\r\nword=abc\r\nempty=\r\ndigits=12x\r\nminus=-1\r\nhex=0x10\r\noctal=010\r\nspaced=   7 "
      " \r\n"
      "quoted=\"12\"\r\nbig=99999999999\r\nlow=-99999999999\r\nplus=+5\r\n");
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "word", 77), 0);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "empty", 77), 0);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "digits", 77), 12);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "minus", 77), -1);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "hex", 77), 0);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "octal", 77), 10);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "spaced", 77), 7);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "quoted", 77), 12);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "big", 77), kMax);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "low", 77), kMin);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "plus", 77), 0);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "missing", 77), 77);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "missing", -1), -1);
}

TEST_F(IniFileTest, AMissingFileReadsAsDefaultsAndIsNotMade) {
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "Enable", 1), 1);
  EXPECT_EQ(file.ReadString("QUILLBEAKER", "Language", "default", 260), "default");
  ASSERT_NE(file.Read(), nullptr);
  EXPECT_EQ(file.Read()->Serialise(), "");
  EXPECT_EQ(directory.Names(), std::vector<std::string>());
}

TEST_F(IniFileTest, AKeyThatCannotBeWrittenCanBeRemoved) {
  Put("[SENDERS]\r\n=5\r\n[abc=6\r\na@b=A,1\r\n");
  EXPECT_FALSE(file.Write(std::vector<IniChange>{{"SENDERS", "", "7"}}));
  EXPECT_TRUE(file.Write(std::vector<IniChange>{{"SENDERS", "", std::nullopt}}));
  EXPECT_EQ(Get().find("=5"), std::string::npos);
  EXPECT_NE(Get().find("a@b=A,1"), std::string::npos);
}

TEST_F(IniFileTest, ReadingAnExistingFileWritesNothing) {
  const std::string bytes = "[QUILLBEAKER]\nEnable=0\n";
  Put(bytes);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "Enable", 1), 0);
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "Aggressiveness", 50), 50);
  EXPECT_EQ(file.ReadString("SERVER", "Port", "110", 10), "110");
  EXPECT_EQ(Get(), bytes);
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"Quillbeaker.ini"});
}

TEST_F(IniFileTest, ADirectoryInTheFilesPlaceReadsAsEmpty) {
  ASSERT_TRUE(directory.MakeFolder("Quillbeaker.ini"));
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "Enable", 1), 1);
  ASSERT_NE(file.Read(), nullptr);
  EXPECT_FALSE(file.WriteInteger("QUILLBEAKER", "Enable", 0));
}

TEST_F(IniFileTest, TextsAreCutToTheirCapacityLessOne) {
  Put("[SERVER]\r\nPort=12345678901234567890\r\nName=" + std::string(400, 'n') + "\r\nShort=abc\r\n");
  EXPECT_EQ(file.ReadString("SERVER", "Port", "110", 10), "123456789");
  EXPECT_EQ(file.ReadString("SERVER", "Name", "", 260), std::string(259, 'n'));
  EXPECT_EQ(file.ReadString("SERVER", "Short", "", 4), "abc");
  EXPECT_EQ(file.ReadString("SERVER", "Short", "", 3), "ab");
  EXPECT_EQ(file.ReadString("SERVER", "Short", "", 1), "");
}

TEST_F(IniFileTest, TheDefaultIsCutToTheCapacityAsWell) {
  EXPECT_EQ(file.ReadString("SERVER", "Port", "12345678901234567890", 10), "123456789");
  EXPECT_EQ(file.ReadString("SERVER", "Port", "110", 10), "110");
}

TEST_F(IniFileTest, ATextIsReadWithoutItsQuotesAndAnEmptyOneIsNotTheDefault) {
  Put("[QUILLBEAKER]\r\nLanguage=\"German.Quillbeaker.language\"\r\nNone=\r\n");
  EXPECT_EQ(file.ReadString("QUILLBEAKER", "Language", "", 260), "German.Quillbeaker.language");
  EXPECT_EQ(file.ReadString("QUILLBEAKER", "None", "default", 260), "");
}

TEST_F(IniFileTest, TheFirstWriteMakesTheFile) {
  EXPECT_TRUE(file.WriteString("QUILLBEAKER", "Language", "default"));
  EXPECT_EQ(Get(), "[QUILLBEAKER]\r\nLanguage=default\r\n");
  EXPECT_TRUE(file.WriteInteger("SERVER", "Port", 2110));
  EXPECT_EQ(Get(), "[QUILLBEAKER]\r\nLanguage=default\r\n[SERVER]\r\nPort=2110\r\n");
}

TEST_F(IniFileTest, IntegersAreWrittenInDecimal) {
  EXPECT_TRUE(file.WriteInteger("A", "a", -1));
  EXPECT_TRUE(file.WriteInteger("A", "b", kMin));
  EXPECT_TRUE(file.WriteInteger("A", "c", kMax));
  EXPECT_TRUE(file.WriteInteger("A", "d", 0));
  EXPECT_EQ(Get(), "[A]\r\na=-1\r\nb=-2147483648\r\nc=2147483647\r\nd=0\r\n");
  EXPECT_EQ(file.ReadInteger("A", "a", 5), -1);
  EXPECT_EQ(file.ReadInteger("A", "b", 5), kMin);
}

TEST_F(IniFileTest, BothSpellingsOfTheMainSectionAreOneSection) {
  Put("; my settings\r\n[QUILLBEAKER]\r\nEnable=1\r\nfoo "
      "bar\r\nAutoCheckForUpdates=1\r\n\r\n[SERVER]\r\nPort=110\r\n");
  EXPECT_TRUE(file.WriteInteger("Quillbeaker", "AutoCheckForUpdates", 0));
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "autocheckforupdates", 1), 0);
  EXPECT_EQ(Get(),
            "; my settings\r\n[QUILLBEAKER]\r\nEnable=1\r\nfoo "
            "bar\r\nAutoCheckForUpdates=0\r\n\r\n[SERVER]\r\nPort=110\r\n");
  EXPECT_TRUE(file.WriteInteger("QUILLBEAKER", "TRAYDBLCLK", 40007));
  EXPECT_EQ(file.ReadInteger("Quillbeaker", "TrayDblClk", 40005), 40007);
  const std::string bytes = Get();
  EXPECT_EQ(bytes.find("[Quillbeaker]"), std::string::npos);
  EXPECT_EQ(bytes.find("[QUILLBEAKER]"), bytes.rfind("[QUILLBEAKER]"));
}

TEST_F(IniFileTest, WrittenInMixedCaseFirstTheSectionIsReadInCapitals) {
  EXPECT_TRUE(file.WriteInteger("Quillbeaker", "AutoCheckForUpdatesDays", 3));
  EXPECT_TRUE(file.WriteInteger("QUILLBEAKER", "Enable", 0));
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "AutoCheckForUpdatesDays", 10), 3);
  EXPECT_EQ(file.ReadInteger("Quillbeaker", "enable", 1), 0);
  EXPECT_EQ(Get(), "[Quillbeaker]\r\nAutoCheckForUpdatesDays=3\r\nEnable=0\r\n");
}

TEST_F(IniFileTest, ControlBytesInAValueCanAddNoLine) {
  EXPECT_TRUE(file.WriteString("SENDERS", "a@b", "Eve\r\n[SERVER]\r\nPort=1\t\x01x,1"));
  EXPECT_EQ(file.ReadInteger("SERVER", "Port", 110), 110);
  EXPECT_EQ(file.ReadString("SENDERS", "a@b", "", 260), "Eve  [SERVER]  Port=1  x,1");
  EXPECT_EQ(Get(), "[SENDERS]\r\na@b=Eve  [SERVER]  Port=1  x,1\r\n");
}

TEST_F(IniFileTest, ControlBytesInAKeyCanAddNoLine) {
  EXPECT_TRUE(file.WriteString("SENDERS", "a\r\n[SERVER]\nPort", ",1"));
  EXPECT_EQ(file.ReadString("SERVER", "Port", "none", 260), "none");
  EXPECT_EQ(Get(), "[SENDERS]\r\na  [SERVER] Port=,1\r\n");
}

TEST_F(IniFileTest, RemovingAKeyTakesItsLineAway) {
  Put("[SENDERS]\r\na@b=Bob,2\r\n; note\r\nc@d=,1\r\n");
  EXPECT_TRUE(file.RemoveKey("senders", "A@B"));
  EXPECT_EQ(Get(), "[SENDERS]\r\n; note\r\nc@d=,1\r\n");
  EXPECT_EQ(file.ReadString("SENDERS", "a@b", "gone", 260), "gone");
}

TEST_F(IniFileTest, RemovingAMissingKeyIsNoFailureAndWritesNothing) {
  EXPECT_TRUE(file.RemoveKey("A", "x"));
  EXPECT_FALSE(directory.Has("Quillbeaker.ini"));
  const std::string bytes = "[A]\ny=1\n";
  Put(bytes);
  EXPECT_TRUE(file.RemoveKey("A", "x"));
  EXPECT_EQ(Get(), bytes);
}

TEST_F(IniFileTest, AKeyThatTheFileCanNotHoldIsRefused) {
  Put("[A]\r\nx=1\r\n");
  for (const std::string_view key : {"", "a=b", ";x", "[x"})
    EXPECT_FALSE(file.WriteString("A", key, "2")) << key;
  EXPECT_EQ(Get(), "[A]\r\nx=1\r\n");
}

TEST_F(IniFileTest, ManyChangesAreOneStep) {
  Put("[A]\r\nx=1\r\n");
  EXPECT_TRUE(file.Update([](IniDocument& document) {
    document.Set("A", "y", "2");
    document.Set("B", "z", "3");
    document.Remove("A", "x");
  }));
  EXPECT_EQ(Get(), "[A]\r\ny=2\r\n[B]\r\nz=3\r\n");
}

TEST_F(IniFileTest, ChangesAreWrittenTogetherAndTheRestStays) {
  Put("; mine\r\n[A]\r\nx = 1\r\nodd line\r\ngone=1\r\nGONE=2\r\n\r\n[C]\r\nk=v\r\n");
  const std::vector<IniChange> changes = {
      {"a", "X", "2"}, {"A", "y", "new"}, {"A", "gone", std::nullopt}, {"B", "z", "3"}};
  EXPECT_TRUE(file.Write(changes));
  EXPECT_EQ(Get(), "; mine\r\n[A]\r\nx = 2\r\nodd line\r\ny=new\r\n\r\n[C]\r\nk=v\r\n[B]\r\nz=3\r\n");
}

TEST_F(IniFileTest, ChangesToTheValuesThatAreThereTouchNothing) {
  Put("[A]\nx = \"1\"\ny='two'");  // quotes, and no end of the last line
  Age();
  const auto before = Written();
  const std::vector<IniChange> changes = {{"A", "x", "1"}, {"A", "y", "two"}, {"A", "none", std::nullopt}};
  EXPECT_TRUE(file.Write(changes));
  EXPECT_TRUE(file.Write({}));
  EXPECT_EQ(Written(), before);
  EXPECT_EQ(Get(), "[A]\nx = \"1\"\ny='two'");
}

TEST_F(IniFileTest, OneChangeThatTheFileCanNotHoldKeepsAllFromIt) {
  Put("[A]\r\nx=1\r\n");
  const std::vector<IniChange> changes = {{"A", "x", "2"}, {"A", "y=z", "3"}};
  EXPECT_FALSE(file.Write(changes));
  EXPECT_EQ(Get(), "[A]\r\nx=1\r\n");
}

TEST_F(IniFileTest, ChangesCanAddNoLine) {
  const std::vector<IniChange> changes = {{"A", "x", "1\r\n[SERVER]\r\nPort=1"}};
  EXPECT_TRUE(file.Write(changes));
  EXPECT_EQ(Get(), "[A]\r\nx=1  [SERVER]  Port=1\r\n");
}

TEST_F(IniFileTest, AReaderSeesAllOfTheChangesOrNone) {
  std::thread writer([this] {
    for (int i = 1; i <= 50; ++i) {
      const std::string value = std::to_string(i);
      const std::vector<IniChange> changes = {{"A", "x", value}, {"B", "y", value}};
      // Windows may refuse to replace a file for as long as it is being read.
      bool written = false;
      for (int attempt = 0; attempt < 100 && !written; ++attempt) written = file.Write(changes);
      EXPECT_TRUE(written);
    }
  });
  const IniFile other(directory.PathOf("Quillbeaker.ini"));
  std::string last;
  int seen = 0;
  while (last != "50" && seen < 100000) {
    const auto document = other.Read();
    last = document->Find("A", "x").value_or("");
    EXPECT_EQ(document->Find("B", "y").value_or(""), last);
    ++seen;
    std::this_thread::yield();
  }
  writer.join();
}

TEST_F(IniFileTest, AWriteThatChangesNothingRewritesNothing) {
  Put("[A]\r\nx=1\r\n");
  Age();
  const auto before = Written();
  EXPECT_TRUE(file.WriteString("A", "X", "1"));
  EXPECT_TRUE(file.WriteInteger("A", "x", 1));
  EXPECT_TRUE(file.Update([](IniDocument&) {}));
  EXPECT_EQ(Written(), before);
  EXPECT_TRUE(file.WriteInteger("A", "x", 2));
  EXPECT_NE(Written(), before);
}

TEST_F(IniFileTest, AFileChangedByHandIsReadAnewAtOnce) {
  // Same length and, on most systems, the same time stamp: nothing but the content tells them apart.
  for (int i = 0; i < 200; ++i) {
    const std::string digit(1, static_cast<char>('0' + i % 10));
    Put("[QUILLBEAKER]\r\nAggressiveness=" + digit + "\r\n");
    ASSERT_EQ(file.ReadInteger("QUILLBEAKER", "Aggressiveness", 50), i % 10);
  }
  ASSERT_TRUE(directory.Remove("Quillbeaker.ini"));
  EXPECT_EQ(file.ReadInteger("QUILLBEAKER", "Aggressiveness", 50), 50);
}

TEST_F(IniFileTest, AFileReplacedByAnotherOfTheSameSizeAndTimeIsReadAnew) {
  Put("[A]\r\nx=1\r\n");
  Age();
  const auto time = Written();
  EXPECT_EQ(file.ReadInteger("A", "x", 0), 1);
  ASSERT_TRUE(directory.Put("other", "[A]\r\nx=2\r\n"));
  std::filesystem::last_write_time(directory.path() / "other", time);
  std::filesystem::rename(directory.path() / "other", directory.path() / "Quillbeaker.ini");
  ASSERT_EQ(Written(), time);
  EXPECT_EQ(file.ReadInteger("A", "x", 0), 2);
}

TEST_F(IniFileTest, AnUnchangedFileIsGivenAsTheSameParsedCopy) {
  Put("[A]\r\nx=1\r\n");
  Age();
  const std::shared_ptr<const IniDocument> first = file.Read();
  EXPECT_EQ(file.Read(), first);
  EXPECT_EQ(file.Read(), first);
  EXPECT_TRUE(file.WriteInteger("A", "x", 2));
  const std::shared_ptr<const IniDocument> second = file.Read();
  EXPECT_NE(second, first);
  EXPECT_EQ(first->Find("A", "x"), "1");
  EXPECT_EQ(second->Find("A", "x"), "2");
}

TEST_F(IniFileTest, AWriteKeepsWhatAnotherWroteInBetween) {
  Put("[A]\r\nx=1\r\n");
  EXPECT_EQ(file.ReadInteger("A", "x", 0), 1);
  Put("[A]\r\nx=1\r\ny=by hand\r\n");
  EXPECT_TRUE(file.WriteInteger("A", "x", 2));
  EXPECT_EQ(Get(), "[A]\r\nx=2\r\ny=by hand\r\n");
}

TEST_F(IniFileTest, AWriteIntoAMissingDirectoryFails) {
  IniFile lost(directory.PathOf("nowhere/Quillbeaker.ini"));
  EXPECT_FALSE(lost.WriteString("A", "x", "1"));
  EXPECT_FALSE(lost.WriteInteger("A", "x", 1));
  EXPECT_EQ(lost.ReadInteger("A", "x", 9), 9);
  EXPECT_FALSE(directory.Has("nowhere"));
}

TEST_F(IniFileTest, AReadOnlyFileStaysAsItIs) {
  const std::string bytes = "[A]\r\nx=1\r\n";
  Put(bytes);
  directory.SetReadOnly("Quillbeaker.ini", true);
  EXPECT_FALSE(file.WriteInteger("A", "x", 2));
  EXPECT_EQ(file.ReadInteger("A", "x", 0), 1);
  EXPECT_EQ(Get(), bytes);
  directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_TRUE(file.WriteInteger("A", "x", 2));
  EXPECT_EQ(file.ReadInteger("A", "x", 0), 2);
}

TEST_F(IniFileTest, AFullDiskLeavesTheOldFileWhole) {
  const std::string bytes = "[A]\r\nx=" + std::string(5000, 'o') + "\r\n";
  Put(bytes);
  bool written = true;
  {
    const test::FullDisk full(1000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    written = file.WriteInteger("A", "y", 2);
  }
  EXPECT_FALSE(written);
  EXPECT_EQ(Get(), bytes);
  EXPECT_TRUE(file.WriteInteger("A", "y", 2));
  EXPECT_EQ(file.ReadInteger("A", "y", 0), 2);
}

TEST_F(IniFileTest, NothingButTheFileAndItsLockIsLeftBehind) {
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(file.WriteInteger("A", "x", i));
  EXPECT_EQ(directory.Names(), (std::vector<std::string>{"Quillbeaker.ini", "Quillbeaker.ini.lock"}));
}

TEST_F(IniFileTest, ThreadsThatWriteAtTheSameTimeLoseNothing) {
  constexpr int kThreads = 4;
  constexpr int kKeys = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int k = 0; k < kKeys; ++k) {
        file.WriteInteger("A", "t" + std::to_string(t) + "k" + std::to_string(k), t * 100 + k);
        file.ReadInteger("A", "t0k0", -1);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    for (int k = 0; k < kKeys; ++k) {
      EXPECT_EQ(file.ReadInteger("A", "t" + std::to_string(t) + "k" + std::to_string(k), -1), t * 100 + k);
    }
  }
}

TEST_F(IniFileTest, AReaderNeverSeesAnythingButAWholeFile) {
  Put("[A]\r\nvalue=0\r\npadding=" + std::string(20000, 'p') + "\r\nend=1\r\n");
  std::thread writer([this] {
    for (int i = 1; i <= 100; ++i) file.WriteInteger("A", "value", i);
  });
  IniFile reader(directory.PathOf("Quillbeaker.ini"));
  int broken = 0;
  for (int i = 0; i < 300; ++i) {
    if (reader.ReadInteger("A", "end", -1) != 1) ++broken;
  }
  writer.join();
  EXPECT_EQ(broken, 0);
  EXPECT_EQ(reader.ReadInteger("A", "value", -1), 100);
}

TEST_F(IniFileTest, TheDirectoryMayHaveAnyName) {
  // "Prüfung %41 日本" in UTF-8.
  const std::string name =
      "Pr\xC3\xBC"
      "fung %41 \xE6\x97\xA5\xE6\x9C\xAC";
  ASSERT_TRUE(directory.MakeFolder(name));
  IniFile strange(directory.PathOf(name + "/Quillbeaker.ini"));
  EXPECT_TRUE(strange.WriteInteger("A", "x", 5));
  EXPECT_EQ(strange.ReadInteger("A", "x", 0), 5);
  EXPECT_EQ(directory.Get(name + "/Quillbeaker.ini").value_or("(missing)"), "[A]\r\nx=5\r\n");
}

TEST_F(IniFileTest, NewFilesAreForTheUserAlone) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "no file modes here: files take the directory's rights";
  EXPECT_TRUE(file.WriteInteger("A", "x", 1));
  EXPECT_TRUE(file.WriteInteger("A", "x", 2));
  EXPECT_EQ(std::filesystem::status(directory.path() / "Quillbeaker.ini").permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace
}  // namespace quillbeaker
