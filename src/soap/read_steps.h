// The steps of reading an envelope that come after its parse: encoded and literal header
// entries, a received fault's detail, a response's return value and out-parameters, a request's
// parameters. Written once over a Tree (see value_reader.h) and used by the exported response
// and request deserializers over their handler trees and by the internal envelope reader over
// its nodes, so that both raise the same faults in the same order.
//
// Besides what value_reader.h lists, a Tree provides for header entries: EncodingStyle, Root,
// Actor (u16string_view), MustUnderstand, SetActor and LiteralText (the entry as XML text).
#ifndef CORVANE_SOAP_READ_STEPS_H
#define CORVANE_SOAP_READ_STEPS_H

#include <corvane/message.h>
#include <corvane/values.h>
#include <corvane/wsdl.h>

#include <string_view>
#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/parse_handlers.h"
#include "soap/value_reader.h"
#include "text/equal.h"

namespace corvane {

enum class ReadSide { kRequest, kResponse };

namespace read_faults {
inline constexpr char16_t kServer[] = u"SOAP-ENV:Server";
inline constexpr char16_t kClient[] = u"SOAP-ENV:Client";
inline constexpr char16_t kNotDefined[] =
    u"Method parameter: '%s' not properly defined in WSDL file.";
}  // namespace read_faults

// True when an explicit xsi:type agrees with the type the WSDL gives: the same qualified name,
// or two base64 types.
bool TypesAgree(std::u16string_view explicitNS, std::u16string_view explicitName,
                std::u16string_view wsdlNS, std::u16string_view wsdlName);

// Out-only parts become placeholders at their parameterOrder position, after the parameters a
// request carried; faults when an operation has more than one unlisted out-only part.
void AddRequestPlaceholders(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

// Header entries, in document order: encoded ones the description knows become values, the
// others XML text. `fault` says whether the response carries a fault (its header parts are the
// fault's).
template <class Tree, class Entries>
void ReadHeaderEntries(ValueReader<Tree>& reader, Entries const& entries, WMSOAPMessage& message,
                       WMSOAPWSDLClient& wsdl, ReadSide side, bool fault) {
    using namespace read_faults;
    bool const response = side == ReadSide::kResponse;
    char16_t const* const referenceCode = response ? kServer : kClient;
    WMString const& operation = message.GetMethodName();
    for (auto entry : entries) {
        if (TextEquals(Tree::Actor(entry), soapuri::kNextActor)) {
            Tree::SetActor(entry, message.GetActorURI());
        }
        WMString const name(Tree::Local(entry));
        WMString const ns(Tree::NS(entry));
        WMString typeName;
        WMString typeNS;
        bool encoded =
            TextEquals(Tree::EncodingStyle(entry), soapuri::kEncoding) && Tree::Root(entry) != u"0";
        if (encoded) {
            bool const described =
                !response ? wsdl.GetInputHeaderPartType(operation, name, ns, typeName, typeNS)
                : fault   ? wsdl.GetInHeaderFaultPartType(operation, name, ns, typeName, typeNS)
                          : wsdl.GetOutputHeaderPartType(operation, name, ns, typeName, typeNS);
            encoded = described || wsdl.GetHeaderElemType(name, ns, typeName, typeNS);
        }
        if (!encoded) {
            message.AddHeaderElemLit(ns, name, Tree::LiteralText(entry),
                                     Tree::MustUnderstand(entry), WMString(Tree::Actor(entry)),
                                     WMString(Tree::EncodingStyle(entry)));
            continue;
        }
        auto content = reader.Content(entry);
        if (content == nullptr) {
            ThrowSOAPFault(referenceCode,
                           FormatFault(u"Header entry: '%s' has invalid reference.", name), false);
        }
        WMSOAPStructMember value;
        bool ok = false;
        if (IsSimpleTypeNamespace(typeNS)) {
            if (!Tree::TypeName(content).empty() &&
                !TypesAgree(Tree::TypeNS(content), Tree::TypeName(content), typeNS, typeName)) {
                ThrowSOAPFault(referenceCode,
                               FormatFault(u"Header entry: '%s' explicit typing conflicts with "
                                           u"definition in WSDL file.",
                                           name),
                               false);
            }
            ok = reader.NamedBuiltIn(content, typeName, value);
        } else {
            ok = reader.Complex(entry, content == entry ? nullptr : content, true, typeNS, typeName,
                                value);
        }
        if (!ok) {
            if (reader.State().referenceCycle) {
                ThrowSOAPFault(referenceCode,
                               FormatFault(u"Header entry: '%s' has invalid reference.", name),
                               false);
            }
            ThrowSOAPFault(
                kServer,
                FormatFault(response ? u"Failed to convert element: '%s' in Response header."
                                     : u"Failed to convert element: '%s' in Request header.",
                            name),
                false);
        }
        message.AddHeaderElem(ns, name, Tree::MustUnderstand(entry), value,
                              WMString(Tree::Actor(entry)));
    }
}

// A received fault's code, text and actor, and its detail entries (`detail` may be null).
template <class Tree>
void ReadFault(ValueReader<Tree>& reader, std::u16string_view code, std::u16string_view text,
               std::u16string_view actor, typename Tree::Node detail, WMSOAPMessage& message,
               WMSOAPWSDLClient& wsdl) {
    using namespace read_faults;
    message.SetSOAPFault(WMString(code), WMString(text), WMString(actor), detail != nullptr);
    if (detail == nullptr) {
        return;
    }
    WMString const& operation = message.GetMethodName();
    for (auto entry : Tree::Children(detail)) {
        WMString const name(Tree::Local(entry));
        WMString const ns(Tree::NS(entry));
        WMString typeName;
        WMString typeNS;
        // A detail entry does not say which fault of the operation it belongs to; its name is
        // taken for both the fault and the part.
        bool const described =
            wsdl.GetFaultDetailPartType(operation, name, name, typeName, typeNS) ||
            wsdl.GetHeaderElemType(name, ns, typeName, typeNS);
        auto content = reader.Content(entry);
        if (content == nullptr) {
            ThrowSOAPFault(kClient, FormatFault(u"Fault detail: '%s' has invalid reference.", name),
                           false);
        }
        if (!described) {
            // Undescribed entries are common in faults from foreign servers: keep what the
            // element says of itself, its own built-in type or else its text.
            bool const typed = !Tree::TypeName(content).empty();
            typeName = typed ? WMString(Tree::TypeName(content)) : WMString(u"string");
            typeNS = typed ? WMString(Tree::TypeNS(content)) : WMString(soapuri::kXSD2001);
        } else if (IsSimpleTypeNamespace(typeNS) && !Tree::TypeName(content).empty() &&
                   !TypesAgree(Tree::TypeNS(content), Tree::TypeName(content), typeNS, typeName)) {
            ThrowSOAPFault(kClient,
                           FormatFault(u"Fault detail: '%s' explicit typing conflicts with "
                                       u"definition in WSDL file.",
                                       name),
                           false);
        }
        WMSOAPStructMember value;
        bool ok = IsSimpleTypeNamespace(typeNS)
                      ? reader.NamedBuiltIn(content, typeName, value)
                      : reader.Complex(entry, content == entry ? nullptr : content, true, typeNS,
                                       typeName, value);
        bool const cycle = reader.State().referenceCycle;
        if (!ok && !described && !cycle) {
            // A type of its own that the description does not know: its text is all it says.
            detail::ValueBuilder::SetString(value, Tree::Value(content));
            detail::ValueBuilder::SetName(value, Tree::Local(content));
            ok = true;
        }
        if (!ok) {
            ThrowSOAPFault(
                cycle ? kClient : kServer,
                cycle ? FormatFault(u"Fault detail: '%s' has invalid reference.", name)
                      : FormatFault(u"Failed to convert element: '%s' in Fault detail.", name),
                false);
        }
        message.AddFaultDetailElem(ns, name, value);
    }
}

// A response's return value (its first element, unless the operation's parameterOrder names
// it) and out-parameters.
template <class Tree, class Params>
void ReadResponseParams(ValueReader<Tree>& reader, Params const& params, WMSOAPMessage& message,
                        WMSOAPWSDLClient& wsdl) {
    using namespace read_faults;
    WMString const& operation = message.GetMethodName();
    bool first = true;
    for (auto child : params) {
        WMString const name(Tree::Local(child));
        bool const isReturn = first && !wsdl.IsOperationParam(operation, name);
        first = false;
        WMString typeName;
        WMString typeNS;
        bool const typed = isReturn ? wsdl.GetOperationReturnType(operation, name, typeName, typeNS)
                                    : wsdl.GetOutputMsgPartType(operation, name, typeName, typeNS);
        if (!typed) {
            ThrowSOAPFault(kServer, FormatFault(kNotDefined, name), false);
        }
        auto content = reader.Content(child);
        if (content == nullptr) {
            ThrowSOAPFault(kServer,
                           FormatFault(u"Method parameter: '%s' has invalid reference.", name),
                           false);
        }
        WMSOAPStructMember value;
        // The SOAP encoding's own simple types (SOAP-ENC:string...) are built-in values too.
        if (IsSimpleTypeNamespace(typeNS)) {
            if (!reader.NamedBuiltIn(content, typeName, value)) {
                ThrowSOAPFault(
                    kServer,
                    FormatFault(u"Failed to convert method parameter: '%s' in Response Body.",
                                name),
                    false);
            }
        } else if (!reader.Complex(child, content == child ? nullptr : content, true, typeNS,
                                   typeName, value)) {
            ThrowSOAPFault(
                kServer,
                reader.State().referenceCycle
                    ? FormatFault(u"Method parameter: '%s' has invalid reference.", name)
                    : FormatFault(u"Failed to convert parameter: '%s' in Response Body.", name),
                false);
        }
        if (isReturn) {
            // What SetReturnValue stores, moved rather than copied.
            message.GetReturnValue() = std::move(value);
        } else {
            detail::MessageBuilder::AddMethodParam(message, WMString(Tree::NS(child)), name,
                                                   std::move(value),
                                                   wsdl.IsInputMsgPart(operation, name), true);
        }
    }
}

// Whether the operation has a parameterOrder: it then lists at least one of its parts.
bool HasParameterOrder(WMSOAPWSDLClient& wsdl, WMString const& operation);

// A request's parameters in the order they came, checked against the operation's input parts,
// then the placeholders of its out-only parts.
template <class Tree, class Params>
void ReadRequestParams(ValueReader<Tree>& reader, Params const& params, WMSOAPMessage& message,
                       WMSOAPWSDLClient& wsdl) {
    using namespace read_faults;
    WMString const& operation = message.GetMethodName();
    // Without parameterOrder nothing is listed; the input parts are then the parameters.
    bool const ordered = HasParameterOrder(wsdl, operation);
    for (auto child : params) {
        WMString const name(Tree::Local(child));
        WMString typeName;
        WMString typeNS;
        bool const typed = wsdl.GetInputMsgPartType(operation, name, typeName, typeNS);
        auto content = reader.Content(child);
        if (content == nullptr) {
            ThrowSOAPFault(kServer, FormatFault(u"Parameter: '%s' has invalid reference.", name),
                           false);
        }
        if (!typed || (ordered && !wsdl.IsOperationParam(operation, name))) {
            ThrowSOAPFault(kServer, FormatFault(kNotDefined, name), false);
        }
        WMSOAPStructMember value;
        bool const ok = IsSimpleTypeNamespace(typeNS)
                            ? reader.NamedBuiltIn(content, typeName, value)
                            : reader.Complex(child, content == child ? nullptr : content, true,
                                             typeNS, typeName, value);
        if (!ok) {
            ThrowSOAPFault(
                kServer,
                reader.State().referenceCycle
                    ? FormatFault(u"Parameter: '%s' has invalid reference.", name)
                    : FormatFault(u"Failed to convert parameter: '%s' in Request Body.", name),
                false);
        }
        detail::MessageBuilder::AddMethodParam(message, WMString(Tree::NS(child)), name,
                                               std::move(value), true,
                                               wsdl.IsOutputMsgPart(operation, name));
    }
    AddRequestPlaceholders(message, wsdl);
}

}  // namespace corvane

#endif
