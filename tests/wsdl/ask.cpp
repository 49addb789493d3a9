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
    // Names, or "false" when the first query of the walk answers false.
    const auto walk = [&](auto first, auto next) {
        long index = -1;
        std::string names;
        for (bool more = first(index); more; more = next(index)) {
            names += (names.empty() ? "" : " ") + Narrow(out);
        }
        return names.empty() ? std::string("false") : names;
    };
    const std::map<std::string, std::function<std::string()>> queries = {
        // The endpoint of the chosen port, and the definitions' target namespace.
        {"host", [&] { return Narrow(client.GetSOAPSvcHost()); }},
        {"uri", [&] { return Narrow(client.GetSOAPSvcURI()); }},
        {"port", [&] { return std::to_string(client.GetSOAPSvcPortNbr()); }},
        {"ssl", [&] { return std::to_string(client.GetSSLEnabled()); }},
        {"TNS", [&] { return Narrow(client.GetDefinitionsTNS()); }},
        {"MethodSOAPAction", [&] { return text(client.GetMethodSOAPAction(a[0], out)); }},
        {"MethodNamespaceURI", [&] { return text(client.GetMethodNamespaceURI(a[0], out)); }},
        {"SOAPInputBodyUse", [&] { return text(client.GetSOAPInputBodyUse(a[0], out)); }},
        {"SOAPOutputBodyUse", [&] { return text(client.GetSOAPOutputBodyUse(a[0], out)); }},
        {"SOAPInputBodyEncStyle", [&] { return text(client.GetSOAPInputBodyEncStyle(a[0], out)); }},
        {"SOAPOutputBodyEncStyle",
         [&] { return text(client.GetSOAPOutputBodyEncStyle(a[0], out)); }},
        {"SOAPBindingStyle", [&] { return text(client.GetSOAPBindingStyle(out)); }},
        {"SOAPBindingTransport", [&] { return text(client.GetSOAPBindingTransport(out)); }},
        {"OpBindingStyle", [&] { return text(client.GetOpBindingStyle(a[0], out)); }},
        {"OpNamesBySOAPAction", [&] { return type(client.GetOpNamesBySOAPAction(a[0], out, ns)); }},
        {"InputMsgPartType", [&] { return type(client.GetInputMsgPartType(a[0], a[1], out, ns)); }},
        {"OutputMsgPartType",
         [&] { return type(client.GetOutputMsgPartType(a[0], a[1], out, ns)); }},
        {"OperationReturnType",
         [&] { return type(client.GetOperationReturnType(a[0], a[1], out, ns)); }},
        {"IsInputMsgPart", [&] { return flag(client.IsInputMsgPart(a[0], a[1])); }},
        {"IsOutputMsgPart", [&] { return flag(client.IsOutputMsgPart(a[0], a[1])); }},
        {"IsOperationParam", [&] { return flag(client.IsOperationParam(a[0], a[1])); }},
        {"OperationParamIndex",
         [&] {
             long index = -1;
             bool ok = client.GetOperationParamIndex(a[0], a[1], &index);
             return ok ? std::to_string(index) : "false";
         }},
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
        {"InputHeaderPartType",
         [&] { return type(client.GetInputHeaderPartType(a[0], a[1], a[2], out, ns)); }},
        {"OutputHeaderPartType",
         [&] { return type(client.GetOutputHeaderPartType(a[0], a[1], a[2], out, ns)); }},
        {"InHeaderFaultPartType",
         [&] { return type(client.GetInHeaderFaultPartType(a[0], a[1], a[2], out, ns)); }},
        {"OutHeaderFaultPartType",
         [&] { return type(client.GetOutHeaderFaultPartType(a[0], a[1], a[2], out, ns)); }},
        {"FaultDetailPartType",
         [&] { return type(client.GetFaultDetailPartType(a[0], a[1], a[2], out, ns)); }},
        {"ArrayType", [&] { return type(client.GetArrayType(a[0], a[1], out, ns)); }},
        {"ArrayDims",
         [&] {
             unsigned int dims = 0;
             return client.GetArrayDims(a[0], a[1], dims) ? std::to_string(dims) : "false";
         }},
        {"ComplexBaseType", [&] { return type(client.GetComplexBaseType(a[0], a[1], out, ns)); }},
        {"HeaderElemType", [&] { return type(client.GetHeaderElemType(a[0], a[1], out, ns)); }},
        {"StructMemberType",
         [&] { return type(client.GetStructMemberType(a[0], a[1], a[2], a[3], out, ns)); }},
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
    const auto found = queries.find(name);
    if (found == queries.end()) {
        ADD_FAILURE() << "no query " << name;
        return "?";
    }
    return found->second();
}

}  // namespace corvane::test
