// SPDX-License-Identifier: MIT
// Date fields read leniently: token positions, zones, the hour's carry and numbers of any size.

#include "message/mail_date.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace quillbeaker {
namespace {

// "year-month-day hour:minute:second" of a Date value, numbers as they stand.
std::string Read(std::string_view value) {
  const CalendarTime t = ParseMailDate(value);
  return std::to_string(t.year) + "-" + std::to_string(t.month) + "-" + std::to_string(t.day) + " " +
         std::to_string(t.hour) + ":" + std::to_string(t.minute) + ":" + std::to_string(t.second);
}

TEST(MailDate, ReadsAllPositions) {
  const CalendarTime t = ParseMailDate("Tue, 4 Feb 2003 23:30:45 GMT");
  EXPECT_EQ(t.year, 2003);
  EXPECT_EQ(t.month, 2);
  EXPECT_EQ(t.day_of_week, 2);
  EXPECT_EQ(t.day, 4);
  EXPECT_EQ(t.hour, 23);
  EXPECT_EQ(t.minute, 30);
  EXPECT_EQ(t.second, 45);
  EXPECT_EQ(t.milliseconds, 0);
}

TEST(MailDate, ConvertsToUtcAcrossMidnight) {
  EXPECT_EQ(Read("Tue, 4 Feb 03 23:30:00 -0200"), "2003-2-5 1:30:0");
  EXPECT_EQ(Read("Wed, 31 Dec 2003 23:30:00 -0100"), "2004-1-1 0:30:0");
  EXPECT_EQ(Read("1 Jan 2004 00:10:00 +0100"), "2003-12-31 23:10:0");
  EXPECT_EQ(Read("28 Feb 2004 23:30:00 -0100"), "2004-2-29 0:30:0");
  EXPECT_EQ(Read("28 Feb 2003 23:30:00 -0100"), "2003-3-1 0:30:0");
  EXPECT_EQ(Read("1 Mar 2004 00:10:00 +0100"), "2004-2-29 23:10:0");
}

TEST(MailDate, MinutesCarryIntoTheHourButStayAsTheyWere) {
  EXPECT_EQ(Read("4 Feb 2003 00:10 +0030"), "2003-2-3 23:10:0");
  EXPECT_EQ(Read("Mon, 3 Mar 2003 10:10:00 +0530"), "2003-3-3 4:10:0");
  EXPECT_EQ(Read("3 Mar 2003 10:30:00 -0045"), "2003-3-3 11:30:0");
  EXPECT_EQ(Read("3 Mar 2003 10:30:00 -0029"), "2003-3-3 10:30:0");
  EXPECT_EQ(Read("3 Mar 2003 10:30:00 -0030"), "2003-3-3 11:30:0");
  EXPECT_EQ(Read("3 Mar 2003 10:30:00 +0030"), "2003-3-3 10:30:0");
  EXPECT_EQ(Read("3 Mar 2003 10:30:00 +0031"), "2003-3-3 9:30:0");
}

TEST(MailDate, KnowsNamedZones) {
  const std::vector<std::pair<std::string, int>> zones = {{"EST", 5}, {"EDT", 4}, {"CST", 6}, {"CDT", 5},
                                                          {"MST", 7}, {"MDT", 6}, {"PST", 8}, {"PDT", 7},
                                                          {"A", 1},   {"M", 12},  {"N", -1},  {"Y", -12}};
  for (const auto& [zone, hours] : zones) {
    // Twelve o'clock and at most twelve hours more reach midnight of the next day.
    const std::string expected =
        hours == 12 ? "2003-3-4 0:0:0" : "2003-3-3 " + std::to_string(12 + hours) + ":0:0";
    EXPECT_EQ(Read("3 Mar 2003 12:00:00 " + zone), expected) << zone;
  }
}

TEST(MailDate, OtherZoneNamesChangeNothing) {
  for (const char* zone : {"GMT", "UT", "Z", "est", "Pdt", "a", "B", "CEST", "0200", "ESTX"})
    EXPECT_EQ(Read(std::string("3 Mar 2003 12:00:00 ") + zone), "2003-3-3 12:0:0") << zone;
  EXPECT_EQ(Read("3 Mar 2003 12:00:00"), "2003-3-3 12:0:0");
}

TEST(MailDate, WeekdaysAreThreeLettersOfAnyCase) {
  const char* const names[] = {"SUN", "mon", "Tuesday", "WEDNESDAY", "thu", "Fri", "sAt"};
  for (int day = 0; day < 7; ++day) {
    const CalendarTime t = ParseMailDate(std::string(names[day]) + ", 9 Apr 2003 01:02:03 GMT");
    EXPECT_EQ(t.day_of_week, day) << names[day];
    EXPECT_EQ(t.day, 9) << names[day];
  }
}

TEST(MailDate, ASecondWeekdayIsTakenInThePlaceOfTheFirst) {
  const CalendarTime t = ParseMailDate("Tue Wed 4 Feb 2003 10:00:00");
  EXPECT_EQ(t.day_of_week, 3);
  EXPECT_EQ(t.day, 4);
  EXPECT_EQ(t.year, 2003);
}

TEST(MailDate, AnUnknownWeekdayStandsForTheDay) {
  const CalendarTime t = ParseMailDate("Dienstag, 4 Feb 2003 10:00:00");
  EXPECT_EQ(t.day_of_week, 0);
  EXPECT_EQ(t.day, 0);
  EXPECT_EQ(t.month, 0);  // "4" is no month
}

TEST(MailDate, MonthsAreThreeLettersOfAnyCase) {
  const char* const names[] = {"JAN", "feb", "March", "APRIL", "may", "Jun",
                               "jUL", "Aug", "sept",  "OCT",   "Nov", "december"};
  for (int month = 1; month <= 12; ++month)
    EXPECT_EQ(ParseMailDate(std::string("9 ") + names[month - 1] + " 2003 01:02:03").month, month);
  EXPECT_EQ(Read("9 Foo 2003 01:02:03"), "2003-0-9 1:2:3");
}

TEST(MailDate, YearsBelowAHundredAreOfThisCentury) {
  EXPECT_EQ(ParseMailDate("1 Jan 03 00:00:00").year, 2003);
  EXPECT_EQ(ParseMailDate("1 Jan 99 00:00:00").year, 2099);
  EXPECT_EQ(ParseMailDate("1 Jan 0 00:00:00").year, 2000);
  EXPECT_EQ(ParseMailDate("1 Jan 100 00:00:00").year, 100);
  EXPECT_EQ(ParseMailDate("1 Jan 1999 00:00:00").year, 1999);
}

TEST(MailDate, NumbersWrapAtSixteenBits) {
  EXPECT_EQ(ParseMailDate("1 Jan 70000 00:00:00").year, 4464);
  EXPECT_EQ(ParseMailDate("1 Jan -5 00:00:00").year, 1995);
  EXPECT_EQ(ParseMailDate("1 Jan 65539 00:00:00").year, 3);
  EXPECT_EQ(ParseMailDate("1 Jan 2003 -5:30:00").hour, 65531);
  EXPECT_EQ(ParseMailDate("-5 Jan 2003 00:00:00").day, 65531);
  EXPECT_EQ(ParseMailDate("+7 Jan 2003 00:00:00").day, 7);
  EXPECT_EQ(ParseMailDate("99999999999999999999 Jan 2003 00:00:00").day,
            65535);  // 10^20 is a multiple of 65536
}

TEST(MailDate, DigitsEndWhereTheFirstOtherByteStands) {
  EXPECT_EQ(Read("4th Feb 2003x 10:20:30"), "2003-2-4 10:20:30");
  EXPECT_EQ(Read("x4 Feb x2003 10:20:30"), "2000-2-0 10:20:30");
}

TEST(MailDate, AOneDigitHourShiftsTheMinutesAndLosesTheSeconds) {
  EXPECT_EQ(Read("4 Feb 2003 9:05:00"), "2003-2-4 9:5:0");
  EXPECT_EQ(Read("4 Feb 2003 9:05:59"), "2003-2-4 9:5:0");
}

TEST(MailDate, SecondsNeedAColonBeforeThem) {
  EXPECT_EQ(Read("4 Feb 2003 10:20:30"), "2003-2-4 10:20:30");
  EXPECT_EQ(Read("4 Feb 2003 10:20.30"), "2003-2-4 10:20:0");
  EXPECT_EQ(Read("4 Feb 2003 10:20"), "2003-2-4 10:20:0");
  EXPECT_EQ(Read("4 Feb 2003 10.20:30"), "2003-2-4 10:20:30");
}

TEST(MailDate, TheHourWrapsOnceOnly) {
  EXPECT_EQ(Read("4 Feb 2003 50:00:00 -0000"), "2003-2-5 26:0:0");
  // 99 - 99 hours; 99 minutes carry one.
  EXPECT_EQ(Read("4 Feb 2003 99:99 +9900"), "2003-2-4 1:99:0");
  // -99 hours, a day forward once: -75, wrapped.
  EXPECT_EQ(Read("4 Feb 2003 00:00 +9900"), "2003-2-3 65461:0:0");
}

TEST(MailDate, SplitsAtBlanksAndCommasOnly) {
  EXPECT_EQ(Read("Tue,4,Feb,2003,10:20:30,-0100"), "2003-2-4 11:20:30");
  EXPECT_EQ(Read("  4   Feb ,, 2003  10:20:30  "), "2003-2-4 10:20:30");
  // The day is "4\tFeb", the month "2003", the year "10:20:30".
  EXPECT_EQ(Read("4\tFeb 2003 10:20:30"), "2010-0-4 0:0:0");
}

TEST(MailDate, IgnoresTokensBehindTheZone) {
  EXPECT_EQ(Read("4 Feb 2003 10:20:30 -0100 (CET) +0900 x"), "2003-2-4 11:20:30");
}

TEST(MailDate, WhatIsMissingStaysZero) {
  EXPECT_EQ(Read(""), "0-0-0 0:0:0");
  EXPECT_EQ(Read(" , ,"), "0-0-0 0:0:0");
  EXPECT_EQ(Read("4"), "0-0-4 0:0:0");
  EXPECT_EQ(Read("4 Feb"), "0-2-4 0:0:0");
  EXPECT_EQ(Read("4 Feb 2003"), "2003-2-4 0:0:0");
  EXPECT_EQ(Read("4 Feb 2003 1"), "2003-2-4 1:0:0");
}

TEST(MailDate, HostileValuesAreReadWithoutHarm) {
  EXPECT_EQ(ParseMailDate("1 Jan 2003 00:00:00 -" + std::string(1000, '9')).year, 2003);
  EXPECT_EQ(ParseMailDate(std::string(1000, '9') + " Jan 2003 00:00:00").month, 1);
  // Month 0 counts as December of the year before: the day after the last of November.
  EXPECT_EQ(Read("0 Foo 0 23:00:00 -9999"), "1999-12-1 99:0:0");
  EXPECT_EQ(ParseMailDate(std::string("4\0 Feb 2003", 11)).month, 2);
}

TEST(ReadDate, SaysWhenThereIsNoDateField) {
  MailMessage message;
  message.ParseText("Subject: x\r\n\r\nDate: 4 Feb 2003 10:20:30");
  CalendarTime out{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(ReadDate(message, out), kDateAbsent);
  EXPECT_EQ(static_cast<int>(kDateAbsent), 1);
  EXPECT_EQ(out, CalendarTime{});
  const MailMessage empty;
  EXPECT_EQ(ReadDate(empty, out), kDateAbsent);
}

TEST(ReadDate, ReadsTheFirstDateField) {
  MailMessage message;
  message.ParseText("date: 4 Feb 2003 10:20:30\r\nDate: 5 Mar 2004 11:21:31\r\n\r\n");
  CalendarTime out{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(ReadDate(message, out), kDateRead);
  EXPECT_EQ(static_cast<int>(kDateRead), 0);
  EXPECT_EQ(out, (CalendarTime{2003, 2, 0, 4, 10, 20, 30, 0}));
}

TEST(ReadDate, AnUnreadableFieldIsReadAllTheSame) {
  MailMessage message;
  message.ParseText("Date:\r\n\r\n");
  CalendarTime out{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(ReadDate(message, out), kDateRead);
  EXPECT_EQ(out, CalendarTime{});
  message.ParseText("Date: some day soon\r\n\r\n");
  EXPECT_EQ(ReadDate(message, out), kDateRead);
  EXPECT_EQ(out, (CalendarTime{2000, 0, 0, 0, 0, 0, 0, 0}));  // "soon" is year 0, and 2000 is added
}

}  // namespace
}  // namespace quillbeaker
