// Values of the exported model as short text, so a test compares a whole value in one line:
// numbers as they print, strings in quotes, structs as {name=value,...}, arrays as [{...},...]
// and an empty value as nil; and a client's fault likewise. Header only: it uses the exported
// interface alone, so programs on the subsystems and programs on the shared library both use it.
#ifndef CORVANE_TESTS_SUPPORT_VALUES_H
#define CORVANE_TESTS_SUPPORT_VALUES_H

#include <corvane/client.h>
#include <corvane/utf8.h>
#include <corvane/values.h>

#include <sstream>
#include <string>

namespace corvane::test {

inline std::string Utf8(const WMString& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

inline std::string Show(const WMSOAPStructMember& constMember);

inline std::string ShowStruct(const WMSOAPStructType& value) {
    std::string out = "{";
    WMString name;
    WMSOAPStructMember member;
    long position = 0;
    for (bool more = value.GetFirstMember(&name, member, &position); more;
         more = value.GetNextMember(&name, member, &position)) {
        out += (out.size() > 1 ? "," : "") + Utf8(name) + "=" + Show(member);
    }
    return out + "}";
}

inline std::string Show(const WMSOAPStructMember& constMember) {
    WMSOAPStructMember member = constMember;
    std::ostringstream out;
    switch (member.GetDataType()) {
        case WMSOAPStructMember::SOAPDataMember::SOAP_LONG:
            out << member.LongValue();
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_DOUBLE:
            out << member.DoubleValue();
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRING:
            out << '"' << Utf8(member.StringValue()) << '"';
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRUCT:
            out << ShowStruct(member.StructValue());
            break;
        case WMSOAPStructMember::SOAPDataMember::SOAP_ARRAY: {
            out << "[";
            bool first = true;
            for (const WMSOAPStructType& item : member.ArrayValue()) {
                out << (first ? "" : ",") << ShowStruct(item);
                first = false;
            }
            out << "]";
            break;
        }
        default:
            out << "nil";
            break;
    }
    return out.str();
}

// The fault a client holds as "code|string|actor"; "none" without one.
inline std::string FaultOf(WMSOAPClient& client) {
    WMString code, text, actor;
    if (!client.IsSOAPFault() || !client.GetSOAPFaultCode(code) ||
        !client.GetSOAPFaultString(text)) {
        return "none";
    }
    client.GetSOAPFaultActor(actor);
    return Utf8(code) + "|" + Utf8(text) + "|" + Utf8(actor);
}

}  // namespace corvane::test

#endif
