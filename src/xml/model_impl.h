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

// Prefix map and default namespace of an element, shared with its descendants until written.
// Reference counts are atomic because copies of a tree share records and may be used by
// different threads.
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

// A name record, immutable once shared.
struct XMLNameData {
    std::atomic<int> refs{1};
    WMString ns;
    WMString local;
    WMString qname;
    // Kept by the interner of the parse that created the record, for qualified names only: the
    // last resolution of the name and the scope string it came from (the scope is held, so the
    // string stays where it is), so that a name resolved in the same scope takes the same record
    // without comparing the namespace URI. The interner releases them when the parse ends.
    XMLNameData* resolved = nullptr;
    XMLScope* cacheScope = nullptr;
    WMString const* cacheNs = nullptr;
};

inline XMLNameData* Ref(XMLNameData* data) {
    if (data) {
        data->refs.fetch_add(1, std::memory_order_relaxed);
    }
    return data;
}

inline void Unref(XMLNameData* data) {
    if (data && data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete data;
    }
}

// Allocation of elements and attributes. Each object is preceded by a header naming the block
// it was carved from, or none for an object of its own. A block is freed when its last object
// is; the count is atomic because objects of one document may be freed on different threads.
struct XMLBlock {
    std::atomic<long> live{1};  // objects, plus one while the parse still carves from it
};

void* AllocateNode(std::size_t size);  // an object of its own
void FreeNode(void* pointer) noexcept;
void ReleaseBlock(XMLBlock* block) noexcept;

// Maps each distinct qualified name of one parse to one record. Only names up to a bounded
// length are interned, and the hash is seeded per interner, so hostile input cannot make the
// table degrade.
//
// It also keeps the parse's copy budget. Namespace resolution copies text that is not cut out
// of the input (a namespace URI into every attribute key, inherited prefix maps), so a short
// document could otherwise make quadratic work and memory (a long URI or element name times
// many attributes). Every such copy or comparison is charged; when the budget, a fixed multiple
// of the input length, runs out the parse stops with a fatal error.
class XMLInterner {
public:
    explicit XMLInterner(std::size_t budget);
    ~XMLInterner();
    XMLInterner(XMLInterner const&) = delete;
    XMLInterner& operator=(XMLInterner const&) = delete;

    WMXMLElement* NewElement(std::u16string_view qname);
    WMXMLAttribute* NewAttribute(std::u16string_view qname, WMString&& value);
    // Give an element or attribute of a finished child a new name, for reuse in event mode.
    void Rename(WMXMLElement* element, std::u16string_view qname);
    void Reuse(WMXMLAttribute* attribute, std::u16string_view qname, WMString const& value);
    // Record for `qname` resolved to (ns, qname from localStart), where `ns` is a string of
    // `scope`; reuses the last record made. Null when the budget is exhausted.
    XMLNameData* Resolved(XMLNameData* qname, XMLScope* scope, WMString const& ns,
                          std::size_t localStart);

    // Takes `units` code units from the budget; false (taking nothing) when they exceed it.
    bool Charge(std::size_t units) {
        if (units > m_budget) {
            return false;
        }
        m_budget -= units;
        return true;
    }

private:
    XMLNameData* Lookup(std::u16string_view qname);
    void* Carve(std::size_t size);
    std::size_t Hash(std::u16string_view text) const;
    void Grow();

    static constexpr std::size_t kMaxInternedLength = 256;
    std::vector<XMLNameData*> m_slots;  // open addressing, power-of-two size
    std::size_t m_count = 0;
    std::uint64_t m_seed;
    std::size_t m_budget;
    XMLBlock* m_block = nullptr;
    char* m_next = nullptr;
    char* m_limit = nullptr;
};

// Code units held by a scope, the cost of copying it.
std::size_t ScopeSize(XMLScope const& scope);

// Appends `text` escaped as element content or as an attribute value.
void AppendEscapedContent(WMString& out, std::u16string_view text);
void AppendEscapedAttribute(WMString& out, std::u16string_view text);

}  // namespace detail
}  // namespace corvane

#endif
