// The schema model of the document/literal extension: constructs as printed structure, the
// binding view of real and hand-written descriptions, and hostile schemas.
#include <gtest/gtest.h>

#include "support/support.h"
#include "wsdl/xsd_binding.h"

#include <string>

namespace corvane::test {
namespace {

namespace xsd = corvane::detail::xsd;

const std::string kXS = "{http://www.w3.org/2001/XMLSchema}";

// A description whose one schema (target namespace "urn:t", prefixes `xs`, `tns`, `enc` and
// `wsdl`) holds `body`.
std::string Wsdl(const std::string& body, const std::string& schemaAttributes = "") {
    return "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
           " xmlns:wsdl='http://schemas.xmlsoap.org/wsdl/'"
           " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:tns='urn:t'"
           " xmlns:enc='http://schemas.xmlsoap.org/soap/encoding/' targetNamespace='urn:t'>"
           "<types><xs:schema targetNamespace='urn:t'" +
           schemaAttributes + ">" + body + "</xs:schema></types></definitions>";
}

std::shared_ptr<const xsd::Model> Load(const std::string& text, std::string& error,
                                       const xsd::Limits& limits = xsd::Limits()) {
    xsd::LoadOptions options;
    options.limits = limits;
    WMString wideError;
    auto model = xsd::LoadModelFromText(Widen(text), u"mem.wsdl", options, wideError);
    error = Narrow(wideError);
    return model;
}

std::shared_ptr<const xsd::Model> LoadFile(const std::string& relative, std::string& error,
                                           const xsd::FetchFn& fetch = nullptr) {
    xsd::LoadOptions options;
    options.fetch = fetch;
    WMString wideError;
    auto model = xsd::LoadModel(Widen(DataPath(relative)), options, wideError);
    error = Narrow(wideError);
    return model;
}

// The printed structure of the global element `root`, members prefixed "{urn:t}" shown as "t:".
std::string Structure(const std::string& schema, const std::string& schemaAttributes = "") {
    std::string error;
    auto model = Load(Wsdl(schema, schemaAttributes), error);
    if (!model) {
        return "error: " + error;
    }
    const xsd::Element* root = model->FindElement(xsd::Name{u"urn:t", u"root"});
    if (!root) {
        return "no root";
    }
    std::string printed = xsd::PrintElement(*root, 0);
    for (const auto& [from, to] : {std::pair<std::string, std::string>{"{urn:t}", "t:"},
                                   {kXS, "xs:"},
                                   {"{http://schemas.xmlsoap.org/soap/encoding/}", "enc:"}}) {
        for (std::size_t at = printed.find(from); at != std::string::npos;
             at = printed.find(from, at)) {
            printed.replace(at, from.size(), to);
        }
    }
    return printed;
}

struct Case {
    const char* what;
    const char* schema;
    const char* attributes;
    const char* expected;
};

TEST(XsdModel, ConstructsPrintAsTheirStructure) {
    const Case cases[] = {
        {"sequence, occurrence, nillable, unqualified locals by default",
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:string' minOccurs='0'/>"
         "<xs:element name='b' type='xs:int' maxOccurs='unbounded' nillable='true'/>"
         "<xs:element name='c' type='xs:int' minOccurs='2' maxOccurs='5'/>"
         "</xs:sequence></xs:complexType></xs:element>",
         "",
         "t:root: (anonymous)\n  a: xs:string [0..1]\n  b: xs:int [1..*] nillable\n"
         "  c: xs:int [2..5]\n"},
        {"qualified by default, form overrides both ways, attribute forms",
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='q' type='xs:string'/>"
         "<xs:element name='u' type='xs:string' form='unqualified'/>"
         "</xs:sequence><xs:attribute name='x' type='xs:int'/>"
         "<xs:attribute name='y' type='xs:int' form='qualified' use='required'/>"
         "</xs:complexType></xs:element>",
         " elementFormDefault='qualified'",
         "t:root: (anonymous)\n  @x: xs:int\n  @t:y: xs:int required\n  t:q: xs:string\n"
         "  u: xs:string\n"},
        {"choice and all, nested groups keep their occurrence",
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:int'/>"
         "<xs:choice minOccurs='0'><xs:element name='b' type='xs:int'/>"
         "<xs:sequence maxOccurs='3'><xs:element name='c' type='xs:int'/></xs:sequence>"
         "</xs:choice></xs:sequence></xs:complexType></xs:element>"
         "<xs:element name='other'><xs:complexType><xs:all>"
         "<xs:element name='z' type='xs:int'/></xs:all></xs:complexType></xs:element>",
         "",
         "t:root: (anonymous)\n  a: xs:int\n  choice [0..1]\n    b: xs:int\n"
         "    sequence [1..3]\n      c: xs:int\n"},
        {"extension puts the base's members and attributes first",
         "<xs:complexType name='base'><xs:sequence><xs:element name='a' type='xs:int'/>"
         "</xs:sequence><xs:attribute name='id' type='xs:ID'/></xs:complexType>"
         "<xs:complexType name='derived'><xs:complexContent><xs:extension base='tns:base'>"
         "<xs:sequence><xs:element name='b' type='xs:int'/></xs:sequence>"
         "<xs:attribute name='rev' type='xs:int'/></xs:extension></xs:complexContent>"
         "</xs:complexType><xs:element name='root' type='tns:derived'/>",
         "",
         "t:root: t:derived (extends t:base)\n  @id: xs:ID\n  @rev: xs:int\n"
         "  sequence\n    a: xs:int\n  sequence\n    b: xs:int\n"},
        {"restriction restates the content and can prohibit an attribute",
         "<xs:complexType name='base'><xs:sequence><xs:element name='a' type='xs:int'/>"
         "<xs:element name='b' type='xs:int' minOccurs='0'/></xs:sequence>"
         "<xs:attribute name='x' type='xs:int'/><xs:attribute name='y' type='xs:int'/>"
         "</xs:complexType><xs:element name='root'><xs:complexType><xs:complexContent>"
         "<xs:restriction base='tns:base'><xs:sequence><xs:element name='a' type='xs:int'/>"
         "</xs:sequence><xs:attribute name='y' use='prohibited'/></xs:restriction>"
         "</xs:complexContent></xs:complexType></xs:element>",
         "", "t:root: (anonymous) (restricts t:base)\n  a: xs:int\n"},
        {"simple content keeps the text type beside the attributes",
         "<xs:element name='root'><xs:complexType><xs:simpleContent>"
         "<xs:extension base='tns:code'><xs:attribute name='lang' type='xs:language'/>"
         "</xs:extension></xs:simpleContent></xs:complexType></xs:element>"
         "<xs:simpleType name='code'><xs:restriction base='tns:short'/></xs:simpleType>"
         "<xs:simpleType name='short'><xs:restriction base='xs:token'/></xs:simpleType>",
         "", "t:root: (anonymous) (extends t:code) (text xs:token)\n  @lang: xs:language\n"},
        {"simple types: restriction chains to the built-in type, enumerations, list, union",
         "<xs:simpleType name='colour'><xs:restriction base='tns:name'>"
         "<xs:enumeration value='red'/><xs:enumeration value='green'/></xs:restriction>"
         "</xs:simpleType><xs:simpleType name='name'><xs:restriction base='xs:string'/>"
         "</xs:simpleType><xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='c' type='tns:colour'/>"
         "<xs:element name='l'><xs:simpleType><xs:list itemType='xs:int'/></xs:simpleType>"
         "</xs:element><xs:element name='u'><xs:simpleType>"
         "<xs:union memberTypes='xs:int xs:date'/></xs:simpleType></xs:element>"
         "</xs:sequence></xs:complexType></xs:element>",
         "",
         "t:root: (anonymous)\n  c: t:colour (xs:string: red | green)\n"
         "  l: (anonymous) (list)\n  u: (anonymous) (union)\n"},
        {"refs take the global's qualified name; groups and attribute groups expand in place",
         "<xs:element name='g' type='xs:string'/>"
         "<xs:attribute name='ga' type='xs:int'/>"
         "<xs:group name='pair'><xs:sequence><xs:element name='p' type='xs:int'/>"
         "<xs:element ref='tns:g'/></xs:sequence></xs:group>"
         "<xs:attributeGroup name='common'><xs:attribute ref='tns:ga'/>"
         "<xs:attribute ref='xml:lang'/></xs:attributeGroup>"
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element ref='tns:g' minOccurs='0'/><xs:group ref='tns:pair' maxOccurs='2'/>"
         "</xs:sequence><xs:attributeGroup ref='tns:common'/></xs:complexType></xs:element>",
         "",
         "t:root: (anonymous)\n  @t:ga: xs:int\n"
         "  @{http://www.w3.org/XML/1998/namespace}lang: xs:string\n"
         "  t:g: xs:string [0..1]\n  sequence [1..2]\n    p: xs:int\n    t:g: xs:string\n"},
        {"any and anyAttribute are kept as such",
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:any namespace='##other' processContents='lax' minOccurs='0' "
         "maxOccurs='unbounded'/><xs:any/></xs:sequence><xs:anyAttribute/></xs:complexType>"
         "</xs:element>",
         "", "t:root: (anonymous)\n  @any\n  any ##other [0..*]\n  any ##any\n"},
        {"SOAP-encoded arrays by wsdl:arrayType, with dimensions and arrays of arrays",
         "<xs:complexType name='ints'><xs:complexContent><xs:restriction base='enc:Array'>"
         "<xs:attribute ref='enc:arrayType' wsdl:arrayType='xs:int[,]'/></xs:restriction>"
         "</xs:complexContent></xs:complexType>"
         "<xs:complexType name='nested'><xs:complexContent><xs:restriction base='enc:Array'>"
         "<xs:attribute ref='enc:arrayType' wsdl:arrayType='tns:ints[][]'/>"
         "</xs:restriction></xs:complexContent></xs:complexType>"
         "<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='m' type='tns:ints'/><xs:element name='n' type='tns:nested'/>"
         "</xs:sequence></xs:complexType></xs:element>",
         "",
         "t:root: (anonymous)\n  m: t:ints (array of xs:int, 2 dimensions)\n"
         "  n: t:nested (array of t:ints[])\n"},
        {"a recursive type stops at its second appearance on a path",
         "<xs:complexType name='node'><xs:sequence><xs:element name='v' type='xs:int'/>"
         "<xs:element name='next' type='tns:node' minOccurs='0'/></xs:sequence>"
         "</xs:complexType><xs:element name='root' type='tns:node'/>",
         "", "t:root: t:node\n  v: xs:int\n  next: t:node [0..1] (recursive)\n"},
        {"an element without a type is anyType", "<xs:element name='root'/>", "",
         "t:root: xs:anyType\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Structure(c.schema, c.attributes), c.expected);
    }
}

TEST(XsdModel, HostileAndBrokenSchemasFailNamingTheCause) {
    // Each refusal names the QName or limit and the file it was met in.
    std::string deep = "<xs:element name='root'>";
    for (int i = 0; i < 40; ++i) {
        deep += "<xs:complexType><xs:sequence><xs:element name='e'>";
    }
    for (int i = 0; i < 40; ++i) {
        deep += "</xs:element></xs:sequence></xs:complexType>";
    }
    deep += "</xs:element>";
    // Each group holds the next twice: 2^20 particles once expanded.
    std::string doubling;
    for (int i = 0; i < 20; ++i) {
        doubling += "<xs:group name='g" + std::to_string(i) + "'><xs:sequence>" +
                    "<xs:group ref='tns:g" + std::to_string(i + 1) + "'/><xs:group ref='tns:g" +
                    std::to_string(i + 1) + "'/></xs:sequence></xs:group>";
    }
    doubling +=
        "<xs:group name='g20'><xs:sequence><xs:element name='x' type='xs:int'/>"
        "</xs:sequence></xs:group><xs:element name='root'><xs:complexType>"
        "<xs:group ref='tns:g0'/></xs:complexType></xs:element>";
    const std::pair<std::string, std::string> cases[] = {
        {"<xs:element name='root' type='tns:nope'/>", "unknown type {urn:t}nope (in mem.wsdl)"},
        {"<xs:element name='root' type='xs:strnig'/>", "unknown type " + kXS + "strnig"},
        {"<xs:element name='root'><xs:complexType><xs:sequence><xs:element ref='tns:gone'/>"
         "</xs:sequence></xs:complexType></xs:element>",
         "unknown element {urn:t}gone"},
        {"<xs:element name='root'><xs:complexType><xs:group ref='tns:none'/></xs:complexType>"
         "</xs:element>",
         "unknown group {urn:t}none"},
        {"<xs:complexType name='r'><xs:attributeGroup ref='tns:none'/></xs:complexType>",
         "unknown attribute group {urn:t}none"},
        {"<xs:complexType name='r'><xs:attribute ref='tns:none'/></xs:complexType>",
         "unknown attribute {urn:t}none"},
        {"<xs:complexType name='a'><xs:complexContent><xs:extension base='tns:b'/>"
         "</xs:complexContent></xs:complexType><xs:complexType name='b'><xs:complexContent>"
         "<xs:extension base='tns:a'/></xs:complexContent></xs:complexType>",
         "is derived from itself"},
        {"<xs:complexType name='a'><xs:sequence><xs:element name='e'><xs:complexType>"
         "<xs:complexContent><xs:extension base='tns:a'/></xs:complexContent></xs:complexType>"
         "</xs:element></xs:sequence></xs:complexType>",
         "type {urn:t}a is derived from itself or from within itself"},
        {"<xs:group name='g'><xs:sequence><xs:group ref='tns:g'/></xs:sequence></xs:group>"
         "<xs:element name='root'><xs:complexType><xs:group ref='tns:g'/></xs:complexType>"
         "</xs:element>",
         "group {urn:t}g contains itself"},
        {"<xs:attributeGroup name='g'><xs:attributeGroup ref='tns:g'/></xs:attributeGroup>"
         "<xs:complexType name='r'><xs:attributeGroup ref='tns:g'/></xs:complexType>",
         "attribute group {urn:t}g contains itself"},
        {deep, "nested more than 64 deep"},
        {doubling, "more than 200000 particles"},
        {"<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:int' maxOccurs='-1'/></xs:sequence></xs:complexType>"
         "</xs:element>",
         "bad maxOccurs '-1'"},
        {"<xs:element name='root'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:int' minOccurs='3' maxOccurs='2'/></xs:sequence>"
         "</xs:complexType></xs:element>",
         "maxOccurs below minOccurs"},
        {"<xs:element name='root' type='nope:x'/>", "undeclared prefix in 'nope:x'"},
        {"<xs:element type='xs:int'/>", "a global element has no name"},
        {"<xs:element name='root'><xs:complexType><xs:sequence>", "not well-formed XML at line"},
        {"<xs:import schemaLocation='http://example.test/a.xsd'/>",
         "cannot fetch http://example.test/a.xsd: no HTTP fetch was given"},
    };
    for (const auto& [schema, message] : cases) {
        SCOPED_TRACE(schema.substr(0, 120));
        std::string error;
        EXPECT_FALSE(Load(Wsdl(schema), error));
        EXPECT_NE(error.find(message), std::string::npos) << error;
    }
}

TEST(XsdModel, ImportsIncludesAndCyclesAcrossFiles) {
    std::string error;
    auto model = LoadFile("xsd/imports.wsdl", error);
    ASSERT_TRUE(model) << error;
    const xsd::Element* order = model->FindElement(xsd::Name{u"urn:orders", u"order"});
    ASSERT_TRUE(order);
    // common.xsd and address.xsd import each other (one spelled "../parts/"): each is read
    // once, and the included schema without a namespace takes "urn:orders", for its own names
    // and for its unprefixed references.
    EXPECT_EQ(xsd::PrintElement(*order, 0),
              "{urn:orders}order: (anonymous)\n"
              "  {urn:orders}customer: {urn:common}party\n"
              "    name: " +
                  kXS +
                  "string\n"
                  "    address: {urn:address}address [0..1]\n"
                  "      street: " +
                  kXS +
                  "string\n"
                  "      resident: {urn:common}party [0..1] (recursive)\n"
                  "  {urn:orders}line: {urn:orders}line [1..*]\n"
                  "    {urn:orders}sku: " +
                  kXS +
                  "string\n"
                  "    {urn:orders}quantity: {urn:orders}quantity (" +
                  kXS + "positiveInteger)\n");

    // A declared single-byte encoding is honoured even where its bytes would be UTF-8 too;
    // UTF-8 may start with a byte order mark.
    const std::pair<const char*, WMString> encodings[] = {
        {"xsd/latin1.xsd", u"\u00c3\u00a9t\u00c3\u00a9"}, {"xsd/utf8_bom.xsd", u"\u00e9t\u00e9"}};
    for (const auto& [file, value] : encodings) {
        auto schema = LoadFile(file, error);
        ASSERT_TRUE(schema) << file << ": " << error;
        const xsd::Type* season = schema->FindType(xsd::Name{u"urn:enc", u"season"});
        ASSERT_TRUE(season);
        EXPECT_EQ(season->enumeration, std::vector<WMString>{value}) << file;
    }

    EXPECT_FALSE(LoadFile("xsd/missing.wsdl", error));
    EXPECT_NE(error.find("cannot open"), std::string::npos) << error;

    // Over HTTP the same locations resolve against the URL: each document is asked for once,
    // by its normalised URL, though it is named with "./" and "../" spellings.
    std::vector<std::string> asked;
    xsd::LoadOptions served;
    served.fetch = [&](const WMString& location, WMString& text, WMString& reason) {
        asked.push_back(Narrow(location));
        const std::string prefix = "http://h/x/";
        if (asked.back().compare(0, prefix.size(), prefix) != 0) {
            reason = u"not here";
            return false;
        }
        text = Widen(ReadFile(DataPath("xsd/" + asked.back().substr(prefix.size()))));
        return true;
    };
    WMString servedError;
    EXPECT_TRUE(xsd::LoadModel(u"http://h/x/imports.wsdl", served, servedError))
        << Narrow(servedError);
    EXPECT_EQ(asked, (std::vector<std::string>{
                         "http://h/x/imports.wsdl", "http://h/x/parts/common.xsd",
                         "http://h/x/parts/address.xsd", "http://h/x/parts/chameleon.xsd"}));

    xsd::LoadOptions options;
    options.limits.maxImportDepth = 1;
    WMString wideError;
    EXPECT_FALSE(xsd::LoadModel(Widen(DataPath("xsd/imports.wsdl")), options, wideError));
    EXPECT_NE(Narrow(wideError).find("imports nested more than 1 deep"), std::string::npos);
}

// Everything the view of one operation says, on one line.
std::string Summary(const xsd::OperationView& op) {
    auto parts = [](const xsd::MessageView& message) {
        std::string out;
        for (const xsd::PartView& part : message.body) {
            out += " " + Narrow(part.name) + "=" +
                   (part.element ? xsd::Clark(part.element->name)
                                 : "type " + xsd::Clark(part.typeName));
        }
        for (const xsd::PartView& part : message.headers) {
            out += " header " + Narrow(part.name);
        }
        return out;
    };
    return Narrow(op.name) + " " + Narrow(op.style) + "/" + Narrow(op.input.use) + " " +
           std::to_string(op.soapVersion) + (op.wrapped ? " wrapped" : "") +
           " action=" + Narrow(op.soapAction) + " in:" + parts(op.input) +
           (op.output.present ? " out:" + parts(op.output) : std::string(" one-way")) +
           (op.faults.empty() ? "" : " faults:" + std::to_string(op.faults.size()));
}

std::vector<std::string> Operations(const xsd::Model& model, const std::string& binding) {
    std::vector<std::string> out;
    for (const xsd::WsdlBinding& candidate : model.Bindings()) {
        if (Narrow(candidate.name.local) != binding) {
            continue;
        }
        xsd::BindingView view;
        WMString error;
        EXPECT_TRUE(xsd::ViewBinding(model, candidate, view, error)) << Narrow(error);
        for (const xsd::OperationView& op : view.operations) {
            out.push_back(Summary(op));
        }
    }
    return out;
}

TEST(XsdBindingView, PublishedDescriptions) {
    std::string error;
    auto doclit = LoadFile("wsdl/interoptestdoclit.wsdl", error);
    ASSERT_TRUE(doclit) << error;
    // Bare document/literal: the parts' elements are not named like the operations.
    std::vector<std::string> ops = Operations(*doclit, "WSDLInteropTestDocLitPortBinding");
    ASSERT_EQ(ops.size(), 4u);
    EXPECT_EQ(ops[0],
              "echoString document/literal 11 action=http://soapinterop.org/ in: "
              "a={http://soapinterop.org/xsd}echoStringParam out: "
              "result={http://soapinterop.org/xsd}echoStringReturn");

    auto round4 = LoadFile("wsdl/round4XSD.wsdl", error);
    ASSERT_TRUE(round4) << error;
    ops = Operations(*round4, "Round4XSDTestSoap");
    ASSERT_FALSE(ops.empty());
    EXPECT_EQ(ops[0],
              "echoVoid document/literal 11 wrapped action=http://soapinterop.org/echoVoid in: "
              "parameters={http://soapinterop.org/}echoVoid out: "
              "parameters={http://soapinterop.org/}echoVoidResponse");
    for (const std::string& op : ops) {
        // Every operation of the suite is wrapped except those with a choice or any inside.
        if (op.find("wrapped") == std::string::npos) {
            EXPECT_TRUE(op.find("Choice") != std::string::npos ||
                        op.find("Any") != std::string::npos)
                << op;
        }
    }

    auto rpclit = LoadFile("wsdl/say_hello_rpclit.wsdl", error);
    ASSERT_TRUE(rpclit) << error;
    EXPECT_EQ(Operations(*rpclit, "Service1Soap"),
              std::vector<std::string>{"sayHello rpc/literal 11 action=urn:HelloWorld#sayHello in: "
                                       "parameters=type {urn:HelloWorld}sayHello out: "
                                       "parameters=type {urn:HelloWorld}sayHelloResponse"});

    // Large .NET description: 93 operations with headers and choices, read once.
    auto reports = LoadFile("wsdl/reportservice.wsdl", error);
    ASSERT_TRUE(reports) << error;
    EXPECT_EQ(Operations(*reports, "ReportingServiceSoap").size(), 93u);

    // An unknown type in a real description is refused with its name, not skipped.
    EXPECT_FALSE(LoadFile("wsdl/MArrayTest.wsdl", error));
    EXPECT_NE(error.find("unknown type {http://xml.apache.org/xml-soap}Map"), std::string::npos);
}

TEST(XsdBindingView, JavaAndDotNetStyles) {
    std::string error;
    std::vector<std::string> fetched;
    auto fetch = [&](const WMString& location, WMString& text, WMString& reason) {
        fetched.push_back(Narrow(location));
        if (location != u"http://localhost:8080/hello?xsd=1") {
            reason = u"not found";
            return false;
        }
        text = Widen(ReadFile(DataPath("xsd/jaxws_hello_xsd1.xsd")));
        return true;
    };
    auto java = LoadFile("xsd/jaxws_hello.wsdl", error, fetch);
    ASSERT_TRUE(java) << error;
    EXPECT_EQ(fetched, std::vector<std::string>{"http://localhost:8080/hello?xsd=1"});
    EXPECT_EQ(Operations(*java, "HelloPortBinding"),
              std::vector<std::string>{
                  "sayHello document/literal 11 wrapped action= in: "
                  "parameters={http://hello.example.org/}sayHello out: "
                  "parameters={http://hello.example.org/}sayHelloResponse faults:1"});
    // JAX-WS leaves elementFormDefault unqualified: the wrapper's children have no namespace.
    EXPECT_EQ(xsd::PrintElement(*java->FindElement({u"http://hello.example.org/", u"sayHello"}), 0),
              "{http://hello.example.org/}sayHello: {http://hello.example.org/}sayHello\n"
              "  arg0: {http://hello.example.org/}person [0..1]\n"
              "    @id: " +
                  kXS +
                  "long required\n"
                  "    name: " +
                  kXS +
                  "string [0..1]\n"
                  "    nicknames: " +
                  kXS +
                  "string [0..*] nillable\n"
                  "    title: {http://hello.example.org/}title [0..1] (" +
                  kXS +
                  "string: MR | MS)\n"
                  "  arg1: " +
                  kXS + "int\n");

    auto dotnet = LoadFile("xsd/dotnet_calc.wsdl", error);
    ASSERT_TRUE(dotnet) << error;
    const std::string add =
        " wrapped action=http://calc.example.org/Add in: "
        "parameters={http://calc.example.org/}Add header AuthHeader out: "
        "parameters={http://calc.example.org/}AddResponse";
    EXPECT_EQ(Operations(*dotnet, "CalcSoap")[0], "Add document/literal 11" + add);
    EXPECT_EQ(Operations(*dotnet, "CalcSoap12")[0], "Add document/literal 12" + add);
}

TEST(XsdBindingView, WrappedNeedsAPlainSequenceNamedLikeTheOperation) {
    // One operation per shape of the input wrapper; the output is always a plain wrapper.
    const std::pair<const char*, bool> shapes[] = {
        {"<xs:element name='op'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:int'/></xs:sequence></xs:complexType></xs:element>",
         true},
        {"<xs:element name='op'><xs:complexType/></xs:element>", true},
        {"<xs:element name='other'><xs:complexType/></xs:element>", false},
        {"<xs:element name='op'><xs:complexType><xs:sequence>"
         "<xs:element name='a' type='xs:int'/></xs:sequence><xs:attribute name='x'/>"
         "</xs:complexType></xs:element>",
         false},
        {"<xs:element name='op'><xs:complexType><xs:choice>"
         "<xs:element name='a' type='xs:int'/></xs:choice></xs:complexType></xs:element>",
         false},
        {"<xs:element name='op'><xs:complexType><xs:sequence><xs:any/></xs:sequence>"
         "</xs:complexType></xs:element>",
         false},
        {"<xs:element name='op' type='xs:string'/>", false},
    };
    for (const auto& [wrapper, wrapped] : shapes) {
        SCOPED_TRACE(wrapper);
        const std::string name =
            std::string(wrapper).find("'other'") != std::string::npos ? "other" : "op";
        const std::string text =
            "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
            " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:tns='urn:t'"
            " xmlns:soap12='http://schemas.xmlsoap.org/wsdl/soap12/' targetNamespace='urn:t'>"
            "<types><xs:schema targetNamespace='urn:t'>" +
            std::string(wrapper) +
            "<xs:element name='opResult'><xs:complexType><xs:sequence/></xs:complexType>"
            "</xs:element></xs:schema></types>"
            "<message name='in'><part name='p' element='tns:" +
            name +
            "'/></message><message name='out'><part name='p' element='tns:opResult'/></message>"
            "<portType name='pt'><operation name='op'><input message='tns:in'/>"
            "<output message='tns:out'/></operation></portType>"
            "<binding name='b' type='tns:pt'><soap12:binding/><operation name='op'>"
            "<input><soap12:body use='literal'/></input><output><soap12:body use='literal'/>"
            "</output></operation></binding></definitions>";
        std::string error;
        auto model = Load(text, error);
        ASSERT_TRUE(model) << error;
        const std::vector<std::string> ops = Operations(*model, "b");
        ASSERT_EQ(ops.size(), 1u);
        // No style anywhere means document; SOAP 1.2 from the binding's namespace.
        EXPECT_EQ(ops[0].find("op document/literal 12") == 0, true) << ops[0];
        EXPECT_EQ(ops[0].find("wrapped") != std::string::npos, wrapped) << ops[0];
    }
}

TEST(XsdBindingView, UnknownWsdlReferencesNameTheQName) {
    const std::pair<std::string, std::string> cases[] = {
        {"<portType name='pt'><operation name='op'><input message='tns:gone'/></operation>"
         "</portType><binding name='b' type='tns:pt'><soap:binding/><operation name='op'>"
         "<input><soap:body use='literal'/></input></operation></binding>",
         "unknown message {urn:t}gone (in mem.wsdl)"},
        {"<binding name='b' type='tns:none'><soap:binding/></binding>",
         "binding {urn:t}b names unknown port type {urn:t}none"},
        {"<portType name='pt'/><binding name='b' type='tns:pt'><soap:binding/>"
         "<operation name='op'/></binding>",
         "port type {urn:t}pt has no operation op"},
    };
    for (const auto& [body, message] : cases) {
        SCOPED_TRACE(body);
        std::string error;
        auto model = Load(
            "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
            " xmlns:soap='http://schemas.xmlsoap.org/wsdl/soap/' xmlns:tns='urn:t'"
            " targetNamespace='urn:t'>" +
                body + "</definitions>",
            error);
        ASSERT_TRUE(model) << error;
        ASSERT_EQ(model->Bindings().size(), 1u);
        xsd::BindingView view;
        WMString wideError;
        EXPECT_FALSE(xsd::ViewBinding(*model, model->Bindings()[0], view, wideError));
        EXPECT_EQ(Narrow(wideError).find(message) != std::string::npos, true) << Narrow(wideError);
    }
}

}  // namespace
}  // namespace corvane::test
