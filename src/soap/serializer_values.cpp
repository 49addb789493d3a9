// Values: built-in types, arrays and structs, and the date helpers.
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include "soap/envelope_writer.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

using namespace corvane::detail;

namespace {

using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

// The schema-instance namespace for an xsi attribute: the one that goes with a schema
// namespace, and the 2001 one for any other (the SOAP encoding namespace, a user namespace),
// so that the attribute is always bound to an instance namespace a reader knows.
std::u16string_view InstanceNSFor(WMString const& ns) {
    WMChar const* instance = WMSOAPSerializer::GetXSDInstanceNS(ns);
    return instance != nullptr ? std::u16string_view(instance) : kXsi2001NS;
}

void AppendAscii(WMString& out, char const* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        out.push_back(static_cast<WMChar>(static_cast<unsigned char>(text[i])));
    }
}

// "%d" of a 32-bit value.
void FormatLong(WMString& out, std::int32_t value) {
    char buffer[16];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
    AppendAscii(out, buffer, static_cast<std::size_t>(result.ptr - buffer));
}

// "%f": six digits after the point, never an exponent.
void FormatDouble(WMString& out, double value) {
    // The widest result, DBL_MAX, has 309 integer digits.
    char buffer[352];
    int const length = std::snprintf(buffer, sizeof buffer, "%f", value);
    if (length > 0) {
        AppendAscii(out, buffer, static_cast<std::size_t>(length));
    }
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

bool WMSOAPSerializer::SerializeValue(WMString const& typeNS, WMString const& typeName,
                                      WMSOAPStructMember& value, WMSOAPMessage& message,
                                      Types& wsdl, Writer& out) {
    if (IsXSDType(typeNS) || IsSoapEncType(typeNS)) {
        return SerializeBuiltInType(typeNS, value, out);
    }
    return SerializeComplexType(typeNS, typeName, value, message, wsdl, out);
}

bool WMSOAPSerializer::SerializeBuiltInType(WMString const& typeNS, WMSOAPStructMember& value,
                                            Writer& out) {
    DataType const type = value.GetDataType();
    if (type == DataType::SOAP_NONE) {
        if (typeNS == kXsd1999NS) {
            out.SetAttribute(u"xsi", u"null", kXsi1999NS, u"1");
        } else {
            out.SetAttribute(u"xsi", u"nil", InstanceNSFor(typeNS), u"true");
        }
        return true;
    }
    // Every built-in value is typed "ns:string" in its schema namespace, whatever the part's
    // type: numbers included, and whether or not explicit typing was asked for.
    out.DeclarePrefix(u"ns", typeNS);
    out.SetAttribute(u"xsi", u"type", InstanceNSFor(typeNS), u"ns:string");
    if (type == DataType::SOAP_LONG) {
        WMString text;
        FormatLong(text, value.LongValue());
        out.Text(text);
    } else if (type == DataType::SOAP_DOUBLE) {
        WMString text;
        FormatDouble(text, value.DoubleValue());
        out.Text(text);
    } else {
        out.Text(value.StringValue());
    }
    return true;
}

bool WMSOAPSerializer::SerializeComplexType(WMString const& typeNS, WMString const& typeName,
                                            WMSOAPStructMember& value, WMSOAPMessage& message,
                                            Types& wsdl, Writer& out) {
    // No answer means the WSDL does not know the type; a known type that derives from nothing
    // answers with an empty base and is a struct.
    Types::QName const* base = wsdl.ComplexBase(typeName, typeNS);
    if (base == nullptr) {
        return false;
    }
    if (IsSoapEncType(base->ns)) {
        if (base->name == u"Array") {
            Types::ArrayInfo const* array = wsdl.Array(typeName, typeNS);
            if (array == nullptr) {
                return false;
            }
            // The item type as the WSDL declares it, dimensions included; the value's own
            // length is not written.
            WMString arrayType(u"nsa:");
            arrayType.append(array->item.name);
            arrayType.push_back(u'[');
            for (unsigned int dim = 1; dim < array->dims; ++dim) {
                arrayType.push_back(u',');
            }
            arrayType.push_back(u']');
            out.SetAttribute(u"SOAP-ENC", u"arrayType", kSoapEncNS, arrayType);
            out.DeclarePrefix(u"nsa", array->item.ns);
            if (message.m_explicitTyping) {
                out.SetAttribute(u"xsi", u"type", InstanceNSFor(typeNS), u"SOAP-ENC:Array");
            }
            return SerializeArray(array->item.ns, array->item.name, value, message, wsdl, out);
        }
        if (base->name == u"Struct") {
            return SerializeStruct(typeNS, typeName, value.StructValue(), message, wsdl, out);
        }
        return false;
    }
    return SerializeStruct(typeNS, typeName, value.StructValue(), message, wsdl, out);
}

bool WMSOAPSerializer::SerializeArray(WMString const& itemNS, WMString const& itemType,
                                      WMSOAPStructMember& value, WMSOAPMessage& message,
                                      Types& wsdl, Writer& out) {
    if (value.GetDataType() != DataType::SOAP_ARRAY) {
        return true;
    }
    // Each array element is a struct; each of its members becomes one item element, named by
    // the member (an array of scalars is a list of one-member structs).
    bool const builtIn = IsXSDType(itemNS) || IsSoapEncType(itemNS);
    WMString name;
    WMSOAPStructMember member;
    for (WMSOAPStructType const& element : value.ArrayValue()) {
        long position = 0;
        for (bool more = element.GetFirstMember(&name, member, &position); more;
             more = element.GetNextMember(&name, member, &position)) {
            out.Open({}, name);
            bool const written =
                builtIn ? SerializeBuiltInType(itemNS, member, out)
                        : SerializeComplexType(itemNS, itemType, member, message, wsdl, out);
            if (!written) {
                return false;
            }
            out.Close();
        }
    }
    return true;
}

bool WMSOAPSerializer::SerializeStruct(WMString const& typeNS, WMString const& typeName,
                                       WMSOAPStructType const& structValue, WMSOAPMessage& message,
                                       Types& wsdl, Writer& out) {
    if (message.m_explicitTyping) {
        out.DeclarePrefix(u"nss", typeNS);
        WMString type(u"nss:");
        type.append(typeName);
        out.SetAttribute(u"xsi", u"type", InstanceNSFor(typeNS), type);
    }
    WMString name;
    WMString ns;
    WMSOAPStructMember member;
    long position = 0;
    for (bool more = structValue.GetFirstMemberQN(&name, &ns, member, &position); more;
         more = structValue.GetNextMemberQN(&name, &ns, member, &position)) {
        Types::QName const* memberType = wsdl.StructMemberType(typeName, typeNS, name, ns);
        if (memberType == nullptr) {
            return false;
        }
        if (ns.empty()) {
            out.Open({}, name);
        } else {
            out.Open(u"nsm", name);
            out.DeclarePrefix(u"nsm", ns);
        }
        if (!SerializeValue(memberType->ns, memberType->name, member, message, wsdl, out)) {
            return false;
        }
        out.Close();
    }
    return true;
}
