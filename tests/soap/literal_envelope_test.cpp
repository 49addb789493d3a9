// Responses of the three literal styles read into return value, outputs, header entries and a
// typed fault, in both SOAP versions; then the writer's paths for each kind of value, and values
// read and written by the schema.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "soap/literal_codec.h"
#include "soap/literal_envelope.h"
#include "support/support.h"
#include "support/values.h"

namespace corvane::test {
namespace {

using corvane::detail::LiteralLimits;
using corvane::detail::LiteralReader;

using corvane::detail::LiteralWriter;

namespace xsd = corvane::detail::xsd;
using corvane::detail::LiteralAnswer;
using corvane::detail::LiteralPort;

class LiteralEnvelope : public ::testing::Test {
protected:
    const xsd::OperationView& Operation(
        const std::string& style,
        const std::string& soap = "http://schemas.xmlsoap.org/wsdl/soap/") {
        // One operation `op` in `style`; its messages and the schema (namespace urn:t, qualified).
        std::string wsdl = ReadFile(DataPath("literal/op_" + style + ".wsdl"));
        wsdl.replace(wsdl.find("@SOAP@"), 6, soap);
        TempDir dir;
        dir.Write("d.wsdl", wsdl);
        WMString error;
        port = LiteralPort::Load(Widen(dir.File("d.wsdl")), u"", u"", {}, error);
        EXPECT_TRUE(port) << Narrow(error);
        return *port->Find(u"op");
    }

    bool Read(const xsd::OperationView& operation, const std::string& envelope,
              LiteralAnswer& answer, std::string& error) {
        WMString wideError;
        bool const ok =
            corvane::detail::ReadLiteralResponse(operation, Widen(envelope), {}, answer, wideError);
        error = Narrow(wideError);
        return ok;
    }

    std::shared_ptr<const LiteralPort> port;
};

// Members side by side, as a struct shows them.
std::string Shown(const std::vector<WMSOAPStructMember>& members) {
    WMSOAPStructType shown;
    for (const WMSOAPStructMember& member : members) {
        shown.SetMember(member);
    }
    return ShowStruct(shown);
}

const std::string k11 = "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'>";

TEST_F(LiteralEnvelope, ReadsEachStyleWithTypedHeaders) {
    std::string const header =
        "<e:Header><t:session xmlns:t='urn:t'>12345678901</t:session>"
        "</e:Header>";
    struct Case {
        std::string style;
        std::string body;
    } const cases[] = {
        {"document", "<t:result xmlns:t='urn:t'>7</t:result><t:note xmlns:t='urn:t'>n</t:note>"},
        {"rpc",
         "<m:opResponse xmlns:m='urn:rpc'><result>7</result><note>n</note>"
         "</m:opResponse>"},
    };
    for (const Case& c : cases) {
        LiteralAnswer answer;
        std::string error;
        ASSERT_TRUE(Read(Operation(c.style),
                         k11 + header + "<e:Body>" + c.body + "</e:Body></e:Envelope>", answer,
                         error))
            << c.style << ": " << error;
        // Beyond 32 bits the header entry keeps its digits, by the schema.
        EXPECT_EQ(std::to_string(answer.hasReturn) + Show(answer.returnValue) +
                      Shown(answer.outputs) + Shown(answer.headers),
                  "17{result=7,note=\"n\"}{session=\"12345678901\"}");
    }
    LiteralAnswer answer;
    std::string error;
    EXPECT_FALSE(Read(Operation("document"),
                      k11 + "<e:Body><t:result xmlns:t='urn:t'>x</t:result></e:Body></e:Envelope>",
                      answer, error));
    EXPECT_EQ(error, "Element 'result': \"x\" is not a valid int (not a whole number).");
    EXPECT_FALSE(Read(Operation("rpc"),
                      k11 + "<e:Body><m:r xmlns:m='urn:rpc'><bogus/></m:r></e:Body></e:Envelope>",
                      answer, error));
    EXPECT_EQ(error, "Element 'bogus': no part of the response.");
}

TEST_F(LiteralEnvelope, ReadsFaultsOfBothVersionsWithTypedDetail) {
    std::string const detail = "<t:oops xmlns:t='urn:t'><t:code>42</t:code></t:oops>";
    std::string const fault11 = k11 +
                                "<e:Body><e:Fault><faultcode>e:Client</faultcode>"
                                "<faultstring>bad</faultstring><detail>" +
                                detail + "</detail></e:Fault></e:Body></e:Envelope>";
    std::string const fault12 =
        "<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'><e:Body><e:Fault>"
        "<e:Code><e:Value>e:Sender</e:Value></e:Code><e:Reason><e:Text xml:lang='en'>bad"
        "</e:Text></e:Reason><e:Detail>" +
        detail + "</e:Detail></e:Fault></e:Body></e:Envelope>";
    for (const auto& [soap, text] :
         {std::pair{std::string("http://schemas.xmlsoap.org/wsdl/soap/"), fault11},
          std::pair{std::string("http://schemas.xmlsoap.org/wsdl/soap12/"), fault12}}) {
        const xsd::OperationView& operation = Operation("document", soap);
        LiteralAnswer answer;
        std::string error;
        ASSERT_TRUE(Read(operation, text, answer, error)) << error;
        EXPECT_EQ(std::to_string(answer.isFault) +
                      Narrow(answer.fault.reason + u" " +
                             answer.fault.code.substr(answer.fault.code.size() - 6)) +
                      Shown(answer.detail),
                  "1bad Client{oops={code=42}}");
    }
}

TEST_F(LiteralEnvelope, WritesHeaderEntriesWithTheEnvelopesAttributes) {
    for (const auto& [soap, expected] :
         {std::pair{
              std::string("http://schemas.xmlsoap.org/wsdl/soap/"),
              std::string("<ns1:token SOAP-ENV:mustUnderstand=\"1\" SOAP-ENV:actor=\"urn:a&amp;b\" "
                          "xmlns:ns1=\"urn:h\">x</ns1:token>")},
          std::pair{std::string("http://schemas.xmlsoap.org/wsdl/soap12/"),
                    std::string("<ns1:token env:mustUnderstand=\"true\" env:role=\"urn:a&amp;b\" "
                                "xmlns:ns1=\"urn:h\">x</ns1:token>")}}) {
        std::vector<corvane::detail::LiteralHeader> headers{
            {WMSOAPStructMember(u"token", u"urn:h", WMString(u"x")), true, u"urn:a&b"}};
        WMString out;
        WMString error;
        ASSERT_TRUE(corvane::detail::WriteLiteralEnvelope(Operation("rpc", soap), false, nullptr,
                                                          nullptr, 0, headers, {}, out, error))
            << Narrow(error);
        EXPECT_NE(Narrow(out).find(expected), std::string::npos) << Narrow(out);
    }
}

// The writer's tags, escaping and repeated groups byte for byte, and a wrapped answer whose
// return stays among the outputs.
WMSOAPStructMember Member(const char* name, const char* text) {
    return WMSOAPStructMember(Widen(name), Widen(text));
}

WMSOAPStructMember Member(const char* name, std::int32_t value) {
    return WMSOAPStructMember(Widen(name), value);
}

TEST(LiteralWritePaths, TagsEscapingAndRepeatedGroups) {
    WMString error;
    auto const model = xsd::LoadModelFromText(Widen(ReadFile(DataPath("literal/groups.wsdl"))),
                                              u"groups.wsdl", {}, error);
    ASSERT_TRUE(model) << Narrow(error);
    const xsd::Element* root = model->FindElement(xsd::Name{u"urn:t", u"root"});
    ASSERT_TRUE(root);
    auto const write = [&](std::vector<WMSOAPStructMember> members, std::string& failure) {
        WMSOAPStructType st;
        for (WMSOAPStructMember& member : members) {
            st.SetMember(member);
        }
        WMSOAPStructMember value(u"root", st);
        WMString out;
        WMString wideError;
        LiteralWriter writer(out);
        writer.InScope(u"t", u"urn:t");
        failure = writer.Write(*root, value, wideError) ? "" : Narrow(wideError);
        return Narrow(out);
    };
    std::string failure;
    // Text is escaped only where it must be; a foreign namespace is declared on each element
    // that needs it, since a declaration ends with its element.
    EXPECT_EQ(write({Member("@note", "q\"<&>\r"), Member("s", "q\"<&>\r"), Member("other", "x"),
                     Member("other", "y"), Member("plain", "p"), Member("a", 1), Member("b", 2),
                     Member("a", 3), Member("b", 4)},
                    failure),
              "<t:root note=\"q&quot;&lt;&amp;&gt;&#xD;\"><t:s>q\"&lt;&amp;&gt;&#xD;</t:s>"
              "<ns1:other xmlns:ns1=\"urn:o\">x</ns1:other>"
              "<ns1:other xmlns:ns1=\"urn:o\">y</ns1:other><plain>p</plain>"
              "<t:a>1</t:a><t:b>2</t:b><t:a>3</t:a><t:b>4</t:b></t:root>");
    EXPECT_EQ(failure, "");

    struct Refused {
        std::vector<WMSOAPStructMember> members;
        const char* error;
    } const refused[] = {
        // The group repeats at most three times.
        {{Member("s", "x"), Member("a", 1), Member("b", 2), Member("a", 3), Member("b", 4),
          Member("a", 5), Member("b", 6), Member("a", 7), Member("b", 8)},
         "Element 'root': 'a' is no element or attribute of an anonymous type."},
        {{Member("s", "x"), Member("a", 1), Member("b", 2), Member("a", 3)},
         "Element 'root': missing element 'b'."},
        {{Member("s", "x"), Member("a", "one"), Member("b", 2), Member("a", 3), Member("b", 4)},
         "Element 'a': the value is not a valid int."},
    };
    for (const Refused& c : refused) {
        EXPECT_EQ(write(c.members, failure), "");
        EXPECT_EQ(failure, c.error);
    }
}

TEST(LiteralWritePaths, WrappedReturnStaysAmongTheOutputs) {
    WMString error;
    auto const port = corvane::detail::LiteralPort::Load(Widen(DataPath("literal/wrapped.wsdl")),
                                                         u"", u"", {}, error);
    ASSERT_TRUE(port) << Narrow(error);
    const xsd::OperationView& operation = *port->Find(u"op");
    ASSERT_TRUE(operation.wrapped);
    // An xml: attribute where the reader needs the prefix declared for it, at each alignment.
    auto const envelope = [](std::size_t pad) {
        return u"<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'><e:Body" +
               WMString(pad + 1, u' ') +
               u"xml:lang='en'><t:opResponse xmlns:t='urn:t'><t:x>1</t:x><t:r>2</t:r>"
               u"</t:opResponse></e:Body></e:Envelope>";
    };
    for (std::size_t pad = 0; pad < 4; ++pad) {
        bool const inOutputs = pad % 2 == 1;
        corvane::detail::LiteralAnswer answer;
        answer.returnInOutputs = inOutputs;
        ASSERT_TRUE(
            corvane::detail::ReadLiteralResponse(operation, envelope(pad), {}, answer, error))
            << pad << ": " << Narrow(error);
        // "x" is an input too, so the return is the first output that is not: at index 1.
        EXPECT_EQ(std::to_string(answer.hasReturn) + std::to_string(answer.returnIndex) +
                      Show(answer.returnValue) + Shown(answer.outputs),
                  inOutputs ? "11nil{x=1,r=2}" : "112{x=1,r=2}");
    }
}

// Document/literal values by the schema: an instance read and written back unchanged, and the
// faults that name the element for instances and values that do not fit.
const std::string kOpen = "<ns1:root xmlns:ns1=\"urn:t\"";
const std::string kXsi = "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

class LiteralCodec : public ::testing::Test {
protected:
    void SetUp() override {
        WMString error;
        model = xsd::LoadModelFromText(Widen(ReadFile(DataPath("literal/root.wsdl"))), u"root.wsdl",
                                       {}, error);
        ASSERT_TRUE(model) << Narrow(error);
        root = model->FindElement(xsd::Name{u"urn:t", u"root"});
        ASSERT_TRUE(root);
    }

    // Reads `instance`; an empty result with `error` set when the reader refuses it.
    bool Read(const std::string& instance, WMSOAPStructMember& value, std::string& error,
              LiteralLimits limits = {}) {
        text = Widen(instance);
        int line = 1;
        if (!document.Read(text, line, true, nullptr)) {
            error = "not XML";
            return false;
        }
        WMString wideError;
        bool const ok = LiteralReader(limits).Read(*document.Root(), *root, value, wideError);
        error = Narrow(wideError);
        return ok;
    }

    std::string Write(WMSOAPStructMember& value, std::string& error) {
        WMString out;
        WMString wideError;
        LiteralWriter writer(out);
        if (!writer.Write(*root, value, wideError)) {
            error = Narrow(wideError);
            EXPECT_TRUE(out.empty());
        }
        return Narrow(out);
    }

    std::shared_ptr<const xsd::Model> model;
    const xsd::Element* root = nullptr;
    detail::XMLDocument document;
    WMString text;
};

TEST_F(LiteralCodec, ReadsTheShapesAndWritesThemBackUnchanged) {
    std::string const instance =
        kOpen + " id=\"7\"><ns1:s>a&amp;b&#xD;</ns1:s><ns1:d " + kXsi +
        " xsi:nil=\"true\"/><ns1:item><name>x</name></ns1:item><ns1:item><name>y</name>"
        "</ns1:item><ns1:n>1</ns1:n><ns1:n>2</ns1:n><ns1:c2>AP8=</ns1:c2>"
        "<ns1:price cur=\"EUR\">1.5</ns1:price><ns1:color>blue</ns1:color>"
        "<x:extra xmlns:x=\"urn:x\">t</x:extra></ns1:root>";
    WMSOAPStructMember value;
    std::string error;
    ASSERT_TRUE(Read(instance, value, error)) << error;

    // Complex items are the item's own struct, simple ones a struct of the one value.
    EXPECT_EQ(Show(value, true),
              "{@id=7,s=\"a&b\\u000d\",d=nil,item=[{name=\"x\"},{name=\"y\"}],n=[{n=1},{n=2}],"
              "c2=\"\\u0000\u00ff\",price={@cur=\"EUR\",$=0x1.8p+0},color=\"blue\","
              "extra=\"<x:extra xmlns:x=\\u0022urn:x\\u0022>t</x:extra>\"}");
    // Members keep their element's namespace: the schema's, none where unqualified, the
    // wildcard's own.
    WMSOAPStructMember m;
    EXPECT_TRUE(value.StructValue().GetMemberQN(u"s", u"urn:t", m));
    EXPECT_TRUE(value.StructValue().GetMemberQN(u"extra", u"urn:x", m));
    ASSERT_TRUE(value.StructValue().GetMember(u"item", m));
    WMSOAPStructMember name;
    EXPECT_TRUE(m.ArrayValue()[1].GetMemberQN(u"name", u"", name));

    EXPECT_EQ(Write(value, error), instance) << error;
}

TEST_F(LiteralCodec, RefusesInstancesThatDoNotFitNamingTheElement) {
    std::string const required = "<ns1:n>1</ns1:n><ns1:c1>true</ns1:c1>";
    std::string const tail = required + "</ns1:root>";
    struct Case {
        std::string instance;
        std::string error;
    } const cases[] = {
        {kOpen + ">" + tail, "Element 'root': missing element 's'."},
        {kOpen + "><ns1:s/><ns1:i>12a</ns1:i>" + tail,
         "Element 'i': \"12a\" is not a valid int (not a whole number)."},
        {kOpen + "><ns1:s/><ns1:item><name/><bogus/></ns1:item>" + tail,
         "Element 'item': unknown element 'bogus'."},
        {kOpen + "><ns1:s/><ns1:item><ns1:name/></ns1:item>" + tail,
         "Element 'item': missing element 'name'."},
        {kOpen + "><ns1:s " + kXsi + " xsi:nil='1'/>" + tail,
         "Element 's': xsi:nil where the element is not nillable."},
        {kOpen + "><ns1:s/><ns1:n>1</ns1:n><ns1:n>2</ns1:n><ns1:n>3</ns1:n>" + tail,
         "Element 'root': more than 3 elements 'n'."},
        {kOpen + "><ns1:s/><ns1:n>1</ns1:n><ns1:price>1</ns1:price></ns1:root>",
         "Element 'root': unexpected element 'price'."},
        {kOpen + "><ns1:s/>" + "<ns1:n>1</ns1:n><ns1:c1/><ns1:price>1</ns1:price></ns1:root>",
         "Element 'c1': \"\" is not a valid boolean"},
        {kOpen + "><ns1:s/>" + required + "<ns1:price>1</ns1:price></ns1:root>",
         "Element 'price': missing attribute 'cur'."},
        {kOpen + "><ns1:s/>" + required + "<ns1:color>green</ns1:color></ns1:root>",
         "Element 'color': \"green\" is not one of the values of an anonymous type."},
        {kOpen + " nope='1'><ns1:s/>" + tail, "Element 'root': unknown attribute 'nope'."},
    };
    for (const Case& c : cases) {
        WMSOAPStructMember value;
        std::string error;
        EXPECT_FALSE(Read(c.instance, value, error)) << c.instance;
        EXPECT_EQ(error.substr(0, c.error.size()), c.error) << c.instance;
    }
    // The configured limit holds below the schema's maxOccurs="unbounded".
    WMSOAPStructMember value;
    std::string error;
    LiteralLimits limits;
    limits.maxOccurs = 1;
    EXPECT_FALSE(
        Read(kOpen + "><ns1:s/><ns1:item><name/></ns1:item><ns1:item><name/></ns1:item>" + tail,
             value, error, limits));
    EXPECT_EQ(error, "Element 'root': more than 1 elements 'item'.");
}

TEST_F(LiteralCodec, RefusesValuesThatDoNotFitNamingTheElement) {
    // The valid value with member `drop` left out and `extra` added.
    auto const value = [](const char16_t* drop, WMSOAPStructMember extra) {
        WMSOAPStructType st;
        for (WMSOAPStructMember member :
             {WMSOAPStructMember(u"s", WMString(u"x")), WMSOAPStructMember(u"n", 1),
              WMSOAPStructMember(u"c1", 1)}) {
            if (member.GetName() != drop) {
                st.SetMember(member);
            }
        }
        if (!extra.GetName().empty()) {
            st.SetMember(extra);
        }
        return WMSOAPStructMember(u"root", st);
    };
    WMSOAPStructType badItem;
    badItem.SetMember(u"name", WMString(u"a"));
    badItem.SetMember(u"zz", 1);
    WMSOAPStructMember nil;
    nil.SetName(u"s");
    struct Case {
        WMSOAPStructMember value;
        std::string error;
    } cases[] = {
        {value(u"", {}), ""},
        {value(u"s", {}), "Element 'root': missing element 's'."},
        {value(u"c1", {}), "Element 'root': none of the choice's elements is given."},
        {value(u"", WMSOAPStructMember(u"i", WMString(u"abc"))),
         "Element 'i': the value is not a valid int."},
        {value(u"", WMSOAPStructMember(u"item", std::vector<WMSOAPStructType>{badItem})),
         "Element 'item': 'zz' is no element or attribute of 'Item'."},
        {value(u"s", nil), "Element 's': no value, and the element is not nillable."},
    };
    for (Case& c : cases) {
        std::string error;
        std::string const out = Write(c.value, error);
        EXPECT_EQ(error, c.error);
        if (c.error.empty()) {
            EXPECT_EQ(out, kOpen +
                               "><ns1:s>x</ns1:s><ns1:n>1</ns1:n><ns1:c1>true</ns1:c1>"
                               "</ns1:root>");
        }
    }
}

}  // namespace
}  // namespace corvane::test
