// Reads an envelope the exported way (WMSOAPMessage::Deserialize and ProcessRPC) and the
// library's own way (src/soap/envelope_reader.h), and prints everything a caller can observe of
// each: values with every slot, header entries, literal texts, the fault, the thrown fault. The
// differential test and fuzz target compare the two prints. Header only; link corvane_soap.
#ifndef CORVANE_TESTS_SUPPORT_READ_DIFF_H
#define CORVANE_TESTS_SUPPORT_READ_DIFF_H

#include <corvane/message.h>
#include <corvane/utf8.h>
#include <corvane/values.h>
#include <corvane/wsdl.h>

#include <cstdio>
#include <memory>
#include <string>

#include "soap/envelope_reader.h"
#include "support/values.h"

namespace corvane::test {

struct ReadInput {
    WMString text;
    bool request = false;
    WMString operation;     // a response's operation, as the client sets it
    WMString soapAction;    // a request's SOAPAction header, quotes included
    WMString actorURI;      // the message's own actor, which replaces ".../actor/next"
    bool standard = false;  // the standard wire mode's typed values (an extension)
};

template <class... Texts>
void DumpText(std::string& out, Texts const&... texts) {
    ((out += '"' + Utf8(texts) + '"'), ...);
}

// A value with its name, namespace, kind and every slot (stale ones too: they are kept).
inline void DumpValue(std::string& out, WMSOAPStructMember const& constValue) {
    WMSOAPStructMember value = constValue;
    out += '(';
    DumpText(out, value.GetName(), value.GetNS());
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, " k%d l%d d%a ", static_cast<int>(value.GetDataType()),
                  static_cast<int>(value.LongValue()), value.DoubleValue());
    out += numbers;
    DumpText(out, value.StringValue());
    out += " {";
    for (auto const& member : MembersOf(value.StructValue())) {
        DumpValue(out, member.second);
    }
    out += "} [";
    for (WMSOAPStructType const& item : value.ArrayValue()) {
        WMSOAPStructMember wrapper;
        wrapper.SetValue(item);
        DumpValue(out, wrapper);
    }
    out += "])";
}

inline std::string DumpMessage(WMSOAPMessage& message) {
    std::string out = "method ";
    DumpText(out, message.GetMethodNS(), message.GetMethodName());
    out += message.IsSOAPFault() ? "\nfault " : "\nno fault ";
    DumpText(out, message.GetSOAPFaultCode(), message.GetSOAPFaultString(),
             message.GetSOAPFaultActor());
    out += message.GetSOAPFaultNeedDetail() ? " detail" : " -";
    out += message.IsLocalFault() ? " local" : " received";
    out += message.IsLiteralFault() ? " literal" : "";
    WMString ns;
    WMString name;
    WMString actor;
    WMString xml;
    WMString style;
    WMSOAPStructMember value;
    bool mustUnderstand = false;
    bool isInput = false;
    bool isOutput = false;
    long position = 0;
    for (bool more = message.GetFirstHeaderElem(ns, name, value, mustUnderstand, actor, position);
         more; more = message.GetNextHeaderElem(ns, name, value, mustUnderstand, actor, position)) {
        out += "\nheader ";
        DumpText(out, ns, name, actor);
        out += mustUnderstand ? " mu " : " - ";
        DumpValue(out, value);
    }
    for (bool more =
             message.GetFirstHeaderElemLit(ns, name, xml, mustUnderstand, actor, style, position);
         more; more = message.GetNextHeaderElemLit(ns, name, xml, mustUnderstand, actor, style,
                                                   position)) {
        out += "\nliteral header ";
        DumpText(out, ns, name, actor, style);
        out += mustUnderstand ? " mu " : " - ";
        DumpText(out, xml);
    }
    for (bool more = message.GetFirstFaultDetailElem(ns, name, value, position); more;
         more = message.GetNextFaultDetailElem(ns, name, value, position)) {
        out += "\ndetail ";
        DumpText(out, ns, name);
        DumpValue(out, value);
    }
    for (bool more = message.GetFirstMethodParam(ns, name, value, isInput, isOutput, position);
         more; more = message.GetNextMethodParam(ns, name, value, isInput, isOutput, position)) {
        out += "\nparam ";
        DumpText(out, ns, name);
        out += isInput ? " in" : " -";
        out += isOutput ? " out " : " - ";
        DumpValue(out, value);
    }
    out += "\nreturn ";
    DumpValue(out, message.GetReturnValue());
    out += "\nbody ";
    if (message.GetBodyElemLit(xml)) {
        DumpText(out, xml);
    }
    return out;
}

// Reads `input` into a new message, the exported way or (`fast`) the library's own, and prints
// the message and the fault thrown. A response is read twice into the same message, as a client
// reads one answer after another (parse-error lines count on).
inline std::string ReadAndDump(WMSOAPWSDLClient& wsdl, ReadInput const& input, bool fast) {
    WMSOAPMessage message;
    message.SetActorURI(input.actorURI);
    message.SetStandardWireMode(input.standard);
    std::string out;
    int const reads = input.request ? 1 : 2;
    for (int read = 0; read < reads; ++read) {
        message.SetBuffer(input.text);
        if (input.request) {
            message.Initialize(nullptr, 0, WMString(), WMString(), input.actorURI, input.soapAction,
                               WMString(), false);
        } else {
            message.ClearMethodParams();
            message.ClearHeaderElems();
            message.SetRequestPhase(false);
            message.SetMethodName(input.operation);
        }
        out += "\n== read\n";
        try {
            if (!fast) {
                message.Deserialize(wsdl);
                message.ProcessRPC(wsdl);
            } else if (input.request) {
                corvane::detail::ReadRequest(message, wsdl);
            } else {
                corvane::detail::ReadResponse(message, wsdl);
            }
            out += "read\n";
        } catch (WMSOAPFault* raised) {
            std::unique_ptr<WMSOAPFault> fault(raised);
            out += "thrown ";
            DumpText(out, fault->GetFaultCode(), fault->GetFaultString(), fault->GetFaultActor());
            out += fault->GetNeedDetail() ? " detail\n" : " -\n";
        }
        out += DumpMessage(message);
    }
    return out;
}

}  // namespace corvane::test

#endif
