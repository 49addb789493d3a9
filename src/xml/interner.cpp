#include <cstdint>
#include <new>
#include <utility>

#include "xml/model_impl.h"

namespace corvane {
namespace detail {

XMLInterner::XMLInterner(std::size_t budget)
    // The seed varies with the interner's address, so colliding names cannot be prepared.
    : m_slots(64, nullptr),
      m_seed(0xcbf29ce484222325ULL ^
             (reinterpret_cast<std::uintptr_t>(this) * 0x9e3779b97f4a7c15ULL)),
      m_budget(budget) {}

namespace {

constexpr std::size_t kHeader = 16;  // keeps objects 16-byte aligned
constexpr std::size_t kBlockSize = std::size_t{64} << 10;

// Sanitizer builds give every object its own allocation, so that bounds checks stay exact.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kCarve = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kCarve = false;
#else
constexpr bool kCarve = true;
#endif
#else
constexpr bool kCarve = true;
#endif

}  // namespace

void* AllocateNode(std::size_t size) {
    char* block = static_cast<char*>(::operator new(size + kHeader));
    *reinterpret_cast<XMLBlock**>(block) = nullptr;
    return block + kHeader;
}

void FreeNode(void* pointer) noexcept {
    if (!pointer) {
        return;
    }
    char* header = static_cast<char*>(pointer) - kHeader;
    XMLBlock* block = *reinterpret_cast<XMLBlock**>(header);
    if (block) {
        ReleaseBlock(block);
    } else {
        ::operator delete(header);
    }
}

void ReleaseBlock(XMLBlock* block) noexcept {
    if (block->live.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        block->~XMLBlock();
        ::operator delete(block);
    }
}

void* XMLInterner::Carve(std::size_t size) {
    if (!kCarve) {
        return AllocateNode(size);
    }
    std::size_t const need = kHeader + ((size + 15) & ~std::size_t{15});
    if (!m_block || static_cast<std::size_t>(m_limit - m_next) < need) {
        char* memory = static_cast<char*>(::operator new(kBlockSize));
        XMLBlock* block = ::new (memory) XMLBlock;
        if (m_block) {
            ReleaseBlock(m_block);
        }
        m_block = block;
        m_next = memory + 64;
        m_limit = memory + kBlockSize;
    }
    char* header = m_next;
    m_next += need;
    *reinterpret_cast<XMLBlock**>(header) = m_block;
    m_block->live.fetch_add(1, std::memory_order_relaxed);
    return header + kHeader;
}

XMLInterner::~XMLInterner() {
    if (m_block) {
        ReleaseBlock(m_block);
    }
    for (XMLNameData* data : m_slots) {
        if (data) {
            Unref(data->resolved);
            Unref(data->cacheScope);
            data->resolved = nullptr;
            data->cacheScope = nullptr;
            data->cacheNs = nullptr;
            Unref(data);
        }
    }
}

std::size_t XMLInterner::Hash(std::u16string_view text) const {
    std::uint64_t hash = m_seed;
    for (char16_t c : text) {
        hash = (hash ^ c) * 0x100000001b3ULL;
    }
    return static_cast<std::size_t>(hash ^ (hash >> 29));
}

void XMLInterner::Grow() {
    std::vector<XMLNameData*> slots(m_slots.size() * 2, nullptr);
    std::size_t const mask = slots.size() - 1;
    for (XMLNameData* data : m_slots) {
        if (data) {
            std::size_t index = Hash(data->qname) & mask;
            while (slots[index]) {
                index = (index + 1) & mask;
            }
            slots[index] = data;
        }
    }
    m_slots.swap(slots);
}

XMLNameData* XMLInterner::Lookup(std::u16string_view qname) {
    if (qname.size() > kMaxInternedLength) {
        auto* data = new XMLNameData;
        data->qname.assign(qname);
        return data;
    }
    std::size_t const mask = m_slots.size() - 1;
    std::size_t index = Hash(qname) & mask;
    while (XMLNameData* data = m_slots[index]) {
        if (std::u16string_view(data->qname) == qname) {
            return Ref(data);
        }
        index = (index + 1) & mask;
    }
    auto* data = new XMLNameData;
    data->qname.assign(qname);
    m_slots[index] = Ref(data);
    if (++m_count * 2 > m_slots.size()) {
        Grow();
    }
    return data;
}

WMXMLElement* XMLInterner::NewElement(std::u16string_view qname) {
    return ::new (Carve(sizeof(WMXMLElement))) WMXMLElement(Lookup(qname));
}

WMXMLAttribute* XMLInterner::NewAttribute(std::u16string_view qname, WMString&& value) {
    return ::new (Carve(sizeof(WMXMLAttribute))) WMXMLAttribute(Lookup(qname), std::move(value));
}

void XMLInterner::Rename(WMXMLElement* element, std::u16string_view qname) {
    element->AdoptNameData(Lookup(qname));
}

void XMLInterner::Reuse(WMXMLAttribute* attribute, std::u16string_view qname,
                        WMString const& value) {
    attribute->AdoptNameData(Lookup(qname));
    Unref(attribute->m_element);
    attribute->m_element = nullptr;
    attribute->m_value = value;
}

XMLNameData* XMLInterner::Resolved(XMLNameData* qname, XMLScope* scope, WMString const& ns,
                                   std::size_t localStart) {
    std::u16string_view const local = std::u16string_view(qname->qname).substr(localStart);
    bool const interned = qname->qname.size() <= kMaxInternedLength;
    XMLNameData* cached = qname->resolved;
    XMLNameData* data = nullptr;
    if (cached && std::u16string_view(cached->local) == local) {
        if (scope && qname->cacheScope == scope && qname->cacheNs == &ns) {
            return Ref(cached);
        }
        if (cached->ns.size() == ns.size()) {
            if (!Charge(ns.size())) {
                return nullptr;
            }
            if (cached->ns == ns) {
                data = Ref(cached);
            }
        }
    }
    if (!data) {
        if (!Charge(ns.size() + local.size())) {
            return nullptr;
        }
        data = new XMLNameData;
        data->ns = ns;
        data->local.assign(local);
        data->qname = qname->qname;
    }
    if (interned && data != cached) {
        Unref(qname->resolved);
        qname->resolved = Ref(data);
    }
    if (interned && scope && qname->cacheScope != scope) {
        scope->refs.fetch_add(1, std::memory_order_relaxed);
        Unref(qname->cacheScope);
        qname->cacheScope = scope;
    }
    qname->cacheNs = interned && scope ? &ns : nullptr;
    return data;
}

std::size_t ScopeSize(XMLScope const& scope) {
    // An entry costs a node allocation besides its text; count it as 32 code units.
    std::size_t size = scope.defaultNS.size();
    for (auto const& entry : scope.prefixes) {
        size += entry.first.size() + entry.second.size() + 32;
    }
    return size;
}

void AppendEscapedContent(WMString& out, std::u16string_view text) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char16_t const* entity;
        switch (text[i]) {
            case u'&':
                entity = u"&amp;";
                break;
            case u'<':
                entity = u"&lt;";
                break;
            case u'>':
                entity = u"&gt;";
                break;
            default:
                continue;
        }
        out.append(text.data() + start, i - start);
        out.append(entity);
        start = i + 1;
    }
    out.append(text.data() + start, text.size() - start);
}

void AppendEscapedAttribute(WMString& out, std::u16string_view text) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char16_t const* entity;
        switch (text[i]) {
            case u'&':
                entity = u"&amp;";
                break;
            case u'<':
                entity = u"&lt;";
                break;
            case u'"':
                entity = u"&quot;";
                break;
            case u'\'':
                entity = u"&apos;";
                break;
            default:
                continue;
        }
        out.append(text.data() + start, i - start);
        out.append(entity);
        start = i + 1;
    }
    out.append(text.data() + start, text.size() - start);
}

}  // namespace detail
}  // namespace corvane
