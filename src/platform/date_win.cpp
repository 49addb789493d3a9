#include <windows.h>

#include <oleauto.h>

#include <cmath>
#include <string>

#include "platform/date.h"

namespace corvane::platform {

namespace {

// Whether the text has the pattern's shape, where '9' stands for any decimal digit.
bool HasShape(std::u16string_view text, std::u16string_view pattern) {
    if (text.size() != pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const digit = text[i] >= u'0' && text[i] <= u'9';
        if (pattern[i] == u'9' ? !digit : text[i] != pattern[i]) {
            return false;
        }
    }
    return true;
}

int Number(std::u16string_view digits) {
    int value = 0;
    for (char16_t const c : digits) {
        value = value * 10 + (c - u'0');
    }
    return value;
}

// The invariant locale, so that a text reads the same whatever the user's regional settings.
std::optional<double> Convert(std::u16string_view text, ULONG flags) {
    std::wstring wide(text.begin(), text.end());
    DATE value = 0.0;
    if (FAILED(::VarDateFromStr(wide.data(), LOCALE_INVARIANT, flags, &value))) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

std::optional<double> DateFromText(std::u16string_view text) {
    if (!HasShape(text, u"9999-99-99")) {
        return std::nullopt;
    }
    // VarDateFromStr reads more than the text says: a year below 100 as a two-digit year of
    // the system's century window ("0099" as 1999), and a month above 12 as the day of another
    // field order ("2002-13-01" as 13 January). Neither is the date that was written.
    int const year = Number(text.substr(0, 4));
    int const month = Number(text.substr(5, 2));
    if (year < 100 || month < 1 || month > 12) {
        return std::nullopt;
    }
    return Convert(text, VAR_DATEVALUEONLY);
}

std::optional<double> TimeFromText(std::u16string_view text) {
    // VarDateFromStr also takes "h:mm", a lone hour and surrounding spaces; only the full
    // shape is a time here.
    if (!HasShape(text, u"99:99:99")) {
        return std::nullopt;
    }
    auto const fraction = Convert(text, VAR_TIMEVALUEONLY);
    if (!fraction) {
        return std::nullopt;
    }
    // Its sum of the fields can be one unit in the last place off the whole seconds' fraction;
    // rounded to the second, the value is the same on every platform.
    return std::round(*fraction * 86400.0) / 86400.0;
}

}  // namespace corvane::platform
