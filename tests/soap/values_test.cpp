// The value model, the deserializer's conversions of built-in types, and number formatting.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/values.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "soap/deserializer_text.h"
#include "soap/fixed_format.h"
#include "soap/parse_handlers.h"
#include "support/support.h"
#include "support/values.h"

namespace {

using corvane::WMSOAPParamHandler;

// What callers naturally write must pick the intended kind; an exact print shows the kind.
TEST(WMSOAPStructMember, NaturalArgumentsPickTheirKindAndKeepEverySlot) {
    long const l = 7;
    std::string shown;
    for (WMSOAPStructMember const& m :
         {WMSOAPStructMember(), WMSOAPStructMember(u"n", 5), WMSOAPStructMember(u"n", l),
          WMSOAPStructMember(u"n", u"ns", 5u), WMSOAPStructMember(u"n", 5.0f),
          WMSOAPStructMember(u"n", u"text"), WMSOAPStructMember(u"n", u"ns", u"text"),
          WMSOAPStructMember(u"n", WMSOAPStructType()),
          WMSOAPStructMember(u"n", std::vector<WMSOAPStructType>(2))}) {
        shown += corvane::test::Show(m, true) + " ";
    }
    EXPECT_EQ(shown, "nil 5 7 5 0x1.4p+2 \"text\" \"text\" {} [{},{}] ");
    EXPECT_EQ(WMSOAPStructMember().LongValue() + WMSOAPStructMember().DoubleValue(), 0.0);

    // The slots lie side by side: setting one kind keeps the others, and copies take them all.
    WMSOAPStructMember m(u"n", u"urn:ns", u"old text");
    std::string slots;
    auto const show = [&] { slots += corvane::test::Show(m, true) + " "; };
    m.SetValue(7L);
    show();
    m.SetValue(std::size_t{8});
    show();
    m.SetValue(std::int64_t{0x100000005});  // wraps into the 32-bit slot
    show();
    m.SetValue(0.25);
    show();
    WMSOAPStructMember assigned;
    assigned = WMSOAPStructMember(m);
    EXPECT_EQ(slots + std::to_string(assigned.LongValue()) + " " +
                  corvane::test::Narrow(assigned.StringValue() + u" " + assigned.GetNS()),
              "7 8 5 0x1p-2 5 old text urn:ns");
    m.SetValue(u"x");
    EXPECT_EQ(corvane::test::Show(assigned, true) + corvane::test::Show(m), "0x1p-2\"x\"");

    WMSOAPStructType st;
    st.SetMember(u"a", 5);
    st.SetMember(u"b", l);
    st.SetMember(u"c", u"text");
    st.SetMember(u"d", 1.5);
    st.SetMemberQN(u"e", u"urn:x", std::size_t{3});
    st.SetMemberQN(u"f", u"urn:x", u"text");
    EXPECT_EQ(corvane::test::ShowStruct(st, true),
              "{a=5,b=7,c=\"text\",d=0x1.8p+0,e=3,f=\"text\"}");
}

TEST(WMSOAPStructType, SetMemberAppendsAndLookupsTakeTheFirst) {
    WMSOAPStructType st;
    EXPECT_TRUE(st.SetMember(u"item", 1) && st.SetMemberQN(u"q", u"urn:a", 2) &&
                st.SetMember(u"item", 3) && st.SetMember(u"q", 4) &&
                st.SetMember(WMSOAPStructMember(u"item", u"urn:b", 5)));
    // Each lookup as "value{ns}"; GetMember ignores the namespace, GetMemberQN with "" takes only
    // the unqualified member.
    std::string found;
    WMSOAPStructMember m;
    auto const step = [&](bool ok) {
        found += (ok ? "" : "-") + std::to_string(m.LongValue()) + "{" +
                 corvane::test::Narrow(m.GetNS()) + "} ";
    };
    step(st.GetMember(u"item", m));
    step(st.GetMember(u"q", m));
    step(st.GetMemberQN(u"q", u"", m));
    step(st.GetMemberQN(u"item", u"urn:b", m));
    EXPECT_EQ(found, "1{} 2{urn:a} 4{} 5{urn:b} ");

    WMSOAPStructMember untouched(u"keep", u"me");
    EXPECT_FALSE(st.GetMember(u"Item", untouched));  // case-sensitive
    EXPECT_FALSE(st.GetMemberQN(u"q", u"urn:b", untouched));
    EXPECT_EQ(untouched.GetName() + untouched.StringValue(), u"keepme");
}

TEST(WMSOAPStructType, IterationPositions) {
    WMString name = u"unset";
    WMString ns;
    WMSOAPStructMember m(u"keep", 1);
    long position = 9;
    // Each step as "name{ns} member=value@position", with "-" before it when it answers false.
    std::string trace;
    auto const step = [&](bool found) {
        trace += (found ? "" : "-") +
                 corvane::test::Narrow(name + u"{" + ns + u"} " + m.GetName()) + "=" +
                 std::to_string(m.LongValue()) + "@" + std::to_string(position) + " ";
    };
    step(WMSOAPStructType().GetFirstMember(&name, m, &position));
    step(WMSOAPStructType().GetFirstMemberQN(&name, &ns, m, &position));
    WMSOAPStructType st;
    st.SetMember(u"a", 1);
    st.SetMemberQN(u"b", u"urn:b", 2);
    st.SetMember(u"c", 3);
    step(st.GetFirstMemberQN(&name, &ns, m, &position));
    step(st.GetNextMemberQN(&name, &ns, m, &position));
    step(st.GetNextMember(&name, m, &position));
    step(st.GetNextMember(&name, m, &position));
    position = -1;
    step(st.GetNextMember(&name, m, &position));
    EXPECT_EQ(trace,
              "-unset{} keep=1@9 -unset{} keep=1@9 a{} a=1@0 b{urn:b} b=2@1 c{urn:b} c=3@2 "
              "-c{urn:b} c=3@2 a{urn:b} a=1@0 ");

    // Positions this struct never handed out: nothing written.
    for (long bad : {-2L, 3L, LONG_MAX, LONG_MIN}) {
        position = bad;
        EXPECT_FALSE(st.GetNextMember(&name, m, &position)) << bad;
        EXPECT_EQ(position, bad);
    }
    EXPECT_FALSE(st.GetNextMember(&name, m, nullptr));
}

TEST(WMSOAPStructType, IterationFollowsChangesAndCopiesIterateIndependently) {
    WMSOAPStructType st;
    st.SetMember(u"a", 1);
    st.SetMember(u"b", 2);
    WMSOAPStructMember m;
    long position = 0;
    // Each step as the member's name, or "-" when it answers false.
    std::string trace;
    auto const step = [&](bool found) {
        trace += found ? corvane::test::Narrow(m.GetName()) + " " : "- ";
    };
    step(st.GetFirstMember(nullptr, m, &position));
    step(st.GetNextMember(nullptr, m, &position));
    step(st.GetNextMember(nullptr, m, &position));
    st.SetMember(u"c", 3);  // added after the end was reached: next in line
    step(st.GetNextMember(nullptr, m, &position));

    WMSOAPStructType copy(st);
    long copyPosition = 0;
    step(copy.GetFirstMember(nullptr, m, &copyPosition));
    st = WMSOAPStructType();
    st.SetMember(u"z", 26);
    step(copy.GetNextMember(nullptr, m, &copyPosition));
    position = -1;
    step(st.GetNextMember(nullptr, m, &position));
    step(st.GetNextMember(nullptr, m, &position));

    WMSOAPStructType moved(std::move(copy));
    step(copy.GetFirstMember(nullptr, m, &position));
    step(moved.GetNextMember(nullptr, m, &copyPosition));
    EXPECT_EQ(trace, "a b - c a b z - - c ");
}

TEST(WMSOAPStructType, CopiesAreDeep) {
    WMSOAPStructType inner;
    inner.SetMember(u"x", 1);
    std::vector<WMSOAPStructType> array(2, inner);
    WMSOAPStructType outer;
    outer.SetMember(u"inner", inner);
    outer.SetMember(u"array", array);
    inner.SetMember(u"y", 2);  // after the store: not seen by outer
    array[0].SetMember(u"z", 3);

    WMSOAPStructMember m;
    ASSERT_TRUE(outer.GetMember(u"array", m));
    m.ArrayValue()[0].SetMember(u"w", 4);  // changes the read copy only
    EXPECT_EQ(corvane::test::ShowStruct(outer), "{inner={x=1},array=[{x=1},{x=1}]}");
}

// Built-in conversions, date and time readings and the number readers.
class Probe : public WMSOAPDeserializer {
public:
    bool Deserialize(WMSOAPMessage&, WMSOAPWSDLClient&) override { return true; }
    using WMSOAPDeserializer::DeserializeBuiltInType;
    using WMSOAPDeserializer::DeserializeDate;
    using WMSOAPDeserializer::DeserializeDateTime;
    using WMSOAPDeserializer::DeserializeTime;
};

// A value element with the given text and, optionally, a nil attribute.
struct Element {
    WMSOAPParamHandler handler{u"", u"v", nullptr};
    explicit Element(WMString const& text, WMString const& nil = WMString()) {
        WMXMLAttributeMap attributes;
        if (!nil.empty()) {
            attributes.AddAttribute(u"http://www.w3.org/2001/XMLSchema-instancenil", nil);
        }
        handler.ProcessAttributes(attributes, corvane::NSMap());
        handler.Characters(text);
    }
};

WMSOAPStructMember Read(WMString const& type, WMString const& text,
                        WMString const& nil = WMString()) {
    Probe probe;
    Element element(text, nil);
    WMSOAPStructMember member;
    EXPECT_TRUE(probe.DeserializeBuiltInType(&element.handler, type, member));
    return member;
}

// The cells of a table row's input "a|b|c", at least three.
std::vector<WMString> Cells(std::string const& input) {
    std::vector<WMString> cells{WMString()};
    for (char16_t c : corvane::test::Unescape(input)) {
        if (c == u'|') {
            cells.emplace_back();
        } else {
            cells.back().push_back(c);
        }
    }
    cells.resize(std::max<std::size_t>(cells.size(), 3));
    return cells;
}

TEST(BuiltInTypes, EachTypeReadsAsItsKindAndValue) {
    // "type|text[|nil]" => name=value, doubles exactly: the kind shows in the print.
    for (const corvane::test::TableRow& row :
         corvane::test::ReadTable("expected/soap/built_in_types.txt")) {
        std::vector<WMString> const cells = Cells(row.input);
        WMSOAPStructMember const m = Read(cells[0], cells[1], cells[2]);
        EXPECT_EQ(corvane::test::Narrow(m.GetName()) + "=" + corvane::test::Show(m, true),
                  row.expected)
            << row.where;
    }
    // Outside the table: success, and the member keeps what it had.
    Probe probe;
    Element element(u"2001-01-01T00:00:00Z");
    WMSOAPStructMember kept(u"keep", std::int32_t{9});
    EXPECT_TRUE(probe.DeserializeBuiltInType(&element.handler, u"dateTime", kept));
    EXPECT_EQ(corvane::test::Narrow(kept.GetName()) + "=" + corvane::test::Show(kept), "keep=9");
}

TEST(DateAndTime, ReadingsAsAutomationDates) {
    // "dateTime|text", "time|text" or "date|text" => the day number to six places, or
    // "refused" when the reader fails and leaves the result untouched.
    for (const corvane::test::TableRow& row :
         corvane::test::ReadTable("expected/soap/date_readings.txt")) {
        std::vector<WMString> const cells = Cells(row.input);
        Probe probe;
        Element element(cells[1]);
        double result = -7.0;
        bool const read = cells[0] == u"dateTime"
                              ? probe.DeserializeDateTime(&element.handler, &result)
                          : cells[0] == u"time" ? probe.DeserializeTime(&element.handler, &result)
                                                : probe.DeserializeDate(&element.handler, &result);
        char printed[64];
        std::snprintf(printed, sizeof printed, "%.6f", result);
        EXPECT_EQ(read             ? std::string(printed)
                  : result == -7.0 ? "refused"
                                   : "refused, written",
                  row.expected)
            << row.where;
    }
}

TEST(NumberReaders, WtolAndScanFloatEdges) {
    // Leading space and sign, then digits up to the first other character; clamped to 32 bits.
    std::string read;
    for (char16_t const* text :
         {u"", u"\t\n +17,3", u"-2147483648", u"2147483648", u"99999999999999999999999", u"- 5"}) {
        read += std::to_string(corvane::Wtol(text)) + " ";
    }
    EXPECT_EQ(read, "0 17 -2147483648 2147483647 2147483647 0 ");
    read.clear();
    for (char16_t const* text :
         {u" -2.5e1xyz", u"+.5", u"0x1p3", u"1e999", u"-INF", u"nan", u"1e-999", u"\u00e91"}) {
        char printed[32];
        std::snprintf(printed, sizeof printed, "%g ", corvane::ScanFloat(text));
        read += printed;
    }
    EXPECT_EQ(read, "-25 0.5 8 inf -inf nan 0 0 ");
}

// Doubles are written with a shortcut for values of moderate size; every value must come out
// as printf's "%f" prints it, which to_chars reproduces.
std::string Reference(double value) {
    char buffer[352];
    auto const result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
    return std::string(buffer, result.ptr);
}

std::string Written(double value) {
    WMString text;
    corvane::detail::AppendFixed6(text, value);
    return std::string(text.begin(), text.end());
}

TEST(FixedFormat, EdgesOfTheShortcutPrintAsPrintfDoes) {
    using Limits = std::numeric_limits<double>;
    std::vector<double> cases = {0.0,         -0.0,         0.5,          -0.5,      1e-7,
                                 -1e-7,       4.9999999e-7, 5e-7,         0.0078125, -0.0078125,
                                 0.0234375,   0.1,          2.675,        1234.5,    7999.9999995,
                                 7999.999999, 8000.0,       8000.0000005, 9.9e15,    1e300};
    cases.insert(cases.end(), {Limits::denorm_min(), Limits::infinity(), -Limits::infinity(),
                               Limits::quiet_NaN()});
    for (double value : cases) {
        EXPECT_EQ(Written(value), Reference(value)) << value;
    }
}

TEST(FixedFormat, RandomValuesAcrossMagnitudesPrintAsPrintfDoes) {
    std::mt19937_64 random(16);
    std::uniform_real_distribution<double> exponent(-9, 11);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (int i = 0; i < 200000; ++i) {
        double value = unit(random) * std::pow(10.0, exponent(random));
        if (i % 4 == 0) {
            // Near the rounding boundary of the sixth digit.
            value = (std::floor(value * 1e6) + 0.5) / 1e6;
        }
        ASSERT_EQ(Written(value), Reference(value)) << value;
    }
}

}  // namespace
