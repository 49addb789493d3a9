// What the response and request deserializers keep between Deserialize and ProcessRPC*, and
// helpers they share.
#ifndef CORVANE_SOAP_DESERIALIZER_IMPL_H
#define CORVANE_SOAP_DESERIALIZER_IMPL_H

#include <corvane/deserializer.h>
#include <corvane/types.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "soap/parse_handlers.h"
#include "soap/value_reader.h"

namespace corvane {

// Member order matters for destruction: the handler tree must outlive the parse-event handler,
// whose stack points into it.
struct RespParseState {
    std::unique_ptr<WMSOAPResponseMessageHandler> handler =
        std::make_unique<WMSOAPResponseMessageHandler>();
    WMSOAPParseEventHandler events;
    WMXMLParser parser;
};

struct ReqParseState {
    std::unique_ptr<WMSOAPRequestMessageHandler> handler =
        std::make_unique<WMSOAPRequestMessageHandler>();
    WMSOAPParseEventHandler events;
    WMXMLParser parser;
    // Documents of earlier requests read by the same deserializer: the handler tree is not
    // reset between requests, and its handlers still point into them.
    std::vector<std::unique_ptr<WMXMLElement>> earlierDocuments;
};

// The handler tree as the value reader and the reading steps see it (value_reader.h,
// read_steps.h); references are resolved by the deserializer's GetMultiRefElem.
struct HandlerTree {
    using Node = WMSOAPParamHandler*;

    WMSOAPDeserializer* owner;

    Node Target(Node element) const { return owner->GetMultiRefElem(element); }
    // The owner's state, told the owner's wire mode and side.
    static ValueReadState& State(WMSOAPDeserializer& owner) {
        owner.m_read->standardWireMode = owner.m_standardWireMode;
        owner.m_read->request = dynamic_cast<WMSOAPReqDeserializer*>(&owner) != nullptr;
        return *owner.m_read;
    }

    static std::u16string_view Local(Node element) { return element->GetLocalName(); }
    static std::u16string_view NS(Node element) { return element->GetNS(); }
    static std::u16string_view TypeNS(Node element) { return element->GetTypeNS(); }
    static std::u16string_view TypeName(Node element) { return element->GetTypeName(); }
    static std::u16string_view Value(Node element) { return element->GetValue(); }
    static std::u16string_view ArrayType(Node element) { return element->GetArrayType(); }
    static std::u16string_view ArrayTypeNS(Node element) { return element->GetArrayTypeNS(); }
    static bool IsNil(Node element) { return element->IsNil(); }
    static bool HasHref(Node element) { return !element->GetHref().empty(); }
    static std::vector<Node> const& Children(Node element) { return element->GetChildren(); }
    static std::size_t ChildCount(Node element) { return element->GetChildren().size(); }

    using Entry = WMSOAPHeaderElemHandler*;
    static std::u16string_view EncodingStyle(Entry entry) { return entry->GetEncodingStyle(); }
    static std::u16string_view Root(Entry entry) { return entry->GetRoot(); }
    static std::u16string_view Actor(Entry entry) { return entry->GetActor(); }
    static bool MustUnderstand(Entry entry) { return entry->GetMustUnderstand(); }
    static void SetActor(Entry entry, WMString const& actor) { entry->SetActor(actor); }
    static WMString LiteralText(Entry entry);
};

// A value reader over the handlers of `owner`; `wsdl` may be null where none is asked.
inline ValueReader<HandlerTree> HandlerReader(WMSOAPDeserializer& owner, WMSOAPWSDLClient* wsdl) {
    return ValueReader<HandlerTree>(HandlerTree{&owner}, HandlerTree::State(owner), wsdl);
}

// `pattern` with its first "%s" (or "%d") replaced by `argument`.
WMString FormatFault(std::u16string_view pattern, WMString const& argument);

// Runs the parse and turns the parser's line number into the parse-error fault.
void ParseEnvelope(WMXMLParser& parser, WMString const& text, WMSOAPParseEventHandler& events);
[[noreturn]] void ThrowParseError(int line);

// The element as XML text, declaring every prefix in scope so that it stands alone. The
// capacity, when the caller knows the text's likely size, spares the growing string its copies
// (and a large body twice its size at the moment it grows).
WMString ElementText(WMXMLElement const* element, std::size_t capacity = 0);

namespace detail {
class TypeCache;

// Stores what SetBodyElemLit stores, moving the text instead of copying it.
struct MessageBuilder {
    static void SetBodyElemLit(WMSOAPMessage& message, WMString&& xml,
                               WMString const& encodingStyle);
    // Appends what AddMethodParam appends, moving the value instead of copying it; when an
    // allocation fails the value stays where it was.
    static void AddMethodParam(WMSOAPMessage& message, WMString const& ns, WMString const& name,
                               WMSOAPStructMember&& value, bool isInput, bool isOutput);
    // The value of the method parameter at that position (which must exist), in place.
    static WMSOAPStructMember& MethodParamValue(WMSOAPMessage& message, std::size_t index);
    // Takes the message's text out, leaving its buffer empty.
    static WMString TakeBuffer(WMSOAPMessage& message) { return std::move(message.m_buffer); }
    // Stores what SetBuffer stores, moving the text instead of copying it.
    static void SetBuffer(WMSOAPMessage& message, WMString&& text) {
        message.m_buffer = std::move(text);
    }
    // What Deserialize does to the message before it reads, and the line count of the parser
    // that the message's deserializer of that side keeps (made on first use).
    static void BeginRead(WMSOAPMessage& message);
    static int& ParseLine(WMSOAPMessage& message, bool request);
    // Frees what the response reader keeps of the last answer (its handler tree) once the
    // caller has taken everything it needs from the message; the values stay in the message.
    static void ReleaseResponseTree(WMSOAPMessage& message);
    // What WMSOAPMessage::Serialize does, with the type answers of a caller's cache.
    static bool Serialize(WMSOAPMessage& message, TypeCache& types);
};

// What ProcessRPC checks of a request before its parameters: a method the description knows and
// its SOAPAction as received.
void CheckRequestAction(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
}  // namespace detail

}  // namespace corvane

#endif
