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
#include <cstring>
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

inline std::string Show(const WMSOAPStructMember& constMember);

inline std::string ShowStruct(const WMSOAPStructType& value) {
    std::string out = "{";
    WMString name;
    WMSOAPStructMember member;
    long position = 0;
    for (bool more = value.GetFirstMember(&name, member, &position); more;
         more = value.GetNextMember(&name, member, &position)) {
        out += (out.size() > 1 ? "," : "") + Utf8(name) + "=" + Show(member);
    }
    return out + "}";
}

inline std::string Show(const WMSOAPStructMember& constMember) {
    WMSOAPStructMember member = constMember;
    std::ostringstream out;
    switch (member.GetDataType()) {
        case WMSOAPStructMember::SOAPDataMember::SOAP_LONG:
            out << member.LongValue();
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_DOUBLE:
            out << member.DoubleValue();
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRING:
            out << '"' << Utf8(member.StringValue()) << '"';
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRUCT:
            out << ShowStruct(member.StructValue());
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_ARRAY: {
            out << "[";
            bool first = true;
            for (const WMSOAPStructType& item : member.ArrayValue()) {
                out << (first ? "" : ",") << ShowStruct(item);
                first = false;
            }
            out << "]";
            break;
        }
        default:
            out << "nil";
            break;
    }
    return out.str();
}

// Where two values first differ, "" when they are the same kind and value throughout: doubles
// bit for bit (so -0 is not 0) with any NaN equal to any NaN; member names count below the top.
inline std::string Difference(const WMSOAPStructMember& expected, const WMSOAPStructMember& actual,
                              const std::string& path = "value");

inline std::string Exact(WMSOAPStructMember value) {
    if (value.GetDataType() != WMSOAPStructMember::SOAPDataMember::SOAP_DOUBLE) {
        return Show(value);
    }
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value.DoubleValue());
    return text;
}

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

inline std::string StructDifference(const WMSOAPStructType& expectedStruct,
                                    const WMSOAPStructType& actualStruct, const std::string& path) {
    const auto expected = MembersOf(expectedStruct);
    const auto actual = MembersOf(actualStruct);
    if (expected.size() != actual.size()) {
        return path + ": " + std::to_string(expected.size()) + " members expected, " +
               std::to_string(actual.size()) + " came back";
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::string where = path + "." + Utf8(expected[i].first);
        std::string difference =
            expected[i].first != actual[i].first
                ? where + ": member named " + Utf8(actual[i].first) + " came back"
                : Difference(expected[i].second, actual[i].second, where);
        if (!difference.empty()) {
            return difference;
        }
    }
    return "";
}

inline std::string Difference(const WMSOAPStructMember& expectedConst,
                              const WMSOAPStructMember& actualConst, const std::string& path) {
    using Kind = WMSOAPStructMember::SOAPDataMember::DATATYPE;
    WMSOAPStructMember expected = expectedConst;
    WMSOAPStructMember actual = actualConst;
    bool same = expected.GetDataType() == actual.GetDataType();
    if (same) {
        switch (expected.GetDataType()) {
            case Kind::SOAP_LONG:
                same = expected.LongValue() == actual.LongValue();
                break;
            case Kind::SOAP_DOUBLE: {
                const double x = expected.DoubleValue();
                const double y = actual.DoubleValue();
                same = std::isnan(x) || std::isnan(y) ? std::isnan(x) && std::isnan(y)
                                                      : std::memcmp(&x, &y, sizeof x) == 0;
                break;
            }
            case Kind::SOAP_STRING:
                same = expected.StringValue() == actual.StringValue();
                break;
            case Kind::SOAP_STRUCT:
                return StructDifference(expected.StructValue(), actual.StructValue(), path);
            case Kind::SOAP_ARRAY: {
                const auto& items = expected.ArrayValue();
                const auto& got = actual.ArrayValue();
                if (items.size() != got.size()) {
                    return path + ": " + std::to_string(items.size()) + " items expected, " +
                           std::to_string(got.size()) + " came back";
                }
                for (std::size_t i = 0; i < items.size(); ++i) {
                    std::string difference =
                        StructDifference(items[i], got[i], path + "[" + std::to_string(i) + "]");
                    if (!difference.empty()) {
                        return difference;
                    }
                }
                return "";
            }
            default:
                break;
        }
    }
    return same ? "" : path + ": expected " + Exact(expected) + ", got " + Exact(actual);
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
