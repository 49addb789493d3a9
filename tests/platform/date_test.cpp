// Date and time texts read the same on every platform: only the exact shapes the library hands
// over, each field meaning what it says, and the same day fractions to the last bit.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/date.h"
#include "support/support.h"

namespace {

using corvane::platform::DateFromText;
using corvane::platform::TimeFromText;

std::u16string Two(int n) {
    return {static_cast<char16_t>(u'0' + n / 10), static_cast<char16_t>(u'0' + n % 10)};
}

TEST(DateText, CalendarLimitsLeapYearsAndOnlyTheExactShapes) {
    for (corvane::test::TableRow const& row :
         corvane::test::ReadTable("expected/platform/dates.txt")) {
        std::u16string const text(row.input.begin(), row.input.end());
        auto const value = row.section == "date" ? DateFromText(text) : TimeFromText(text);
        char shown[32] = "none";
        if (value) {
            std::snprintf(shown, sizeof shown, "%.17g", *value);
        }
        EXPECT_EQ(shown, row.expected) << row.where;
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
