// The reverse of Show (values.h): a value from its text, so that tables of values can live in
// data files; and a whole call and its outcome as lines of that text. A number with '.', an
// exponent, "inf" or "nan" is a double (C's hexadecimal form too), any other number an integer;
// a string takes \uXXXX for any code unit (a quote or a backslash inside must be one, as must a
// character beyond the BMP) and UTF-8 for the rest. Header only, on the exported interface
// alone. A malformed text throws a std::logic_error.
#ifndef CORVANE_TESTS_SUPPORT_VALUE_TEXT_H
#define CORVANE_TESTS_SUPPORT_VALUE_TEXT_H

#include <corvane/client.h>
#include <corvane/utf8.h>
#include <corvane/values.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/values.h"

namespace corvane::test {

inline WMSOAPStructMember ValueAt(const std::string& text, std::size_t& at);

inline WMSOAPStructType StructAt(const std::string& text, std::size_t& at) {
    WMSOAPStructType value;
    for (++at; text.at(at) != '}'; at += text[at] == ',') {
        const std::size_t equals = text.find('=', at);
        WMString name;
        UTF8ToWideString(text.substr(at, equals - at), name);
        at = equals + 1;
        WMSOAPStructMember member = ValueAt(text, at);
        member.SetName(name);
        value.SetMember(member);
    }
    ++at;
    return value;
}

inline WMSOAPStructMember ValueAt(const std::string& text, std::size_t& at) {
    if (text.at(at) == '{') {
        return WMSOAPStructMember(u"", StructAt(text, at));
    }
    if (text[at] == '[') {
        std::vector<WMSOAPStructType> items;
        for (++at; text.at(at) != ']'; at += text[at] == ',') {
            items.push_back(StructAt(text, at));
        }
        ++at;
        return WMSOAPStructMember(u"", items);
    }
    if (text[at] == '"') {
        WMString value;
        for (++at; text.at(at) != '"';) {
            const std::size_t end = std::min(text.find('"', at), text.find('\\', at));
            WMString piece;
            UTF8ToWideString(text.substr(at, end - at), piece);
            value += piece;
            at = end;
            if (text.at(at) == '\\') {
                value += static_cast<WMChar>(std::stoul(text.substr(at + 2, 4), nullptr, 16));
                at += 6;
            }
        }
        ++at;
        return WMSOAPStructMember(u"", value);
    }
    const std::size_t end = std::min(text.find_first_of(",}]", at), text.size());
    const std::string token = text.substr(at, end - at);
    at = end;
    if (token == "nil") {
        return WMSOAPStructMember();
    }
    if (token.find_first_of(".eEpPnN") != std::string::npos) {
        return WMSOAPStructMember(u"", std::strtod(token.c_str(), nullptr));
    }
    return WMSOAPStructMember(u"", std::stoi(token));
}

// The value that the whole of `text` shows.
inline WMSOAPStructMember ValueOf(const std::string& text) {
    std::size_t at = 0;
    WMSOAPStructMember value = ValueAt(text, at);
    return at == text.size() ? value : throw std::out_of_range("trailing text: " + text);
}

// Calls the call as the tables write it, `operation {parameters}` with each parameter named by
// its part. The result: the return value and then every parameter named output... as Show
// prints a struct exactly, {return=...,outputX=...}; or "fault " and FaultOf's text; or
// "failed: " with that and what was sent and received.
inline std::string CallOf(WMSOAPClient& client, const std::string& call) {
    const std::size_t space = call.find(' ');
    std::vector<WMString> names;
    std::vector<WMSOAPStructMember> params;
    for (const auto& param : MembersOf(ValueOf(call.substr(space + 1)).StructValue())) {
        names.push_back(param.first);
        params.push_back(param.second);
    }
    WMString operation;
    UTF8ToWideString(call.substr(0, space), operation);
    WMSOAPStructMember returned(u"", WMString(u"unchanged"));
    if (!client.InvokeSOAPMethod(operation, names.data(), params.data(),
                                 static_cast<int>(params.size()), returned)) {
        return "failed: " + FaultOf(client) + "; sent " + Utf8(*client.GetXMLOut()) +
               "; received " + Utf8(client.GetXMLIn());
    }
    if (client.IsSOAPFault()) {
        return "fault " + FaultOf(client);
    }
    WMSOAPStructType shown;
    returned.SetName(u"return");
    shown.SetMember(returned);
    for (const WMSOAPStructMember& param : params) {
        if (param.GetName().rfind(u"output", 0) == 0) {
            shown.SetMember(param);
        }
    }
    return ShowStruct(shown, true);
}

// What CallOf gives when it gives `text`: a value shown exactly; any other text as it is.
inline std::string Exactly(const std::string& text) {
    return text.rfind('{', 0) == 0 ? Show(ValueOf(text), true) : text;
}

}  // namespace corvane::test

#endif
