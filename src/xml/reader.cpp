#include "xml/reader.h"

#include <corvane/xml_parser.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "xml/chars.h"
#include "xml/model_impl.h"
#include "xml/noinline.h"
#include "xml/reader_scan.h"
#include "xml/thread_lists.h"

namespace corvane {
namespace detail {

using namespace std::string_view_literals;  // literals of known length, compared without a scan

namespace {

constexpr std::uint64_t kPrime = 0x100000001b3ULL;

std::uint64_t Fold(std::uint64_t hash, std::u16string_view text) {
    for (char16_t c : text) {
        hash = (hash ^ c) * kPrime;
    }
    return hash;
}

// IsNameStart and IsNameChar for the ASCII code units, which make up nearly every name.
struct NameTable {
    bool start[0x80];
    bool ascii[0x80];
};

constexpr NameTable MakeNameTable() {
    NameTable table{};
    for (int c = 0; c < 0x80; ++c) {
        bool const letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        table.start[c] = letter || c == '_' || c == ':';
        table.ascii[c] =
            letter || (c >= '0' && c <= '9') || c == '_' || c == '.' || c == ':' || c == '-';
    }
    return table;
}

constexpr NameTable kNameTable = MakeNameTable();

// A text written as up to three pieces: attribute keys are namespace URI + local name, or
// element URI + element name + attribute name, compared as the joined text.
struct Joined {
    std::u16string_view part[3];

    std::size_t size() const { return part[0].size() + part[1].size() + part[2].size(); }
};

int CompareJoined(Joined const& a, Joined const& b) {
    int ia = 0;
    int ib = 0;
    std::size_t oa = 0;
    std::size_t ob = 0;
    for (;;) {
        while (ia < 3 && oa == a.part[ia].size()) {
            ++ia;
            oa = 0;
        }
        while (ib < 3 && ob == b.part[ib].size()) {
            ++ib;
            ob = 0;
        }
        if (ia == 3 || ib == 3) {
            return (ia == 3 ? 0 : 1) - (ib == 3 ? 0 : 1);
        }
        std::size_t const n = std::min(a.part[ia].size() - oa, b.part[ib].size() - ob);
        int const order = a.part[ia].substr(oa, n).compare(b.part[ib].substr(ob, n));
        if (order != 0) {
            return order;
        }
        oa += n;
        ob += n;
    }
}

Joined KeyOf(XMLNode const& element, XMLAttr const& attr) {
    if (attr.prefixed) {
        return Joined{{attr.ns->uri, attr.Local(), {}}};
    }
    return Joined{{element.ns->uri, element.Local(), attr.qname}};
}

}  // namespace

// ---- blocks

namespace {

struct BlockCache {
    struct Free {
        Free* next;
    };
    Free* first = nullptr;
    std::size_t count = 0;
    bool closed = false;  // blocks given back while the thread's objects are destroyed are freed

    ~BlockCache();
};

// The arena and items of a message of some 2 MB (4 MB of blocks); a larger message's blocks
// beyond these go back to the system, so that a thread never holds more than this idle.
constexpr std::size_t kMaxCachedBlocks = 64;

thread_local BlockCache t_blocks;

BlockCache::~BlockCache() {
    ReleaseReaderBlocks();
    closed = true;
}

}  // namespace

void* TakeReaderBlock() {
    BlockCache& cache = t_blocks;
    if (cache.first) {
        BlockCache::Free* block = cache.first;
        cache.first = block->next;
        --cache.count;
        return block;
    }
    void* block = std::malloc(kReaderBlockSize);
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

void ReleaseReaderBlocks() {
    BlockCache& cache = t_blocks;
    while (cache.first) {
        BlockCache::Free* block = cache.first;
        cache.first = block->next;
        std::free(block);
    }
    cache.count = 0;
}

void GiveReaderBlock(void* block) {
    BlockCache& cache = t_blocks;
    if (cache.closed || cache.count >= kMaxCachedBlocks) {
        std::free(block);
        return;
    }
    auto* free = static_cast<BlockCache::Free*>(block);
    free->next = cache.first;
    cache.first = free;
    ++cache.count;
}

// ---- arena

// Blocks of nodes, attribute arrays, scopes and changed texts. Event mode gives back what an
// element took when the element ends, so the arena works as a stack there.
struct XMLDocument::Arena {
    struct Block {
        Block* prev;
        char* limit;
    };
    struct Mark {
        Block* block;
        char* next;
    };
    static constexpr std::size_t kBlockSize = kReaderBlockSize;

    Block* top = nullptr;
    Block* spare = nullptr;  // one freed block kept for the next element of an event parse
    char* next = nullptr;
    std::size_t bytes = 0;

    ~Arena() {
        Clear();
        if (spare) {
            GiveReaderBlock(spare);
        }
    }

    void* Allocate(std::size_t size) {
        size = (size + 7) & ~std::size_t{7};
        if (!top || static_cast<std::size_t>(top->limit - next) < size) {
            Grow(size);
        }
        void* result = next;
        next += size;
        return result;
    }

    template <class T>
    T* Make() {
        return ::new (Allocate(sizeof(T))) T();
    }

    std::u16string_view Copy(std::u16string_view text) {
        auto* copy = static_cast<char16_t*>(Allocate(text.size() * sizeof(char16_t)));
        std::copy(text.begin(), text.end(), copy);
        return std::u16string_view(copy, text.size());
    }

    NOINLINE void Grow(std::size_t size) {
        std::size_t const header = (sizeof(Block) + 7) & ~std::size_t{7};
        std::size_t const total = std::max(kBlockSize, size + header);
        Block* block;
        if (total == kBlockSize && spare) {
            block = spare;
            spare = nullptr;
        } else {
            block =
                static_cast<Block*>(total == kBlockSize ? TakeReaderBlock() : std::malloc(total));
            if (!block) {
                throw std::bad_alloc();
            }
            bytes += total;
        }
        block->prev = top;
        block->limit = reinterpret_cast<char*>(block) + total;
        top = block;
        next = reinterpret_cast<char*>(block) + header;
    }

    Mark Save() const { return Mark{top, next}; }

    void Release(Mark mark) {
        while (top != mark.block) {
            Block* block = top;
            top = block->prev;
            std::size_t const size = static_cast<std::size_t>(block->limit - (char*)block);
            if (size == kBlockSize && !spare) {
                spare = block;
            } else {
                bytes -= size;
                if (size == kBlockSize) {
                    GiveReaderBlock(block);
                } else {
                    std::free(block);
                }
            }
        }
        next = mark.next;
    }

    void Clear() { Release(Mark{nullptr, nullptr}); }
};

// ---- namespace records

struct XMLDocument::Namespaces {
    Arena storage;
    std::vector<XMLNamespace*> slots;  // open addressing, power-of-two size
    std::size_t count = 0;
    std::uint64_t seed = 0;
    XMLNamespace none{};

    void Reset(std::uint64_t newSeed) {
        storage.Clear();
        slots.assign(16, nullptr);
        count = 0;
        seed = newSeed;
        none.uri = std::u16string_view();
        none.hashState = seed;
    }

    XMLNamespace const* Find(std::u16string_view uri, std::uint64_t hash) const {
        if (uri.empty()) {
            return &none;
        }
        std::size_t const mask = slots.size() - 1;
        for (std::size_t i = hash & mask; slots[i]; i = (i + 1) & mask) {
            if (slots[i]->hashState == hash && slots[i]->uri == uri) {
                return slots[i];
            }
        }
        return nullptr;
    }

    // `stable` tells that the text outlives the document's read (a view into the input).
    XMLNamespace const* Intern(std::u16string_view uri, bool stable) {
        std::uint64_t const hash = Fold(seed, uri);
        if (XMLNamespace const* found = Find(uri, hash)) {
            return found;
        }
        auto* record = storage.Make<XMLNamespace>();
        record->uri = stable ? uri : storage.Copy(uri);
        record->hashState = hash;
        if ((count + 1) * 2 > slots.size()) {
            std::vector<XMLNamespace*> grown(slots.size() * 2, nullptr);
            for (XMLNamespace* entry : slots) {
                if (entry) {
                    std::size_t i = entry->hashState & (grown.size() - 1);
                    while (grown[i]) {
                        i = (i + 1) & (grown.size() - 1);
                    }
                    grown[i] = entry;
                }
            }
            slots.swap(grown);
        }
        std::size_t const mask = slots.size() - 1;
        std::size_t i = hash & mask;
        while (slots[i]) {
            i = (i + 1) & mask;
        }
        slots[i] = record;
        ++count;
        return record;
    }
};

// ---- queries

XMLAttr const* XMLNode::FindAttribute(std::u16string_view key) const {
    Joined const wanted{{key, {}, {}}};
    for (std::uint32_t i = 0; i < attrCount; ++i) {
        Joined const have = KeyOf(*this, attrs[i]);
        if (have.size() == key.size() && CompareJoined(have, wanted) == 0) {
            return &attrs[i];
        }
    }
    return nullptr;
}

void XMLNode::AppendKey(XMLAttr const& attr, WMString& out) const {
    Joined const key = KeyOf(*this, attr);
    for (std::u16string_view part : key.part) {
        out.append(part);
    }
}

// ---- writing

namespace {

// The whole prefix map of a scope, in prefix order: the entries of the scope and its parents,
// the innermost of each prefix kept.
std::vector<XMLReadScope::Entry> MergedEntries(XMLReadScope const* scope) {
    std::vector<XMLReadScope::Entry> all;
    for (; scope; scope = scope->parent) {
        all.insert(all.end(), scope->entries, scope->entries + scope->count);
    }
    std::stable_sort(all.begin(), all.end(),
                     [](XMLReadScope::Entry const& a, XMLReadScope::Entry const& b) {
                         return a.prefix < b.prefix;
                     });
    std::vector<XMLReadScope::Entry> merged;
    for (XMLReadScope::Entry const& entry : all) {
        if (merged.empty() || merged.back().prefix != entry.prefix) {
            merged.push_back(entry);
        }
    }
    return merged;
}

// Where `added` goes among the element's attributes and whether it is written at all; `declare`
// says that its prefix needs a declaration.
struct AddedPlace {
    bool written = false;
    bool declare = false;
};

AddedPlace PlaceAdded(XMLNode const& element, AddedAttribute const& added,
                      std::vector<XMLReadScope::Entry> const& inScope) {
    AddedPlace place;
    Joined const key{{added.uri, added.local, {}}};
    for (std::uint32_t i = 0; i < element.attrCount; ++i) {
        Joined const have = KeyOf(element, element.attrs[i]);
        if (have.size() == key.size() && CompareJoined(have, key) == 0) {
            return place;
        }
    }
    auto const bound = std::find_if(
        inScope.begin(), inScope.end(),
        [&added](XMLReadScope::Entry const& entry) { return entry.prefix == added.prefix; });
    if (bound != inScope.end() && bound->uri->uri != added.uri) {
        return place;
    }
    place.written = true;
    place.declare = bound == inScope.end();
    return place;
}

void InsertEntry(std::vector<XMLReadScope::Entry>& entries, XMLReadScope::Entry const& entry) {
    entries.insert(std::upper_bound(entries.begin(), entries.end(), entry,
                                    [](XMLReadScope::Entry const& a, XMLReadScope::Entry const& b) {
                                        return a.prefix < b.prefix;
                                    }),
                   entry);
}

// Writes into a string through a small buffer: a body's text is written in many short pieces,
// and the string's own append checks and updates its size for each; the buffer hands them over
// in large ones.
class TextWriter {
public:
    explicit TextWriter(WMString& out) : m_out(out) {}
    TextWriter(TextWriter const&) = delete;
    TextWriter& operator=(TextWriter const&) = delete;

    // Hands over what the buffer holds; the text is complete after this.
    void Flush() {
        m_out.append(m_buffer, m_used);
        m_used = 0;
    }

    void Put(char16_t c) {
        if (m_used == kSize) {
            Flush();
        }
        m_buffer[m_used++] = c;
    }

    void Put(std::u16string_view text) {
        if (kSize - m_used < text.size()) {
            PutLong(text);
            return;
        }
        std::char_traits<char16_t>::copy(m_buffer + m_used, text.data(), text.size());
        m_used += text.size();
    }

    // As AppendEscapedContent (`attribute` false) and AppendEscapedAttribute write it.
    void PutEscaped(std::u16string_view text, bool attribute) {
        char16_t const* run = text.data();
        char16_t const* const end = run + text.size();
        auto const skip = [attribute, end](char16_t const* from) {
            return attribute ? SkipOthers<u'&', u'<', u'"', u'\''>(from, end)
                             : SkipOthers<u'&', u'<', u'>'>(from, end);
        };
        // Every character that is escaped sorts below 64: one bit each.
        constexpr std::uint64_t kAttributeSet =
            (std::uint64_t{1} << u'&') | (std::uint64_t{1} << u'<') | (std::uint64_t{1} << u'"') |
            (std::uint64_t{1} << u'\'');
        constexpr std::uint64_t kContentSet =
            (std::uint64_t{1} << u'&') | (std::uint64_t{1} << u'<') | (std::uint64_t{1} << u'>');
        std::uint64_t const set = attribute ? kAttributeSet : kContentSet;
        for (char16_t const* p = skip(run); p != end; ++p) {
            if (*p >= 64 || ((set >> *p) & 1) == 0) {
                continue;
            }
            std::u16string_view entity;
            switch (*p) {
                case u'&':
                    entity = u"&amp;"sv;
                    break;
                case u'<':
                    entity = u"&lt;"sv;
                    break;
                case u'>':
                    entity = attribute ? std::u16string_view() : u"&gt;"sv;
                    break;
                case u'"':
                    entity = attribute ? u"&quot;"sv : std::u16string_view();
                    break;
                case u'\'':
                    entity = attribute ? u"&apos;"sv : std::u16string_view();
                    break;
                default:
                    break;
            }
            if (!entity.empty()) {
                Put(std::u16string_view(run, static_cast<std::size_t>(p - run)));
                Put(entity);
                run = p + 1;
                p = skip(run) - 1;
            }
        }
        Put(std::u16string_view(run, static_cast<std::size_t>(end - run)));
    }

private:
    static constexpr std::size_t kSize = 2048;

    NOINLINE void PutLong(std::u16string_view text) {
        Flush();
        if (text.size() < kSize) {
            std::char_traits<char16_t>::copy(m_buffer, text.data(), text.size());
            m_used = text.size();
        } else {
            m_out.append(text);
        }
    }

    WMString& m_out;
    std::size_t m_used = 0;
    char16_t m_buffer[kSize];
};

// Writes the attribute (if any) and what follows it in a start tag that declares nothing; true
// when the element is empty and so complete.
bool FinishStartTag(XMLNode const& element, XMLAttr const* attr, TextWriter& out) {
    if (attr) {
        out.Put(u' ');
        out.Put(attr->qname);
        out.Put(u"=\""sv);
        out.PutEscaped(attr->value, true);
        out.Put(u'"');
    }
    if (element.text.empty() && !element.firstChild) {
        out.Put(u" />"sv);
        return true;
    }
    out.Put(u'>');
    out.PutEscaped(element.text, false);
    return false;
}

// `parentAdded` is the declaration that an added attribute gave the parent, if any: the parent's
// prefixes then differ from the element's even where they share a scope.
NOINLINE bool SerializeStartTag(XMLNode const& element, XMLNode const* parent, TextWriter& out,
                                AddedAttribute const* added,
                                XMLReadScope::Entry const* parentAdded) {
    out.Put(u'<');
    out.Put(element.qname);
    bool const ownScope = !parent || parent->scope != element.scope;
    if (!added && !ownScope && element.attrCount <= 1) {
        // Nearly every element of a message: nothing declared, nothing to sort.
        return FinishStartTag(element, element.attrCount == 1 ? &element.attrs[0] : nullptr, out);
    }
    std::vector<XMLReadScope::Entry> const inScope =
        added || ownScope ? MergedEntries(element.scope) : std::vector<XMLReadScope::Entry>();
    AddedPlace const place = added ? PlaceAdded(element, *added, inScope) : AddedPlace();
    XMLNamespace const addedNS{place.declare ? added->uri : std::u16string_view(), 0};
    // Most elements carry one attribute or none: sorting is for the others.
    XMLAttr const* few[4];
    std::vector<XMLAttr const*> many;
    XMLAttr const** attrs = few;
    if (element.attrCount > 4) {
        many.resize(element.attrCount);
        attrs = many.data();
    }
    for (std::uint32_t i = 0; i < element.attrCount; ++i) {
        attrs[i] = &element.attrs[i];
    }
    if (element.attrCount > 1) {
        std::sort(attrs, attrs + element.attrCount, [&element](XMLAttr const* a, XMLAttr const* b) {
            return CompareJoined(KeyOf(element, *a), KeyOf(element, *b)) < 0;
        });
    }
    auto const writeAttribute = [&out](std::u16string_view prefix, std::u16string_view qname,
                                       std::u16string_view value) {
        out.Put(u' ');
        if (!prefix.empty()) {
            out.Put(prefix);
            out.Put(u':');
        }
        out.Put(qname);
        out.Put(u"=\""sv);
        out.PutEscaped(value, true);
        out.Put(u'"');
    };
    bool addedDone = !place.written;
    Joined const addedKey = added ? Joined{{added->uri, added->local, {}}} : Joined{};
    for (std::uint32_t i = 0; i < element.attrCount; ++i) {
        if (!addedDone && CompareJoined(addedKey, KeyOf(element, *attrs[i])) < 0) {
            writeAttribute(added->prefix, added->local, added->value);
            addedDone = true;
        }
        writeAttribute({}, attrs[i]->qname, attrs[i]->value);
    }
    if (!addedDone) {
        writeAttribute(added->prefix, added->local, added->value);
    }
    if (ownScope || place.declare) {
        std::vector<XMLReadScope::Entry> inherited =
            parent ? MergedEntries(parent->scope) : std::vector<XMLReadScope::Entry>();
        if (parentAdded) {
            InsertEntry(inherited, *parentAdded);
        }
        std::vector<XMLReadScope::Entry> entries = inScope;
        if (place.declare) {
            InsertEntry(entries, XMLReadScope::Entry{added->prefix, &addedNS, true});
        }
        auto same = inherited.begin();
        for (XMLReadScope::Entry const& entry : entries) {
            while (same != inherited.end() && same->prefix < entry.prefix) {
                ++same;
            }
            // Interned URIs are compared by address; the added one is not interned.
            if (same != inherited.end() && same->prefix == entry.prefix &&
                (same->uri == entry.uri || same->uri->uri == entry.uri->uri)) {
                continue;
            }
            out.Put(entry.prefix.empty() ? u" xmlns"sv : u" xmlns:"sv);
            out.Put(entry.prefix);
            out.Put(u"=\""sv);
            out.PutEscaped(entry.uri->uri, true);
            out.Put(u'"');
        }
    }
    return FinishStartTag(element, nullptr, out);
}

// Whether `added` declares its prefix on the element.
bool DeclaresAdded(XMLNode const& element, AddedAttribute const& added) {
    return PlaceAdded(element, added, MergedEntries(element.scope)).declare;
}

void SerializeWith(XMLNode const& element, XMLNode const* parent, TextWriter& out,
                   AddedAttribute const* added, XMLReadScope::Entry const* parentAdded) {
    if (SerializeStartTag(element, parent, out, added, parentAdded)) {
        return;
    }
    // The prefix an added attribute declared here is in scope for the children.
    XMLNamespace const addedNS{added ? added->uri : std::u16string_view(), 0};
    XMLReadScope::Entry const declared{added ? added->prefix : std::u16string_view(), &addedNS,
                                       true};
    bool const declaredHere = added && DeclaresAdded(element, *added);
    for (XMLNode const* child = element.firstChild; child; child = child->nextSibling) {
        SerializeWith(*child, &element, out, nullptr, declaredHere ? &declared : nullptr);
    }
    out.Put(u"</"sv);
    out.Put(element.qname);
    out.Put(u'>');
}

}  // namespace

void SerializeNode(XMLNode const& element, XMLNode const* parent, WMString& out,
                   AddedAttribute const* added) {
    TextWriter writer(out);
    SerializeWith(element, parent, writer, added, nullptr);
    writer.Flush();
}

// ---- reading

// One parse. Its structure follows WMXMLParser's reader step for step, because the error line
// of bad input depends on where each step reads and steps back.
class NodeReader {
public:
    NodeReader(XMLDocument& document, WMString const& text, int& line, bool keepTree,
               XMLReadEvents* events)
        : m_begin(text.data()),
          m_end(text.data() + text.size()),
          m_cur(text.data()),
          m_line(line),
          m_events(events),
          m_keepTree(keepTree),
          m_arena(*document.m_arena),
          m_namespaces(*document.m_namespaces),
          m_budget(kBudgetPerUnit * text.size() + kBudgetBase),
          m_seed(document.m_namespaces->seed) {
        m_spare = BorrowThreadLists<Lists>();
        if (m_spare != nullptr) {
            SwapLists(*m_spare);
        }
        if (m_prefixSlots.empty()) {
            m_prefixSlots.resize(16);
        }
        if (m_recordSlots.empty()) {
            m_recordSlots.resize(64);
        }
    }

    ~NodeReader() {
        if (m_spare == nullptr) {
            return;
        }
        EmptyKept(m_attrs);
        EmptyKept(m_decls);
        EmptyKept(m_ownEntries);
        EmptyKept(m_textStack);
        EmptyKept(m_prefixes);
        EmptyKept(m_undo);
        EmptySlots(m_prefixSlots);
        EmptySlots(m_recordSlots);
        SwapLists(*m_spare);
        m_spare->lent = false;
    }

    NodeReader(NodeReader const&) = delete;
    NodeReader& operator=(NodeReader const&) = delete;

    // Like WMXMLParser, keeps the root once it is complete, even when what follows it fails.
    void ParseDocument(XMLNode const*& root) {
        ParseProlog();
        root = ParseElement(nullptr, 1);
        if (!root) {
            Error();
        }
        ParseMisc();
    }

private:
    // The exported parser's copy budget (see XMLInterner), charged the same way: resolution
    // charges what WMXMLElement copies, whatever this reader itself copies.
    static constexpr std::size_t kBudgetPerUnit = 32;
    static constexpr std::size_t kBudgetBase = std::size_t{1} << 22;

    // What the copy budget needs of each qualified name up to this length: WMXMLParser interns
    // these and charges a resolution by what it remembers of the last one.
    static constexpr std::size_t kMaxInternedLength = 256;
    struct NameRecord {
        std::u16string_view qname;
        std::uint64_t hash = 0;
        XMLNamespace const* ns = nullptr;  // last resolution, null before the first
        std::uint32_t scope = 0;           // scope of the last resolution made in one
        std::int64_t slot = -1;            // which string of that scope it took
        // The name's shape, found once: its first colon, whether another follows, and the
        // prefix's index when the colon is past the start.
        std::size_t colon = std::u16string_view::npos;
        bool manyColons = false;
        std::size_t prefixIndex = 0;
    };

    // A slot is the record alone: with each hash beside its record, a process loading a large
    // description again and again loaded it 40% slower; reading the records' hashes while the
    // table grows costs less.
    using RecordSlot = NameRecord*;

    // The shape of a name, from its record when it has one.
    struct NameShape {
        std::size_t colon;
        bool manyColons;
        std::size_t prefixIndex;
    };
    // Slots of resolution: the empty URI of unprefixed attributes, a scope's default, or the
    // entry of a prefix (kSlotPrefix + the prefix's index).
    static constexpr std::int64_t kSlotEmpty = 0;
    static constexpr std::int64_t kSlotDefault = 1;
    static constexpr std::int64_t kSlotPrefix = 2;

    struct PrefixSlot {
        std::u16string_view prefix;
        XMLNamespace const* uri = nullptr;  // the binding in effect, null when none
    };

    // ---- work lists

    // The lists a thread keeps from one parse to the next.
    struct Lists {
        std::vector<XMLAttr> attrs;
        std::vector<std::size_t> decls;
        std::vector<std::pair<std::u16string_view, XMLNamespace const*>> ownEntries;
        std::u16string textStack;
        std::vector<PrefixSlot> prefixes;
        std::vector<std::pair<std::uint64_t, std::size_t>> prefixSlots;
        std::vector<std::pair<std::size_t, XMLNamespace const*>> undo;
        std::vector<RecordSlot> recordSlots;
        bool lent = false;
    };

    void SwapLists(Lists& lists) {
        m_attrs.swap(lists.attrs);
        m_decls.swap(lists.decls);
        m_ownEntries.swap(lists.ownEntries);
        m_textStack.swap(lists.textStack);
        m_prefixes.swap(lists.prefixes);
        m_prefixSlots.swap(lists.prefixSlots);
        m_undo.swap(lists.undo);
        m_recordSlots.swap(lists.recordSlots);
    }

    template <class Slots>
    static void EmptySlots(Slots& slots) {
        if (slots.size() > kKeptEntries) {
            Slots().swap(slots);
        } else if constexpr (std::is_trivially_copyable_v<typename Slots::value_type>) {
            std::memset(slots.data(), 0, slots.size() * sizeof(typename Slots::value_type));
        } else {
            std::fill(slots.begin(), slots.end(), typename Slots::value_type());
        }
    }

    // ---- reading characters

    char16_t NextCh() {
        if (m_cur >= m_end) {
            m_overrun = true;
            return 0;
        }
        char16_t const c = *m_cur++;
        if (c == u'\n') {
            ++m_line;
        } else if (c == u'\r') {
            if (m_cur == m_end) {
                return 0;
            }
            if (*m_cur == u'\n') {
                ++m_cur;
            }
            ++m_line;
            return u'\n';
        }
        return c;
    }

    void PrevCh() {
        if (m_overrun) {
            m_overrun = false;
        } else if (m_cur > m_begin) {
            --m_cur;
        }
    }

    // `expected` is never a line end, so a match reads as one step; a miss goes the long way,
    // which may count a line end it steps back over.
    bool ParseCh(char16_t expected) {
        if (!m_overrun && m_cur < m_end && *m_cur == expected) {
            ++m_cur;
            return true;
        }
        return MissCh(expected);
    }

    bool MissCh(char16_t expected) {
        if (NextCh() == expected) {
            return true;
        }
        PrevCh();
        return false;
    }

    bool ParseString(std::u16string_view literal) {
        if (m_overrun || static_cast<std::size_t>(m_end - m_cur) < literal.size() ||
            std::u16string_view(m_cur, literal.size()) != literal) {
            return false;
        }
        m_cur += literal.size();
        return true;
    }

    bool ParseWhiteSpace() {
        // Most calls meet a character that is neither space nor line end: reading it and
        // stepping back would change nothing.
        if (!m_overrun && m_cur<m_end&& * m_cur> 0x20 && *m_cur < 0x85) {
            return false;
        }
        return SkipWhiteSpace();
    }

    NOINLINE bool SkipWhiteSpace() {
        // Spaces and tabs first: they count no line and need no step back.
        char16_t const* const start = m_cur;
        while (m_cur < m_end && (*m_cur == u' ' || *m_cur == u'\t')) {
            ++m_cur;
        }
        bool any = m_cur != start;
        if (any && m_cur<m_end&& * m_cur> 0x20 && *m_cur < 0x85) {
            return true;
        }
        for (;;) {
            char16_t const c = NextCh();
            if (c == 0 || !IsXMLSpace(c)) {
                PrevCh();
                return any;
            }
            any = true;
        }
    }

    // Counts the line end at `p` and steps over it; false at a carriage return that ends the
    // input.
    bool CountLineEnd(char16_t const*& p) {
        if (*p == u'\n') {
            ++p;
        } else {
            if (p + 1 == m_end) {
                return false;
            }
            p += p[1] == u'\n' ? 2 : 1;
        }
        ++m_line;
        return true;
    }

    std::u16string_view ParseName() {
        char16_t const* start = m_cur;
        if (m_overrun || m_cur == m_end ||
            !(*m_cur < 0x80 ? kNameTable.start[*m_cur] : IsNameStart(*m_cur))) {
            return std::u16string_view();
        }
        // The zero after the text ends every name, so the scan needs no bound.
        char16_t const* p = m_cur + 1;
        while (*p < 0x80 ? kNameTable.ascii[*p] : IsNameChar(*p)) {
            ++p;
        }
        m_cur = p;
        return std::u16string_view(start, static_cast<std::size_t>(p - start));
    }

    NOINLINE char16_t ParseReference() {
        if (ParseCh(u'#')) {
            std::uint32_t value = 0;
            int digits = 0;
            if (ParseCh(u'x')) {
                for (;; ++digits) {
                    char16_t const c = NextCh();
                    int digit;
                    if (c >= u'0' && c <= u'9') {
                        digit = c - u'0';
                    } else if (c >= u'a' && c <= u'f') {
                        digit = c - u'a' + 10;
                    } else if (c >= u'A' && c <= u'F') {
                        digit = c - u'A' + 10;
                    } else {
                        PrevCh();
                        break;
                    }
                    value = value * 16 + static_cast<std::uint32_t>(digit);
                }
            } else {
                for (;; ++digits) {
                    char16_t const c = NextCh();
                    if (c < u'0' || c > u'9') {
                        PrevCh();
                        break;
                    }
                    value = value * 10 + static_cast<std::uint32_t>(c - u'0');
                }
            }
            if (digits == 0 || !ParseCh(u';')) {
                Error();
            }
            return static_cast<char16_t>(value & 0xFFFF);
        }
        std::u16string_view const name = ParseName();
        if (name.empty() || !ParseCh(u';')) {
            Error();
        }
        if (name == u"lt"sv) {
            return u'<';
        }
        if (name == u"gt"sv) {
            return u'>';
        }
        if (name == u"amp"sv) {
            return u'&';
        }
        if (name == u"apos"sv) {
            return u'\'';
        }
        if (name == u"quot"sv) {
            return u'"';
        }
        Error();
    }

    // ---- text assembly: a text that is one run of the input stays a view of it; anything
    // else is put together on a stack shared by the open elements and copied once complete.

    struct TextState {
        std::u16string_view first;
        std::size_t start = 0;
        bool assembled = false;
    };

    void Assemble(TextState& state) {
        if (!state.assembled) {
            state.start = m_textStack.size();
            m_textStack.append(state.first);
            state.assembled = true;
        }
    }

    void AddRun(TextState& state, char16_t const* from, char16_t const* to) {
        if (from == to) {
            return;
        }
        std::u16string_view const run(from, static_cast<std::size_t>(to - from));
        if (!state.assembled && state.first.empty()) {
            state.first = run;
            return;
        }
        Assemble(state);
        m_textStack.append(run);
    }

    void AddChar(TextState& state, char16_t c) {
        Assemble(state);
        m_textStack += c;
    }

    // Steps over the line end at `p` in a run that is kept: CR LF and a lone CR read as one
    // line feed, as NextCh reads them; a carriage return that ends the input is the end.
    void TakeLineEnd(TextState& state, char16_t const*& run, char16_t const*& p) {
        if (*p == u'\n') {
            ++m_line;
            ++p;
            return;
        }
        if (p + 1 == m_end) {
            m_cur = p + 1;
            Error();
        }
        AddRun(state, run, p);
        AddChar(state, u'\n');
        p += p[1] == u'\n' ? 2 : 1;
        run = p;
        ++m_line;
    }

    std::u16string_view Finish(TextState& state) {
        if (!state.assembled) {
            return state.first;
        }
        std::u16string_view const text =
            m_arena.Copy(std::u16string_view(m_textStack).substr(state.start));
        m_textStack.resize(state.start);
        return text;
    }

    // ---- attributes and elements

    NOINLINE bool ParseAttributeValue(std::u16string_view& value) {
        char16_t const quote = NextCh();
        if (quote != u'"' && quote != u'\'') {
            PrevCh();
            return false;
        }
        TextState state;
        state.start = m_textStack.size();
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            if (*p > u'<') {  // nothing above "<" needs a look
                p = SkipOthers<u'"', u'\'', u'<', u'&', u'\n', u'\r', 0>(p + 1, m_end);
                while (*p > u'<') {
                    ++p;
                }
            }
            char16_t const c = *p;
            if (c == quote) {
                AddRun(state, run, p);
                m_cur = p + 1;
                value = Finish(state);
                return true;
            }
            switch (c) {
                case 0:
                case u'<':
                    m_cur = p + 1;
                    Error();
                case u'&':
                    AddRun(state, run, p);
                    m_cur = p + 1;
                    AddChar(state, ParseReference());
                    run = p = m_cur;
                    break;
                case u'\n':
                case u'\r':
                    TakeLineEnd(state, run, p);
                    break;
                default:
                    ++p;
            }
        }
    }

    std::uint64_t NameHash(std::u16string_view qname) const { return Fold(m_seed, qname); }

    NOINLINE bool ParseAttribute() {
        std::u16string_view const name = ParseName();
        if (name.empty()) {
            return false;
        }
        ParseWhiteSpace();
        if (!ParseCh(u'=')) {
            Error();
        }
        ParseWhiteSpace();
        XMLAttr attr{};
        if (!ParseAttributeValue(attr.value)) {
            Error();
        }
        attr.qname = name;
        m_attrs.push_back(attr);
        if (!m_names.Insert(
                m_attrs.size() - 1, [this](std::size_t i) { return NameHash(m_attrs[i].qname); },
                [this, name](std::size_t i) { return SameShort(m_attrs[i].qname, name); })) {
            Error();
        }
        return true;
    }

    // Duplicate detection over an element's attributes: a scan while there are few, a hash
    // table once there are many, so that a start tag with a million attributes stays linear.
    // Hashes are taken only for the table.
    class Seen {
    public:
        void Clear() {
            m_count = 0;
            m_table.clear();
        }
        // Adds `index` unless an earlier entry is equal to it; false then.
        template <class HashOf, class Equal>
        bool Insert(std::size_t index, HashOf hashOf, Equal equal) {
            if (m_count == 0) {
                m_scan[m_count++] = index;
                return true;
            }
            return Add(index, hashOf, equal);
        }

    private:
        template <class HashOf, class Equal>
        NOINLINE bool Add(std::size_t index, HashOf hashOf, Equal equal) {
            if (m_count < kScan) {
                for (std::size_t j = 0; j < m_count; ++j) {
                    if (equal(m_scan[j])) {
                        return false;
                    }
                }
                m_scan[m_count++] = index;
                return true;
            }
            if (m_table.empty()) {
                m_table.assign(64, {0, kEmpty});
                for (std::size_t j = 0; j < kScan; ++j) {
                    Place({hashOf(m_scan[j]), m_scan[j]});
                }
            }
            std::uint64_t const hash = hashOf(index);
            std::size_t const mask = m_table.size() - 1;
            for (std::size_t i = hash & mask; m_table[i].second != kEmpty; i = (i + 1) & mask) {
                if (m_table[i].first == hash && equal(m_table[i].second)) {
                    return false;
                }
            }
            if (++m_count * 2 > m_table.size()) {
                std::vector<std::pair<std::uint64_t, std::size_t>> old;
                old.swap(m_table);
                m_table.assign(old.size() * 2, {0, kEmpty});
                for (auto const& entry : old) {
                    if (entry.second != kEmpty) {
                        Place(entry);
                    }
                }
            }
            Place({hash, index});
            return true;
        }

        static constexpr std::size_t kScan = 16;
        static constexpr std::size_t kEmpty = ~std::size_t{0};
        void Place(std::pair<std::uint64_t, std::size_t> entry) {
            std::size_t const mask = m_table.size() - 1;
            std::size_t i = entry.first & mask;
            while (m_table[i].second != kEmpty) {
                i = (i + 1) & mask;
            }
            m_table[i] = entry;
        }
        std::size_t m_count = 0;
        std::size_t m_scan[kScan] = {};
        std::vector<std::pair<std::uint64_t, std::size_t>> m_table;
    };

    bool Charge(std::size_t units) {
        if (units > m_budget) {
            return false;
        }
        m_budget -= units;
        return true;
    }

    // The record of an interned qualified name (null for longer names, which WMXMLParser does
    // not intern).
    NameRecord* Record(std::u16string_view qname) {
        if (qname.size() > kMaxInternedLength) {
            return nullptr;
        }
        // A direct-mapped cache by a cheap key before the seeded table: most names of a
        // document repeat. Its key needs no protection: every hit is compared in full.
        std::size_t const front =
            (qname.size() * 31 + qname.front() * 7 + qname.back() + qname[qname.size() / 2] * 3) &
            (kFront - 1);
        NameRecord* cached = m_front[front];
        if (cached && SameShort(cached->qname, qname)) {
            return cached;
        }
        return FindRecord(qname, front);
    }

    // The seeded table behind the cache; makes the record of a name met for the first time.
    NOINLINE NameRecord* FindRecord(std::u16string_view qname, std::size_t front) {
        std::uint64_t const hash = NameHash(qname);
        std::size_t mask = m_recordSlots.size() - 1;
        std::size_t i = hash & mask;
        for (; m_recordSlots[i]; i = (i + 1) & mask) {
            NameRecord* record = m_recordSlots[i];
            if (record->hash == hash && SameShort(record->qname, qname)) {
                m_front[front] = record;
                return record;
            }
        }
        // Records live as long as the namespace records: event mode frees the arena's nodes.
        NameRecord* record = m_namespaces.storage.Make<NameRecord>();
        ++m_recordCount;
        record->qname = qname;
        record->hash = hash;
        NameShape const shape = ShapeOf(qname);
        record->colon = shape.colon;
        record->manyColons = shape.manyColons;
        record->prefixIndex = shape.prefixIndex;
        m_recordSlots[i] = record;
        if ((m_recordCount + 1) * 2 > m_recordSlots.size()) {
            std::vector<RecordSlot> grown(m_recordSlots.size() * 2);
            mask = grown.size() - 1;
            for (NameRecord* entry : m_recordSlots) {
                if (entry) {
                    std::size_t j = entry->hash & mask;
                    while (grown[j]) {
                        j = (j + 1) & mask;
                    }
                    grown[j] = entry;
                }
            }
            m_recordSlots.swap(grown);
        }
        m_front[front] = record;
        return record;
    }

    NameShape ShapeOf(std::u16string_view qname) {
        NameShape shape{qname.find(u':'), false, 0};
        if (shape.colon != std::u16string_view::npos) {
            shape.manyColons = qname.find(u':', shape.colon + 1) != std::u16string_view::npos;
            if (shape.colon != 0) {
                shape.prefixIndex = PrefixIndex(qname.substr(0, shape.colon));
            }
        }
        return shape;
    }

    NameShape ShapeOf(std::u16string_view qname, NameRecord const* record) {
        if (record) {
            return NameShape{record->colon, record->manyColons, record->prefixIndex};
        }
        return ShapeOf(qname);
    }

    // What WMXMLParser charges for resolving a name to (ns, local) in `scope` through `slot`.
    bool ChargeResolution(NameRecord* record, std::uint32_t scope, std::int64_t slot,
                          XMLNamespace const* ns, std::size_t localSize) {
        std::size_t const nsSize = ns->uri.size();
        if (nsSize == 0 && localSize == 0) {
            return true;  // the name's own empty resolution is kept
        }
        if (!record) {
            return Charge(nsSize + localSize);
        }
        bool same = false;
        if (record->ns) {
            if (scope && record->scope == scope && record->slot == slot) {
                return true;
            }
            if (record->ns->uri.size() == nsSize) {
                if (!Charge(nsSize)) {
                    return false;
                }
                same = record->ns == ns;
            }
        }
        if (!same) {
            if (!Charge(nsSize + localSize)) {
                return false;
            }
            record->ns = ns;
        }
        if (scope) {
            record->scope = scope;
        }
        record->slot = scope ? slot : -1;
        return true;
    }

    // ---- prefixes in effect

    std::size_t PrefixIndex(std::u16string_view prefix) {
        if (m_lastPrefixIndex < m_prefixes.size() &&
            SameShort(m_prefixes[m_lastPrefixIndex].prefix, prefix)) {
            return m_lastPrefixIndex;
        }
        std::uint64_t const hash = Fold(m_seed ^ 0x5bd1e995u, prefix);
        std::size_t mask = m_prefixSlots.size() - 1;
        std::size_t i = hash & mask;
        for (; m_prefixSlots[i].second; i = (i + 1) & mask) {
            std::size_t const index = m_prefixSlots[i].second - 1;
            if (m_prefixSlots[i].first == hash && SameShort(m_prefixes[index].prefix, prefix)) {
                m_lastPrefixIndex = index;
                return index;
            }
        }
        m_prefixes.push_back(PrefixSlot{prefix, nullptr});
        m_prefixSlots[i] = {hash, m_prefixes.size()};
        if (m_prefixes.size() * 2 > m_prefixSlots.size()) {
            std::vector<std::pair<std::uint64_t, std::size_t>> grown(m_prefixSlots.size() * 2);
            mask = grown.size() - 1;
            for (auto const& entry : m_prefixSlots) {
                if (entry.second) {
                    std::size_t j = entry.first & mask;
                    while (grown[j].second) {
                        j = (j + 1) & mask;
                    }
                    grown[j] = entry;
                }
            }
            m_prefixSlots.swap(grown);
        }
        m_lastPrefixIndex = m_prefixes.size() - 1;
        return m_lastPrefixIndex;
    }

    void Bind(std::size_t index, XMLNamespace const* uri) {
        m_undo.emplace_back(index, m_prefixes[index].uri);
        m_prefixes[index].uri = uri;
    }

    void Unbind(std::size_t mark) {
        while (m_undo.size() > mark) {
            m_prefixes[m_undo.back().first].uri = m_undo.back().second;
            m_undo.pop_back();
        }
    }

    // ---- resolution

    static bool StartsWithXmlns(std::u16string_view name) {
        return name.size() >= 5 && name[0] == u'x' && SameShort(name.substr(0, 5), u"xmlns"sv);
    }

    // Takes the declarations out of the attributes, makes the element's scope, resolves the
    // names and charges the copy budget as WMXMLElement's resolution would.
    NOINLINE void Resolve(XMLNode* element, XMLNode const* parent) {
        XMLReadScope const* inherited = parent ? parent->scope : nullptr;
        bool declares = false;
        bool xmlnsLike = false;
        std::size_t defaultIndex = m_attrs.size();
        m_decls.clear();
        for (std::size_t i = 0; i < m_attrs.size(); ++i) {
            std::u16string_view const name = m_attrs[i].qname;
            if (!StartsWithXmlns(name)) {
                continue;
            }
            xmlnsLike = true;
            if (name.size() == 5) {
                defaultIndex = i;
                declares = true;
            } else if (name[5] == u':') {
                m_decls.push_back(i);
                declares = true;
            }
        }
        if (xmlnsLike && inherited && !Charge(inherited->units)) {
            Error();
        }
        XMLReadScope const* scope = inherited;
        if (declares) {
            scope = NewScope(inherited, defaultIndex);
        }
        element->scope = scope;
        std::uint32_t const scopeId = scope ? scope->id : 0;

        std::u16string_view const qname = element->qname;
        NameRecord* record = Record(qname);
        NameShape const shape = ShapeOf(qname, record);
        std::size_t const colon = shape.colon;
        if (colon == std::u16string_view::npos || colon == 0) {
            element->ns = scope ? scope->defaultNS : &m_namespaces.none;
            element->localStart = 0;
            if (!ChargeResolution(record, scopeId, kSlotDefault, element->ns, qname.size())) {
                Error();
            }
        } else {
            std::size_t const index = shape.prefixIndex;
            XMLNamespace const* uri = m_prefixes[index].uri;
            if (!uri || shape.manyColons) {
                Error();
            }
            element->ns = uri;
            element->localStart = static_cast<std::uint32_t>(colon + 1);
            if (!ChargeResolution(record, scopeId, kSlotPrefix + static_cast<std::int64_t>(index),
                                  uri, qname.size() - colon - 1)) {
                Error();
            }
        }

        // Every declaration was found above; names are unique, so "xmlns" is there once at most.
        std::size_t const count =
            m_attrs.size() - m_decls.size() - (defaultIndex < m_attrs.size() ? 1 : 0);
        element->attrCount = static_cast<std::uint32_t>(count);
        if (count == 0) {
            element->attrs = nullptr;
            return;
        }
        auto* attrs = static_cast<XMLAttr*>(m_arena.Allocate(sizeof(XMLAttr) * count));
        element->attrs = attrs;
        std::size_t const elementKey = element->ns->uri.size() + element->Local().size();
        bool anyPrefixed = false;
        std::size_t n = 0;
        for (std::size_t i = 0; i < m_attrs.size(); ++i) {
            XMLAttr attr = m_attrs[i];
            if (IsDeclaration(attr.qname)) {
                continue;
            }
            NameRecord* const attrRecord = Record(attr.qname);
            NameShape const attrShape = ShapeOf(attr.qname, attrRecord);
            std::size_t const attrColon = attrShape.colon;
            std::int64_t slot = kSlotEmpty;
            std::size_t keySize;
            if (attrColon == std::u16string_view::npos) {
                attr.ns = &m_namespaces.none;
                attr.localStart = 0;
                attr.prefixed = false;
                keySize = elementKey + attr.qname.size();
            } else {
                XMLNamespace const* uri = nullptr;
                std::size_t index = 0;
                if (attrColon != 0) {
                    index = attrShape.prefixIndex;
                    uri = m_prefixes[index].uri;
                }
                if (!uri || attrShape.manyColons) {
                    Error();
                }
                attr.ns = uri;
                attr.localStart = static_cast<std::uint32_t>(attrColon + 1);
                attr.prefixed = true;
                slot = kSlotPrefix + static_cast<std::int64_t>(index);
                keySize = uri->uri.size() + attr.qname.size() - attrColon - 1;
            }
            if (!Charge(keySize) ||
                !ChargeResolution(attrRecord, scopeId, slot, attr.ns, attr.Local().size())) {
                Error();
            }
            attrs[n++] = attr;
            anyPrefixed = anyPrefixed || attr.prefixed;
        }
        // Unprefixed attributes share their key's stem and differ in name (ParseAttribute
        // refused a repeated name), so only a prefixed one can repeat a key, and only another's.
        // Every error here is the same one, on the same line, so checking after resolving them all
        // changes nothing a caller sees.
        if (!anyPrefixed || n == 1) {
            return;
        }
        m_names.Clear();
        for (std::size_t a = 0; a < n; ++a) {
            auto const keyHash = [element, attrs](std::size_t j) {
                Joined const joined = KeyOf(*element, attrs[j]);
                std::uint64_t hash = attrs[j].prefixed
                                         ? attrs[j].ns->hashState
                                         : Fold(element->ns->hashState, element->Local());
                return Fold(hash, joined.part[attrs[j].prefixed ? 1 : 2]);
            };
            if (!m_names.Insert(a, keyHash, [element, attrs, a](std::size_t j) {
                    if (!attrs[a].prefixed && !attrs[j].prefixed) {
                        return false;
                    }
                    Joined const key = KeyOf(*element, attrs[a]);
                    Joined const other = KeyOf(*element, attrs[j]);
                    return other.size() == key.size() && CompareJoined(other, key) == 0;
                })) {
                Error();
            }
        }
    }

    static bool IsDeclaration(std::u16string_view name) {
        return StartsWithXmlns(name) && (name.size() == 5 || name[5] == u':');
    }

    NOINLINE XMLReadScope const* NewScope(XMLReadScope const* inherited, std::size_t defaultIndex) {
        auto* scope = m_arena.Make<XMLReadScope>();
        scope->parent = inherited;
        scope->id = ++m_scopeCount;
        scope->units = inherited ? inherited->units : 0;
        XMLNamespace const* inheritedDefault =
            inherited ? inherited->defaultNS : &m_namespaces.none;
        scope->defaultNS = inheritedDefault;
        // The entries by prefix: "xmlns" sets the empty prefix and the default namespace,
        // "xmlns:" only the empty prefix, and is read after it (in key order) so it wins.
        std::vector<std::pair<std::u16string_view, XMLNamespace const*>>& own = m_ownEntries;
        own.clear();
        if (defaultIndex < m_attrs.size()) {
            XMLNamespace const* uri = InternValue(defaultIndex);
            scope->defaultNS = uri;
            scope->units += uri->uri.size() - inheritedDefault->uri.size();
            own.emplace_back(std::u16string_view(), uri);
        }
        for (std::size_t i : m_decls) {
            std::u16string_view const prefix = m_attrs[i].qname.substr(6);
            XMLNamespace const* uri = InternValue(i);
            if (prefix.empty() && !own.empty() && own.front().first.empty()) {
                own.front().second = uri;
            } else {
                own.emplace_back(prefix, uri);
            }
        }
        std::sort(own.begin(), own.end(),
                  [](auto const& a, auto const& b) { return a.first < b.first; });
        auto* entries = static_cast<XMLReadScope::Entry*>(
            m_arena.Allocate(sizeof(XMLReadScope::Entry) * own.size()));
        for (std::size_t i = 0; i < own.size(); ++i) {
            std::size_t const index = PrefixIndex(own[i].first);
            XMLNamespace const* before = m_prefixes[index].uri;
            entries[i] = XMLReadScope::Entry{own[i].first, own[i].second, before == nullptr};
            scope->units += before ? own[i].second->uri.size() - before->uri.size()
                                   : own[i].first.size() + own[i].second->uri.size() + 32;
            Bind(index, own[i].second);
        }
        scope->entries = entries;
        scope->count = static_cast<std::uint32_t>(own.size());
        return scope;
    }

    XMLNamespace const* InternValue(std::size_t index) {
        // A value that is a view into the input outlives the read; a changed one is copied.
        std::u16string_view const value = m_attrs[index].value;
        return m_namespaces.Intern(value, value.data() >= m_begin && value.data() < m_end);
    }

    XMLNode* ParseElement(XMLNode* parent, int depth) {
        ParseWhiteSpace();
        if (!ParseCh(u'<')) {
            return nullptr;
        }
        if (depth > WMXMLParser::kMaxNestingDepth) {
            Error();
        }
        std::u16string_view const name = ParseName();
        if (name.empty()) {
            Error();
        }
        std::size_t const undo = m_undo.size();
        XMLNode* element = StartTag(name, parent);
        char16_t const c = NextCh();
        if (c == u'/') {
            if (!ParseCh(u'>')) {
                Error();
            }
            if (m_events) {
                m_events->StartElement(*element, parent);
            }
        } else if (c == u'>') {
            if (m_events) {
                m_events->StartElement(*element, parent);
            }
            ParseContent(element, depth);
        } else {
            Error();
        }
        if (m_events) {
            m_events->EndElement(*element, parent);
        }
        if (ReportsMappings(element, parent)) {
            ChargeMappingEvents(element, parent);
            if (m_events) {
                m_events->EndMappings(*element, parent);
            }
        }
        Unbind(undo);
        return element;
    }

    // Everything of a start tag after its name.
    NOINLINE XMLNode* StartTag(std::u16string_view name, XMLNode* parent) {
        m_attrs.clear();
        m_names.Clear();
        for (;;) {
            ParseWhiteSpace();
            // Most tags end here: neither ">" nor "/" starts a name, so no attribute follows.
            if (!m_overrun && m_cur < m_end && (*m_cur == u'>' || *m_cur == u'/')) {
                break;
            }
            if (!ParseAttribute()) {
                break;
            }
        }
        XMLNode* element = m_arena.Make<XMLNode>();
        element->qname = name;
        Resolve(element, parent);
        if (ReportsMappings(element, parent)) {
            ChargeMappingEvents(element, parent);
            if (m_events) {
                m_events->StartMappings(*element, parent);
            }
        }
        return element;
    }

    static bool ReportsMappings(XMLNode const* element, XMLNode const* parent) {
        return !parent || parent->scope != element->scope;
    }

    // WMXMLParser charges the default namespace of an element that declares something each
    // time it reports the element's mappings, at its start and at its end.
    void ChargeMappingEvents(XMLNode const* element, XMLNode const* parent) {
        if (parent && !Charge(element->scope->defaultNS->uri.size())) {
            Error();
        }
    }

    void ParseContent(XMLNode* element, int depth) {
        TextState state;
        state.start = m_textStack.size();
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        XMLNode* last = nullptr;
        for (;;) {
            char16_t c = *p;
            if (c > u'<' && c != u']') {
                // Most content is empty or short: the first unit alone decides whether a long
                // run is worth a wide scan.
                p = SkipOthers<u'<', u'&', u'\n', u'\r', u']', 0>(p + 1, m_end);
                c = *p;
                if (c > u'<' && c != u']') {
                    ++p;
                    continue;
                }
            }
            switch (c) {
                case 0:
                    m_cur = p + 1;
                    Error();
                case u'\n':
                case u'\r':
                    TakeLineEnd(state, run, p);
                    // The line feed that a carriage return reads as comes before a "]]>" the
                    // way a character of the run would.
                    if (c == u'\r' && p[0] == u']' && p[1] == u']' && p[2] == u'>') {
                        m_cur = p;
                        Error();
                    }
                    break;
                case u']':
                    if (p > run && p[1] == u']' && p[2] == u'>') {
                        m_cur = p;
                        Error();
                    }
                    ++p;
                    break;
                case u'&':
                    AddRun(state, run, p);
                    m_cur = p + 1;
                    AddChar(state, ParseReference());
                    run = p = m_cur;
                    break;
                case u'<':
                    AddRun(state, run, p);
                    m_cur = p;
                    if (ParseEndTag(element)) {
                        element->text = Finish(state);
                        return;
                    }
                    ParseMarkup(element, state, last, depth);
                    run = p = m_cur;
                    break;
                default:
                    ++p;
            }
        }
    }

    NOINLINE bool ParseEndTag(XMLNode const* element) {
        if (!ParseString(u"</"sv)) {
            return false;
        }
        // The name must be the element's and end there; names hold no line ends, so any other
        // name fails on this line just as reading it first would.
        std::u16string_view const qname = element->qname;
        char16_t const after = static_cast<std::size_t>(m_end - m_cur) > qname.size()
                                   ? m_cur[qname.size()]
                                   : char16_t{0};
        if (static_cast<std::size_t>(m_end - m_cur) < qname.size() ||
            !SameShort(std::u16string_view(m_cur, qname.size()), qname) ||
            (after < 0x80 ? kNameTable.ascii[after] : IsNameChar(after))) {
            Error();
        }
        m_cur += qname.size();
        ParseWhiteSpace();
        if (!ParseCh(u'>')) {
            Error();
        }
        return true;
    }

    void ParseMarkup(XMLNode* element, TextState& state, XMLNode*& last, int depth) {
        // Comments, instructions and CDATA all start with "<!" or "<?".
        if (m_cur + 1 < m_end && (m_cur[1] == u'!' || m_cur[1] == u'?')) {
            if (ParseComment() || ParseAndReportPI() || ParseCDATA(state)) {
                return;
            }
        }
        XMLDocument::Arena::Mark const mark = m_arena.Save();
        XMLNode* child = ParseElement(element, depth + 1);
        if (!child) {
            Error();
        }
        if (!m_keepTree) {
            m_arena.Release(mark);
            return;
        }
        (last ? last->nextSibling : element->firstChild) = child;
        last = child;
    }

    // ---- comments, CDATA, processing instructions, document type

    NOINLINE bool ParseComment() {
        if (!ParseString(u"<!--"sv)) {
            return false;
        }
        char16_t const* p = m_cur;
        for (;;) {
            switch (*p) {
                case 0:
                    m_cur = p + 1;
                    Error();
                case u'\n':
                case u'\r':
                    if (!CountLineEnd(p)) {
                        m_cur = p + 1;
                        Error();
                    }
                    break;
                case u'-':
                    if (p[1] == u'-') {
                        m_cur = p + 2;
                        if (!ParseCh(u'>')) {
                            Error();
                        }
                        return true;
                    }
                    ++p;
                    break;
                default:
                    ++p;
            }
        }
    }

    NOINLINE bool ParseCDATA(TextState& state) {
        if (!ParseString(u"<![CDATA["sv)) {
            return false;
        }
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c == u']' && p[1] == u']' && p[2] == u'>') {
                AddRun(state, run, p);
                m_cur = p + 3;
                return true;
            }
            if (c == u'\n' || c == u'\r') {
                TakeLineEnd(state, run, p);
                continue;
            }
            if (c == 0 || (IsControl(c) && c != u'\t')) {
                m_cur = p + 1;
                Error();
            }
            ++p;
        }
    }

    NOINLINE bool ParseAndReportPI() {
        if (!ParseString(u"<?"sv)) {
            return false;
        }
        std::u16string_view const target = ParseName();
        if (target.empty()) {
            return false;
        }
        ParseWhiteSpace();
        TextState state;
        state.start = m_textStack.size();
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c == u'?' && p[1] == u'>') {
                AddRun(state, run, p);
                m_cur = p + 2;
                break;
            }
            if (c == 0) {
                m_cur = p + 1;
                Error();
            }
            if (c == u'\n' || c == u'\r') {
                TakeLineEnd(state, run, p);
                continue;
            }
            ++p;
        }
        std::u16string_view data = state.first;
        if (state.assembled) {
            data = std::u16string_view(m_textStack).substr(state.start);
        }
        if (m_events) {
            m_events->PI(target, data);
        }
        m_textStack.resize(state.start);
        return true;
    }

    bool ParseDocTypeDecl() {
        if (!ParseString(u"<!DOCTYPE"sv)) {
            return false;
        }
        ParseWhiteSpace();
        if (ParseName().empty()) {
            return false;
        }
        ParseWhiteSpace();
        for (;;) {
            char16_t const c = NextCh();
            if (c == 0) {
                Error();
            }
            if (c == u'>') {
                return true;
            }
            if (c == u'<' && ParseCh(u'!')) {
                for (;;) {
                    char16_t const d = NextCh();
                    if (d == 0) {
                        Error();
                    }
                    if (d == u'>') {
                        break;
                    }
                }
            }
        }
    }

    void ParseMisc() {
        for (;;) {
            ParseWhiteSpace();
            if (ParseComment()) {
                continue;
            }
            if (!ParseAndReportPI()) {
                return;
            }
        }
    }

    void ParseProlog() {
        ParseMisc();
        while (ParseDocTypeDecl()) {
            ParseMisc();
        }
    }

    [[noreturn]] NOINLINE void Error() { throw ParseError{m_line}; }

public:
    struct ParseError {
        int line;
    };

private:
    static constexpr std::size_t kFront = 256;

    char16_t const* const m_begin;
    char16_t const* const m_end;
    char16_t const* m_cur;
    bool m_overrun = false;
    int& m_line;
    XMLReadEvents* const m_events;
    bool const m_keepTree;
    XMLDocument::Arena& m_arena;
    XMLDocument::Namespaces& m_namespaces;
    std::size_t m_budget;
    std::uint64_t const m_seed;

    // The start tag being read.
    std::vector<XMLAttr> m_attrs;
    std::vector<std::size_t> m_decls;
    std::vector<std::pair<std::u16string_view, XMLNamespace const*>> m_ownEntries;
    Seen m_names;

    std::u16string m_textStack;

    std::vector<PrefixSlot> m_prefixes;
    std::vector<std::pair<std::uint64_t, std::size_t>> m_prefixSlots;  // hash, index + 1
    std::size_t m_lastPrefixIndex = ~std::size_t{0};
    std::vector<std::pair<std::size_t, XMLNamespace const*>> m_undo;
    std::uint32_t m_scopeCount = 0;

    std::size_t m_recordCount = 0;
    std::vector<RecordSlot> m_recordSlots;
    Lists* m_spare = nullptr;  // the thread's lists, while this parse holds them
    NameRecord* m_front[kFront] = {};
};

XMLDocument::XMLDocument() : m_arena(new Arena), m_namespaces(new Namespaces) {}

XMLDocument::~XMLDocument() = default;

bool XMLDocument::Read(WMString const& text, int& line, bool keepTree, XMLReadEvents* events) {
    m_root = nullptr;
    m_arena->Clear();
    // Seeded per document and read, so that colliding names cannot be prepared.
    std::uint64_t const previous = m_namespaces->seed;
    m_namespaces->Reset(
        0xcbf29ce484222325ULL ^
        ((reinterpret_cast<std::uintptr_t>(this) + previous) * 0x9e3779b97f4a7c15ULL));
    try {
        NodeReader reader(*this, text, line, keepTree, events);
        reader.ParseDocument(m_root);
        return true;
    } catch (NodeReader::ParseError const&) {
        return false;
    }
}

XMLNamespace const* XMLDocument::FindNamespace(std::u16string_view uri) const {
    return m_namespaces->Find(uri, Fold(m_namespaces->seed, uri));
}

std::size_t XMLDocument::ArenaBytes() const {
    return m_arena->bytes + m_namespaces->storage.bytes;
}

}  // namespace detail
}  // namespace corvane
