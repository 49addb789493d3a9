// Corvane's own WMSOAPClient against the interop server: every operation of both round 2
// suites, then the faults a Corvane client can provoke. Usage: corvane_client BASE_URL
// The client reads each WSDL from the server (GET on the endpoint), which also makes that URL
// the endpoint. The expected values are what the server really answers; docs/interop.md
// explains each one that differs from the value sent.
#include <corvane/corvane.h>

#include <iostream>
#include <string>
#include <vector>

#include "support/values.h"

namespace {

using corvane::test::Items;
using corvane::test::Show;
using corvane::test::SOAPStruct;
using corvane::test::Utf8;

int passed = 0;
int failed = 0;

void Check(std::string const& what, std::string const& expected, std::string const& actual) {
    if (expected == actual) {
        ++passed;
    } else {
        ++failed;
        std::cout << "FAIL " << what << ": expected [" << expected << "], got [" << actual << "]\n";
    }
}

class Suite {
public:
    Suite(std::string const& url, WMString const& service, WMString const& port) {
        WMString location;
        UTF8ToWideString(url, location);
        m_ready = m_client.Initialize(location, service, port, u"", u"corvane-interop", u"", false);
        Check(url + " initializes", "1", std::to_string(m_ready));
    }

    // Calls one operation; the result is the return value, or the fault, as text.
    std::string Call(WMString const& method, std::vector<WMSOAPStructMember> params) {
        std::vector<WMString> names;
        for (WMSOAPStructMember const& param : params) {
            names.push_back(param.GetName());
        }
        WMSOAPStructMember result;
        m_client.NewMessage();
        if (!m_ready || !m_client.InvokeSOAPMethod(method, names.data(), params.data(),
                                                   static_cast<int>(params.size()), result)) {
            return "call failed";
        }
        if (m_client.IsSOAPFault()) {
            WMString code;
            WMString text;
            m_client.GetSOAPFaultCode(code);
            m_client.GetSOAPFaultString(text);
            return "fault " + Utf8(code) + " " + Utf8(text);
        }
        m_params = params;
        return Show(result);
    }

    std::vector<WMSOAPStructMember>& Params() { return m_params; }

    // Calls echo<Part> with input<Part> set to `value`.
    void Echo(WMString const& part, WMSOAPStructMember value, std::string const& expected,
              std::string const& variant = "") {
        value.SetName(u"input" + part);
        std::string const what = "echo" + Utf8(part) + (variant.empty() ? "" : " " + variant);
        Check(what, expected, Call(u"echo" + part, {value}));
    }

private:
    WMSOAPClient m_client;
    bool m_ready = false;
    std::vector<WMSOAPStructMember> m_params;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: corvane_client BASE_URL\n";
        return 2;
    }
    std::string const base = argv[1];
    using M = WMSOAPStructMember;

    Suite b(base + "round2_base.inc", u"InteropTest", u"InteropTestPort");
    b.Echo(u"String", M(u"", WMString(u"Hello, Corvane")), "\"Hello, Corvane\"");
    // Corvane's client writes one byte per character (ISO-8859-1) and reads the UTF-8 answer
    // back byte by byte, so e-acute returns as the two characters of its UTF-8 form.
    b.Echo(u"String", M(u"", WMString(u"caf\u00E9")), "\"caf\xC3\x83\xC2\xA9\"", "non-ASCII");
    b.Echo(u"StringArray", M(u"", Items({M(u"item", WMString(u"a")), M(u"item", WMString(u"b"))})),
           "[{item=\"a\"},{item=\"b\"}]");
    // Built-in values come back typed as strings, so the client keeps their text.
    b.Echo(u"Integer", M(u"", 42), "42");
    b.Echo(u"IntegerArray", M(u"", Items({M(u"item", 1), M(u"item", -2)})), "[{item=1},{item=-2}]");
    b.Echo(u"Float", M(u"", 1.5), "1.5");
    b.Echo(u"FloatArray", M(u"", Items({M(u"item", 1.5), M(u"item", -3.25)})),
           "[{item=1.5},{item=-3.25}]");
    b.Echo(u"Struct", M(u"", SOAPStruct(u"x", 5, 0.25)),
           "{varString=\"x\",varInt=5,varFloat=0.25}");
    b.Echo(
        u"StructArray",
        M(u"", Items({M(u"item", SOAPStruct(u"a", 1, 1.0)), M(u"item", SOAPStruct(u"b", 2, 2.5))})),
        "[{item={varString=\"a\",varInt=1,varFloat=1}},"
        "{item={varString=\"b\",varInt=2,varFloat=2.5}}]");
    Check("echoVoid", "nil", b.Call(u"echoVoid", {}));
    // Neither type is converted on the server, which answers nil; a client reads nil as the
    // empty string.
    b.Echo(u"Base64", M(u"", WMString(u"SGVsbG8=")), "\"\"");
    b.Echo(u"Date", M(u"", WMString(u"2002-01-01T12:00:00Z")), "\"\"");
    b.Echo(u"HexBinary", M(u"", WMString(u"AB01")), "\"AB01\"");
    b.Echo(u"Decimal", M(u"", 123.45), "123.45");
    b.Echo(u"Boolean", M(u"", 1), "1");
    b.Echo(u"Boolean", M(u"", WMString(u"true")), "0", "text");

    Suite g(base + "round2_groupB.inc", u"interopLabB", u"interopTestPortB");
    // Every output of echoStructAsSimpleTypes is a parameter: the client copies them into the
    // caller's parameters of the same names.
    std::vector<M> params = {M(u"inputStruct", SOAPStruct(u"x", 5, 0.25)),
                             M(u"outputString", WMString()), M(u"outputInteger", 0),
                             M(u"outputFloat", 0.0)};
    Check("echoStructAsSimpleTypes return", "nil", g.Call(u"echoStructAsSimpleTypes", params));
    std::string outputs;
    for (std::size_t i = 1; i < g.Params().size(); ++i) {
        outputs += (i > 1 ? "," : "") + Show(g.Params()[i]);
    }
    Check("echoStructAsSimpleTypes", "\"x\",5,0.25", outputs);
    Check("echoSimpleTypesAsStruct", "{varString=\"y\",varInt=7,varFloat=1.25}",
          g.Call(u"echoSimpleTypesAsStruct", {M(u"inputString", WMString(u"y")),
                                              M(u"inputInteger", 7), M(u"inputFloat", 1.25)}));
    WMSOAPStructType nested = SOAPStruct(u"outer", 1, 1.5);
    nested.SetMember(u"varStruct", SOAPStruct(u"inner", 2, 2.5));
    Check("echoNestedStruct",
          "{varString=\"outer\",varInt=1,varFloat=1.5,"
          "varStruct={varString=\"inner\",varInt=2,varFloat=2.5}}",
          g.Call(u"echoNestedStruct", {M(u"inputStruct", nested)}));
    WMSOAPStructType withArray = SOAPStruct(u"outer", 1, 1.5);
    withArray.SetMember(u"varArray",
                        Items({M(u"item", WMString(u"p")), M(u"item", WMString(u"q"))}));
    Check("echoNestedArray",
          "{varString=\"outer\",varInt=1,varFloat=1.5,varArray=[{item=\"p\"},{item=\"q\"}]}",
          g.Call(u"echoNestedArray", {M(u"inputStruct", withArray)}));
    g.Echo(u"2DStringArray",
           M(u"", Items({M(u"item", WMString(u"a")), M(u"item", WMString(u"b")),
                         M(u"item", WMString(u"c")), M(u"item", WMString(u"d"))})),
           "[{item=\"a\"},{item=\"b\"},{item=\"c\"},{item=\"d\"}]");

    std::cout << passed << " passed, " << failed << " failed\n";
    return failed == 0 ? 0 : 1;
}
