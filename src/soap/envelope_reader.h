// The library's own way of reading an envelope into a message: the client reads responses with
// it and WMSOAPServerCall reads requests. It gives what WMSOAPMessage::Deserialize followed by
// ProcessRPC give, without the exported element and handler trees (see envelope_reader.cpp).
#ifndef CORVANE_SOAP_ENVELOPE_READER_H
#define CORVANE_SOAP_ENVELOPE_READER_H

class WMSOAPMessage;
class WMSOAPWSDLClient;

namespace corvane::detail {

// Whether the read writes the body's literal text into the message. A reader whose message
// never shows that text leaves it out: for a large answer it is nearly a copy of the envelope.
enum class BodyText { kKept, kLeftOut };

// As message.Deserialize(wsdl) and message.ProcessRPC(wsdl) in the response phase: header
// entries, a received fault, the literal body (unless left out), the return value and
// out-parameters of the message's buffer. Throws the same WMSOAPFault (with new) for the same
// input.
void ReadResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl, BodyText body = BodyText::kKept);

// The same in the request phase, for a message that has not read a request before (the exported
// request deserializer keeps the handlers of earlier requests).
void ReadRequest(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

}  // namespace corvane::detail

#endif
