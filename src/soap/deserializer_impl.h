// What the response and request deserializers keep between Deserialize and ProcessRPC*, and
// helpers they share.
#ifndef CORVANE_SOAP_DESERIALIZER_IMPL_H
#define CORVANE_SOAP_DESERIALIZER_IMPL_H

#include <corvane/types.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "soap/parse_handlers.h"

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

// `pattern` with its first "%s" (or "%d") replaced by `argument`.
WMString FormatFault(std::u16string_view pattern, WMString const& argument);

// Runs the parse and turns the parser's line number into the parse-error fault.
void ParseEnvelope(WMXMLParser& parser, WMString const& text, WMSOAPParseEventHandler& events);

// The element as XML text, declaring every prefix in scope so that it stands alone. The
// capacity, when the caller knows the text's likely size, spares the growing string its copies
// (and a large body twice its size at the moment it grows).
WMString ElementText(WMXMLElement const* element, std::size_t capacity = 0);

namespace detail {
// Stores what SetBodyElemLit stores, moving the text instead of copying it.
struct MessageBuilder {
    static void SetBodyElemLit(WMSOAPMessage& message, WMString&& xml,
                               WMString const& encodingStyle);
    // Appends what AddMethodParam appends, moving the value instead of copying it.
    static void AddMethodParam(WMSOAPMessage& message, WMString const& ns, WMString const& name,
                               WMSOAPStructMember&& value, bool isInput, bool isOutput);
    // Frees what the response reader keeps of the last answer (its handler tree) once the
    // caller has taken everything it needs from the message; the values stay in the message.
    static void ReleaseResponseTree(WMSOAPMessage& message);
};
}  // namespace detail

// True when an explicit xsi:type agrees with the type the WSDL gives: the same qualified name,
// or two base64 types.
bool TypesAgree(WMString const& explicitNS, WMString const& explicitName, WMString const& wsdlNS,
                WMString const& wsdlName);

}  // namespace corvane

#endif
