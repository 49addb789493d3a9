#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {

std::string Ask(WMSOAPWSDLClient& client, const std::string& query) {
    using Args = std::vector<WMString>;
    const std::size_t space = query.find(' ');
    const std::string name = query.substr(0, space);
    Args a;
    for (std::size_t at = space; at != std::string::npos;) {
        const std::size_t bar = query.find('|', at + 1);
        a.push_back(Widen(query.substr(at + 1, bar == std::string::npos ? bar : bar - at - 1)));
        at = bar;
    }
    a.resize(4);
    WMString out;
    WMString ns;
    const auto text = [&](bool ok) { return ok ? Narrow(out) : std::string("false"); };
    const auto type = [&](bool ok) {
        return ok ? "{" + Narrow(ns) + "}" + Narrow(out) : std::string("false");
    };
    const auto flag = [](bool ok) { return std::string(ok ? "true" : "false"); };
    long position = -1;
    unsigned int dims = 0;
    const auto number = [](bool ok, const auto& n) { return ok ? std::to_string(n) : "false"; };
    // Names, or "false" when the first query of the walk answers false.
    const auto walk = [&](auto first, auto next) {
        long index = -1;
        std::string names;
        for (bool more = first(index); more; more = next(index)) {
            names += (names.empty() ? "" : " ") + Narrow(out);
        }
        return names.empty() ? std::string("false") : names;
    };
    // A query that fills `out` (TEXT), or `out` and `ns` (TYPE).
#define TEXT(call) [&] { return text(client.Get##call); }
#define TYPE(call) [&] { return type(client.Get##call); }
    const std::map<std::string, std::function<std::string()>> queries = {
        // The endpoint of the chosen port, and the definitions' target namespace.
        {"host", [&] { return Narrow(client.GetSOAPSvcHost()); }},
        {"uri", [&] { return Narrow(client.GetSOAPSvcURI()); }},
        {"port", [&] { return std::to_string(client.GetSOAPSvcPortNbr()); }},
        {"ssl", [&] { return std::to_string(client.GetSSLEnabled()); }},
        {"TNS", [&] { return Narrow(client.GetDefinitionsTNS()); }},
        {"SOAPBindingStyle", [&] { return text(client.GetSOAPBindingStyle(out)); }},
        {"SOAPBindingTransport", [&] { return text(client.GetSOAPBindingTransport(out)); }},
        {"MethodSOAPAction", TEXT(MethodSOAPAction(a[0], out))},
        {"MethodNamespaceURI", TEXT(MethodNamespaceURI(a[0], out))},
        {"SOAPInputBodyUse", TEXT(SOAPInputBodyUse(a[0], out))},
        {"SOAPOutputBodyUse", TEXT(SOAPOutputBodyUse(a[0], out))},
        {"SOAPInputBodyEncStyle", TEXT(SOAPInputBodyEncStyle(a[0], out))},
        {"SOAPOutputBodyEncStyle", TEXT(SOAPOutputBodyEncStyle(a[0], out))},
        {"OpBindingStyle", TEXT(OpBindingStyle(a[0], out))},
        {"OpNamesBySOAPAction", TYPE(OpNamesBySOAPAction(a[0], out, ns))},
        {"InputMsgPartType", TYPE(InputMsgPartType(a[0], a[1], out, ns))},
        {"OutputMsgPartType", TYPE(OutputMsgPartType(a[0], a[1], out, ns))},
        {"OperationReturnType", TYPE(OperationReturnType(a[0], a[1], out, ns))},
        {"ArrayType", TYPE(ArrayType(a[0], a[1], out, ns))},
        {"ComplexBaseType", TYPE(ComplexBaseType(a[0], a[1], out, ns))},
        {"HeaderElemType", TYPE(HeaderElemType(a[0], a[1], out, ns))},
        {"InputHeaderPartType", TYPE(InputHeaderPartType(a[0], a[1], a[2], out, ns))},
        {"OutputHeaderPartType", TYPE(OutputHeaderPartType(a[0], a[1], a[2], out, ns))},
        {"InHeaderFaultPartType", TYPE(InHeaderFaultPartType(a[0], a[1], a[2], out, ns))},
        {"OutHeaderFaultPartType", TYPE(OutHeaderFaultPartType(a[0], a[1], a[2], out, ns))},
        {"FaultDetailPartType", TYPE(FaultDetailPartType(a[0], a[1], a[2], out, ns))},
        {"StructMemberType", TYPE(StructMemberType(a[0], a[1], a[2], a[3], out, ns))},
        {"IsInputMsgPart", [&] { return flag(client.IsInputMsgPart(a[0], a[1])); }},
        {"IsOutputMsgPart", [&] { return flag(client.IsOutputMsgPart(a[0], a[1])); }},
        {"IsOperationParam", [&] { return flag(client.IsOperationParam(a[0], a[1])); }},
        {"OperationParamIndex",
         [&] { return number(client.GetOperationParamIndex(a[0], a[1], &position), position); }},
        {"ArrayDims", [&] { return number(client.GetArrayDims(a[0], a[1], dims), dims); }},
        {"InParams",
         [&] {
             return walk([&](long& i) { return client.GetFirstInParamName(a[0], out, i); },
                         [&](long& i) { return client.GetNextInParamName(a[0], out, i); });
         }},
        {"OutParams",
         [&] {
             return walk([&](long& i) { return client.GetFirstOutParamName(a[0], out, i); },
                         [&](long& i) { return client.GetNextOutParamName(a[0], out, i); });
         }},
        // Each member as name{memberNS}:{typeNS}type.
        {"StructMembers",
         [&] {
             WMString member;
             WMString memberNS;
             const auto show = [&](bool more) {
                 out = member + u"{" + memberNS + u"}:{" + ns + u"}" + out;
                 return more;
             };
             return walk(
                 [&](long& i) {
                     return show(
                         client.GetFirstStructMember(a[0], a[1], member, memberNS, out, ns, i));
                 },
                 [&](long& i) {
                     return show(
                         client.GetNextStructMember(a[0], a[1], member, memberNS, out, ns, i));
                 });
         }},
    };
#undef TEXT
#undef TYPE
    const auto found = queries.find(name);
    if (found == queries.end()) {
        ADD_FAILURE() << "no query " << name;
        return "?";
    }
    return found->second();
}

}  // namespace corvane::test
