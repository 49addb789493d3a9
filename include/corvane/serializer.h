// Writes a SOAP message as the XML text of a SOAP 1.1 envelope.
#ifndef CORVANE_SERIALIZER_H
#define CORVANE_SERIALIZER_H

#include <corvane/types.h>

#include <cstddef>

class WMXMLElement;
class WMSOAPMessage;
class WMSOAPWSDLClient;
class WMSOAPStructMember;
class WMSOAPStructType;
class WMSOAPServerCall;

namespace corvane::detail {
struct AnswerBytes;
class EnvelopeWriter;
class TypeCache;
struct SchemaType;
struct MessageBuilder;
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
    using Schema = corvane::detail::SchemaType;
    friend struct corvane::detail::MessageBuilder;
    friend class WMSOAPServerCall;
    // Serialize; with `bytes`, the envelope goes there as UTF-8 instead of into the buffer.
    bool Write(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl, corvane::detail::AnswerBytes* bytes);
    // The same with the type answers of a cache that may outlive the call.
    bool Write(WMSOAPMessage& message, Types& types, corvane::detail::AnswerBytes* bytes);
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

    // The value of a part, entry, member or array item of the given schema type.
    bool SerializeValue(Schema& type, WMSOAPStructMember& value, WMSOAPMessage& message,
                        Types& wsdl, Writer& out);
    bool SerializeBuiltInType(Schema const& type, WMSOAPStructMember& value, Writer& out);
    bool SerializeComplexType(Schema& type, WMSOAPStructMember& value, WMSOAPMessage& message,
                              Types& wsdl, Writer& out);
    bool SerializeArray(Schema& arrayType, WMSOAPStructMember& value, WMSOAPMessage& message,
                        Types& wsdl, Writer& out);
    bool SerializeStruct(Schema& type, WMSOAPStructType const& structValue, WMSOAPMessage& message,
                         Types& wsdl, Writer& out);
    // The standard wire mode's arrayType: the item type with the value's dimensions.
    static WMString SizedArrayType(Schema const& arrayType, WMSOAPStructMember& value);

    // Length of the last envelope, to size the next one's text at once.
    std::size_t m_lengthHint = 0;
    // Scratch text of a number, kept to spare an allocation per value.
    WMString m_number;
    // The message's standard wire mode, for the call in progress.
    bool m_standard = false;
};

#endif
