// Date and time texts read the same on every platform: only the exact shapes the library hands
// over, each field meaning what it says, and the same day fractions to the last bit.
#include <gtest/gtest.h>

#include <string>

#include "platform/date.h"

namespace {

using corvane::platform::DateFromText;
using corvane::platform::TimeFromText;

std::u16string Two(int n) {
    return {static_cast<char16_t>(u'0' + n / 10), static_cast<char16_t>(u'0' + n % 10)};
}

TEST(DateText, CalendarLimitsAndLeapYears) {
    EXPECT_EQ(DateFromText(u"1899-12-30"), 0.0);
    EXPECT_EQ(DateFromText(u"1899-12-29"), -1.0);
    EXPECT_EQ(DateFromText(u"0100-01-01"), -657434.0);
    EXPECT_EQ(DateFromText(u"9999-12-31"), 2958465.0);
    EXPECT_EQ(DateFromText(u"2000-02-29"), 36585.0);
}

TEST(DateText, OnlyTheExactShapeWithFieldsInTheirPlaces) {
    // Each of these has a reading somewhere (two-digit years, other field orders, other
    // separators, days rolled over), but none is the yyyy-mm-dd date it would have to be.
    for (std::u16string const bad :
         {u"0099-01-01", u"0000-01-01", u"2002-13-01", u"2002-1-1", u"02-01-01", u"2002/01/01",
          u" 2002-01-01", u"2002-01-01 ", u"2002-01-01T00:00:00", u"12:00:00", u"", u"1900-02-29",
          u"2001-02-29", u"2002-04-31", u"2002-01-32", u"2002-01-00", u"2002-00-10"}) {
        EXPECT_FALSE(DateFromText(bad)) << std::string(bad.begin(), bad.end());
    }
    for (std::u16string const bad : {u"1:00", u"12:00", u"1:00:00", u" 12:00:00", u"12:00:00Z",
                                     u"2002-01-01", u"24:00:00", u"12:60:00", u"12:00:60", u""}) {
        EXPECT_FALSE(TimeFromText(bad)) << std::string(bad.begin(), bad.end());
    }
}

TEST(DateText, ConsecutiveDaysAcrossMonthsAndYears) {
    // A day and month read the wrong way round would break the count.
    double previous = *DateFromText(u"1999-12-31");
    for (int year : {2000, 2001}) {
        for (int month = 1; month <= 12; ++month) {
            for (int day = 1; day <= 31; ++day) {
                std::u16string const text =
                    u"20" + Two(year % 100) + u"-" + Two(month) + u"-" + Two(day);
                auto const date = DateFromText(text);
                if (!date) {
                    continue;
                }
                EXPECT_EQ(*date, previous + 1.0) << std::string(text.begin(), text.end());
                previous = *date;
            }
        }
    }
    EXPECT_EQ(previous, *DateFromText(u"2001-12-31"));
    EXPECT_EQ(previous - *DateFromText(u"1999-12-31"), 366.0 + 365.0);
}

TEST(DateText, EverySecondOfTheDayIsItsExactFraction) {
    for (int hour = 0; hour < 24; ++hour) {
        for (int minute = 0; minute < 60; ++minute) {
            for (int second = 0; second < 60; ++second) {
                std::u16string const text = Two(hour) + u":" + Two(minute) + u":" + Two(second);
                auto const time = TimeFromText(text);
                ASSERT_TRUE(time) << std::string(text.begin(), text.end());
                ASSERT_EQ(*time, (hour * 3600.0 + minute * 60.0 + second) / 86400.0)
                    << std::string(text.begin(), text.end());
            }
        }
    }
}

}  // namespace
