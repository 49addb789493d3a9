// The library's own XML reader: the same language, errors, line numbers, depth limit and copy
// budget as WMXMLParser, without building WMXMLElement trees. Nodes live in an arena owned by
// the document; names, values and texts are views into the caller's text unless an entity or
// a line end changed them, in which case the arena holds the changed copy. Namespace URIs are
// interned once per parse, so a URI is compared by its record's address.
//
// The reader works on the UTF-16 text the library already holds: the HTTP client converts the
// answer while it arrives, the message keeps that text for the caller, and a WSDL document is
// converted through the platform's code page, which is not a fixed byte mapping on Windows.
// Reading the wire bytes would need a second, byte-keyed copy of that conversion.
#ifndef CORVANE_XML_READER_H
#define CORVANE_XML_READER_H

#include <corvane/types.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace corvane {
namespace detail {

// Equality of short texts (names, prefixes) without a library call: most are a few code units,
// where memcmp's call costs more than the compare.
inline bool SameShort(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    char16_t const* x = a.data();
    char16_t const* y = b.data();
    std::size_t n = a.size();
    for (; n >= 4; n -= 4, x += 4, y += 4) {
        std::uint64_t u;
        std::uint64_t v;
        std::memcpy(&u, x, sizeof u);
        std::memcpy(&v, y, sizeof v);
        if (u != v) {
            return false;
        }
    }
    for (; n != 0; --n) {
        if (*x++ != *y++) {
            return false;
        }
    }
    return true;
}

// One interned namespace URI; the empty URI has its record too (FindNamespace(u"")).
struct XMLNamespace {
    std::u16string_view uri;
    std::uint64_t hashState;  // the key hash after the URI, so keys extend it without rehashing
};

struct XMLAttr {
    std::u16string_view qname;
    std::u16string_view value;
    // The prefix's URI, or the empty URI for an unprefixed attribute.
    XMLNamespace const* ns;
    std::uint32_t localStart;  // the local name is qname.substr(localStart)
    bool prefixed;

    std::u16string_view Local() const { return qname.substr(localStart); }
};

// The declarations of one element, over those of its nearest declaring ancestor (`parent`).
struct XMLReadScope {
    struct Entry {
        std::u16string_view prefix;  // "" for the empty prefix ("xmlns" or "xmlns:")
        XMLNamespace const* uri;
        bool isNew;  // no enclosing scope maps this prefix
    };
    XMLReadScope const* parent;
    XMLNamespace const* defaultNS;  // in effect for unprefixed element names
    Entry const* entries;           // this element's prefix map entries, in prefix order
    std::uint32_t count;
    std::uint32_t id;   // distinct per scope of a parse
    std::size_t units;  // code units of the whole prefix map, as the copy budget counts them
};

struct XMLNode {
    std::u16string_view qname;
    std::u16string_view text;  // all character data of the element, children's excluded
    XMLNamespace const* ns;
    XMLAttr const* attrs;
    XMLReadScope const* scope;  // null while no element up to here declared anything
    XMLNode* firstChild;
    XMLNode* nextSibling;
    std::uint32_t localStart;
    std::uint32_t attrCount;

    std::u16string_view Local() const { return qname.substr(localStart); }
    // The attribute whose expanded key (see WMXMLElement::GetAttribute) is `key`, or null.
    XMLAttr const* FindAttribute(std::u16string_view key) const;
    // Appends the attribute's expanded key.
    void AppendKey(XMLAttr const& attr, WMString& out) const;
};

// Receives the elements of a parse as they are read. In event mode an element and everything
// it refers to (except namespace records) is freed after EndElement; the root is kept.
class XMLReadEvents {
public:
    virtual ~XMLReadEvents() = default;
    // The element's name, attributes and scope are complete; `parent` is null for the root.
    virtual void StartElement(XMLNode const& element, XMLNode const* parent) = 0;
    // Its text and (in tree mode) children are complete.
    virtual void EndElement(XMLNode const& element, XMLNode const* parent) = 0;
    virtual void PI(std::u16string_view target, std::u16string_view data) = 0;
    // Sent where WMXMLParser sends its namespace mapping events (see ForEachNewMapping): for the
    // root and for each element that declares something, before StartElement and after
    // EndElement, so that a document failing in between reports the same.
    virtual void StartMappings(XMLNode const& element, XMLNode const* parent) {
        (void)element;
        (void)parent;
    }
    virtual void EndMappings(XMLNode const& element, XMLNode const* parent) {
        (void)element;
        (void)parent;
    }
};

// Calls fn(prefix, uri) for the namespace mappings WMXMLParser reports around `element`, in
// its order: the default namespace when it differs from the parent's (always for the root),
// then each prefix new to the element.
template <class Fn>
void ForEachNewMapping(XMLNode const& element, XMLNode const* parent, Fn fn) {
    if (parent && parent->scope == element.scope) {
        return;
    }
    XMLNamespace const* defaultNS = element.scope ? element.scope->defaultNS : nullptr;
    XMLNamespace const* parentNS = parent && parent->scope ? parent->scope->defaultNS : nullptr;
    std::u16string_view const uri = defaultNS ? defaultNS->uri : std::u16string_view();
    if (!parent || uri != (parentNS ? parentNS->uri : std::u16string_view())) {
        fn(std::u16string_view(), uri);
    }
    if (!element.scope) {
        return;
    }
    for (std::uint32_t i = 0; i < element.scope->count; ++i) {
        XMLReadScope::Entry const& entry = element.scope->entries[i];
        if (entry.isNew) {
            fn(entry.prefix, entry.uri->uri);
        }
    }
}

// An attribute given to the written element alone, as WMXMLElement::SetAttribute(prefix:local,
// uri, value) adds it to a parsed element before it is written: nothing is added when the
// element has an attribute of that key or binds the prefix to another URI, and the prefix is
// declared on the element when nothing binds it.
struct AddedAttribute {
    std::u16string_view prefix;
    std::u16string_view local;
    std::u16string_view uri;
    std::u16string_view value;
};

// Appends the element's markup exactly as WMXMLElement::Serialize(parent, out) writes the tree
// WMXMLParser builds; `parent` must be the element's parent or null. `added`, when given,
// changes the element itself (not its children).
void SerializeNode(XMLNode const& element, XMLNode const* parent, WMString& out,
                   AddedAttribute const* added = nullptr);

// Blocks of kReaderBlockSize bytes for the arenas of reads: this reader's nodes and the
// envelope reader's items. A thread keeps the blocks its reads give back, up to a bound, so that
// reading one large message after another does not take fresh pages from the system each time.
inline constexpr std::size_t kReaderBlockSize = std::size_t{64} << 10;
void* TakeReaderBlock();
void GiveReaderBlock(void* block);
// Frees the blocks the calling thread keeps.
void ReleaseReaderBlocks();

class NodeReader;

// One parsed document. A document can be read again; each read frees what the previous one
// made.
class XMLDocument {
public:
    XMLDocument();
    ~XMLDocument();
    XMLDocument(XMLDocument const&) = delete;
    XMLDocument& operator=(XMLDocument const&) = delete;

    // Reads `text`, which must stay unchanged while the document is used. `line` counts on from
    // its value, as WMXMLParser's line does; false on a syntax error, with `line` at the error.
    // `keepTree` false is event mode. Exceptions thrown by `events` pass through.
    bool Read(WMString const& text, int& line, bool keepTree, XMLReadEvents* events);

    XMLNode const* Root() const { return m_root; }
    // The interned record of `uri`, or null when the document does not use it.
    XMLNamespace const* FindNamespace(std::u16string_view uri) const;
    // Bytes held by the arena of the last read.
    std::size_t ArenaBytes() const;

private:
    friend class NodeReader;
    struct Arena;
    struct Namespaces;
    std::unique_ptr<Arena> m_arena;
    std::unique_ptr<Namespaces> m_namespaces;
    XMLNode const* m_root = nullptr;
};

}  // namespace detail
}  // namespace corvane

#endif
