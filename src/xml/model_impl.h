// Shared records behind the document model, and the name interner used while parsing.
#ifndef CORVANE_XML_MODEL_IMPL_H
#define CORVANE_XML_MODEL_IMPL_H

#include <corvane/xml.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace corvane {
namespace detail {

// A name record, immutable once shared. Reference counts are atomic because copies of a tree
// share records and may be used by different threads.
struct XMLNameData {
    std::atomic<int> refs{1};
    WMString ns;
    WMString local;
    WMString qname;
    // During a parse, the last resolution of this qualified name, so that equal names resolved
    // alike share one record. Only the interner of the parse that created the record writes it.
    XMLNameData* resolved = nullptr;
};

inline XMLNameData* Ref(XMLNameData* data) {
    if (data) {
        data->refs.fetch_add(1, std::memory_order_relaxed);
    }
    return data;
}

inline void Unref(XMLNameData* data) {
    if (data && data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        Unref(data->resolved);
        delete data;
    }
}

// Prefix map and default namespace of an element, shared with its descendants until written.
struct XMLScope {
    std::atomic<int> refs{1};
    WMXMLNSPrefixMap prefixes;
    WMString defaultNS;
};

inline void Unref(XMLScope* scope) {
    if (scope && scope->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete scope;
    }
}

// Maps each distinct qualified name of one parse to one record. Only names up to a bounded
// length are interned, and the hash is seeded per interner, so hostile input cannot make the
// table degrade.
class XMLInterner {
public:
    XMLInterner();
    ~XMLInterner();
    XMLInterner(XMLInterner const&) = delete;
    XMLInterner& operator=(XMLInterner const&) = delete;

    WMXMLElement* NewElement(std::u16string_view qname);
    WMXMLAttribute* NewAttribute(std::u16string_view qname, WMString&& value);
    // Record for `qname` resolved to (ns, qname from localStart), reusing the last one made.
    XMLNameData* Resolved(XMLNameData* qname, WMString const& ns, std::size_t localStart);

private:
    XMLNameData* Lookup(std::u16string_view qname);
    std::size_t Hash(std::u16string_view text) const;
    void Grow();

    static constexpr std::size_t kMaxInternedLength = 256;
    std::vector<XMLNameData*> m_slots;  // open addressing, power-of-two size
    std::size_t m_count = 0;
    std::uint64_t m_seed;
};

// Appends `text` escaped as element content or as an attribute value.
void AppendEscapedContent(WMString& out, std::u16string_view text);
void AppendEscapedAttribute(WMString& out, std::u16string_view text);

}  // namespace detail
}  // namespace corvane

#endif
