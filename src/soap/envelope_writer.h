// Internal pieces of the envelope serializer: the text writer and the memo of WSDL answers.
#ifndef CORVANE_SOAP_ENVELOPE_WRITER_H
#define CORVANE_SOAP_ENVELOPE_WRITER_H

#include <corvane/types.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <memory>
#include <string>
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

// An envelope handed on as UTF-8 while it is written (a server sends bytes): pieces of the
// text leave it once it runs long, so that the whole envelope is never held in UTF-16 beside
// the values it is written from. The envelope is the text's first `at` units, the pieces,
// then the rest of the text.
struct AnswerBytes {
    // A lone surrogate fails the conversion rather than become U+FFFD; the text then keeps
    // everything from there on, for the last conversion to fail on.
    bool strict = false;
    std::vector<std::string> pieces;
    std::size_t at = 0;
    WMString rest;
};

// Writes elements straight to text, producing exactly what a WMXMLElement tree built with
// SetNSPrefix and the three-argument SetAttribute would serialize to: attributes in the order
// of their expanded-name keys, then the element's own prefix declarations in prefix order,
// leaving out those that the parent element declares alike; " />" for an element without text
// or children. Skipping the tree saves a dozen allocations per element.
//
// Attributes and prefixes of an element must be set before its text or first child; the
// start tag is written when content or the end of the element comes. The writer keeps views,
// not copies: a name handed to Open must stay valid until the element is closed, and the texts
// handed to DeclarePrefix and SetAttribute must neither move nor change while the writer
// lives, since their escaped form is remembered by address (the serializer passes constants,
// the message's own strings and the entries of its type cache).
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
    // Extension: writes a carriage return as "&#xD;", so that it survives the line-end
    // normalisation of the reader (the default writes it as it is).
    void EscapeCarriageReturns(bool on) {
        if (on != m_escapeCarriageReturn) {
            // A text written clean before may hold a carriage return.
            std::fill(std::begin(m_clean), std::end(m_clean), CleanText{});
        }
        m_escapeCarriageReturn = on;
    }
    // Extension: binds each prefix once, on the outermost element, where a value below it first
    // needs it; an element then declares only a prefix that is bound otherwise where it stands
    // (the default declares on every element whatever its parent does not). Set before the
    // first Open.
    void HoistDeclarations(bool on) { m_hoist = on; }
    // Extension: hands the text written so far on to `bytes` whenever it passes kSpillUnits
    // at the end of an element.
    void SpillTo(AnswerBytes* bytes) { m_spill = bytes; }
    static constexpr std::size_t kSpillUnits = 16384;

private:
    using View = std::u16string_view;
    struct Attribute {
        View prefix;
        View local;
        View uri;  // the key is uri followed by local
        View value;
    };
    struct Frame {
        View prefix;
        View local;
        std::vector<std::pair<View, View>> prefixes;  // sorted by prefix
        std::vector<Attribute> attributes;
        bool tagWritten = false;
    };
    // Texts known to need no escaping, by address: the same URIs and type names come back
    // on almost every element.
    struct CleanText {
        WMChar const* data = nullptr;
        std::size_t size = 0;
    };

    // A start tag already written, with everything it was written from: the items of an array
    // give the same elements the same names, attributes and prefixes again and again. The
    // attribute and prefix texts are compared by address, as the clean texts are; the names,
    // which need not outlive their element, by content.
    struct WrittenTag {
        WMString prefix;
        WMString local;
        std::vector<Attribute> attributes;  // in the order they were set
        std::vector<std::pair<View, View>> prefixes;
        // The parent's prefixes, or in the hoisting mode Inherited(), when written.
        std::vector<std::pair<View, View>> parentPrefixes;
        bool escapeCarriageReturn = false;
        bool used = false;
        WMString text;  // from "<" to the end of the last declaration
        // The signature of the last tag that came to this slot, kept or not.
        std::size_t lastSignature = 0;
    };
    static constexpr std::size_t kWrittenTags = 8;

    Frame& Top() { return m_frames[m_depth - 1]; }
    static std::size_t Signature(Frame const& frame);
    bool WrittenAlike(WrittenTag const& tag, Frame const& frame,
                      std::vector<std::pair<View, View>> const& inherited) const;
    void WriteName(Frame const& frame);
    // Writes the open element's start tag, ending it with ">".
    void WriteStartTag();
    void WriteTagBody(Frame& frame);
    // For each prefix of the frame, the URI it is bound to where the frame stands (empty with
    // a null data pointer when it is unbound); what the omitted declarations depend on.
    void Inherited(Frame const& frame);
    View Bound(View prefix);
    // Notes the declarations the frame made itself, which its descendants see instead of the
    // outermost element's.
    void RecordLocal(Frame const& frame);
    // The declarations of the frame's prefixes in the hoisting mode.
    void WriteHoisting(Frame const& frame);
    void AppendDeclaration(View prefix, View uri);
    void AppendEscaped(View text, bool attribute);
    void AppendAttributeText(View text);
    void Spill();

    WMString& m_out;
    std::vector<Frame> m_frames;
    std::size_t m_depth = 0;
    CleanText m_clean[16];
    WrittenTag m_written[kWrittenTags];
    bool m_escapeCarriageReturn = false;
    bool m_hoist = false;
    std::vector<std::pair<View, View>> m_inherited;
    struct Local {
        std::size_t depth;
        View prefix;
        View uri;
    };
    std::vector<Local> m_local;
    // Bound()'s recent answers; a generation ends whenever a binding comes or goes.
    struct Resolved {
        WMChar const* prefix = nullptr;
        std::size_t size = 0;
        std::size_t generation = 0;
        View bound;
    };
    Resolved m_resolved[8];
    std::size_t m_generation = 1;
    // Declarations bound on the outermost element after its start tag was written, and where
    // they go in the text.
    WMString m_hoisted;
    std::size_t m_rootTagEnd = 0;
    AnswerBytes* m_spill = nullptr;
};

// What the serializer needs to know of one schema type, asked of the WSDL once and kept: the
// items of an array ask the same questions about the same types again and again, and a client
// whose description does not change asks them again on every call. Entries never move, so
// pointers to them stay valid as long as the cache.
struct SchemaType {
    enum class Kind { Unknown, Array, Struct, Unsupported };
    struct Member {
        WMString name;
        WMString ns;
        bool known = false;
        WMString typeName;
        WMString typeNS;
        SchemaType* type = nullptr;  // resolved on first use
    };

    WMString name;
    WMString ns;
    bool builtIn = false;            // a schema or SOAP encoding type
    std::u16string_view instanceNS;  // for the xsi prefix of values of this type
    Kind kind = Kind::Unknown;       // of a complex type
    // Arrays: the item type, and the arrayType text "nsa:" + item name + dimensions.
    WMString itemName;
    WMString itemNS;
    WMString arrayType;
    unsigned int dims = 0;
    SchemaType* item = nullptr;
    // Built-in types: "xsd:" + name (or "SOAP-ENC:" + name), their xsi:type in the standard
    // wire mode, with the prefix it is written under.
    WMString standardType;
    std::u16string_view standardPrefix;
    // Structs and arrays: "nss:" + name for explicit typing (and the standard wire mode);
    // structs also keep the members looked up so far.
    WMString explicitType;
    std::vector<std::unique_ptr<Member>> members;
    std::size_t nextMember = 0;  // where the next member lookup starts
};

class TypeCache {
public:
    explicit TypeCache(WMSOAPWSDLClient& wsdl) : m_wsdl(wsdl) {}

    WMSOAPWSDLClient& Wsdl() { return m_wsdl; }
    // The type of that name and namespace, looked up in the WSDL the first time.
    SchemaType& Type(WMString const& name, WMString const& ns);
    // The member's entry; null when the struct type does not declare it.
    SchemaType::Member* Member(SchemaType& type, WMString const& name, WMString const& ns);
    SchemaType& TypeOf(SchemaType::Member& member);
    SchemaType& ItemOf(SchemaType& array);
    // The type of an input or output part of a method; null when the WSDL has no such part.
    SchemaType* PartType(WMString const& method, WMString const& part, bool input);
    // Keeps a text made during the call (an array's sized arrayType) where the writer's views
    // of it stay valid until the call ends.
    WMString const& Keep(WMString text);
    // Forgets the texts kept for a call that has ended; what was learnt of the types stays.
    void EndCall() { m_kept.clear(); }
    // How many answers are held: a caller that keeps the cache bounds it, since struct members
    // are learnt by the names the values carry.
    std::size_t Entries() const { return m_entries; }

private:
    void Describe(SchemaType& type);

    WMSOAPWSDLClient& m_wsdl;
    WMString m_key;
    std::unordered_map<WMString, std::unique_ptr<SchemaType>> m_types;
    std::unordered_map<WMString, SchemaType*> m_parts;
    std::deque<WMString> m_kept;
    std::size_t m_entries = 0;
};

}  // namespace corvane::detail

#endif
