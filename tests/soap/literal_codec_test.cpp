// Document/literal values by the schema: an instance read and written back unchanged, and the
// faults that name the element for instances and values that do not fit.
#include <gtest/gtest.h>

#include "soap/literal_codec.h"
#include "support/support.h"
#include "support/values.h"

#include <string>

namespace corvane::test {
namespace {

namespace xsd = corvane::detail::xsd;
using corvane::detail::LiteralLimits;
using corvane::detail::LiteralReader;
using corvane::detail::LiteralWriter;

const char kSchema[] =
    "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
    " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:tns='urn:t' targetNamespace='urn:t'>"
    "<types><xs:schema targetNamespace='urn:t' elementFormDefault='qualified'>"
    "<xs:element name='root'><xs:complexType><xs:sequence>"
    "<xs:element name='s' type='xs:string'/>"
    "<xs:element name='i' type='xs:int' minOccurs='0'/>"
    "<xs:element name='d' type='xs:double' nillable='true' minOccurs='0'/>"
    "<xs:element name='item' type='tns:Item' minOccurs='0' maxOccurs='unbounded'/>"
    "<xs:element name='n' type='xs:int' maxOccurs='3'/>"
    "<xs:choice><xs:element name='c1' type='xs:boolean'/>"
    "<xs:element name='c2' type='xs:base64Binary'/></xs:choice>"
    "<xs:element name='price' type='tns:Price' minOccurs='0'/>"
    "<xs:element name='color' minOccurs='0'><xs:simpleType><xs:restriction base='xs:string'>"
    "<xs:enumeration value='red'/><xs:enumeration value='blue'/></xs:restriction>"
    "</xs:simpleType></xs:element>"
    "<xs:any processContents='lax' minOccurs='0' maxOccurs='unbounded'/>"
    "</xs:sequence><xs:attribute name='id' type='xs:int'/></xs:complexType></xs:element>"
    "<xs:complexType name='Item'><xs:sequence>"
    "<xs:element name='name' type='xs:string' form='unqualified'/></xs:sequence></xs:complexType>"
    "<xs:complexType name='Price'><xs:simpleContent><xs:extension base='xs:decimal'>"
    "<xs:attribute name='cur' type='xs:string' use='required'/></xs:extension>"
    "</xs:simpleContent></xs:complexType>"
    "</xs:schema></types></definitions>";

const std::string kOpen = "<ns1:root xmlns:ns1=\"urn:t\"";
const std::string kXsi = "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

class LiteralCodec : public ::testing::Test {
protected:
    void SetUp() override {
        WMString error;
        model = xsd::LoadModelFromText(Widen(kSchema), u"mem.wsdl", {}, error);
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
    EXPECT_TRUE(m.ArrayValue()[1].GetMemberQN(u"name", u"", m));

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
