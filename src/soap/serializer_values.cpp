// Values: built-in types, arrays and structs, and the date helpers.
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include "soap/envelope_writer.h"
#include "soap/fixed_format.h"
#include "soap/standard_values.h"
#include "soap/value_builder.h"

#include <charconv>
#include <cstdint>
#include <string>

using namespace corvane::detail;

namespace {

using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

// The value operations take members by reference without changing them; the members of a
// struct or array are handed over in place rather than copied out one by one.
WMSOAPStructMember& Readable(WMSOAPStructMember const& member) {
    return const_cast<WMSOAPStructMember&>(member);
}

// "%d" of a 32-bit value.
void FormatLong(WMString& out, std::int32_t value) {
    char buffer[16];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
    AppendAsciiDigits(out, buffer, result.ptr);
}

}  // namespace

bool WMSOAPSerializer::IsXSDType(WMString const& ns) {
    return ns == kXsd2001NS || ns == kXsd1999NS || ns == kXsd2000NS;
}

bool WMSOAPSerializer::IsSoapEncType(WMString const& ns) {
    return ns == kSoapEncNS;
}

WMChar const* WMSOAPSerializer::GetXSDInstanceNS(WMString const& xsdNS) {
    if (xsdNS == kXsd2001NS) {
        return kXsi2001NS.data();
    }
    if (xsdNS == kXsd1999NS) {
        return kXsi1999NS.data();
    }
    if (xsdNS == kXsd2000NS) {
        return kXsi2000NS.data();
    }
    return nullptr;
}

bool WMSOAPSerializer::SerializeValue(Schema& type, WMSOAPStructMember& value,
                                      WMSOAPMessage& message, Types& wsdl, Writer& out) {
    if (type.builtIn) {
        return SerializeBuiltInType(type, value, out);
    }
    return SerializeComplexType(type, value, message, wsdl, out);
}

bool WMSOAPSerializer::SerializeBuiltInType(Schema const& type, WMSOAPStructMember& value,
                                            Writer& out) {
    DataType const kind = value.GetDataType();
    if (kind == DataType::SOAP_NONE) {
        if (type.ns == kXsd1999NS) {
            out.SetAttribute(u"xsi", u"null", kXsi1999NS, u"1");
        } else {
            out.SetAttribute(u"xsi", u"nil", type.instanceNS, u"true");
        }
        return true;
    }
    if (m_standard) {
        out.DeclarePrefix(type.standardPrefix, type.ns);
        out.SetAttribute(u"xsi", u"type", type.instanceNS, type.standardType);
        m_number.clear();
        if (!WriteStandardValue(type.name, value, m_number)) {
            return false;
        }
        out.Text(m_number);
        m_number.clear();
        return true;
    }
    // Every built-in value is typed "ns:string" in its schema namespace, whatever the part's
    // type: numbers included, and whether or not explicit typing was asked for.
    out.DeclarePrefix(u"ns", type.ns);
    out.SetAttribute(u"xsi", u"type", type.instanceNS, u"ns:string");
    if (kind == DataType::SOAP_LONG) {
        FormatLong(m_number, value.LongValue());
        out.Text(m_number);
        m_number.clear();
    } else if (kind == DataType::SOAP_DOUBLE) {
        AppendFixed6(m_number, value.DoubleValue());
        out.Text(m_number);
        m_number.clear();
    } else {
        out.Text(value.StringValue());
    }
    return true;
}

bool WMSOAPSerializer::SerializeComplexType(Schema& type, WMSOAPStructMember& value,
                                            WMSOAPMessage& message, Types& wsdl, Writer& out) {
    if (m_standard && value.GetDataType() == DataType::SOAP_NONE &&
        (type.kind == Schema::Kind::Array || type.kind == Schema::Kind::Struct)) {
        out.SetAttribute(u"xsi", u"nil", type.instanceNS, u"true");
        return true;
    }
    switch (type.kind) {
        case Schema::Kind::Array:
            if (m_standard) {
                out.SetAttribute(u"SOAP-ENC", u"arrayType", kSoapEncNS,
                                 wsdl.Keep(SizedArrayType(type, value)));
                out.DeclarePrefix(u"nsa", type.itemNS);
                out.DeclarePrefix(u"nss", type.ns);
                out.SetAttribute(u"xsi", u"type", type.instanceNS, type.explicitType);
                return SerializeArray(type, value, message, wsdl, out);
            }
            out.SetAttribute(u"SOAP-ENC", u"arrayType", kSoapEncNS, type.arrayType);
            out.DeclarePrefix(u"nsa", type.itemNS);
            if (message.m_explicitTyping) {
                out.SetAttribute(u"xsi", u"type", type.instanceNS, u"SOAP-ENC:Array");
            }
            return SerializeArray(type, value, message, wsdl, out);
        case Schema::Kind::Struct:
            return SerializeStruct(type, value.StructValue(), message, wsdl, out);
        case Schema::Kind::Unknown:
        case Schema::Kind::Unsupported:
            break;
    }
    return false;
}

WMString WMSOAPSerializer::SizedArrayType(Schema const& arrayType, WMSOAPStructMember& value) {
    // Rows of equal length give a two-dimensional array its real dimensions; anything else is
    // written as the list of items it is.
    std::size_t items = 0;
    std::size_t rows = 0;
    std::size_t columns = 0;
    bool regular = true;
    if (value.GetDataType() == DataType::SOAP_ARRAY) {
        for (WMSOAPStructType const& element : value.ArrayValue()) {
            std::size_t const count = ValueBuilder::Size(element);
            items += count;
            regular = regular && (rows == 0 || count == columns);
            columns = count;
            ++rows;
        }
    }
    WMString text = u"nsa:" + arrayType.itemName + u"[";
    std::string count;
    if (arrayType.dims == 2 && rows > 0 && regular) {
        count = std::to_string(rows) + "," + std::to_string(columns);
    } else {
        count = std::to_string(items);
    }
    text.append(count.begin(), count.end());
    text.push_back(u']');
    return text;
}

bool WMSOAPSerializer::SerializeArray(Schema& arrayType, WMSOAPStructMember& value,
                                      WMSOAPMessage& message, Types& wsdl, Writer& out) {
    if (value.GetDataType() != DataType::SOAP_ARRAY) {
        return true;
    }
    // Each array element is a struct; each of its members becomes one item element, named by
    // the member (an array of scalars is a list of one-member structs).
    Schema& itemType = wsdl.ItemOf(arrayType);
    for (WMSOAPStructType const& element : value.ArrayValue()) {
        for (WMSOAPStructMember const& member : ValueBuilder::Members(element)) {
            out.Open({}, member.GetName());
            if (!SerializeValue(itemType, Readable(member), message, wsdl, out)) {
                return false;
            }
            out.Close();
        }
    }
    return true;
}

bool WMSOAPSerializer::SerializeStruct(Schema& type, WMSOAPStructType const& structValue,
                                       WMSOAPMessage& message, Types& wsdl, Writer& out) {
    if (message.m_explicitTyping || m_standard) {
        out.DeclarePrefix(u"nss", type.ns);
        out.SetAttribute(u"xsi", u"type", type.instanceNS, type.explicitType);
    }
    for (WMSOAPStructMember const& member : ValueBuilder::Members(structValue)) {
        Schema::Member* declared = wsdl.Member(type, member.GetName(), member.GetNS());
        if (declared == nullptr) {
            return false;
        }
        if (member.GetNS().empty()) {
            out.Open({}, declared->name);
        } else {
            out.Open(u"nsm", declared->name);
            out.DeclarePrefix(u"nsm", declared->ns);
        }
        if (!SerializeValue(wsdl.TypeOf(*declared), Readable(member), message, wsdl, out)) {
            return false;
        }
        out.Close();
    }
    return true;
}
