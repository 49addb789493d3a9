#include <corvane/deserializer.h>
#include <corvane/message.h>

#include <memory>
#include <string>
#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/message_entries.h"
#include "soap/read_steps.h"
#include "xml/parser_access.h"

namespace corvane {

WMString FormatFault(std::u16string_view pattern, WMString const& argument) {
    WMString text(pattern);
    auto position = text.find(u"%s");
    if (position == WMString::npos) {
        position = text.find(u"%d");
    }
    if (position != WMString::npos) {
        text.replace(position, 2, argument);
    }
    return text;
}

void ParseEnvelope(WMXMLParser& parser, WMString const& text, WMSOAPParseEventHandler& events) {
    try {
        // The handlers never touch the message's text: no copy of it is needed.
        detail::XMLParserAccess::ParseInPlace(parser, text, &events);
    } catch (int line) {
        ThrowParseError(line);
    }
}

void ThrowParseError(int line) {
    std::string const digits = std::to_string(line);
    ThrowSOAPFault(
        u"SOAP-ENV:Server",
        FormatFault(u"XML Parser: Parse Error on Line %d.", WMString(digits.begin(), digits.end())),
        false);
}

WMString ElementText(WMXMLElement const* element, std::size_t capacity) {
    WMString text;
    if (element != nullptr) {
        text.reserve(capacity);
        element->Serialize(nullptr, text);
    }
    return text;
}

void detail::MessageBuilder::AddMethodParam(WMSOAPMessage& message, WMString const& ns,
                                            WMString const& name, WMSOAPStructMember&& value,
                                            bool isInput, bool isOutput) {
    // The value moves only once the entry is in place: when an allocation fails, it has not.
    message.m_methodParams.push_back(
        std::make_unique<WMSOAPParamMsgElement>(ns, name, WMSOAPStructMember(), isInput, isOutput));
    message.m_methodParams.back()->m_value = std::move(value);
}

WMSOAPStructMember& detail::MessageBuilder::MethodParamValue(WMSOAPMessage& message,
                                                             std::size_t index) {
    return message.m_methodParams[index]->m_value;
}

void detail::MessageBuilder::ReleaseResponseTree(WMSOAPMessage& message) {
    if (message.m_respDeserializer) {
        message.m_respDeserializer->ReleaseTree();
    }
}

void detail::MessageBuilder::SetBodyElemLit(WMSOAPMessage& message, WMString&& xml,
                                            WMString const& encodingStyle) {
    message.m_bodyElemLit =
        std::make_unique<std::pair<WMString, WMString>>(encodingStyle, std::move(xml));
}

bool TypesAgree(std::u16string_view explicitNS, std::u16string_view explicitName,
                std::u16string_view wsdlNS, std::u16string_view wsdlName) {
    if (explicitNS == wsdlNS && explicitName == wsdlName) {
        return true;
    }
    // SOAP-ENC:base64 and xsd:base64Binary name the same thing, deliberately accepted.
    return explicitName.find(u"base64") != std::u16string_view::npos &&
           wsdlName.find(u"base64") != std::u16string_view::npos;
}

WMString HandlerTree::LiteralText(Entry entry) {
    return ElementText(entry->GetElement());
}

}  // namespace corvane
