// Writes a SOAP message as the XML text of a SOAP 1.1 envelope.
#ifndef CORVANE_SERIALIZER_H
#define CORVANE_SERIALIZER_H

#include <corvane/types.h>

class WMXMLElement;
class WMSOAPMessage;
class WMSOAPWSDLClient;
class WMSOAPStructMember;
class WMSOAPStructType;

namespace corvane::detail {
class EnvelopeWriter;
class TypeCache;
}  // namespace corvane::detail

class CORVANE_API WMSOAPSerializer {
public:
    WMSOAPSerializer();
    WMSOAPSerializer(WMSOAPSerializer const& other);
    WMSOAPSerializer& operator=(WMSOAPSerializer const& other);
    virtual ~WMSOAPSerializer();

    // Builds the envelope of the message (a fault envelope when the message carries a fault
    // raised on this side) into the message's buffer. On false the buffer is left untouched.
    bool Serialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

    // Automation dates (days since 30 December 1899, time of day as the fraction) written as
    // the element's text. False, and nothing written, outside the years 100 to 9999.
    bool SerializeDateTime(double date, WMXMLElement* element);
    bool SerializeDate(double date, WMXMLElement* element);
    bool SerializeTime(double date, WMXMLElement* element);

    // True for the XML Schema namespaces of 2001, 1999 and 2000/10.
    static bool IsXSDType(WMString const& ns);
    // True for the SOAP 1.1 encoding namespace.
    static bool IsSoapEncType(WMString const& ns);
    // The schema-instance namespace that goes with a schema namespace; null for any other.
    // The text is the library's own constant, hence read-only.
    static WMChar const* GetXSDInstanceNS(WMString const& xsdNS);

private:
    // The envelope is written straight to text rather than through a WMXMLElement tree: the
    // writer produces the very text that tree would serialize to, without allocating it. So
    // each step below writes into the element that its caller has opened and returns false
    // where a tree-building step would have returned null.
    using Writer = corvane::detail::EnvelopeWriter;
    using Types = corvane::detail::TypeCache;

    bool SerializeSOAPMsg(WMSOAPMessage& message, Types& wsdl, Writer& out);
    bool SerializeSOAPFaultMsg(WMSOAPMessage& message, Types& wsdl, Writer& out);
    bool SerializeHeaderElem(WMString const& ns, WMString const& name, WMSOAPStructMember& value,
                             bool mustUnderstand, WMString const& actor, WMSOAPMessage& message,
                             Types& wsdl, Writer& out);
    bool SerializeSOAPMsgParam(WMSOAPStructMember& value, WMString const& methodName,
                               WMString const& partName, WMSOAPMessage& message, Types& wsdl,
                               Writer& out);
    bool SerializeFaultDetailElem(WMString const& ns, WMString const& name,
                                  WMSOAPStructMember& value, WMSOAPMessage& message, Types& wsdl,
                                  Writer& out);
    // Parses a literal part; null when it is not well-formed. The caller owns the element.
    WMXMLElement* ParseElementLit(WMString const& xml);
    // Writes a literal part as the next child; false when it is not well-formed.
    bool SerializeElementLit(WMString const& xml, Writer& out);

    // The value of a part, entry or member whose schema type is typeNS/typeName.
    bool SerializeValue(WMString const& typeNS, WMString const& typeName, WMSOAPStructMember& value,
                        WMSOAPMessage& message, Types& wsdl, Writer& out);
    bool SerializeBuiltInType(WMString const& typeNS, WMSOAPStructMember& value, Writer& out);
    bool SerializeComplexType(WMString const& typeNS, WMString const& typeName,
                              WMSOAPStructMember& value, WMSOAPMessage& message, Types& wsdl,
                              Writer& out);
    bool SerializeArray(WMString const& itemNS, WMString const& itemType, WMSOAPStructMember& value,
                        WMSOAPMessage& message, Types& wsdl, Writer& out);
    bool SerializeStruct(WMString const& typeNS, WMString const& typeName,
                         WMSOAPStructType const& structValue, WMSOAPMessage& message, Types& wsdl,
                         Writer& out);
};

#endif
