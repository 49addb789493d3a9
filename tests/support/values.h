// Values of the exported model as short text, so a test compares a whole value in one line:
// numbers as they print, strings in quotes, structs as {name=value,...}, arrays as [{...},...]
// and an empty value as nil; and a client's fault likewise. Also where two values differ. Header
// only: it uses the exported interface alone, so programs on the subsystems and programs on the
// shared library both use it.
#ifndef CORVANE_TESTS_SUPPORT_VALUES_H
#define CORVANE_TESTS_SUPPORT_VALUES_H

#include <corvane/client.h>
#include <corvane/utf8.h>
#include <corvane/values.h>

#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {

inline std::string Utf8(const WMString& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

// Control characters, quotes and backslashes as \uXXXX, so that no two texts look alike (UTF-8
// conversion drops zero units).
inline std::string Escaped(const WMString& text) {
    std::string out;
    for (const char16_t c : text) {
        char unit[8];
        std::snprintf(unit, sizeof unit, "\\u%04x", static_cast<unsigned>(c));
        out += c >= 0x20 && c != u'"' && c != u'\\' ? Utf8(WMString(1, c)) : unit;
    }
    return out;
}

// `exact`: texts escaped and doubles to the last bit, as C's hexadecimal form (any NaN as "nan").
inline std::string Show(const WMSOAPStructMember& constMember, bool exact = false);

inline std::vector<std::pair<WMString, WMSOAPStructMember>> MembersOf(
    const WMSOAPStructType& value) {
    std::vector<std::pair<WMString, WMSOAPStructMember>> members;
    WMString name;
    WMSOAPStructMember member;
    long position = 0;
    for (bool more = value.GetFirstMember(&name, member, &position); more;
         more = value.GetNextMember(&name, member, &position)) {
        members.emplace_back(name, member);
    }
    return members;
}

inline std::string ShowStruct(const WMSOAPStructType& value, bool exact = false) {
    std::string out = "{";
    for (const auto& [name, member] : MembersOf(value)) {
        out += (out.size() > 1 ? "," : "") + Utf8(name) + "=" + Show(member, exact);
    }
    return out + "}";
}

inline std::string Show(const WMSOAPStructMember& constMember, bool exact) {
    WMSOAPStructMember member = constMember;
    std::ostringstream out;
    switch (member.GetDataType()) {
        case WMSOAPStructMember::SOAPDataMember::SOAP_LONG:
            out << member.LongValue();
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_DOUBLE:
            if (!exact) {
                out << member.DoubleValue();
            } else if (std::isnan(member.DoubleValue())) {
                out << "nan";
            } else {
                out << std::hexfloat << member.DoubleValue() << std::defaultfloat;
            }
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRING:
            out << '"' << (exact ? Escaped(member.StringValue()) : Utf8(member.StringValue()))
                << '"';
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRUCT:
            out << ShowStruct(member.StructValue(), exact);
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_ARRAY: {
            std::string items;
            for (const WMSOAPStructType& item : member.ArrayValue()) {
                items += (items.empty() ? "" : ",") + ShowStruct(item, exact);
            }
            out << "[" << items << "]";
            break;
        }
        default:
            out << "nil";
            break;
    }
    return out.str();
}

// "" when two values are the same kind and value throughout: doubles bit for bit (so -0 is not
// 0) with any NaN equal to any NaN; member names count below the top. Else both values, exactly.
inline std::string Difference(const WMSOAPStructMember& expected, const WMSOAPStructMember& actual,
                              const std::string& what = "value") {
    const std::string want = Show(expected, true);
    const std::string got = Show(actual, true);
    return want == got ? "" : what + ": expected " + want + ", got " + got;
}

// Every byte value once, as callers hold binary data: one character per byte.
inline WMString AllBytes() {
    WMString bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char16_t>(i);
    }
    return bytes;
}

// The round 2 suites' SOAPStruct.
inline WMSOAPStructType SOAPStruct(const WMString& text, int number, double real) {
    WMSOAPStructType value;
    value.SetMember(u"varString", text);
    value.SetMember(u"varInt", number);
    value.SetMember(u"varFloat", real);
    return value;
}

// An array's items, each value as the one member "item".
inline std::vector<WMSOAPStructType> Items(const std::vector<WMSOAPStructMember>& values) {
    std::vector<WMSOAPStructType> items;
    for (WMSOAPStructMember value : values) {
        value.SetName(u"item");
        items.emplace_back();
        items.back().SetMember(value);
    }
    return items;
}

// The fault a client holds as "code|string|actor"; "none" without one.
inline std::string FaultOf(WMSOAPClient& client) {
    WMString code, text, actor;
    if (!client.IsSOAPFault() || !client.GetSOAPFaultCode(code) ||
        !client.GetSOAPFaultString(text)) {
        return "none";
    }
    client.GetSOAPFaultActor(actor);
    return Utf8(code) + "|" + Utf8(text) + "|" + Utf8(actor);
}

}  // namespace corvane::test

#endif
