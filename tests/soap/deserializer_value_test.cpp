// Built-in conversions, date and time readings and the number readers.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"
#include "support/support.h"
#include "support/values.h"

namespace {

using corvane::WMSOAPParamHandler;

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
    EXPECT_EQ(kept.GetName(), u"keep");
    EXPECT_EQ(kept.LongValue(), 9);
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
    EXPECT_EQ(corvane::Wtol(u""), 0);
    EXPECT_EQ(corvane::Wtol(u"\t\n +17,3"), 17);
    EXPECT_EQ(corvane::Wtol(u"-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(corvane::Wtol(u"2147483648"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(corvane::Wtol(u"99999999999999999999999"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(corvane::Wtol(u"- 5"), 0);

    EXPECT_EQ(corvane::ScanFloat(u" -2.5e1xyz"), -25.0f);
    EXPECT_EQ(corvane::ScanFloat(u"+.5"), 0.5f);
    EXPECT_EQ(corvane::ScanFloat(u"0x1p3"), 8.0f);
    EXPECT_TRUE(std::isinf(corvane::ScanFloat(u"1e999")));
    EXPECT_TRUE(std::isinf(corvane::ScanFloat(u"-INF")));
    EXPECT_TRUE(std::isnan(corvane::ScanFloat(u"nan")));
    EXPECT_EQ(corvane::ScanFloat(u"1e-999"), 0.0f);
    EXPECT_EQ(corvane::ScanFloat(u"\u00e91"), 0.0f);
}

}  // namespace
