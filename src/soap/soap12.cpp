#include "soap/soap12.h"

#include "xml/model_impl.h"
#include "xml/reader.h"

#include <algorithm>
#include <cctype>

namespace corvane::detail::soap12 {

namespace {

using View = std::u16string_view;

constexpr View kCallerPrefix = u"SOAP-ENV:";

bool EqualsNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

View TrimXml(View text) {
    auto const space = [](char16_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool InNamespace(XMLNode const& node, View ns) {
    return node.ns != nullptr && node.ns->uri == ns;
}

XMLNode const* Child(XMLNode const& parent, View ns, View local) {
    for (XMLNode const* child = parent.firstChild; child; child = child->nextSibling) {
        if (child->Local() == local && InNamespace(*child, ns)) {
            return child;
        }
    }
    return nullptr;
}

// The namespace a QName-valued text's prefix has at `node`.
WMString ResolvePrefix(XMLNode const& node, View prefix) {
    for (XMLReadScope const* scope = node.scope; scope; scope = scope->parent) {
        if (prefix.empty()) {
            return scope->defaultNS ? WMString(scope->defaultNS->uri) : WMString();
        }
        for (std::uint32_t i = 0; i < scope->count; ++i) {
            if (scope->entries[i].prefix == prefix) {
                return WMString(scope->entries[i].uri->uri);
            }
        }
    }
    return WMString();
}

Code ReadQName(XMLNode const& value) {
    View const text = TrimXml(value.text);
    auto const colon = text.find(u':');
    View const prefix = colon == View::npos ? View() : text.substr(0, colon);
    return Code{ResolvePrefix(value, prefix),
                WMString(colon == View::npos ? text : text.substr(colon + 1))};
}

void Element(WMString& out, View name, View text) {
    out.append(u"<").append(name).append(u">");
    AppendEscapedContent(out, text);
    out.append(u"</").append(name).append(u">");
}

void WriteSubcodes(std::vector<Code> const& subcodes, std::size_t index, WMString& out) {
    if (index == subcodes.size()) {
        return;
    }
    // Each subcode value declares its own prefix, so that nesting needs no bookkeeping.
    out.append(u"<env:Subcode><env:Value xmlns:sc=\"");
    AppendEscapedAttribute(out, subcodes[index].ns);
    out.append(u"\">sc:");
    AppendEscapedContent(out, subcodes[index].local);
    out.append(u"</env:Value>");
    WriteSubcodes(subcodes, index + 1, out);
    out.append(u"</env:Subcode>");
}

}  // namespace

std::string RequestContentType(std::string_view action) {
    std::string type = kContentType;
    if (action.empty()) {
        return type;
    }
    type += "; action=\"";
    for (char c : action) {
        if (c == '"' || c == '\\') {
            type += '\\';
        }
        type += c;
    }
    type += '"';
    return type;
}

bool ParseContentType(std::string_view header, MediaType& type) {
    type = MediaType();
    auto semicolon = header.find(';');
    std::string_view const media = Trim(header.substr(0, semicolon));
    if (media.find('/') == std::string_view::npos) {
        return false;
    }
    type.soap12 = EqualsNoCase(media, "application/soap+xml");
    while (semicolon != std::string_view::npos) {
        header.remove_prefix(semicolon + 1);
        auto const equals = header.find('=');
        if (equals == std::string_view::npos) {
            return true;
        }
        std::string_view const name = Trim(header.substr(0, equals));
        header.remove_prefix(equals + 1);
        while (!header.empty() && (header.front() == ' ' || header.front() == '\t')) {
            header.remove_prefix(1);
        }
        std::string value;
        if (!header.empty() && header.front() == '"') {
            // A quoted string may hold ';', and '\' escapes the next character.
            std::size_t i = 1;
            for (; i < header.size() && header[i] != '"'; ++i) {
                if (header[i] == '\\' && i + 1 < header.size()) {
                    ++i;
                }
                value += header[i];
            }
            header.remove_prefix(std::min(i + 1, header.size()));
            semicolon = header.find(';');
        } else {
            semicolon = header.find(';');
            value = std::string(Trim(header.substr(0, semicolon)));
        }
        if (EqualsNoCase(name, "action")) {
            type.hasAction = true;
            type.action = std::move(value);
        }
    }
    return true;
}

int EnvelopeVersion(XMLNode const& root) {
    if (root.Local() != u"Envelope") {
        return 0;
    }
    if (InNamespace(root, kEnvelope11NS)) {
        return 11;
    }
    return InNamespace(root, kEnvelopeNS) ? 12 : 0;
}

Code ValueOf(View callerCode) {
    View local = callerCode.substr(callerCode.find(u':') + 1);  // npos + 1 keeps it whole
    local = local.substr(0, local.find(u'.'));
    Code code{WMString(kEnvelopeNS), WMString()};
    if (local == u"Client" || local == u"Sender") {
        code.local = u"Sender";
    } else if (local == u"VersionMismatch" || local == u"MustUnderstand" ||
               local == u"DataEncodingUnknown" || local == u"Receiver") {
        code.local = WMString(local);
    } else {
        code.local = u"Receiver";
    }
    return code;
}

WMString CallerCode(Code const& value) {
    WMString code(kCallerPrefix);
    if (value.ns != kEnvelopeNS || value.local == u"Receiver") {
        return code.append(u"Server");
    }
    return code.append(value.local == u"Sender" ? View(u"Client") : View(value.local));
}

void OpenEnvelope(int version, WMString& out) {
    out.append(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    if (version == 12) {
        out.append(u"<env:Envelope xmlns:env=\"").append(kEnvelopeNS).append(u"\"><env:Body>");
    } else {
        out.append(u"<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"")
            .append(kEnvelope11NS)
            .append(u"\"><SOAP-ENV:Body>");
    }
}

void CloseEnvelope(int version, WMString& out) {
    out.append(version == 12 ? View(u"</env:Body></env:Envelope>")
                             : View(u"</SOAP-ENV:Body></SOAP-ENV:Envelope>"));
}

void WriteFault(int version, Fault const& fault, WMString& out) {
    OpenEnvelope(version, out);
    if (version == 12) {
        Code const value = ValueOf(fault.code);
        out.append(u"<env:Fault><env:Code><env:Value>env:").append(value.local);
        out.append(u"</env:Value>");
        WriteSubcodes(fault.subcodes, 0, out);
        out.append(u"</env:Code><env:Reason><env:Text xml:lang=\"");
        AppendEscapedAttribute(out, fault.lang.empty() ? View(u"en") : View(fault.lang));
        out.append(u"\">");
        AppendEscapedContent(out, fault.reason);
        out.append(u"</env:Text></env:Reason>");
        if (!fault.node.empty()) {
            Element(out, u"env:Node", fault.node);
        }
        if (!fault.role.empty()) {
            Element(out, u"env:Role", fault.role);
        }
        if (fault.hasDetail) {
            out.append(u"<env:Detail>").append(fault.detail).append(u"</env:Detail>");
        }
        out.append(u"</env:Fault>");
    } else {
        out.append(u"<SOAP-ENV:Fault>");
        Element(out, u"faultcode", fault.code);
        Element(out, u"faultstring", fault.reason);
        if (!fault.node.empty()) {
            Element(out, u"faultactor", fault.node);
        }
        if (fault.hasDetail) {
            out.append(u"<detail>").append(fault.detail).append(u"</detail>");
        }
        out.append(u"</SOAP-ENV:Fault>");
    }
    CloseEnvelope(version, out);
}

void DeclareXmlPrefix(WMString& text) {
    bool used = false;
    for (auto at = text.find(u"xml:"); at != WMString::npos && !used;
         at = text.find(u"xml:", at + 4)) {
        char16_t const before = at ? text[at - 1] : u'<';
        used = before == u' ' || before == u'\t' || before == u'\n' || before == u'\r';
    }
    if (!used || text.find(u"xmlns:xml=") != WMString::npos) {
        return;
    }
    // The root's name ends the first tag that is neither a declaration, a comment nor a
    // processing instruction.
    for (auto open = text.find(u'<'); open != WMString::npos; open = text.find(u'<', open + 1)) {
        if (open + 1 < text.size() && text[open + 1] != u'?' && text[open + 1] != u'!') {
            auto const end = text.find_first_of(u" \t\r\n/>", open + 1);
            if (end != WMString::npos) {
                text.insert(end, u" xmlns:xml=\"http://www.w3.org/XML/1998/namespace\"");
            }
            return;
        }
    }
}

bool ReadFault(XMLNode const& envelope, Fault& fault) {
    int const version = EnvelopeVersion(envelope);
    View const ns = version == 12 ? kEnvelopeNS : kEnvelope11NS;
    XMLNode const* const body = version ? Child(envelope, ns, u"Body") : nullptr;
    XMLNode const* const node = body ? Child(*body, ns, u"Fault") : nullptr;
    if (node == nullptr) {
        return false;
    }
    fault = Fault();
    XMLNode const* detail = nullptr;
    if (version == 11) {
        // 1.1's fault children are unqualified.
        if (XMLNode const* code = Child(*node, u"", u"faultcode")) {
            fault.code = WMString(TrimXml(code->text));
            fault.value = ValueOf(fault.code);
        }
        if (XMLNode const* reason = Child(*node, u"", u"faultstring")) {
            fault.reason = WMString(reason->text);
        }
        if (XMLNode const* actor = Child(*node, u"", u"faultactor")) {
            fault.node = WMString(actor->text);
        }
        detail = Child(*node, u"", u"detail");
    } else {
        XMLNode const* const code = Child(*node, ns, u"Code");
        if (XMLNode const* value = code ? Child(*code, ns, u"Value") : nullptr) {
            fault.value = ReadQName(*value);
        }
        fault.code = CallerCode(fault.value);
        for (XMLNode const* sub = code ? Child(*code, ns, u"Subcode") : nullptr; sub;
             sub = Child(*sub, ns, u"Subcode")) {
            if (XMLNode const* value = Child(*sub, ns, u"Value")) {
                fault.subcodes.push_back(ReadQName(*value));
            }
        }
        if (XMLNode const* reason = Child(*node, ns, u"Reason")) {
            // The first text stands for all: a client shows one language.
            if (XMLNode const* text = Child(*reason, ns, u"Text")) {
                fault.reason = WMString(text->text);
                for (std::uint32_t i = 0; i < text->attrCount; ++i) {
                    if (text->attrs[i].qname == u"xml:lang") {
                        fault.lang = WMString(text->attrs[i].value);
                    }
                }
            }
        }
        if (XMLNode const* faultNode = Child(*node, ns, u"Node")) {
            fault.node = WMString(TrimXml(faultNode->text));
        }
        if (XMLNode const* role = Child(*node, ns, u"Role")) {
            fault.role = WMString(TrimXml(role->text));
        }
        detail = Child(*node, ns, u"Detail");
    }
    if (detail != nullptr) {
        fault.hasDetail = true;
        // Each entry stands alone, with every prefix it has in scope declared on it.
        for (XMLNode const* child = detail->firstChild; child; child = child->nextSibling) {
            SerializeNode(*child, nullptr, fault.detail);
        }
    }
    return true;
}

}  // namespace corvane::detail::soap12
