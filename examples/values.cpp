// Builds an order as nested structs and arrays, prints it as indented text, and round-trips a
// text with non-ASCII characters through UTF-8.
#include <corvane/corvane.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string Utf8(WMString const& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

void PrintStruct(WMSOAPStructType const& st, int depth);

void PrintMember(WMSOAPStructMember member, int depth) {
    std::string const indent(static_cast<std::size_t>(depth) * 2, ' ');
    std::string name = Utf8(member.GetName());
    if (!member.GetNS().empty()) {
        name = "{" + Utf8(member.GetNS()) + "}" + name;
    }
    using Kind = WMSOAPStructMember::SOAPDataMember;
    switch (member.GetDataType()) {
        case Kind::SOAP_NONE:
            std::printf("%s%s: nil\n", indent.c_str(), name.c_str());
            break;
        case Kind::SOAP_LONG:
            std::printf("%s%s: %d\n", indent.c_str(), name.c_str(),
                        static_cast<int>(member.LongValue()));
            break;
        case Kind::SOAP_DOUBLE:
            std::printf("%s%s: %g\n", indent.c_str(), name.c_str(), member.DoubleValue());
            break;
        case Kind::SOAP_STRING:
            std::printf("%s%s: \"%s\"\n", indent.c_str(), name.c_str(),
                        Utf8(member.StringValue()).c_str());
            break;
        case Kind::SOAP_STRUCT:
            std::printf("%s%s:\n", indent.c_str(), name.c_str());
            PrintStruct(member.StructValue(), depth + 1);
            break;
        case Kind::SOAP_ARRAY: {
            auto const& elements = member.ArrayValue();
            std::printf("%s%s: array of %zu\n", indent.c_str(), name.c_str(), elements.size());
            for (std::size_t i = 0; i < elements.size(); ++i) {
                std::printf("%s  [%zu]\n", indent.c_str(), i);
                PrintStruct(elements[i], depth + 2);
            }
            break;
        }
    }
}

void PrintStruct(WMSOAPStructType const& st, int depth) {
    WMString name;
    WMSOAPStructMember member;
    long position = 0;
    for (bool more = st.GetFirstMember(&name, member, &position); more;
         more = st.GetNextMember(&name, member, &position)) {
        PrintMember(member, depth);
    }
}

WMSOAPStructType Line(WMString const& sku, int quantity, double price) {
    WMSOAPStructType line;
    line.SetMember(u"sku", sku);
    line.SetMember(u"quantity", quantity);
    line.SetMember(u"price", price);
    return line;
}

}  // namespace

int main() {
    WMSOAPStructType customer;
    customer.SetMember(u"name", u"Zoë Åström");
    customer.SetMemberQN(u"city", u"urn:example:address", u"Malmö");

    std::vector<WMSOAPStructType> lines = {Line(u"A-100", 2, 9.5), Line(u"B-7", 1, 120.0)};
    // An element of an array may itself hold an array: one struct per element again.
    std::vector<WMSOAPStructType> tags(2);
    tags[0].SetMember(u"tag", u"gift");
    tags[1].SetMember(u"tag", u"express");
    lines[1].SetMember(u"tags", tags);

    WMSOAPStructType order;
    order.SetMember(u"id", 4711);
    order.SetMember(u"customer", customer);
    order.SetMember(u"lines", lines);
    order.SetMember(u"note", u"first");
    order.SetMember(u"note", u"second");    // appends: repeated elements are allowed
    order.SetMember(WMSOAPStructMember());  // a nil member

    std::printf("order:\n");
    PrintStruct(order, 1);

    WMString const text = u"Grüße aus Tōkyō — 東京 €";
    std::string utf8;
    int const bytes = WideStringToUTF8(text, utf8);
    WMString back;
    int const units = UTF8ToWideString(utf8, back);
    std::printf("UTF-8 round trip: %d code units -> %d bytes -> %d code units: %s\n",
                static_cast<int>(text.size()), bytes, units, back == text ? "same" : "DIFFERENT");
    std::printf("%s\n", utf8.c_str());
    return back == text ? 0 : 1;
}
