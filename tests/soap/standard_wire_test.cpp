// Whole envelopes in the standard wire mode: a client's request read by WMSOAPServerCall, its
// echo read back by the client, the exact text of a few envelopes, and what the server call
// accepts and refuses in that mode; then the built-in values of that mode one by one, and the
// server helper; the server call in the document/literal mode.
#include <corvane/message.h>
#include <corvane/server.h>
#include <corvane/values.h>
#include <corvane/wsdl.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"
#include "soap/standard_values.h"
#include "support/support.h"
#include "support/values.h"
#include "text/wire_text.h"

namespace {

using corvane::AppendUTF8;
using corvane::DecodeHTTPText;

using corvane::detail::ReadStandardValue;
using corvane::detail::WriteStandardValue;
using corvane::test::AllBytes;
using corvane::test::Show;
using corvane::test::Utf8;
using deser_test::ValueOf;
using Kind = WMSOAPStructMember::SOAPDataMember::DATATYPE;

using corvane::test::Difference;
using corvane::test::Items;
using corvane::test::SOAPStruct;
using deser_test::Round2Base;
using deser_test::Round2GroupB;
using deser_test::Types;

constexpr char16_t kUnicode[] =
    u"Gr\u00fc\u00dfe aus T\u014dky\u014d \u2014 \u6771\u4eac \u20ac \U0001F600";

WMWireOptions Standard() {
    WMWireOptions options;
    options.standard = true;
    return options;
}

struct Param {
    WMString name;
    WMSOAPStructMember value;
};

// The request envelope a client in the standard wire mode sends; empty when it cannot be written.
WMString Request(WMSOAPWSDLClient& wsdl, WMString const& method, WMString const& ns,
                 std::vector<Param> const& params) {
    WMSOAPMessage message;
    message.Initialize(nullptr, 0, u"", u"", u"", u"", u"", false);
    message.SetStandardWireMode(true);
    message.SetMethodName(method);
    message.SetMethodNS(ns);
    for (Param const& param : params) {
        message.AddMethodParam(u"", param.name, param.value, true, false);
    }
    return message.Serialize(wsdl) ? *message.GetBufferPtr() : WMString();
}

// Sends the parameters through a standard-mode server call that echoes each input parameter
// (as the return value, or as the output parameter of the same name when there is one), then
// reads the answer as the client does. Checks that the server got every value exactly, and
// returns the client's message.
void ExpectEcho(WMSOAPWSDLClient& wsdl, WMString const& method, WMString const& ns,
                std::string const& soapAction, std::vector<Param> const& params,
                WMSOAPMessage& answer) {
    WMString const request = Request(wsdl, method, ns, params);
    ASSERT_FALSE(request.empty()) << deser_test::Narrow(method);
    WMSOAPServerCall call(wsdl);
    call.SetWireOptions(Standard());
    std::string bytes;
    std::size_t bad = 0;
    ASSERT_TRUE(corvane::detail::EncodeUtf8(request, bytes, bad));
    ASSERT_TRUE(call.ReadRequest(bytes, soapAction))
        << deser_test::Narrow(call.GetMessage().GetSOAPFaultString());
    for (Param const& param : params) {
        WMSOAPStructMember got;
        ASSERT_TRUE(call.GetParam(param.name, got));
        EXPECT_EQ("", Difference(param.value, got, "server got " + deser_test::Narrow(param.name)));
        if (!call.SetOutParam(param.name, got)) {
            ASSERT_TRUE(call.SetReturnValue(got));
        }
    }
    std::string body;
    ASSERT_EQ(200, call.WriteResponse(body)) << body;
    answer.SetStandardWireMode(true);
    WMString text;
    std::string error;
    ASSERT_TRUE(corvane::detail::DecodeText(body, "utf-8", text, error)) << error;
    auto const fault = deser_test::DecodeResponse(answer, wsdl, method, text);
    ASSERT_FALSE(fault) << fault->text;
}

// The whole answer against its row of literal_answers.txt.
void ExpectAnswer(std::string const& body, std::string const& name) {
    EXPECT_EQ(body,
              deser_test::Narrow(deser_test::Golden("expected/soap/literal_answers.txt", name)))
        << name;
}

void ExpectAnswer(WMSOAPServerCall& call, int status, std::string const& name) {
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), status) << name;
    ExpectAnswer(body, name);
}

WMSOAPStructMember Member(WMSOAPStructMember value) {
    return value;
}

TEST(StandardWire, Round2EchoesReturnTextStructsAndArraysExactly) {
    struct Case {
        char16_t const* operation;
        WMSOAPStructMember value;
    } const cases[] = {
        {u"String", WMSOAPStructMember(u"", WMString(kUnicode) + u" <&> \"'\r\n\r")},
        {u"String", WMSOAPStructMember()},  // nil stays nil
        {u"Struct", WMSOAPStructMember(u"", SOAPStruct(kUnicode, 7, 0.25))},
        {u"StringArray",
         WMSOAPStructMember(u"", Items({{u"item", u"a"}, {u"item", kUnicode}, {u"item", u""}}))},
        {u"FloatArray", WMSOAPStructMember(u"", Items({{u"item", 0.5}, {u"item", -1.25}}))},
        {u"IntegerArray", WMSOAPStructMember(u"", std::vector<WMSOAPStructType>())},
        {u"StructArray", WMSOAPStructMember(u"", Items({{u"", SOAPStruct(u"s", 1, 1.5)},
                                                        {u"", SOAPStruct(u"s", 1, 1.5)}}))},
    };
    for (Case const& c : cases) {
        WMString const op = u"echo" + WMString(c.operation);
        WMSOAPMessage answer;
        ExpectEcho(Round2Base(), op, u"http://soapinterop.org/", "\"http://\"",
                   {{u"input" + WMString(c.operation), c.value}}, answer);
        EXPECT_EQ("", Difference(c.value, answer.GetReturnValue(), deser_test::Narrow(op)));
    }
}

TEST(StandardWire, EveryBuiltInTypeEchoesAtItsEdges) {
    std::vector<Param> params;
    for (auto const& row : corvane::test::ReadTable("expected/soap/standard_echo_all.txt")) {
        params.push_back({corvane::test::Unescape(row.input), deser_test::ValueOf(row.expected)});
    }
    ASSERT_EQ(params.size(), 23u);
    WMSOAPMessage answer;
    ExpectEcho(Types(), u"echoAll", u"urn:corvane:types", "urn:corvane:types#echoAll", params,
               answer);
    // Without a parameterOrder the first output part is the return value, the others follow as
    // output parameters.
    EXPECT_EQ("", Difference(params[0].value, answer.GetReturnValue(), "long"));
    std::size_t index = 1;
    WMString ns, name;
    WMSOAPStructMember value;
    bool isInput = false, isOutput = false;
    long position = 0;
    for (bool more = answer.GetFirstMethodParam(ns, name, value, isInput, isOutput, position); more;
         more = answer.GetNextMethodParam(ns, name, value, isInput, isOutput, position)) {
        ASSERT_LT(index, params.size());
        EXPECT_EQ(params[index].name, name);
        EXPECT_EQ("", Difference(params[index].value, value, deser_test::Narrow(name)));
        ++index;
    }
    EXPECT_EQ(params.size(), index);
}

TEST(StandardWire, ExactEnvelopes) {
    WMSOAPStructType row;
    for (char16_t const* cell : {u"c1", u"c2", u"c3"}) {
        row.SetMember(u"item", WMString(cell));
    }
    struct Case {
        char const* name;
        WMSOAPWSDLClient& wsdl;
        char16_t const* method;
        char16_t const* ns;
        std::vector<Param> params;
    } const cases[] = {
        {"echoStruct",
         Round2Base(),
         u"echoStruct",
         u"http://soapinterop.org/",
         {{u"inputStruct", Member({u"", SOAPStruct(u"a\rb", -1, 0.1)})}}},
        {"echo2DStringArray",
         Round2GroupB(),
         u"echo2DStringArray",
         u"http://soapinterop.org/",
         {{u"input2DStringArray", Member({u"", std::vector<WMSOAPStructType>(2, row)})}}},
        {"scalars",
         Types(),
         u"echoAll",
         u"urn:corvane:types",
         {{u"boolean", Member({u"", 0})},
          {u"float", Member({u"", 0.1})},
          {u"double", Member({u"", 1e-9})},
          {u"decimal", Member({u"", 1e-9})},
          {u"hexBinary", Member({u"", WMString(u"\u0001\u00ab")})},
          {u"encBase64", Member({u"", WMString(u"\u00ff")})},
          {u"dateTime", Member({u"", 36526.5})}}},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(deser_test::Narrow(deser_test::Golden("expected/soap/standard.txt", c.name)),
                  deser_test::Narrow(Request(c.wsdl, c.method, c.ns, c.params)))
            << c.name;
    }
}

TEST(StandardServerCall, RefusesWhatItCannotReadWithTheClientsFault) {
    auto const rows = corvane::test::ReadTable("expected/soap/standard_requests.txt");
    ASSERT_GE(rows.size(), 10u);
    for (auto const& row : rows) {
        std::size_t const bar = row.input.find('|');
        std::string const body = deser_test::RequestBytes(
            corvane::test::Narrow(corvane::test::Unescape(row.input.substr(bar + 1))));
        WMSOAPServerCall call(Round2Base());
        call.SetWireOptions(Standard());
        bool const read = call.ReadRequest(body, row.input.substr(0, bar));
        ASSERT_EQ(row.expected == "accepted", read) << row.where;
        if (!read) {
            WMSOAPMessage& message = call.GetMessage();
            std::size_t const split = row.expected.find('|');
            EXPECT_EQ(row.expected.substr(0, split), deser_test::Narrow(message.GetSOAPFaultCode()))
                << row.where;
            EXPECT_NE(std::string::npos, deser_test::Narrow(message.GetSOAPFaultString())
                                             .find(row.expected.substr(split + 1)))
                << row.where << ": " << deser_test::Narrow(message.GetSOAPFaultString());
            std::string answer;
            EXPECT_EQ(500, call.WriteResponse(answer));
        }
    }
}

TEST(StandardServerCall, AnUnpairedSurrogateInTheAnswerBecomesAServerFault) {
    WMSOAPServerCall call(Round2Base());
    call.SetWireOptions(Standard());
    ASSERT_TRUE(call.ReadRequest(
        deser_test::RequestBytes("<m:echoString><inputString>x</inputString></m:echoString>"),
        "\"http://\""));
    ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"", WMString(1, u'\xD800') + u"x")));
    ExpectAnswer(call, 500, "unpaired surrogate");
}

TEST(StandardClient, ABadValueInAnAnswerIsTheServersFault) {
    WMSOAPMessage answer;
    answer.SetStandardWireMode(true);
    auto const fault = deser_test::DecodeResponse(
        answer, Round2Base(), u"echoFloat",
        deser_test::Envelope("<ns1:echoFloatResponse><outputFloat>1,5</outputFloat>"
                             "</ns1:echoFloatResponse>"));
    ASSERT_TRUE(fault);
    EXPECT_EQ("SOAP-ENV:Server", fault->code);
    EXPECT_EQ("Element 'outputFloat': \"1,5\" is not a valid float (not a number).", fault->text);
}

// Built-in values in the standard wire mode: reading each type's texts, writing each kind of
// value under each type, and the round trip between the two.
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kMin = std::numeric_limits<double>::min();

// Rows of one section as type, the other input cell, and the expected cell.
std::vector<std::array<std::string, 3>> Rows(std::string const& section) {
    std::vector<std::array<std::string, 3>> rows;
    for (auto const& row : corvane::test::ReadTable("expected/soap/standard_values.txt")) {
        std::size_t const bar = row.input.find('|');
        if (row.section == section && bar != std::string::npos) {
            rows.push_back({row.input.substr(0, bar), row.input.substr(bar + 1), row.expected});
        }
        EXPECT_NE(std::string::npos, bar) << row.where;
    }
    EXPECT_GT(rows.size(), 40u) << section;
    return rows;
}

TEST(StandardRead, EachTypeByItsLexicalForms) {
    for (auto const& [typeCell, textCell, expected] : Rows("read")) {
        WMString const type = corvane::test::Unescape(typeCell);
        WMString const text = corvane::test::Unescape(textCell);
        WMSOAPStructMember got;
        WMString reason;
        bool const ok = ReadStandardValue(type, text, got, reason);
        std::string const label = typeCell + " '" + textCell + "'";
        ASSERT_EQ(expected != "refused", ok) << label << ": " << Utf8(reason);
        if (ok) {
            EXPECT_EQ("", Difference(ValueOf(expected), got, label));
        } else {
            EXPECT_FALSE(reason.empty()) << label;
            EXPECT_EQ(Kind::SOAP_NONE, got.GetDataType()) << label;
        }
    }
}

TEST(StandardWrite, ShortestNumbersAndCanonicalForms) {
    for (auto const& [typeCell, valueCell, expected] : Rows("write")) {
        WMSOAPStructMember value = ValueOf(valueCell);
        WMString out;
        bool const ok = WriteStandardValue(corvane::test::Unescape(typeCell), value, out);
        std::string const label = typeCell + " " + valueCell;
        ASSERT_EQ(expected != "refused", ok) << label << " wrote '" << Utf8(out) << "'";
        if (ok) {
            EXPECT_EQ(Utf8(corvane::test::Unescape(expected)), Utf8(out)) << label;
        }
    }
}

// What is written reads back as the very same value, so an echo returns what it got.
void ExpectRoundTrip(char16_t const* type, WMSOAPStructMember value) {
    WMString text;
    ASSERT_TRUE(WriteStandardValue(type, value, text)) << Utf8(type) << " " << Show(value, true);
    WMSOAPStructMember back;
    WMString reason;
    ASSERT_TRUE(ReadStandardValue(type, text, back, reason))
        << Utf8(type) << " '" << Utf8(text) << "': " << Utf8(reason);
    EXPECT_EQ("", Difference(value, back, Utf8(type) + " through '" + Utf8(text) + "'"));
}

TEST(StandardRoundTrip, EdgeValuesOfEachType) {
    double const doubles[] = {0.1,  -0.0, 1e300, 5e-324,  kInf,     -kInf,
                              kNaN, kMax, kMin,  1.0 / 3, -123.456, 9007199254740993.0};
    for (double d : doubles) {
        ExpectRoundTrip(u"double", {u"", d});
        ExpectRoundTrip(u"float", {u"", static_cast<double>(static_cast<float>(d))});
        if (std::isfinite(d)) {
            ExpectRoundTrip(u"decimal", {u"", d});
        }
    }
    for (char16_t const* type : {u"base64Binary", u"hexBinary", u"base64"}) {
        ExpectRoundTrip(type, {u"", AllBytes()});
        for (std::size_t n = 0; n < 4; ++n) {  // every padding
            ExpectRoundTrip(type, {u"", AllBytes().substr(250, n)});
        }
    }
}

TEST(StandardRoundTrip, RandomDoublesAndFloats) {
    std::mt19937_64 random(15);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t const bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        ExpectRoundTrip(u"double", {u"", d});
        std::uint32_t const low = static_cast<std::uint32_t>(bits);
        float f;
        std::memcpy(&f, &low, sizeof f);
        ExpectRoundTrip(u"float", {u"", static_cast<double>(f)});
        if (HasFailure()) {
            return;
        }
    }
}

TEST(ServerText, DecodesUTF8OrElseLatin1AndEncodesWithReplacements) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/server_text.txt")) {
        WMString const in = corvane::test::Unescape(row.input);
        WMString const out = corvane::test::Unescape(row.expected);
        if (row.section == "decode") {
            EXPECT_EQ(DecodeHTTPText(corvane::test::Narrow(in)), out) << row.where;
        } else {
            std::string bytes = "x";
            AppendUTF8(in, bytes);
            EXPECT_EQ(bytes, "x" + corvane::test::Narrow(out)) << row.where;
        }
    }
}

bool Contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

TEST(ServerCall, EchoesAStringInUTF8) {
    WMSOAPServerCall call(deser_test::Round2Base());
    // Corvane's own client sends ISO-8859-1 bytes: E9 is read as e-acute and answered as UTF-8.
    ASSERT_TRUE(call.ReadRequest(
        deser_test::RequestBytes("<m:echoString><inputString>caf\xE9</inputString></m:echoString>"),
        "\"http://\""));
    WMSOAPStructMember value, output;
    ASSERT_TRUE(call.GetParam(u"inputString", value) && !call.GetParam(u"outputString", output));
    EXPECT_EQ(call.GetMethodName() + u" " + value.StringValue(), u"echoString caf\u00E9");
    ASSERT_TRUE(call.SetReturnValue(value));

    // The input part is not an output part and is not echoed under its own name.
    ExpectAnswer(call, 200, "echoString");
}

TEST(ServerCall, RefusedRequestsAnswerWithTheirFault) {
    struct Case {
        std::string body;
        std::string soapAction;
        char const* answer;
    };
    std::string const good =
        deser_test::RequestBytes("<m:echoString><inputString>x</inputString></m:echoString>");
    // One of each kind; every fault text of the request side is in deserializer_resp_test.cpp.
    Case const cases[] = {
        {good, "", "no action"},
        {deser_test::RequestBytes(""), "\"http://\"", "no method"},
        {good.substr(0, good.size() - 12), "\"http://\"", "cut short"},
    };
    for (Case const& c : cases) {
        WMSOAPServerCall call(deser_test::Round2Base());
        EXPECT_FALSE(call.ReadRequest(c.body, c.soapAction)) << c.answer;
        ExpectAnswer(call, 500, c.answer);
    }
}

TEST(ServerCall, OutputParametersAndReturnValueFollowTheParameterOrder) {
    WMSOAPServerCall call(deser_test::Round2GroupB());
    ASSERT_TRUE(call.ReadRequest(
        deser_test::RequestBytes("<m:echoStructAsSimpleTypes><inputStruct><varString>s</varString>"
                                 "<varInt>3</varInt><varFloat>0.5</varFloat></inputStruct>"
                                 "</m:echoStructAsSimpleTypes>"),
        "\"http://soapinterop.org/\""));
    // Every output part is listed by parameterOrder: there is no return value.
    EXPECT_FALSE(call.SetReturnValue(WMSOAPStructMember(u"x", u"y")));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"ignored", 3)));
    EXPECT_TRUE(call.SetOutParam(u"outputString", WMSOAPStructMember(u"", WMString(u"s"))));
    EXPECT_TRUE(call.SetOutParam(u"outputFloat", WMSOAPStructMember(u"", 0.5)));
    EXPECT_FALSE(call.SetOutParam(u"inputStruct", WMSOAPStructMember(u"", 1)));
    ExpectAnswer(call, 200, "parameter order");
}

TEST(ServerCall, UnserializableResponseBecomesAServerFault) {
    WMSOAPServerCall call(deser_test::Round2Base());
    ASSERT_TRUE(
        call.ReadRequest(deser_test::RequestBytes("<m:echoStruct><inputStruct><varInt>1</varInt>"
                                                  "</inputStruct></m:echoStruct>"),
                         "\"http://\""));
    WMSOAPStructType wrong;
    wrong.SetMember(u"notAMember", 1);
    ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"", wrong)));
    ExpectAnswer(call, 500, "unserializable");
}

TEST(ServerCall, FaultWithoutARequest) {
    WMSOAPServerCall call(deser_test::Round2Base());
    call.SetFault(u"SOAP-ENV:Client", u"Request too large.");
    ExpectAnswer(call, 500, "no request");
}

// The server helper's fast paths: UTF-8 a word at a time, parameters edited in place, a return
// value taken over. Each must give what the plain way gives.
// The plain conversion: each lone half of a pair as U+FFFD, then the wire mode's strict encoder,
// which goes one character at a time.
std::string PlainUTF8(WMString text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const half = text[i] >= 0xD800 && text[i] <= 0xDFFF;
        if (half && text[i] <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            ++i;
        } else if (half) {
            text[i] = 0xFFFD;
        }
    }
    std::string out;
    std::size_t bad = 0;
    EXPECT_TRUE(corvane::detail::EncodeUtf8(text, out, bad)) << bad;
    return out;
}

// Texts of ASCII runs of every length across the first blocks of sixteen units, broken by one
// odd unit: two- and three-byte characters, a pair, a pair split by the end of a word, lone
// halves, the top of the 7-bit range. Long tails put the odd unit inside a whole later block.
TEST(ServerTextWords, AgreesWithThePlainConversionAtEveryOffset) {
    WMString const odd[] = {
        u"\u00E9", u"\u20AC", u"\U0001F600", WMString(1, u'\xD800'), WMString(1, u'\xDC00'),
        u"\u007F", u"\u0080", u"\uFFFF"};
    for (std::size_t before = 0; before <= 40; ++before) {
        for (WMString const& unit : odd) {
            for (std::size_t after : {0, 1, 7, 8, 9, 17}) {
                WMString const text = WMString(before, u'a') + unit + WMString(after, u'<');
                SCOPED_TRACE(before);
                std::string out = "prefix";
                corvane::AppendUTF8(text, out);
                EXPECT_EQ(out, "prefix" + PlainUTF8(text));
                if (unit.size() != 1 || unit[0] < 0xD800 || unit[0] > 0xDFFF) {
                    // Whatever UTF-8 carries comes back whole.
                    EXPECT_EQ(corvane::DecodeHTTPText(PlainUTF8(text)), text);
                }
            }
        }
    }
}

TEST(ServerTextWords, RandomTextsAgreeWithThePlainConversion) {
    std::mt19937 random(7);
    // Mostly ASCII, as markup is, with every kind of unit now and then.
    std::uniform_int_distribution<int> pick(0, 99);
    for (int round = 0; round < 300; ++round) {
        WMString text;
        int const length = pick(random) * 3;
        for (int i = 0; i < length; ++i) {
            int const kind = pick(random);
            text += kind < 85   ? static_cast<char16_t>(0x20 + kind)
                    : kind < 90 ? u'\u00FC'
                    : kind < 94 ? u'\u4E2D'
                    : kind < 97 ? u'\xD83D'
                                : u'\xDE00';
        }
        std::string out;
        corvane::AppendUTF8(text, out);
        ASSERT_EQ(out, PlainUTF8(text)) << round;
    }
}

std::string StructArrayRequest(int n) {
    std::string items;
    for (int i = 0; i < n; ++i) {
        items += "<item><varString>s" + std::to_string(i) + "</varString><varInt>" +
                 std::to_string(i) + "</varInt><varFloat>0.5</varFloat></item>";
    }
    return deser_test::RequestBytes(
        "<m:echoStructArray><inputStructArray "
        "xmlns:a=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:s=\"http://soapinterop.org/xsd\" a:arrayType=\"s:SOAPStruct[" +
        std::to_string(n) + "]\">" + items + "</inputStructArray></m:echoStructArray>");
}

// Taking the value over, copying it, and taking the parameter over (an extension) all answer
// the same bytes; reading does not empty the parameter, taking it does.
TEST(ServerCallInPlace, ReturnValueTakenOverOrCopiedAnswersAlike) {
    std::string answers[3];
    for (int mode = 0; mode < 3; ++mode) {
        WMSOAPServerCall call(deser_test::Round2Base());
        ASSERT_TRUE(call.ReadRequest(StructArrayRequest(40), "\"http://\""));
        WMSOAPStructMember first;
        WMSOAPStructMember second;
        if (mode == 2) {
            ASSERT_TRUE(call.TakeParam(u"inputStructArray", first));
            ASSERT_TRUE(call.GetParam(u"inputStructArray", second));
            EXPECT_TRUE(second.ArrayValue().empty());
            EXPECT_FALSE(call.TakeParam(u"outputStructArray", second));
        } else {
            ASSERT_TRUE(call.GetParam(u"inputStructArray", first));
            ASSERT_TRUE(call.GetParam(u"inputStructArray", second));
            EXPECT_EQ(second.ArrayValue().size(), 40u);
        }
        EXPECT_EQ(first.ArrayValue().size(), 40u);
        ASSERT_TRUE(mode ? call.SetReturnValue(std::move(first)) : call.SetReturnValue(first));
        EXPECT_EQ(call.WriteResponse(answers[mode]), 200);
    }
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_EQ(answers[0], answers[2]);
    EXPECT_NE(answers[0].find(">s39</varString>"), std::string::npos);
    EXPECT_EQ(answers[0].find("inputStructArray"), std::string::npos);
}

// An output parameter set twice keeps the last value; the input-only parameter before it is
// dropped from the answer without disturbing the order of the rest.
TEST(ServerCallInPlace, OutParamSetTwiceKeepsTheLast) {
    WMSOAPServerCall call(deser_test::Round2GroupB());
    ASSERT_TRUE(call.ReadRequest(
        "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:m=\"http://soapinterop.org/\"><e:Body><m:echoStructAsSimpleTypes><inputStruct>"
        "<varString>s</varString><varInt>3</varInt><varFloat>0.5</varFloat></inputStruct>"
        "</m:echoStructAsSimpleTypes></e:Body></e:Envelope>",
        "\"http://soapinterop.org/\""));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"", 1)));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"", 2)));
    ExpectAnswer(call, 200, "out param twice");
}

constexpr char k11[] = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr char k12[] = "http://www.w3.org/2003/05/soap-envelope";

std::string Envelope(std::string const& body, char const* ns = k11,
                     std::string const& header = "") {
    return std::string("<?xml version=\"1.0\"?><e:Envelope xmlns:e=\"") + ns +
           "\" xmlns:c=\"urn:cases\">" +
           (header.empty() ? "" : "<e:Header>" + header + "</e:Header>") + "<e:Body>" + body +
           "</e:Body></e:Envelope>";
}

std::string const kItem = "<c:item><c:name>n</c:name><c:count>3</c:count></c:item>";

class LiteralServer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        WMString const file = u"" CORVANE_TEST_DATA "/literal/server.wsdl";
        ASSERT_TRUE(cases.Load(file)) << deser_test::Narrow(cases.GetLoadError());
        ASSERT_TRUE(calc.Load(file, u"Cases", u"CalcPort"));
    }

    // A call in the document/literal mode on `service`.
    WMSOAPServerCall Call(WMSOAPLiteralService const& service = cases,
                          std::size_t maxOccurs = 100000) {
        WMSOAPServerCall call(deser_test::Round2Base());
        WMWireOptions wire;
        wire.standard = true;
        wire.documentLiteral = true;
        wire.maxOccurs = maxOccurs;
        call.SetWireOptions(wire);
        call.SetLiteralService(service);
        return call;
    }

    static WMSOAPLiteralService cases;
    static WMSOAPLiteralService calc;
};

WMSOAPLiteralService LiteralServer::cases;
WMSOAPLiteralService LiteralServer::calc;

TEST_F(LiteralServer, SharedRequestElementIsDispatchedByTheAction) {
    struct Case {
        char const* ns;
        char const* soapAction;
        char const* contentType;
        char16_t const* operation;
    };
    for (Case const& c :
         {Case{k11, "\"urn:add\"", "text/xml", u"add"},
          Case{k11, "urn:remove", "text/xml", u"remove"},
          // 1.2: the content type's action, whatever a SOAPAction header says.
          Case{k12, "urn:add", "application/soap+xml; action=\"urn:remove\"", u"remove"}}) {
        WMSOAPServerCall call = Call();
        ASSERT_TRUE(call.ReadRequest(Envelope(kItem, c.ns), c.soapAction, c.contentType));
        EXPECT_EQ(call.GetMethodName(), c.operation);
        WMSOAPStructMember item;
        ASSERT_TRUE(call.GetParam(u"item", item));
        EXPECT_EQ(Show(item), "{name=\"n\",count=3}");
        ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"total", 4)));
        ExpectAnswer(call, 200, c.ns == k12 ? "total 1.2" : "total");
        EXPECT_STREQ(call.GetContentType(), c.ns == k12 ? "application/soap+xml; charset=utf-8"
                                                        : "text/xml; charset=utf-8");
    }
}

TEST_F(LiteralServer, WrappedAnswerHasReturnAndOutParamInSchemaOrder) {
    WMSOAPServerCall call = Call();
    ASSERT_TRUE(call.ReadRequest(Envelope("<c:split><c:text>abc</c:text></c:split>", k12,
                                          "<c:session e:mustUnderstand=\"true\">s1</c:session>"),
                                 "", "application/soap+xml"));
    // "at" is optional and absent.
    WMSOAPStructMember text, at, session;
    ASSERT_TRUE(call.GetParam(u"text", text) && !call.GetParam(u"at", at) &&
                call.GetParam(u"session", session));
    EXPECT_EQ(text.StringValue() + u" " + session.StringValue(), u"abc s1");

    EXPECT_FALSE(call.SetOutParam(u"head", WMSOAPStructMember(u"x", WMString(u"a"))));
    ASSERT_TRUE(call.SetOutParam(u"tail", WMSOAPStructMember(u"x", WMString(u"bc"))));
    ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"x", WMString(u"a"))));
    ExpectAnswer(call, 200, "split");
}

TEST_F(LiteralServer, RpcLiteralPartsAreTheWrappersUnqualifiedChildren) {
    WMSOAPServerCall call = Call(calc);
    ASSERT_TRUE(call.ReadRequest(Envelope("<s:sum xmlns:s=\"urn:calc\"><a>2</a><b>40</b></s:sum>"),
                                 "", "text/xml"));
    WMSOAPStructMember a, b;
    ASSERT_TRUE(call.GetParam(u"a", a) && call.GetParam(u"b", b));
    call.SetReturnValue(WMSOAPStructMember(u"sum", a.LongValue() + b.LongValue()));
    ExpectAnswer(call, 200, "sum");
}

TEST_F(LiteralServer, RequestsOutsideTheSchemaGetAFaultNamingTheCause) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/literal_refusals.txt")) {
        // A row's input is a Body's content, or after '=' the whole request.
        std::string const input = corvane::test::Narrow(corvane::test::Unescape(row.input));
        std::string const request = input[0] == '=' ? input.substr(1) : Envelope(input);
        std::size_t const bar = row.expected.find('|');
        WMSOAPServerCall call = Call();
        EXPECT_FALSE(call.ReadRequest(request, "urn:nope", "text/xml")) << row.where;
        std::string body;
        EXPECT_EQ(call.WriteResponse(body), 500);
        EXPECT_TRUE(Contains(body, "<faultcode>SOAP-ENV:" + row.expected.substr(0, bar) + "<"))
            << row.where << body;
        EXPECT_TRUE(Contains(body, row.expected.substr(bar + 1))) << row.where << body;
    }
}

TEST_F(LiteralServer, AnswersAndFaultsTheSchemaRefusesOrTypes) {
    // A return value that is not of its type: a Receiver fault naming the element.
    WMSOAPServerCall call = Call();
    ASSERT_TRUE(call.ReadRequest(Envelope(kItem, k12), "", "application/soap+xml;action=urn:add"));
    call.SetReturnValue(WMSOAPStructMember(u"total", WMString(u"many")));
    ExpectAnswer(call, 500, "return refused");

    // A typed fault detail: written by the fault's element; one the schema refuses is left out.
    for (bool fits : {true, false}) {
        call = Call();
        ASSERT_TRUE(call.ReadRequest(Envelope("<c:split><c:text/></c:split>", k12), "", ""));
        call.SetFault(u"SOAP-ENV:Client", u"no split");
        WMSOAPStructType detail;
        detail.SetMember(fits ? WMSOAPStructMember(u"position", 7)
                              : WMSOAPStructMember(u"position", WMString(u"x")));
        EXPECT_FALSE(call.SetFaultDetail(u"otherFault", WMSOAPStructMember(u"d", detail)));
        ASSERT_TRUE(call.SetFaultDetail(u"splitFault", WMSOAPStructMember(u"d", detail)));
        ExpectAnswer(call, 500, fits ? "detail" : "detail refused");
    }
}

TEST_F(LiteralServer, RepeatedElementsBeyondTheLimitAreRefused) {
    WMSOAPLiteralService echo;
    ASSERT_TRUE(echo.Load(u"" CORVANE_TEST_DATA "/../peers/doclit/echo_doclit.wsdl"));
    for (int count : {2, 3}) {
        std::string values;
        for (int i = 0; i < count; ++i) {
            values += "<t:value>v</t:value>";
        }
        WMSOAPServerCall call = Call(echo, 2);
        bool const read = call.ReadRequest(
            Envelope("<t:echoStrings xmlns:t=\"urn:corvane:echo\">" + values + "</t:echoStrings>"),
            "", "text/xml");
        EXPECT_EQ(read, count == 2);
        std::string body;
        call.WriteResponse(body);
        EXPECT_EQ(Contains(body, "'value'"), count == 3) << body;
    }
}

TEST_F(LiteralServer, WithoutTheSettingTheDefaultPathAnswersByteForByte) {
    // A service given, but only the standard mode on: the call is today's.
    std::string const request = Envelope(kItem);
    std::string answers[2];
    for (int i = 0; i < 2; ++i) {
        WMSOAPServerCall call(deser_test::Round2Base());
        WMWireOptions wire;
        wire.standard = true;
        call.SetWireOptions(wire);
        if (i == 1) {
            call.SetLiteralService(cases);
        }
        EXPECT_FALSE(call.ReadRequest(request, "\"urn:add\"", "text/xml"));
        call.WriteResponse(answers[i]);
        EXPECT_STREQ(call.GetContentType(), "text/xml; charset=utf-8");
    }
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_TRUE(Contains(answers[0], "Unrecognized method call received.")) << answers[0];
}

}  // namespace
