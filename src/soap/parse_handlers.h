// Handlers that split an incoming SOAP envelope into header entries, body, method element and
// parameter elements while the XML parser reports it. Internal to the deserializers.
#ifndef CORVANE_SOAP_PARSE_HANDLERS_H
#define CORVANE_SOAP_PARSE_HANDLERS_H

#include <corvane/types.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace corvane {

namespace soapuri {
inline constexpr std::u16string_view kEnvelope = u"http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::u16string_view kEncoding = u"http://schemas.xmlsoap.org/soap/encoding/";
inline constexpr std::u16string_view kNextActor = u"http://schemas.xmlsoap.org/soap/actor/next";
inline constexpr std::u16string_view kXSD2001 = u"http://www.w3.org/2001/XMLSchema";
inline constexpr std::u16string_view kXSD1999 = u"http://www.w3.org/1999/XMLSchema";
inline constexpr std::u16string_view kXSD2000 = u"http://www.w3.org/2000/10/XMLSchema";
inline constexpr std::u16string_view kXSI2001 = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr std::u16string_view kXSI1999 = u"http://www.w3.org/1999/XMLSchema-instance";
inline constexpr std::u16string_view kXSI2000 = u"http://www.w3.org/2000/10/XMLSchema-instance";
}  // namespace soapuri

// The fault texts of attribute readings, shared by the parse handlers and the envelope reader,
// which must raise the same texts for the same input (the first keeps its two full stops).
namespace readfault {
inline constexpr char16_t kArrayTypePrefix[] =
    u"Encountered undeclared namespace prefix for attribute 'arrayType' on element..";
inline constexpr char16_t kArrayTypeDefault[] =
    u"Encountered unresolvable namespace for attribute 'arrayType' on element.";
inline constexpr char16_t kTypePrefix[] =
    u"Encountered undeclared namespace prefix for attribute 'type' on element.";
inline constexpr char16_t kTypeDefault[] =
    u"Encountered unresolvable namespace for attribute 'type' on element.";
inline constexpr char16_t kOffset[] =
    u"Invalid value for attribute 'offset' or 'arrayType' on element.";
}  // namespace readfault

using NSMap = std::map<WMString, WMString>;

// Text that is most often one of the standard URIs (encoding style, type namespaces): those are
// referred to rather than copied, which saves an allocation per element of a large envelope.
class URIText {
public:
    URIText& operator=(WMString const& text);
    WMString const& Get() const { return m_known != nullptr ? *m_known : m_own; }
    bool empty() const { return Get().empty(); }

private:
    WMString const* m_known = nullptr;
    WMString m_own;
};

class WMSOAPParamHandler;
using IdTable = std::map<WMString, WMSOAPParamHandler*>;

// Throws the SOAP fault (code, text, flag) that a deserializer lets pass to its caller.
[[noreturn]] void ThrowSOAPFault(std::u16string_view code, WMString const& text, bool flag);

class WMSOAPEventHandler {
public:
    virtual ~WMSOAPEventHandler();
    // Returns the handler for a child element, or null to swallow it.
    virtual WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                             WMString const& qName, WMXMLAttributeMap& attributes,
                                             NSMap const& nsMap, WMXMLElement* element) = 0;
    virtual bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                            WMXMLElement* element);
    virtual void Characters(WMString const& text);
    // True for the handlers that free themselves at their end event; the parse-event handler
    // frees those still on its stack when a parse is abandoned part-way.
    virtual bool DeletesItself() const { return false; }
};

// Swallows an element and everything inside it. It has no state, so the parse-event handler
// keeps one instance and pushes it for every swallowed element instead of allocating one each.
class WMSOAPNullHandler : public WMSOAPEventHandler {
public:
    WMSOAPEventHandler* StartElement(WMString const&, WMString const&, WMString const&,
                                     WMXMLAttributeMap&, NSMap const&, WMXMLElement*) override {
        return nullptr;
    }
};

class WMSOAPCharacterHandler : public WMSOAPEventHandler {
public:
    explicit WMSOAPCharacterHandler(WMString* target) : m_target(target) {}
    WMSOAPEventHandler* StartElement(WMString const&, WMString const&, WMString const&,
                                     WMXMLAttributeMap&, NSMap const&, WMXMLElement*) override {
        return nullptr;
    }
    bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                    WMXMLElement* element) override;
    void Characters(WMString const& text) override { *m_target = text; }
    bool DeletesItself() const override { return true; }

private:
    WMString* m_target;
};

class WMSOAPElemHandler : public WMSOAPEventHandler {
public:
    WMSOAPElemHandler() = default;
    WMSOAPElemHandler(WMString const& ns, WMString const& localName)
        : m_localName(localName), m_ns(ns) {}
    WMSOAPElemHandler(WMSOAPElemHandler const&) = delete;
    WMSOAPElemHandler& operator=(WMSOAPElemHandler const&) = delete;

    bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                    WMXMLElement* element) override;
    virtual void ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const& nsMap);

    WMString const& GetLocalName() const { return m_localName; }
    WMString const& GetNS() const { return m_ns; }
    WMString const& GetEncodingStyle() const { return m_encodingStyle.Get(); }
    void SetEncodingStyle(WMString const& style) { m_encodingStyle = style; }
    void SetEncodingStyle(URIText const& style) { m_encodingStyle = style; }
    // Valid while the deserializer that parsed it is inside Deserialize: the response reader
    // frees the document once the header entries and the body have been taken as text.
    WMXMLElement* GetElement() const { return m_element; }

protected:
    // Writes the effective encodingStyle onto the element when it does not carry its own.
    void MakeEncodingExplicit(WMXMLElement* element) const;

    WMString m_localName;
    WMString m_ns;
    URIText m_encodingStyle;
    WMXMLElement* m_element = nullptr;
};

class WMSOAPParamHandler : public WMSOAPElemHandler {
public:
    WMSOAPParamHandler(WMString const& ns, WMString const& localName, IdTable* ids)
        : WMSOAPElemHandler(ns, localName), m_ids(ids) {}
    ~WMSOAPParamHandler() override;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;
    void Characters(WMString const& text) override { m_value = text; }
    void ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const& nsMap) override;

    WMString const& GetId() const { return Rare().id; }
    WMString const& GetHref() const { return Rare().href; }
    WMString const& GetRoot() const { return Rare().root; }
    WMString const& GetTypeName() const { return m_typeName; }
    WMString const& GetTypeNS() const { return m_typeNS.Get(); }
    WMString const& GetNullValue() const { return Rare().nullValue; }
    WMString const& GetOffsetText() const { return Rare().offsetText; }
    std::vector<std::int32_t> const& GetOffsets() const { return Rare().offsets; }
    std::vector<std::int32_t> const& GetDimensions() const { return Rare().dimensions; }
    std::int32_t GetExpectedCount() const { return Rare().expectedCount; }
    WMString const& GetArrayType() const { return Rare().arrayType; }
    WMString const& GetArrayTypeNS() const { return Rare().arrayTypeNS; }
    WMString const& GetValue() const { return m_value; }
    std::vector<WMSOAPParamHandler*> const& GetChildren() const { return m_children; }
    bool IsNil() const { return GetNullValue() == u"true" || GetNullValue() == u"1"; }

protected:
    // Builds a child parameter handler: encodingStyle inherited, attributes processed, entered
    // in the id table. The caller takes ownership.
    WMSOAPParamHandler* NewParam(WMString const& ns, WMString const& localName,
                                 WMXMLAttributeMap& attributes, NSMap const& nsMap);

    // What few elements carry (references, arrays, nil, offsets) lives apart, made on first
    // write: a large envelope holds one handler per element, so the common one stays small.
    struct RareFields {
        WMString id;
        WMString href;
        WMString root;
        WMString nullValue;
        WMString offsetText;
        std::vector<std::int32_t> offsets;
        std::vector<std::int32_t> dimensions;
        std::int32_t expectedCount = 0;
        WMString arrayType;
        WMString arrayTypeNS;
    };
    RareFields const& Rare() const { return m_rare ? *m_rare : kNoRareFields; }
    RareFields& WritableRare() {
        if (!m_rare) {
            m_rare = std::make_unique<RareFields>();
        }
        return *m_rare;
    }
    static RareFields const kNoRareFields;

    WMString m_typeName;
    URIText m_typeNS;
    WMString m_value;
    std::vector<WMSOAPParamHandler*> m_children;
    IdTable* m_ids;
    std::unique_ptr<RareFields> m_rare;
};

class WMSOAPRequestHandler : public WMSOAPParamHandler {
public:
    using WMSOAPParamHandler::WMSOAPParamHandler;
};

class WMSOAPResponseHandler : public WMSOAPParamHandler {
public:
    using WMSOAPParamHandler::WMSOAPParamHandler;
};

class WMSOAPHeaderElemHandler : public WMSOAPParamHandler {
public:
    using WMSOAPParamHandler::WMSOAPParamHandler;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;
    bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                    WMXMLElement* element) override;
    void ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const& nsMap) override;

    bool GetMustUnderstand() const { return m_mustUnderstand; }
    WMString const& GetActor() const { return m_actor; }
    void SetActor(WMString const& actor) { m_actor = actor; }

private:
    bool m_mustUnderstand = false;
    WMString m_actor;
};

class WMSOAPFaultHandler : public WMSOAPParamHandler {
public:
    using WMSOAPParamHandler::WMSOAPParamHandler;
    ~WMSOAPFaultHandler() override;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;

    WMString const& GetFaultCode() const { return m_faultcode; }
    WMString const& GetFaultString() const { return m_faultstring; }
    WMString const& GetFaultActor() const { return m_faultactor; }
    WMSOAPParamHandler* GetDetail() const { return m_detail; }

private:
    WMString m_faultcode;
    WMString m_faultstring;
    WMString m_faultactor;
    WMSOAPParamHandler* m_detail = nullptr;
};

class WMSOAPHeaderHandler : public WMSOAPElemHandler {
public:
    ~WMSOAPHeaderHandler() override;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;

    IdTable& GetIdTable() { return m_ids; }
    std::vector<WMSOAPHeaderElemHandler*> const& GetEntries() const { return m_entries; }

private:
    IdTable m_ids;
    std::vector<WMSOAPHeaderElemHandler*> m_entries;
};

// What the two body handlers share: independent elements and the id table.
class WMSOAPBodyHandlerBase : public WMSOAPElemHandler {
public:
    ~WMSOAPBodyHandlerBase() override;

    bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                    WMXMLElement* element) override;

    IdTable& GetIdTable() { return m_ids; }
    std::vector<WMSOAPParamHandler*> const& GetIndependentElements() const { return m_independent; }

protected:
    // A body child that is not the method element: kept as an independent element.
    WMSOAPEventHandler* AddIndependent(WMString const& ns, WMString const& localName,
                                       WMXMLAttributeMap& attributes, NSMap const& nsMap);
    // True when a body child is the method element: no method element yet and its SOAP-ENC
    // root attribute absent or other than "0".
    static bool IsMethodElement(WMXMLAttributeMap& attributes);
    // Builds the method element's handler of type T (not entered in the id table).
    template <class T>
    T* NewMethodHandler(WMString const& ns, WMString const& localName,
                        WMXMLAttributeMap& attributes, NSMap const& nsMap);

    std::vector<WMSOAPParamHandler*> m_independent;
    IdTable m_ids;
};

class WMSOAPRequestBodyHandler : public WMSOAPBodyHandlerBase {
public:
    ~WMSOAPRequestBodyHandler() override;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;

    WMSOAPRequestHandler* GetRequestHandler() const { return m_request; }

private:
    WMSOAPRequestHandler* m_request = nullptr;
};

class WMSOAPResponseBodyHandler : public WMSOAPBodyHandlerBase {
public:
    ~WMSOAPResponseBodyHandler() override;

    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName,
                                     WMString const& qName, WMXMLAttributeMap& attributes,
                                     NSMap const& nsMap, WMXMLElement* element) override;

    WMSOAPResponseHandler* GetResponseHandler() const { return m_response; }
    WMSOAPFaultHandler* GetFaultHandler() const { return m_fault; }
    bool FaultSeen() const { return m_faultSeen; }

private:
    WMSOAPResponseHandler* m_response = nullptr;
    WMSOAPFaultHandler* m_fault = nullptr;
    bool m_faultSeen = false;
};

template <class H, class B>
class WMSOAPEnvelopeHandler : public WMSOAPElemHandler {
public:
    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName, WMString const&,
                                     WMXMLAttributeMap& attributes, NSMap const& nsMap,
                                     WMXMLElement*) override {
        if (ns != soapuri::kEnvelope) {
            return nullptr;
        }
        WMSOAPElemHandler* next = nullptr;
        if (localName == u"Header") {
            next = &m_header;
        } else if (localName == u"Body") {
            next = &m_body;
        } else {
            return nullptr;
        }
        next->SetEncodingStyle(m_encodingStyle);
        next->ProcessAttributes(attributes, nsMap);
        return next;
    }

    H& GetHeader() { return m_header; }
    B& GetBody() { return m_body; }

private:
    H m_header;
    B m_body;
};

template <class E>
class WMSOAPMessageHandler : public WMSOAPEventHandler {
public:
    WMSOAPEventHandler* StartElement(WMString const& ns, WMString const& localName, WMString const&,
                                     WMXMLAttributeMap& attributes, NSMap const& nsMap,
                                     WMXMLElement*) override {
        if (localName != u"Envelope") {
            return nullptr;
        }
        if (ns != soapuri::kEnvelope) {
            ThrowSOAPFault(u"SOAP-ENV:VersionMismatch", u"SOAP Version Mismatch", false);
        }
        m_envelope.ProcessAttributes(attributes, nsMap);
        return &m_envelope;
    }

    E& GetEnvelope() { return m_envelope; }

private:
    E m_envelope;
};

using WMSOAPRequestMessageHandler =
    WMSOAPMessageHandler<WMSOAPEnvelopeHandler<WMSOAPHeaderHandler, WMSOAPRequestBodyHandler>>;
using WMSOAPResponseMessageHandler =
    WMSOAPMessageHandler<WMSOAPEnvelopeHandler<WMSOAPHeaderHandler, WMSOAPResponseBodyHandler>>;

// Routes the parser's events to the handler on top of a stack.
class WMSOAPParseEventHandler : public WMXMLEventHandler {
public:
    WMSOAPParseEventHandler() = default;
    explicit WMSOAPParseEventHandler(WMSOAPEventHandler* root) : m_root(root) {}
    WMSOAPParseEventHandler(WMSOAPParseEventHandler const&) = delete;
    WMSOAPParseEventHandler& operator=(WMSOAPParseEventHandler const&) = delete;
    ~WMSOAPParseEventHandler() override;

    void SetRootHandler(WMSOAPEventHandler* root) { m_root = root; }
    // Forgets the stack and prefixes of an earlier parse; call before freeing its handlers.
    void Reset();
    // Number of elements reported since the last start of document.
    std::size_t GetElementCount() const { return m_elements; }
    NSMap const& GetNSMap() const { return m_nsMap; }

    void StartDoc() override;
    void EndDoc() override {}
    int StartElement(WMString const& ns, WMString const& localName, WMString const& qName,
                     WMXMLAttributeMap& attributes, WMXMLElement* element) override;
    bool EndElement(WMString const& ns, WMString const& localName, WMString const& qName,
                    WMXMLElement* element) override;
    void Characters(WMString const& text) override;
    void FatalError(int) override {}
    void PI(WMString const&, WMString const&) override {}
    void StartNSMapping(WMString const& prefix, WMString const& uri) override;
    void EndNSMapping(WMString const& prefix) override;

private:
    // Frees the self-owned handlers left on the stack by an abandoned parse, then empties it.
    void ClearStack();

    std::deque<WMSOAPEventHandler*> m_stack;
    NSMap m_nsMap;
    WMSOAPEventHandler* m_root = nullptr;
    WMSOAPNullHandler m_null;
    std::size_t m_elements = 0;
};

// Resolves an href ("#id") against the body's ids first, then the header's; null when the
// reference is empty or names no element. Shared by the response and request deserializers.
WMSOAPParamHandler* FindReferencedElement(WMString const& href, IdTable const& body,
                                          IdTable const& header);

// The same over any two tables of ids.
template <class Table>
typename Table::mapped_type FindById(std::u16string_view href, Table const& body,
                                     Table const& header) {
    if (href.empty()) {
        return nullptr;
    }
    typename Table::key_type const id(href.substr(1));
    for (Table const* table : {&body, &header}) {
        auto const it = table->find(id);
        if (it != table->end()) {
            return it->second;
        }
    }
    return nullptr;
}

}  // namespace corvane

#endif
