// Automation dates written as schema date and time texts.
#include <corvane/serializer.h>
#include <corvane/xml.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "soap/standard_values.h"

namespace {

// Automation dates cover 1 January 100 to 31 December 9999.
constexpr double kFirstDate = -657434.0;
constexpr double kLastDate = 2958465.0;
constexpr double kHalfSecond = 5.787037037037037e-06;

struct Calendar {
    std::int64_t year;
    int month;
    int day;
    int hour;
    int minute;
    int second;
};

// Days since 1 March of year 0 in the proleptic Gregorian calendar, turned back into a date.
void CivilFromDays(std::int64_t days, Calendar& out) {
    days += 719468;
    std::int64_t const era = (days >= 0 ? days : days - 146096) / 146097;
    std::int64_t const dayOfEra = days - era * 146097;
    std::int64_t const yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    std::int64_t const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    std::int64_t const monthIndex = (5 * dayOfYear + 2) / 153;
    out.day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    out.month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    out.year = yearOfEra + era * 400 + (out.month <= 2 ? 1 : 0);
}

// 30 December 1899, day 0 of automation dates, counted like CivilFromDays counts.
constexpr std::int64_t kAutomationEpoch = -25569;

bool ToCalendar(double date, Calendar& out) {
    if (!(date >= kFirstDate && date <= kLastDate)) {
        return false;
    }
    // The integral part counts days (backwards before the epoch); the fraction's magnitude is
    // the time of day, as automation dates define it.
    double const rounded = date >= 0 ? date + kHalfSecond : date - kHalfSecond;
    double const days = std::trunc(rounded);
    long seconds = static_cast<long>(std::fabs(rounded - days) * 86400.0);
    if (seconds > 86399) {
        seconds = 86399;
    }
    CivilFromDays(static_cast<std::int64_t>(days) + kAutomationEpoch, out);
    out.hour = static_cast<int>(seconds / 3600);
    out.minute = static_cast<int>(seconds / 60 % 60);
    out.second = static_cast<int>(seconds % 60);
    return true;
}

bool SetText(WMXMLElement* element, std::string const& text) {
    if (element == nullptr || text.empty()) {
        return false;
    }
    WMString wide;
    for (char c : text) {
        wide.push_back(static_cast<WMChar>(static_cast<unsigned char>(c)));
    }
    element->SetText(wide);
    return true;
}

}  // namespace

namespace corvane::detail {

bool AutomationDateText(double date, DateForm form, std::string& out) {
    Calendar c;
    if (!ToCalendar(date, c)) {
        return false;
    }
    char buffer[64];
    int length = 0;
    switch (form) {
        case DateForm::DateTime:
            length = std::snprintf(buffer, sizeof buffer, "%lld-%02d-%02dT%02d:%02d:%02dZ",
                                   static_cast<long long>(c.year), c.month, c.day, c.hour, c.minute,
                                   c.second);
            break;
        case DateForm::Date:
            length = std::snprintf(buffer, sizeof buffer, "%lld-%02d-%02d",
                                   static_cast<long long>(c.year), c.month, c.day);
            break;
        case DateForm::Time:
            length =
                std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02dZ", c.hour, c.minute, c.second);
            break;
    }
    if (length <= 0) {
        return false;
    }
    out.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

}  // namespace corvane::detail

bool WMSOAPSerializer::SerializeDateTime(double date, WMXMLElement* element) {
    std::string text;
    return element != nullptr &&
           corvane::detail::AutomationDateText(date, corvane::detail::DateForm::DateTime, text) &&
           SetText(element, text);
}

bool WMSOAPSerializer::SerializeDate(double date, WMXMLElement* element) {
    std::string text;
    return element != nullptr &&
           corvane::detail::AutomationDateText(date, corvane::detail::DateForm::Date, text) &&
           SetText(element, text);
}

bool WMSOAPSerializer::SerializeTime(double date, WMXMLElement* element) {
    std::string text;
    return element != nullptr &&
           corvane::detail::AutomationDateText(date, corvane::detail::DateForm::Time, text) &&
           SetText(element, text);
}
