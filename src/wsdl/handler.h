// The base of every object that reads one element of a service description and then stays in
// the description as its node, with the helpers they share.
#ifndef CORVANE_WSDL_HANDLER_H
#define CORVANE_WSDL_HANDLER_H

#include <corvane/types.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "text/equal.h"

class WMWSDLParseEventHandler;

namespace corvane {

using WStringView = std::u16string_view;

namespace detail {

// The memory of the handlers one load makes, released in one piece with the description: a
// description is tens of thousands of small objects, and handing each back to the heap was a
// fifth of a load. The handlers' destructors still run; only their storage stays here. The
// loads of a document's imports use the arena of the load that imports them, because their
// handlers move into its description.
class HandlerArena : public std::enable_shared_from_this<HandlerArena> {
public:
    HandlerArena() = default;
    HandlerArena(const HandlerArena&) = delete;
    HandlerArena& operator=(const HandlerArena&) = delete;
    ~HandlerArena();

    void* Allocate(std::size_t size);

    // The one copy of `text` this arena keeps; it lives as long as the arena.
    const WMString& Keep(WStringView text);

    // The arena of the load running on this thread, or null.
    static HandlerArena* Current();

    // Makes `arena` the current one of this thread while it lives.
    class Use {
    public:
        explicit Use(HandlerArena* arena);
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();

    private:
        HandlerArena* m_previous;
    };

private:
    std::vector<void*> m_blocks;
    char* m_next = nullptr;
    std::size_t m_left = 0;
    std::deque<WMString> m_kept;
    std::unordered_map<WStringView, const WMString*, std::hash<WStringView>, TextEqualTo>
        m_keptIndex;
    // The texts asked for last: a description names two or three URIs over and over.
    const WMString* m_recent[4] = {};
    std::size_t m_recentNext = 0;
};

}  // namespace detail

// Namespace prefix to URI, as declared at the point of the document being read. A document
// binds a handful of prefixes, so a short list beats a tree of strings.
class PrefixMap {
public:
    struct Binding {
        WMString prefix;
        WMString uri;
        // The arena's copy of `uri`, taken at its first use in that arena, so that the names a
        // load resolves do not each look the URI up again.
        mutable const WMString* kept = nullptr;
        mutable const detail::HandlerArena* keptBy = nullptr;
    };

    const Binding* Find(WStringView prefix) const {
        const std::size_t at = IndexOf(prefix);
        return at < m_bindings.size() ? &m_bindings[at] : nullptr;
    }
    // Binds `prefix` to `uri`, replacing its binding if it has one.
    void Bind(WStringView prefix, WStringView uri) {
        const std::size_t at = IndexOf(prefix);
        if (at < m_bindings.size()) {
            m_bindings[at] = Binding{m_bindings[at].prefix, WMString(uri)};
        } else {
            m_bindings.push_back(Binding{WMString(prefix), WMString(uri)});
        }
    }
    void Unbind(WStringView prefix) {
        const std::size_t at = IndexOf(prefix);
        if (at < m_bindings.size()) {
            m_bindings.erase(m_bindings.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }

private:
    std::size_t IndexOf(WStringView prefix) const {
        for (std::size_t i = 0; i < m_bindings.size(); ++i) {
            if (TextEquals(m_bindings[i].prefix, prefix)) {
                return i;
            }
        }
        return m_bindings.size();
    }

    std::vector<Binding> m_bindings;
};

// The namespace URIs a description reader has to recognise.
extern const WMString kWsdlNS;
extern const WMString kWsdlSoapNS;
extern const WMString kXsdNS2001;
extern const WMString kXsdNS2000;
extern const WMString kXsdNS1999;
extern const WMString kSoapEncNS;

bool IsSchemaNS(WStringView ns);

// The namespace URI of a QName. The names a load reads refer to the one copy of their URI the
// load's arena keeps, instead of each holding tens of code units of their own; any other, and
// every copy, owns its text. It reads as a const WMString&.
class NamespaceText {
public:
    NamespaceText() = default;
    NamespaceText(const WMString& text) : m_own(text) {}
    NamespaceText(WMString&& text) : m_own(std::move(text)) {}
    NamespaceText(const char16_t* text) : m_own(text) {}
    NamespaceText(const NamespaceText& other) : m_own(other.Get()) {}
    NamespaceText(NamespaceText&& other) noexcept
        : m_kept(other.m_kept), m_own(std::move(other.m_own)) {}
    NamespaceText& operator=(const NamespaceText& other) {
        if (this != &other) {
            m_own = other.Get();
            m_kept = nullptr;
        }
        return *this;
    }
    NamespaceText& operator=(NamespaceText&& other) noexcept {
        m_kept = other.m_kept;
        m_own = std::move(other.m_own);
        return *this;
    }

    // Refers to `kept`, which must outlive this and every object this is moved into.
    static NamespaceText Kept(const WMString& kept) {
        NamespaceText text;
        text.m_kept = &kept;
        return text;
    }

    const WMString& Get() const { return m_kept ? *m_kept : m_own; }
    operator const WMString&() const { return Get(); }
    operator WStringView() const { return Get(); }
    bool empty() const { return Get().empty(); }
    std::size_t size() const { return Get().size(); }

private:
    const WMString* m_kept = nullptr;
    WMString m_own;
};

inline bool operator==(const NamespaceText& a, const NamespaceText& b) {
    return TextEquals(a.Get(), b.Get());
}
inline bool operator==(const NamespaceText& a, const WMString& b) {
    return TextEquals(a.Get(), b);
}
inline bool operator==(const WMString& a, const NamespaceText& b) {
    return TextEquals(a, b.Get());
}
inline bool operator==(const NamespaceText& a, WStringView b) {
    return TextEquals(a.Get(), b);
}
inline bool operator==(WStringView a, const NamespaceText& b) {
    return TextEquals(a, b.Get());
}
inline bool operator==(const NamespaceText& a, const char16_t* b) {
    return TextEquals(a.Get(), b);
}
inline bool operator!=(const NamespaceText& a, const NamespaceText& b) {
    return !(a == b);
}
inline bool operator!=(const NamespaceText& a, const WMString& b) {
    return !(a == b);
}
inline bool operator!=(const WMString& a, const NamespaceText& b) {
    return !(a == b);
}
inline bool operator!=(const NamespaceText& a, WStringView b) {
    return !(a == b);
}
inline bool operator!=(WStringView a, const NamespaceText& b) {
    return !(a == b);
}
inline bool operator!=(const NamespaceText& a, const char16_t* b) {
    return !(a == b);
}
inline WMString operator+(const char16_t* a, const NamespaceText& b) {
    return a + b.Get();
}
inline WMString operator+(const WMString& a, const NamespaceText& b) {
    return a + b.Get();
}
inline WMString operator+(const NamespaceText& a, const char16_t* b) {
    return a.Get() + b;
}
inline WMString operator+(const NamespaceText& a, const WMString& b) {
    return a.Get() + b;
}

// A qualified name as (namespace URI, local part).
struct QName {
    NamespaceText ns;
    WMString local;
};

// Plain code-unit order of two texts. The names of a description share long prefixes
// ("operation1234Request"), so the common prefix is skipped four code units at a time.
struct CodeUnitLess {
    using is_transparent = void;
    bool operator()(WStringView a, WStringView b) const {
        const std::size_t n = std::min(a.size(), b.size());
        std::size_t i = 0;
        for (; i + 4 <= n; i += 4) {
            std::uint64_t x;
            std::uint64_t y;
            std::memcpy(&x, a.data() + i, sizeof x);
            std::memcpy(&y, b.data() + i, sizeof y);
            if (x != y) {
                break;
            }
        }
        for (; i < n; ++i) {
            if (a[i] != b[i]) {
                return a[i] < b[i];
            }
        }
        return a.size() < b.size();
    }
};

namespace detail {
// Guards the first enumeration of a table, which may come from several readers of one
// description at once.
std::mutex& TableOrderMutex();
}  // namespace detail

// Named handlers owned by their parent, enumerated in plain code-unit order of the names and
// found by a hash of the name: the queries look names up far more often than they enumerate,
// and ordered lookups of long names sharing a prefix cost most of a query. Entries are kept in
// the order they came; the name order is built at the first enumeration, because most tables
// of a loaded description are never enumerated.
template <class T>
class HandlerTable {
public:
    using Entry = std::pair<WMString, std::unique_ptr<T>>;

    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        explicit const_iterator(const Entry* const* at) : m_at(at) {}
        reference operator*() const { return **m_at; }
        pointer operator->() const { return *m_at; }
        const_iterator& operator++() {
            ++m_at;
            return *this;
        }
        bool operator==(const const_iterator& other) const { return m_at == other.m_at; }
        bool operator!=(const const_iterator& other) const { return m_at != other.m_at; }

    private:
        const Entry* const* m_at;
    };

    HandlerTable() = default;
    HandlerTable(const HandlerTable&) = delete;
    HandlerTable& operator=(const HandlerTable&) = delete;

    // Files `handler` under `name` unless the name is taken; true when it was filed.
    bool Insert(WStringView name, std::unique_ptr<T>& handler) {
        std::size_t hash = 0;
        if (m_slots.empty()) {
            if (Find(name)) {
                return false;
            }
        } else {
            // The index holds every name of the table, so a taken name costs no key.
            hash = std::hash<WStringView>()(name);
            if (Find(name, hash)) {
                return false;
            }
        }
        if (m_entries.empty()) {
            m_entries.reserve(4);
        }
        m_entries.emplace_back(WMString(name), std::move(handler));
        m_ordered.store(false, std::memory_order_relaxed);
        if (m_slots.empty()) {
            if (m_entries.size() > kScanned) {
                Grow();
            }
        } else if ((m_entries.size() + 1) * 2 > m_slots.size()) {
            Grow();
        } else {
            Place(Slot{hash, m_entries.size() - 1});
        }
        return true;
    }

    const T* Find(WStringView name) const {
        if (m_slots.empty()) {
            for (const Entry& entry : m_entries) {
                if (TextEquals(entry.first, name)) {
                    return entry.second.get();
                }
            }
            return nullptr;
        }
        return Find(name, std::hash<WStringView>()(name));
    }

    // Moves the entries whose names this table lacks out of `from` and releases the rest.
    void TakeMissing(HandlerTable& from) {
        for (auto& [name, handler] : from.m_entries) {
            Insert(name, handler);
        }
        from.m_entries.clear();
        from.m_slots.clear();
        from.m_ordered.store(false, std::memory_order_relaxed);
    }

    const_iterator begin() const { return const_iterator(Order().data()); }
    const_iterator end() const { return const_iterator(Order().data() + m_order.size()); }
    std::size_t size() const { return m_entries.size(); }
    bool empty() const { return m_entries.empty(); }

private:
    // A table of a few names (a message's parts, an operation's faults) is searched in order;
    // a larger one through open addressing over a power-of-two array kept at most half full,
    // one allocation per doubling instead of one per name. A slot refers to its entry by
    // position, since the entries move as they grow.
    static constexpr std::size_t kScanned = 8;
    static constexpr std::size_t kFree = ~std::size_t{0};
    struct Slot {
        std::size_t hash = 0;
        std::size_t entry = kFree;
    };

    const T* Find(WStringView name, std::size_t hash) const {
        if (m_slots.empty()) {
            return nullptr;
        }
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = hash & mask; m_slots[i].entry != kFree; i = (i + 1) & mask) {
            const Entry& entry = m_entries[m_slots[i].entry];
            if (m_slots[i].hash == hash && TextEquals(entry.first, name)) {
                return entry.second.get();
            }
        }
        return nullptr;
    }

    void Place(const Slot& slot) {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t i = slot.hash & mask;
        while (m_slots[i].entry != kFree) {
            i = (i + 1) & mask;
        }
        m_slots[i] = slot;
    }

    // Rebuilds the index from the entries in an array at least twice their number.
    void Grow() {
        std::size_t size = m_slots.empty() ? 16 : m_slots.size();
        while ((m_entries.size() + 1) * 2 > size) {
            size *= 2;
        }
        m_slots.assign(size, Slot{});
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            Place(Slot{std::hash<WStringView>()(m_entries[i].first), i});
        }
    }

    // The entries in code-unit order of their names.
    const std::vector<const Entry*>& Order() const {
        if (!m_ordered.load(std::memory_order_acquire)) {
            std::lock_guard<std::mutex> lock(detail::TableOrderMutex());
            if (!m_ordered.load(std::memory_order_relaxed)) {
                m_order.clear();
                for (const Entry& entry : m_entries) {
                    m_order.push_back(&entry);
                }
                std::sort(m_order.begin(), m_order.end(), [](const Entry* a, const Entry* b) {
                    return CodeUnitLess()(a->first, b->first);
                });
                m_ordered.store(true, std::memory_order_release);
            }
        }
        return m_order;
    }

    std::vector<Entry> m_entries;
    std::vector<Slot> m_slots;
    mutable std::vector<const Entry*> m_order;
    mutable std::atomic<bool> m_ordered{true};
};

template <class T>
const T* FindIn(const HandlerTable<T>& table, WStringView name) {
    return table.Find(name);
}

// The start tag being read: the element's names, its attributes and the prefixes in scope. An
// unprefixed attribute is found under the element's namespace URI, local name and attribute name
// joined ("definitionsname"), a prefixed one under its namespace URI and local name joined, the
// same keys by which WMXMLElement files them, collisions included. The views stay valid while the
// handler that receives the tag runs; a handler copies what it keeps.
class StartTag {
public:
    StartTag(WStringView ns, WStringView local, WStringView qname, const PrefixMap& prefixes)
        : ns(ns), local(local), qname(qname), m_prefixes(prefixes) {}
    StartTag(const StartTag&) = delete;
    StartTag& operator=(const StartTag&) = delete;

    WStringView ns;
    WStringView local;
    WStringView qname;

    bool Is(WStringView elementNS, WStringView elementLocal) const {
        return local == elementLocal && TextEquals(ns, elementNS);
    }
    // In any of the XML Schema namespaces.
    bool IsSchema(WStringView elementLocal) const {
        return local == elementLocal && IsSchemaNS(ns);
    }

    // The value of the unprefixed attribute with the element-and-attribute key `elemAttr`
    // ("definitionsname"), which may also be given in two pieces ("definitions", "name").
    std::optional<WStringView> Find(WStringView elemAttr, WStringView more = {}) const {
        return Lookup({ns, elemAttr, more});
    }
    // The value of the attribute in namespace `attrNS` with local name `attrLocal`.
    std::optional<WStringView> FindQualified(WStringView attrNS, WStringView attrLocal) const {
        return Lookup({attrNS, attrLocal, {}});
    }

    // A required attribute; throws "Required attribute '<attr>' missing on element: '<elem>'"
    // (with a full stop when `fullStop`) when it is absent.
    WStringView Require(WStringView elemAttr, const char16_t* attr, const char16_t* elem,
                        bool fullStop) const;

    // Splits `value` at its first ":" and resolves the prefix (the empty one for a value without
    // ":") in the prefix map; throws "Unresolvable namespace for attribute ..." when the prefix
    // is not declared.
    QName Resolve(WStringView value, const char16_t* attr, const char16_t* elem) const;

    const PrefixMap& Prefixes() const { return m_prefixes; }

    // A text given as the pieces that joined make it, so that keys need not be built.
    struct Key {
        WStringView part[3];
        std::size_t size() const { return part[0].size() + part[1].size() + part[2].size(); }
        bool Equals(const Key& other) const;
    };

protected:
    ~StartTag() = default;
    // The value of the first attribute filed under `key`, or nothing.
    virtual std::optional<WStringView> Lookup(const Key& key) const = 0;

private:
    const PrefixMap& m_prefixes;
};

}  // namespace corvane

// The fault a handler throws when the document breaks a rule of the description; it ends the
// load. Thrown as a pointer to a heap object; the loader catches it and deletes it.
class WMWebServicesDescFault {
public:
    WMWebServicesDescFault(WMString category, WMString message)
        : m_category(std::move(category)), m_message(std::move(message)) {}

    const WMString& GetCategory() const { return m_category; }
    const WMString& GetMessage() const { return m_message; }

private:
    WMString m_category;
    WMString m_message;
};

namespace corvane {

[[noreturn]] void ThrowSchemaError(WMString message);
[[noreturn]] void ThrowMissingAttribute(const char16_t* attr, const char16_t* elem, bool fullStop);

}  // namespace corvane

// Base of every element handler. After the load the handlers are the description.
class WMWSDLEventHandler {
public:
    WMWSDLEventHandler() = default;
    WMWSDLEventHandler(const WMWSDLEventHandler&) = delete;
    WMWSDLEventHandler& operator=(const WMWSDLEventHandler&) = delete;
    virtual ~WMWSDLEventHandler();

    // Handlers made during a load live in its arena (see HandlerArena); others on the heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* pointer);

    // The handler that reads the child element, or null when the child is not known here (the
    // frame then skips it with its whole subtree).
    virtual WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                                  WMWSDLParseEventHandler& frame) = 0;
    // True when the element is finished and the handler is to be popped.
    virtual bool EndElement();
    virtual void CharacterData(corvane::WStringView text);
    virtual void ReadAttributes(const corvane::StartTag& tag);
    virtual void SetTargetNS(corvane::WStringView ns);
    virtual const WMString& GetTargetNS() const;
    // Takes the target namespace of `parent` without copying the text: most handlers of a
    // description share one or two namespaces.
    void InheritTargetNS(const WMWSDLEventHandler& parent) {
        m_targetNS = parent.m_targetNS;
        m_ownedTargetNS = parent.m_ownedTargetNS;
    }

private:
    // During a load the text is the one the load's arena keeps, which outlives every handler of
    // the description without a shared count to maintain; otherwise the handlers that share it
    // own it together.
    const WMString* m_targetNS = nullptr;
    std::shared_ptr<const WMString> m_ownedTargetNS;
};

#endif
