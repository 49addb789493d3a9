// Built-in conversions, date and time readings and the number readers.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"

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

using Kind = WMSOAPStructMember::SOAPDataMember;

TEST(BuiltInTypes, IntegerKindsAndBoolean) {
    WMSOAPStructMember m = Read(u"int", u"42");
    EXPECT_EQ(m.GetDataType(), Kind::SOAP_LONG);
    EXPECT_EQ(m.LongValue(), 42);
    EXPECT_EQ(m.GetName(), u"v");
    EXPECT_EQ(Read(u"int", u"abc").LongValue(), 0);
    EXPECT_EQ(Read(u"boolean", u"true").LongValue(), 0);
    EXPECT_EQ(Read(u"boolean", u"1").LongValue(), 1);
    EXPECT_EQ(Read(u"unsignedInt", u"4294967295").LongValue(), 2147483647);
    EXPECT_EQ(Read(u"long", u"-99999999999").LongValue(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(Read(u"short", u"  -12x").LongValue(), -12);
}

TEST(BuiltInTypes, FloatingKindsPassThroughSinglePrecision) {
    WMSOAPStructMember m = Read(u"double", u"0.1");
    EXPECT_EQ(m.GetDataType(), Kind::SOAP_DOUBLE);
    EXPECT_EQ(m.DoubleValue(), static_cast<double>(0.1f));
    EXPECT_NE(m.DoubleValue(), 0.1);
    EXPECT_EQ(Read(u"decimal", u"12.500000").DoubleValue(), 12.5);
    EXPECT_EQ(Read(u"float", u"junk").DoubleValue(), 0.0);
    EXPECT_EQ(Read(u"float", u"1e3").DoubleValue(), 1000.0);
}

TEST(BuiltInTypes, StringsNilAndUnknownTypes) {
    WMSOAPStructMember s = Read(u"hexBinary", u"0A1B");
    EXPECT_EQ(s.GetDataType(), Kind::SOAP_STRING);
    EXPECT_EQ(s.StringValue(), u"0A1B");
    for (WMString const nil : {u"true", u"1"}) {
        WMSOAPStructMember n = Read(u"int", u"5", nil);
        EXPECT_EQ(n.GetDataType(), Kind::SOAP_STRING);
        EXPECT_EQ(n.StringValue(), u"");
        EXPECT_EQ(n.GetName(), u"");  // not named on this path
    }
    EXPECT_EQ(Read(u"int", u"5", u"false").LongValue(), 5);
    // Outside the table: success, and the member keeps what it had.
    Probe probe;
    Element element(u"2001-01-01T00:00:00Z");
    WMSOAPStructMember kept(u"keep", std::int32_t{9});
    EXPECT_TRUE(probe.DeserializeBuiltInType(&element.handler, u"dateTime", kept));
    EXPECT_EQ(kept.GetName(), u"keep");
    EXPECT_EQ(kept.LongValue(), 9);
}

double DateTime(WMString const& text) {
    Probe probe;
    Element element(text);
    double result = -1.0;
    EXPECT_TRUE(probe.DeserializeDateTime(&element.handler, &result)) << text.size();
    return result;
}

TEST(DateAndTime, DateTimeWithZones) {
    double const noon = 37257.5;  // 2002-01-01 12:00 as an automation date
    EXPECT_DOUBLE_EQ(DateTime(u"2002-01-01T12:00:00Z"), noon);
    EXPECT_DOUBLE_EQ(DateTime(u"2002-01-01T12:00:00+01:00"), noon - 1.0 / 24);
    EXPECT_DOUBLE_EQ(DateTime(u"2002-01-01T12:00:00-01:00"), noon + 1.0 / 24);
    EXPECT_DOUBLE_EQ(DateTime(u"2002-01-01T12:00:00"), noon);  // no zone: UTC
    EXPECT_DOUBLE_EQ(DateTime(u"1899-12-30T00:00:00Z"), 0.0);

    Probe probe;
    double result = 0.0;
    for (WMString const bad :
         {u"2002-01-01 12:00:00", u"2002-13-01T12:00:00Z", u"2001-02-29T12:00:00Z",
          u"2002-01-01T25:00:00Z", u"2002-01-01T12:00:00+1"}) {
        Element element(bad);
        EXPECT_FALSE(probe.DeserializeDateTime(&element.handler, &result));
    }
}

TEST(DateAndTime, TimeAndDate) {
    Probe probe;
    double result = 0.0;
    std::pair<WMString, double> const times[] = {
        {u"12:00:00+01:00", 1.0 + 11.0 / 24}, {u"12:00:00-01:00", 13.0 / 24}, {u"06:00:00Z", 0.25}};
    for (auto const& [text, expected] : times) {
        Element element(text);
        ASSERT_TRUE(probe.DeserializeTime(&element.handler, &result));
        EXPECT_DOUBLE_EQ(result, expected);
    }

    Element date(u"2000-02-29trailing");
    ASSERT_TRUE(probe.DeserializeDate(&date.handler, &result));
    EXPECT_DOUBLE_EQ(result, 36585.0);
    Element badDate(u"0099-01-01");
    result = 7.0;
    EXPECT_FALSE(probe.DeserializeDate(&badDate.handler, &result));
    EXPECT_EQ(result, 7.0);  // untouched on failure
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
