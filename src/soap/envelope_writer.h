// Internal pieces of the envelope serializer: the text writer and the memo of WSDL answers.
#ifndef CORVANE_SOAP_ENVELOPE_WRITER_H
#define CORVANE_SOAP_ENVELOPE_WRITER_H

#include <corvane/types.h>

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

class WMXMLElement;
class WMSOAPWSDLClient;

namespace corvane::detail {

inline constexpr std::u16string_view kSoapEnvNS = u"http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::u16string_view kSoapEncNS = u"http://schemas.xmlsoap.org/soap/encoding/";
inline constexpr std::u16string_view kXsd2001NS = u"http://www.w3.org/2001/XMLSchema";
inline constexpr std::u16string_view kXsd1999NS = u"http://www.w3.org/1999/XMLSchema";
inline constexpr std::u16string_view kXsd2000NS = u"http://www.w3.org/2000/10/XMLSchema";
inline constexpr std::u16string_view kXsi2001NS = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr std::u16string_view kXsi1999NS = u"http://www.w3.org/1999/XMLSchema-instance";
inline constexpr std::u16string_view kXsi2000NS = u"http://www.w3.org/2000/10/XMLSchema-instance";

// Writes elements straight to text, producing exactly what a WMXMLElement tree built with
// SetNSPrefix and the three-argument SetAttribute would serialize to: attributes in the order
// of their expanded-name keys, then the element's own prefix declarations in prefix order,
// leaving out those that the parent element declares alike; " />" for an element without text
// or children. Skipping the tree saves a dozen allocations per element.
//
// Attributes and prefixes of an element must be set before its text or first child; the
// start tag is written when content or the end of the element comes. Frames and their strings
// are reused from element to element, so a long envelope allocates little beyond its text.
class EnvelopeWriter {
public:
    explicit EnvelopeWriter(WMString& out) : m_out(out) {}

    // Starts an element named prefix ":" local (local alone when prefix is empty).
    void Open(std::u16string_view prefix, std::u16string_view local);
    // Binds a prefix on the open element; false when it is bound there already.
    bool DeclarePrefix(std::u16string_view prefix, std::u16string_view uri);
    // Adds the attribute prefix ":" local in namespace uri, binding the prefix on the element
    // when it is new there. False when the prefix is bound to another URI or the expanded name
    // is taken.
    bool SetAttribute(std::u16string_view prefix, std::u16string_view local,
                      std::u16string_view uri, std::u16string_view value);
    // The element's character content, escaped. Empty text is no content.
    void Text(std::u16string_view text);
    // Writes a parsed element as the next child of the open element, as WMXMLElement would
    // with the open element as its parent.
    void AppendElement(WMXMLElement const& element);
    void Close();

private:
    struct Attribute {
        WMString key;  // namespace URI followed by local name
        WMString qualifiedName;
        WMString value;
    };
    struct Frame {
        WMString qualifiedName;
        std::vector<std::pair<WMString, WMString>> prefixes;  // sorted by prefix
        std::size_t prefixCount = 0;
        std::vector<Attribute> attributes;
        std::size_t attributeCount = 0;
        bool tagWritten = false;
    };

    Frame& Top() { return m_frames[m_depth - 1]; }
    // Writes the open element's start tag, ending it with ">".
    void WriteStartTag();
    void WriteTagBody(Frame& frame);
    void AppendEscaped(std::u16string_view text, bool attribute);

    WMString& m_out;
    std::vector<Frame> m_frames;
    std::size_t m_depth = 0;
};

// Answers of the WSDL schema queries, kept for the length of one Serialize call: the items of
// an array ask the same questions about the same types again and again.
class TypeCache {
public:
    struct QName {
        WMString name;
        WMString ns;
    };
    struct ArrayInfo {
        QName item;
        unsigned int dims = 0;
    };

    explicit TypeCache(WMSOAPWSDLClient& wsdl) : m_wsdl(wsdl) {}

    WMSOAPWSDLClient& Wsdl() { return m_wsdl; }
    // Null when the WSDL does not know the type (or the member).
    QName const* ComplexBase(WMString const& typeName, WMString const& typeNS);
    QName const* StructMemberType(WMString const& typeName, WMString const& typeNS,
                                  WMString const& memberName, WMString const& memberNS);
    ArrayInfo const* Array(WMString const& typeName, WMString const& typeNS);

private:
    template <class T>
    struct Slot {
        bool found = false;
        T value;
    };
    WMString const& Key(std::initializer_list<std::u16string_view> parts);

    WMSOAPWSDLClient& m_wsdl;
    WMString m_key;
    std::unordered_map<WMString, Slot<QName>> m_bases;
    std::unordered_map<WMString, Slot<QName>> m_members;
    std::unordered_map<WMString, Slot<ArrayInfo>> m_arrays;
};

}  // namespace corvane::detail

#endif
