// SPDX-License-Identifier: MIT
#include "ui/presenter/plain_pages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "presenter/settings_page_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using GeneralPageTest = test::SettingsPageTest;
using TrayPageTest = test::SettingsPageTest;
using ConnectionPageTest = test::SettingsPageTest;
using FilterPageTest = test::SettingsPageTest;
using TrainingAreaPageTest = test::SettingsPageTest;

constexpr int kUnknown = -1;

TEST_F(TrayPageTest, ShowsDefaultsAndWritesAllItsKeys) {
  Open<TrayPage>();
  EXPECT_TRUE(view.IsChecked(TRAY_SHOW_BUBBLE));
  EXPECT_EQ(view.TextIn(TRAY_SECONDS), "180");
  EXPECT_EQ(view.choices[TRAY_DOUBLE_CLICK],
            (std::vector<std::string>{"Recycle Bin", "Spam Mail Statistic", "Training Area", "Settings"}));
  EXPECT_EQ(view.ChosenIn(TRAY_DOUBLE_CLICK), 0);
  EXPECT_EQ((view.choice_values[{TRAY_DOUBLE_CLICK, 0}]), 40005);
  EXPECT_EQ((view.choice_values[{TRAY_DOUBLE_CLICK, 3}]), 40004);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(), "[QUILLBEAKER]\r\nShowBubble=1\r\nTrayNumSeconds=180\r\nTrayDblClk=40005\r\n");
  EXPECT_FALSE(applied.restart_needed);
}

TEST_F(TrayPageTest, WritesWhatThePersonSet) {
  Open<TrayPage>();
  view.Check(TRAY_SHOW_BUBBLE, false);
  view.Type(TRAY_SECONDS, "30");
  view.Pick(TRAY_DOUBLE_CLICK, 3);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("ShowBubble"), "0");
  EXPECT_EQ(Main("TrayNumSeconds"), "30");
  EXPECT_EQ(Main("TrayDblClk"), "40004");
}

TEST_F(TrayPageTest, NothingIsWrittenBeforeOk) {
  Open<TrayPage>();
  view.Check(TRAY_SHOW_BUBBLE, false);
  EXPECT_FALSE(one.directory.Has("Quillbeaker.ini"));
}

TEST_F(TrayPageTest, ACommandThatIsNoChoiceSurvivesOk) {
  ASSERT_TRUE(one.Configure("TrayDblClk=40013"));
  Open<TrayPage>();
  EXPECT_EQ(view.ChosenIn(TRAY_DOUBLE_CLICK), kUnknown);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("TrayDblClk"), "40013");
}

TEST_F(TrayPageTest, AnEmptiedNumberComesBack) {
  ASSERT_TRUE(one.Configure("TrayNumSeconds=25"));
  TrayPage& page = Open<TrayPage>();
  view.Type(TRAY_SECONDS, "");
  page.Left(TRAY_SECONDS);
  EXPECT_EQ(view.TextIn(TRAY_SECONDS), "25");
  view.Type(TRAY_SECONDS, "40");
  page.Left(TRAY_SECONDS);
  view.Type(TRAY_SECONDS, "");
  EXPECT_TRUE(Ok());  // the focus may still be in the field
  EXPECT_EQ(view.TextIn(TRAY_SECONDS), "40");
  EXPECT_EQ(Main("TrayNumSeconds"), "40");
}

TEST_F(TrayPageTest, ANumberIsShownAndWrittenAsItStandsInTheFile) {
  ASSERT_TRUE(one.Configure("TrayNumSeconds=5 minutes"));
  Open<TrayPage>();
  EXPECT_EQ(view.TextIn(TRAY_SECONDS), "5 minutes");
  EXPECT_EQ(view.limits[TRAY_SECONDS], 9u);
  EXPECT_TRUE(view.digits_only[TRAY_SECONDS]);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("TrayNumSeconds"), "5 minutes");
}

TEST_F(TrayPageTest, WhatIsAsItWasTouchesNoFile) {
  const std::string text = "; mine\n[quillbeaker]\nShowBubble = \"1\"\nTrayNumSeconds=180\nTrayDblClk=40005";
  ASSERT_TRUE(one.directory.Put("Quillbeaker.ini", text));
  Open<TrayPage>();
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(), text);
}

TEST_F(GeneralPageTest, UpdateKeysAreWrittenUnderTheirSpelling) {
  Open<GeneralPage>();
  view.Check(GENERAL_UPDATES, false);
  EXPECT_FALSE(view.IsEnabled(GENERAL_UPDATE_DAYS));
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(),
            "[Quillbeaker]\r\nAutoCheckForUpdates=0\r\nAutoCheckForUpdatesDays=10\r\nRecycleBinMaxDays=30\r\n"
            "AlphaBlending=1\r\nUIDChecking=1\r\n");
}

TEST_F(GeneralPageTest, TheDaysOfUpdatesAreEnabledByTheirCheckBox) {
  ASSERT_TRUE(one.Configure("AutoCheckForUpdates=0"));
  Open<GeneralPage>();
  EXPECT_FALSE(view.IsEnabled(GENERAL_UPDATE_DAYS));
  view.Check(GENERAL_UPDATES, true);
  EXPECT_TRUE(view.IsEnabled(GENERAL_UPDATE_DAYS));
}

TEST_F(GeneralPageTest, AnEmptiedAgeNeverDeletesEverything) {
  ASSERT_TRUE(one.Configure("RecycleBinMaxDays=14"));
  Open<GeneralPage>();
  view.Type(GENERAL_RECYCLE_DAYS, "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("RecycleBinMaxDays"), "14");
}

TEST_F(GeneralPageTest, AnEmptyStoredAgeBecomesTheDefaultNotNothing) {
  ASSERT_TRUE(one.Configure("RecycleBinMaxDays="));
  Open<GeneralPage>();
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("RecycleBinMaxDays"), "30");
}

TEST_F(GeneralPageTest, TheStartAtLogOnIsTheSystems) {
  starts_with_system = true;
  Open<GeneralPage>();
  EXPECT_TRUE(view.IsChecked(GENERAL_RUN_AT_START_UP));
  view.Check(GENERAL_RUN_AT_START_UP, false);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(applied.starts_with_system, false);
  EXPECT_TRUE(starts_with_system) << "the dialog writes it, when the files are saved";
}

// Its defaults would be written over what is stored.
TEST_F(GeneralPageTest, WhileTheSettingsCannotBeReadItIsDisabledAndAppliesNothing) {
  one.directory.MakeFolder("Quillbeaker.ini");
  Open<GeneralPage>();
  EXPECT_TRUE(view.page_disabled);
  ASSERT_EQ(view.told.size(), 1u);
  EXPECT_NE(view.told[0].find("Quillbeaker.ini"), std::string::npos);
  one.directory.Remove("Quillbeaker.ini");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(), "(missing)");
}

TEST_F(GeneralPageTest, CommandsAreGreyedUntilTheyCanRun) {
  runnable = {GENERAL_CHECK_NOW};
  GeneralPage& page = Open<GeneralPage>();
  EXPECT_TRUE(view.IsEnabled(GENERAL_CHECK_NOW));
  EXPECT_FALSE(view.IsEnabled(GENERAL_EXPORT));
  EXPECT_FALSE(view.IsEnabled(GENERAL_IMPORT));
  page.Pressed(GENERAL_CHECK_NOW);
  EXPECT_EQ(run, std::vector<int>{40006});
}

TEST_F(GeneralPageTest, FadingIsGreyedWhereTheSystemCanNot) {
  surroundings.can_fade = false;
  Open<GeneralPage>();
  EXPECT_FALSE(view.IsEnabled(GENERAL_ALPHA_BLENDING));
}

TEST_F(GeneralPageTest, LanguagesAreListedByTheirOwnNames) {
  ASSERT_TRUE(
      one.directory.Put("B.Quillbeaker.language", "[information]\nname = Deutsch\nlanguage = 0x0407\n"));
  ASSERT_TRUE(one.directory.Put("A.Quillbeaker.language", "[information]\nlanguage = 0x040C\n"));
  ASSERT_TRUE(one.directory.Put("Broken.Quillbeaker.language", std::string("\0", 1)));
  ASSERT_TRUE(one.Configure("Language=b.quillbeaker.language"));
  Open<GeneralPage>();
  EXPECT_EQ(view.choices[GENERAL_LANGUAGE], (std::vector<std::string>{"English (built in)", "As Windows",
                                                                      "A.Quillbeaker.language", "Deutsch"}));
  EXPECT_EQ(view.ChosenIn(GENERAL_LANGUAGE), 3);
}

TEST_F(GeneralPageTest, OnlyAChosenLanguageIsWritten) {
  ASSERT_TRUE(one.Configure("Language=Gone.Quillbeaker.language"));
  Open<GeneralPage>();
  EXPECT_EQ(view.ChosenIn(GENERAL_LANGUAGE), kUnknown);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("Language"), "Gone.Quillbeaker.language");
  view.Pick(GENERAL_LANGUAGE, 0);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("Language"), "default");
  view.Pick(GENERAL_LANGUAGE, 1);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("Language"), "");
  EXPECT_FALSE(applied.restart_needed);
}

TEST_F(ConnectionPageTest, WritesItsKeysButNotThoseOnlyWrittenWhenChanged) {
  Open<ConnectionPage>();
  EXPECT_EQ(view.TextIn(CONNECTION_PORT), "110");
  EXPECT_EQ(view.TextIn(CONNECTION_CLIENT_LOG_SIZE), "100");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(),
            "[SERVER]\r\nTimeout=60\r\nBypassConnectedState=0\r\n[QUILLBEAKER]\r\n"
            "LogFileClientFileName=client.log\r\nLogFileClientMaxSize=102400\r\n"
            "LogFileServerFileName=server.log\r\nLogFileServerMaxSize=102400\r\nAutoAbortOnTimeout=0\r\n");
  EXPECT_FALSE(applied.restart_needed);
}

TEST_F(ConnectionPageTest, LeadsToTheWindowOfTheAccount) {
  Open<ConnectionPage>();
  EXPECT_FALSE(view.IsEnabled(CONNECTION_ACCOUNT)) << "while nobody can open it";
  runnable = {COMMAND_ACCOUNT};
  Open<ConnectionPage>();
  EXPECT_TRUE(view.IsEnabled(CONNECTION_ACCOUNT));
  view.page->Pressed(CONNECTION_ACCOUNT);
  EXPECT_EQ(run, std::vector<int>{COMMAND_ACCOUNT});
}

TEST_F(ConnectionPageTest, OnlyAnotherPortAsksForARestart) {
  Open<ConnectionPage>();
  view.Type(CONNECTION_CLIENT_LOG_SIZE, "200");
  view.Type(CONNECTION_TIMEOUT, "90");
  EXPECT_TRUE(Ok());
  EXPECT_FALSE(applied.restart_needed);
  EXPECT_EQ(Main("LogFileClientMaxSize"), "204800");
  view.Type(CONNECTION_PORT, "2110");
  EXPECT_TRUE(Ok());
  EXPECT_TRUE(applied.restart_needed);
  EXPECT_EQ(Value("SERVER", "Port"), "2110");
  EXPECT_TRUE(Ok());
  EXPECT_FALSE(applied.restart_needed);
}

TEST_F(ConnectionPageTest, ThePortIsComparedByteByByte) {
  ASSERT_TRUE(one.Configure("", "[SERVER]\r\nPort=0110\r\n"));
  Open<ConnectionPage>();
  EXPECT_EQ(view.TextIn(CONNECTION_PORT), "0110");
  view.Type(CONNECTION_PORT, "110");
  EXPECT_TRUE(Ok());
  EXPECT_TRUE(applied.restart_needed);
  EXPECT_EQ(Value("SERVER", "Port"), "110");
}

TEST_F(ConnectionPageTest, NineDigitsOfKilobytesStayPositive) {
  Open<ConnectionPage>();
  view.Type(CONNECTION_SERVER_LOG_SIZE, "999999999");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("LogFileServerMaxSize"), "2147483647");
}

TEST_F(ConnectionPageTest, AnEmptyLogNameIsWritten) {
  Open<ConnectionPage>();
  view.Type(CONNECTION_CLIENT_LOG, "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("LogFileClientFileName"), "");
}

TEST_F(ConnectionPageTest, ALogsNameThatNobodyTouchedKeepsItsBytes) {
  ASSERT_TRUE(one.Configure("LogFileClientFileName=\x80.log\r\nLogFileServerFileName=\xFC.log"));
  Open<ConnectionPage>();
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("LogFileClientFileName"), "\x80.log");
  EXPECT_EQ(Main("LogFileServerFileName"), "\xFC.log");
  view.Type(CONNECTION_CLIENT_LOG, "\xC3\xA4.log");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("LogFileClientFileName"), "\xE4.log");
}

TEST_F(ConnectionPageTest, ALogsNameCanAddNoLine) {
  Open<ConnectionPage>();
  view.Type(CONNECTION_CLIENT_LOG, "a\r\n[SERVER]\r\nPort=1");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("LogFileClientFileName"), "a  [SERVER]  Port=1");
  EXPECT_EQ(Value("SERVER", "Port"), "(missing)");
}

TEST_F(ConnectionPageTest, SecurityIsWrittenOnlyWhenChosen) {
  ASSERT_TRUE(one.Configure("", "[SERVER]\r\nSecurity=ssl\r\n"));
  Open<ConnectionPage>();
  EXPECT_EQ(view.ChosenIn(CONNECTION_SECURITY), kUnknown);
  EXPECT_EQ(view.TextIn(CONNECTION_SECURITY_WARNING), "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Value("SERVER", "Security"), "ssl");
  view.Pick(CONNECTION_SECURITY, 3);
  EXPECT_NE(view.TextIn(CONNECTION_SECURITY_WARNING), "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Value("SERVER", "Security"), "plain");
  view.Pick(CONNECTION_SECURITY, 1);
  EXPECT_EQ(view.TextIn(CONNECTION_SECURITY_WARNING), "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Value("SERVER", "Security"), "tls");
  EXPECT_FALSE(applied.restart_needed);
}

TEST_F(ConnectionPageTest, OwnControlsAreWrittenOnlyWhenChanged) {
  Open<ConnectionPage>();
  EXPECT_EQ(view.TextIn(CONNECTION_CLIENT_TIMEOUT), "600");
  EXPECT_TRUE(view.IsChecked(CONNECTION_SHOW_ERRORS));
  view.Type(CONNECTION_CLIENT_TIMEOUT, "900");
  view.Check(CONNECTION_SHOW_ERRORS, false);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Value("SERVER", "ClientTimeout"), "900");
  EXPECT_EQ(Main("ShowErrors"), "0");
}

TEST_F(ConnectionPageTest, APortOfAnotherProgramIsSaidWhileTyping) {
  ports = {{110, "", true}, {2110, "mail.exe", false}, {2111, "", false}};
  Open<ConnectionPage>();
  EXPECT_EQ(view.TextIn(CONNECTION_PORT_NOTE), "");
  view.Type(CONNECTION_PORT, "2110");
  EXPECT_EQ(view.TextIn(CONNECTION_PORT_NOTE), "This port is used by mail.exe. The next free one is 2112.");
  view.Type(CONNECTION_PORT, "2111");
  EXPECT_EQ(view.TextIn(CONNECTION_PORT_NOTE),
            "This port is used by another program. The next free one is 2112.");
  view.Type(CONNECTION_PORT, "2112");
  EXPECT_EQ(view.TextIn(CONNECTION_PORT_NOTE), "");
}

TEST(PortNote, KnowsTheEndsOfThePorts) {
  EXPECT_EQ(PortNote({{65535, "x", false}}, "65535"), "This port is used by x.");
  EXPECT_EQ(PortNote({{110, "x", false}}, ""), "");
  for (const char* typed : {"0", "65536", "99999999999"}) {
    EXPECT_EQ(PortNote({{0, "x", false}, {65536, "x", false}}, typed),
              "Please enter a value between 1 and 65535.");
  }
}

TEST_F(FilterPageTest, AllAreOnByDefaultAndDependOnTheirFilter) {
  Open<FilterPage>();
  for (const int control :
       {FILTER_SPAM_WORDS, FILTER_IGNORE_HTML, FILTER_LEARNING, FILTER_LEARN_FRIENDS, FILTER_LEARN_BLOCKED}) {
    EXPECT_TRUE(view.IsChecked(control)) << control;
    EXPECT_TRUE(view.IsEnabled(control)) << control;
  }
  view.Check(FILTER_SPAM_WORDS, false);
  EXPECT_FALSE(view.IsEnabled(FILTER_IGNORE_HTML));
  EXPECT_TRUE(view.IsEnabled(FILTER_LEARN_FRIENDS));
  view.Check(FILTER_LEARNING, false);
  EXPECT_FALSE(view.IsEnabled(FILTER_LEARN_FRIENDS));
  EXPECT_FALSE(view.IsEnabled(FILTER_LEARN_BLOCKED));
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(),
            "[QUILLBEAKER]\r\nFilterWordEnable=0\r\nFilterWordHTML=1\r\nFilterLearningEnable=0\r\n"
            "FilterLearningAutoFriends=1\r\nFilterLearningAutoBlocked=1\r\n");
}

TEST_F(FilterPageTest, IsDisabledAndWritesNothingWhileTheFilterIsOff) {
  ASSERT_TRUE(one.Configure("Enable=0"));
  Open<FilterPage>();
  EXPECT_TRUE(view.page_disabled);
  EXPECT_EQ(view.enabled.count(FILTER_MAX_SIZE), 0u);
  view.Check(FILTER_NO_SIZE_LIMIT, true);
  EXPECT_EQ(view.enabled.count(FILTER_MAX_SIZE), 0u);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(), "[QUILLBEAKER]\r\nEnable=0\r\n");
}

TEST_F(FilterPageTest, TheSizeLimitIsWrittenOnlyWhenChanged) {
  ASSERT_TRUE(one.Configure("FilterMaxMessageSize=65535"));
  FilterPage& page = Open<FilterPage>();
  EXPECT_EQ(view.TextIn(FILTER_MAX_SIZE), "63");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("FilterMaxMessageSize"), "65535");
  view.Type(FILTER_MAX_SIZE, "100");
  page.Left(FILTER_MAX_SIZE);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("FilterMaxMessageSize"), "102400");
}

TEST_F(FilterPageTest, NoLimitIsItsCheckBoxNeverAnEmptiedOrZeroField) {
  FilterPage& page = Open<FilterPage>();
  EXPECT_EQ(view.TextIn(FILTER_MAX_SIZE), "64");
  EXPECT_FALSE(view.IsChecked(FILTER_NO_SIZE_LIMIT));
  for (const char* text : {"", "0", "000"}) {
    view.Type(FILTER_MAX_SIZE, text);
    page.Left(FILTER_MAX_SIZE);
    EXPECT_EQ(view.TextIn(FILTER_MAX_SIZE), "64") << text;
  }
  view.Check(FILTER_NO_SIZE_LIMIT, true);
  EXPECT_FALSE(view.IsEnabled(FILTER_MAX_SIZE));
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("FilterMaxMessageSize"), "0");
}

TEST_F(FilterPageTest, WithoutALimitTheFieldIsEmptyUntilOneIsWanted) {
  ASSERT_TRUE(one.Configure("FilterMaxMessageSize=-5"));
  Open<FilterPage>();
  EXPECT_TRUE(view.IsChecked(FILTER_NO_SIZE_LIMIT));
  EXPECT_FALSE(view.IsEnabled(FILTER_MAX_SIZE));
  EXPECT_EQ(view.TextIn(FILTER_MAX_SIZE), "");
  view.Check(FILTER_NO_SIZE_LIMIT, false);
  EXPECT_TRUE(view.IsEnabled(FILTER_MAX_SIZE));
  EXPECT_EQ(view.TextIn(FILTER_MAX_SIZE), "64");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("FilterMaxMessageSize"), "65536");
}

TEST_F(TrainingAreaPageTest, OnlyWholeNumbersAreWritten) {
  ASSERT_TRUE(one.Configure("TrainingAreaMaxDays=5\r\nTrainingAreaMaxMemory=512"));
  Open<TrainingAreaPage>();
  EXPECT_EQ(view.TextIn(TRAINING_PAGE_DAYS), "5");
  for (const char* text : {"abc", "-1", "1x", " 7"}) {
    view.Type(TRAINING_PAGE_DAYS, text);
    view.Type(TRAINING_PAGE_MEMORY, "1024");
    EXPECT_TRUE(Ok());
    EXPECT_EQ(Main("TrainingAreaMaxDays"), "5") << text;
    EXPECT_EQ(Main("TrainingAreaMaxMemory"), "1024");
  }
  view.Type(TRAINING_PAGE_DAYS, "7");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("TrainingAreaMaxDays"), "7");
}

TEST_F(TrainingAreaPageTest, IsDisabledWithoutFilterOrLearning) {
  for (const char* line : {"Enable=0", "FilterLearningEnable=0"}) {
    ASSERT_TRUE(one.Configure(line));
    view = {};
    Open<TrainingAreaPage>();
    EXPECT_TRUE(view.page_disabled) << line;
    EXPECT_TRUE(Ok());
    EXPECT_EQ(Main("TrainingAreaMaxDays"), "(missing)");
  }
  ASSERT_TRUE(one.Configure("FilterWordEnable=0"));
  view = {};
  Open<TrainingAreaPage>();
  EXPECT_FALSE(view.page_disabled);
}

}  // namespace
}  // namespace quillbeaker
