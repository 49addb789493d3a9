#include "platform/date.h"

#include <cstddef>

namespace corvane::platform {

namespace {

// Reads exactly `count` decimal digits at `pos`.
bool ReadFixed(std::u16string_view text, std::size_t pos, std::size_t count, int& value) {
    if (pos + count > text.size()) {
        return false;
    }
    value = 0;
    for (std::size_t i = pos; i < pos + count; ++i) {
        if (text[i] < u'0' || text[i] > u'9') {
            return false;
        }
        value = value * 10 + (text[i] - u'0');
    }
    return true;
}

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Days from 1970-01-01 to the given proleptic Gregorian date.
long long DaysFromCivil(int year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    long long const era = (year >= 0 ? year : year - 399) / 400;
    long long const yoe = year - era * 400;
    long long const doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    long long const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

}  // namespace

std::optional<double> DateFromText(std::u16string_view text) {
    int year = 0;
    int month = 0;
    int day = 0;
    if (text.size() != 10 || !ReadFixed(text, 0, 4, year) || text[4] != u'-' ||
        !ReadFixed(text, 5, 2, month) || text[7] != u'-' || !ReadFixed(text, 8, 2, day)) {
        return std::nullopt;
    }
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 100 || month < 1 || month > 12 || day < 1) {
        return std::nullopt;
    }
    int const monthDays = kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
    if (day > monthDays) {
        return std::nullopt;
    }
    return static_cast<double>(DaysFromCivil(year, month, day) - DaysFromCivil(1899, 12, 30));
}

std::optional<double> TimeFromText(std::u16string_view text) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (text.size() != 8 || !ReadFixed(text, 0, 2, hour) || text[2] != u':' ||
        !ReadFixed(text, 3, 2, minute) || text[5] != u':' || !ReadFixed(text, 6, 2, second)) {
        return std::nullopt;
    }
    if (hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
}

}  // namespace corvane::platform
