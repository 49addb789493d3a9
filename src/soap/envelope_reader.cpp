// Reading an envelope without the exported trees.
//
// The exported path parses the message into a WMXMLElement tree while the parse handlers
// (parse_handlers.h) build a handler per element; the deserializers then read the handlers. Of
// all that, a caller sees only the message: values, header entries, the fault, the literal
// texts, the fault thrown. This reader gets the same from the internal XML reader
// (xml/reader.h), which reads the same language with the same errors and line numbers into an
// arena of views:
//
// - EnvelopeEvents plays the handler tree during the parse, event for event: the same roles for
//   envelope, header, header entries, body, method element, fault, parameters; the same
//   attribute readings (encodingStyle inherited, xsi:type and arrayType resolved against the
//   prefixes the parser has reported so far, which is what the handlers see), the same faults at
//   the same element, the same id tables (first id wins, body before header). What a handler
//   kept as a string is a view into the message text or the reader's arena.
// - After the parse, the header entries, the fault, the return value and the parameters go
//   through the same reading steps (read_steps.h) and value reader (value_reader.h) as the
//   exported deserializers, over Items instead of handlers; nothing there is written twice.
// - The literal texts are written from the reader's nodes by SerializeNode, which writes what
//   WMXMLElement::Serialize writes, including the encodingStyle attribute that the handlers add
//   to a header entry or body that inherits its encoding style.
//
// The differential test (tests/soap/read_diff_test.cpp) and fuzz target
// (tests/fuzz/read_diff_fuzz.cpp) hold the two paths to the same results.
#include "soap/envelope_reader.h"

#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "soap/deserializer_impl.h"
#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"
#include "soap/read_steps.h"
#include "soap/value_reader.h"
#include "text/equal.h"
#include "xml/reader.h"
#include "xml/thread_lists.h"

namespace corvane::detail {

namespace {

using View = std::u16string_view;

constexpr char16_t kClient[] = u"SOAP-ENV:Client";

// What few elements carry (references, arrays, nil, root, header entry fields).
struct Rare {
    View id;
    View href;
    View root;
    View nil;
    View arrayType;
    View arrayTypeNS;
    View actor;
    bool mustUnderstand = false;
};

// One element that the exported path gives a parameter handler: parameters and their members,
// header entries, independent body elements, the method element, the fault and its detail.
struct Item {
    XMLNode const* node = nullptr;
    View style;  // the encodingStyle in effect
    View typeNS;
    View typeName;
    Rare* rare = nullptr;
    Item* firstChild = nullptr;
    Item* next = nullptr;
    std::uint32_t childCount = 0;
};

// Items and their rare parts live in blocks that never move, for the duration of one read: the
// reader's blocks, which the thread keeps for its next read.
template <class T>
class Pool {
public:
    static_assert(std::is_trivially_destructible_v<T>, "items are dropped with their blocks");

    Pool() = default;
    Pool(Pool const&) = delete;
    Pool& operator=(Pool const&) = delete;
    ~Pool() { Release(); }

    T* New() {
        if (m_used == kPerBlock) {
            // Room first, so that a block taken is never lost to a throw.
            if (m_blocks.size() == m_blocks.capacity()) {
                m_blocks.reserve(2 * m_blocks.size() + 8);
            }
            m_blocks.push_back(TakeReaderBlock());
            m_used = 0;
        }
        return ::new (static_cast<T*>(m_blocks.back()) + m_used++) T();
    }

    void Release() {
        for (void* block : m_blocks) {
            GiveReaderBlock(block);
        }
        m_blocks.clear();
        m_used = kPerBlock;
    }

private:
    static constexpr std::size_t kPerBlock = kReaderBlockSize / sizeof(T);
    std::vector<void*> m_blocks;
    std::size_t m_used = kPerBlock;
};

// An expanded attribute key, in the pieces the reader keeps it in: URI + local name, or (for an
// unprefixed attribute) element URI + element name + attribute name.
struct Key {
    View part[3];
    std::size_t size;
};

Key KeyOf(XMLNode const& node, XMLAttr const& attr) {
    if (attr.prefixed) {
        View const local = attr.Local();
        return Key{{attr.ns->uri, local, {}}, attr.ns->uri.size() + local.size()};
    }
    View const elementNS = node.ns->uri;
    View const elementName = node.Local();
    return Key{{elementNS, elementName, attr.qname},
               elementNS.size() + elementName.size() + attr.qname.size()};
}

// Whether the joined pieces of `key` are the joined pieces of `wanted`, piece by piece.
bool JoinedEqual(Key const& key, Key const& wanted) {
    int ia = 0;
    int ib = 0;
    std::size_t oa = 0;
    std::size_t ob = 0;
    for (;;) {
        while (ia < 3 && oa == key.part[ia].size()) {
            ++ia;
            oa = 0;
        }
        while (ib < 3 && ob == wanted.part[ib].size()) {
            ++ib;
            ob = 0;
        }
        if (ia == 3 || ib == 3) {
            return ia == 3 && ib == 3;
        }
        std::size_t const n = std::min(key.part[ia].size() - oa, wanted.part[ib].size() - ob);
        if (std::memcmp(key.part[ia].data() + oa, wanted.part[ib].data() + ob,
                        n * sizeof(char16_t)) != 0) {
            return false;
        }
        oa += n;
        ob += n;
    }
}

// Whether the joined pieces of `key` are the joined pieces of `wanted`. Nearly always the
// pieces have the same sizes (a known URI and a local name) or the totals differ.
inline bool KeyIs(Key const& key, Key const& wanted) {
    if (key.size != wanted.size) {
        return false;
    }
    if (key.part[0].size() == wanted.part[0].size() &&
        key.part[1].size() == wanted.part[1].size()) {
        return TextEquals(key.part[1], wanted.part[1]) && TextEquals(key.part[0], wanted.part[0]) &&
               TextEquals(key.part[2], wanted.part[2]);
    }
    return JoinedEqual(key, wanted);
}

constexpr Key Fixed(View uri, View local) {
    return Key{{uri, local, {}}, uri.size() + local.size()};
}

constexpr Key kEncodingStyleKey = Fixed(soapuri::kEnvelope, u"encodingStyle");
constexpr Key kMustUnderstandKey = Fixed(soapuri::kEnvelope, u"mustUnderstand");
constexpr Key kActorKey = Fixed(soapuri::kEnvelope, u"actor");
constexpr Key kArrayTypeKey = Fixed(soapuri::kEncoding, u"arrayType");
constexpr Key kOffsetKey = Fixed(soapuri::kEncoding, u"offset");
constexpr Key kRootKey = Fixed(soapuri::kEncoding, u"root");
// In order of precedence.
constexpr Key kNilKeys[] = {Fixed(soapuri::kXSI2001, u"nil"), Fixed(soapuri::kXSI1999, u"null"),
                            Fixed(soapuri::kXSI2000, u"nil")};
constexpr Key kTypeKeys[] = {Fixed(soapuri::kXSI2001, u"type"), Fixed(soapuri::kXSI1999, u"type"),
                             Fixed(soapuri::kXSI2000, u"type")};

XMLAttr const* FindAttr(XMLNode const& node, Key const& wanted) {
    for (std::uint32_t i = 0; i < node.attrCount; ++i) {
        if (KeyIs(KeyOf(node, node.attrs[i]), wanted)) {
            return &node.attrs[i];
        }
    }
    return nullptr;
}

// The attributes a parameter element may carry, found in one pass.
struct ParamAttrs {
    XMLAttr const* encodingStyle = nullptr;
    XMLAttr const* id = nullptr;
    XMLAttr const* href = nullptr;
    XMLAttr const* arrayType = nullptr;
    XMLAttr const* offset = nullptr;
    XMLAttr const* root = nullptr;
    XMLAttr const* nil[3] = {};
    XMLAttr const* type[3] = {};
};

// The attributes whose keys do not depend on the element, with the slot each fills.
enum class Slot : std::uint8_t {
    kEncodingStyle,
    kArrayType,
    kOffset,
    kRoot,
    kNil2001,
    kNil1999,
    kNil2000,
    kType2001,
    kType1999,
    kType2000
};

struct FixedKey {
    Key key;
    Slot slot;
};

// The common xsi:type first.
constexpr FixedKey kFixedKeys[] = {
    {kTypeKeys[0], Slot::kType2001},   {kEncodingStyleKey, Slot::kEncodingStyle},
    {kArrayTypeKey, Slot::kArrayType}, {kOffsetKey, Slot::kOffset},
    {kRootKey, Slot::kRoot},           {kNilKeys[0], Slot::kNil2001},
    {kNilKeys[1], Slot::kNil1999},     {kNilKeys[2], Slot::kNil2000},
    {kTypeKeys[1], Slot::kType1999},   {kTypeKeys[2], Slot::kType2000},
};

XMLAttr const*& SlotOf(ParamAttrs& found, Slot slot) {
    switch (slot) {
        case Slot::kEncodingStyle:
            return found.encodingStyle;
        case Slot::kArrayType:
            return found.arrayType;
        case Slot::kOffset:
            return found.offset;
        case Slot::kRoot:
            return found.root;
        case Slot::kNil2001:
            return found.nil[0];
        case Slot::kNil1999:
            return found.nil[1];
        case Slot::kNil2000:
            return found.nil[2];
        case Slot::kType2001:
            return found.type[0];
        case Slot::kType1999:
            return found.type[1];
        case Slot::kType2000:
            break;
    }
    return found.type[2];
}

// `xsi` is the namespace record found to be the 2001 schema-instance URI, once one is: the
// common xsi:type is then known by its record and local name, without comparing keys.
ParamAttrs ScanParamAttrs(XMLNode const& node, XMLNamespace const*& xsi) {
    ParamAttrs found;
    if (node.attrCount == 0) {
        return found;
    }
    // A key is one of these at most (they differ from each other: only the element's own two end
    // in "id" and "href"), so the first match ends the search.
    for (std::uint32_t i = 0; i < node.attrCount; ++i) {
        XMLAttr const* attr = &node.attrs[i];
        if (attr->prefixed && attr->ns == xsi && SameShort(attr->Local(), u"type")) {
            found.type[0] = attr;
            continue;
        }
        View const elementNS = node.ns->uri;
        View const elementName = node.Local();
        std::size_t const elementSize = elementNS.size() + elementName.size();
        Key const idKey{{elementNS, elementName, u"id"}, elementSize + 2};
        Key const hrefKey{{elementNS, elementName, u"href"}, elementSize + 4};
        Key const key = KeyOf(node, *attr);
        if (KeyIs(key, idKey)) {
            found.id = attr;
            continue;
        }
        if (KeyIs(key, hrefKey)) {
            found.href = attr;
            continue;
        }
        for (FixedKey const& candidate : kFixedKeys) {
            if (KeyIs(key, candidate.key)) {
                SlotOf(found, candidate.slot) = attr;
                if (candidate.slot == Slot::kType2001 && attr->prefixed &&
                    attr->ns->uri.size() == candidate.key.part[0].size()) {
                    xsi = attr->ns;
                }
                break;
            }
        }
    }
    return found;
}

XMLAttr const* FirstOf(XMLAttr const* const (&candidates)[3]) {
    for (XMLAttr const* candidate : candidates) {
        if (candidate != nullptr) {
            return candidate;
        }
    }
    return nullptr;
}

// An offset is refused without an href (the parse records no dimensions to compare with), and
// with one when it has no bracket or a later dimension that does not read as 0.
bool OffsetAccepted(View text, bool hasHref) {
    auto const bracket = text.find(u'[');
    if (bracket == View::npos) {
        return false;
    }
    View rest = text.substr(bracket + 1);
    for (bool first = true;; first = false) {
        auto const comma = rest.find(u',');
        if (!first && Wtol(rest.substr(0, comma)) != 0) {
            return false;
        }
        if (comma == View::npos) {
            break;
        }
        rest.remove_prefix(comma + 1);
    }
    return hasHref;
}

using IdTable = std::unordered_map<View, Item*>;

// Plays the handler tree over the reader's events and keeps what the reading steps need.
class EnvelopeEvents : public XMLReadEvents {
public:
    explicit EnvelopeEvents(bool request) : m_request(request) {
        m_spare = BorrowThreadLists<Lists>();
        if (m_spare != nullptr) {
            SwapLists(*m_spare);
        }
        m_stack.push_back(Frame{Role::kDocument, nullptr, nullptr, nullptr});
    }

    ~EnvelopeEvents() override {
        if (m_spare == nullptr) {
            return;
        }
        EmptyKept(m_stack);
        EmptyKept(m_prefixes);
        EmptyKept(m_entries);
        SwapLists(*m_spare);
        m_spare->lent = false;
    }

    EnvelopeEvents(EnvelopeEvents const&) = delete;
    EnvelopeEvents& operator=(EnvelopeEvents const&) = delete;

    void StartMappings(XMLNode const& element, XMLNode const* parent) override {
        ForEachNewMapping(element, parent, [this](View prefix, View uri) {
            for (auto& entry : m_prefixes) {
                if (entry.first == prefix) {
                    entry.second = uri;
                    return;
                }
            }
            m_prefixes.emplace_back(prefix, uri);
        });
    }

    void EndMappings(XMLNode const& element, XMLNode const* parent) override {
        ForEachNewMapping(element, parent, [this](View prefix, View) {
            for (auto it = m_prefixes.begin(); it != m_prefixes.end(); ++it) {
                if (it->first == prefix) {
                    m_prefixes.erase(it);
                    return;
                }
            }
        });
    }

    void PI(View, View) override {}

    void StartElement(XMLNode const& element, XMLNode const*) override {
        ++m_elements;
        Frame& top = m_stack.back();
        Frame next{Role::kSwallow, nullptr, nullptr, nullptr};
        View const local = element.Local();
        bool const soapNS = TextEquals(element.ns->uri, soapuri::kEnvelope);
        switch (top.role) {
            case Role::kDocument:
                if (local != u"Envelope") {
                    break;
                }
                if (!soapNS) {
                    ThrowSOAPFault(u"SOAP-ENV:VersionMismatch", u"SOAP Version Mismatch", false);
                }
                m_envelopeStyle = OwnStyle(element, View());
                next.role = Role::kEnvelope;
                break;
            case Role::kEnvelope:
                if (!soapNS) {
                    break;
                }
                if (local == u"Header") {
                    m_headerStyle = OwnStyle(element, m_envelopeStyle);
                    next.role = Role::kHeader;
                } else if (local == u"Body") {
                    m_bodyStyle = OwnStyle(element, m_envelopeStyle);
                    next.role = Role::kBody;
                }
                break;
            case Role::kHeader:
                next = Frame{Role::kEntry, NewEntry(element), nullptr, nullptr};
                break;
            case Role::kEntry:
                // A literal entry keeps its content as XML only.
                if (!top.item->style.empty()) {
                    next = Frame{Role::kParam, NewChild(top, element, m_headerIds), &m_headerIds,
                                 nullptr};
                }
                break;
            case Role::kParam:
                next = Frame{Role::kParam, NewChild(top, element, *top.ids), top.ids, nullptr};
                break;
            case Role::kBody:
                next = BodyChild(element, soapNS, local);
                break;
            case Role::kFault:
                next = FaultChild(element, local);
                break;
            case Role::kSwallow:
            case Role::kText:
                break;
        }
        m_stack.push_back(next);
    }

    void EndElement(XMLNode const& element, XMLNode const*) override {
        Frame const& top = m_stack.back();
        if (top.role == Role::kText && !element.text.empty()) {
            *top.text = element.text;
        } else if (top.role == Role::kBody) {
            m_body = &element;
            m_bodyTextStyle = m_bodyStyle;
        }
        m_stack.pop_back();
    }

    std::size_t ElementCount() const { return m_elements; }
    // Frees the items once the values are read; the nodes stay for the literal body.
    void ReleaseItems() {
        m_items.Release();
        m_rares.Release();
        IdTable().swap(m_headerIds);
        IdTable().swap(m_bodyIds);
        m_entries.clear();
        m_method = nullptr;
        m_fault = nullptr;
        m_detail = nullptr;
    }
    std::vector<Item*> const& Entries() const { return m_entries; }
    Item* Method() const { return m_method; }
    bool FaultSeen() const { return m_fault != nullptr; }
    View FaultCode() const { return m_faultCode; }
    View FaultString() const { return m_faultString; }
    View FaultActor() const { return m_faultActor; }
    Item* Detail() const { return m_detail; }
    XMLNode const* Body() const { return m_body; }
    View BodyStyle() const { return m_bodyTextStyle; }

    // The element an href ("#id") names: the body's ids first, then the header's.
    Item* Find(View href) const { return FindById(href, m_bodyIds, m_headerIds); }

private:
    enum class Role {
        kDocument,
        kEnvelope,
        kHeader,
        kEntry,
        kBody,
        kFault,
        kParam,
        kText,
        kSwallow
    };
    struct Frame {
        Role role;
        Item* item;
        IdTable* ids;  // the table the children's ids go into
        View* text;    // the fault field a kText element fills
        Item* lastChild = nullptr;
    };

    // The lists a thread keeps from one read to the next, as the XML reader keeps its own.
    struct Lists {
        std::vector<Frame> stack;
        std::vector<std::pair<View, View>> prefixes;
        std::vector<Item*> entries;
        bool lent = false;
    };

    void SwapLists(Lists& lists) {
        m_stack.swap(lists.stack);
        m_prefixes.swap(lists.prefixes);
        m_entries.swap(lists.entries);
    }

    // The encoding style of an element read by the envelope, header and body handlers.
    static View OwnStyle(XMLNode const& element, View inherited) {
        XMLAttr const* own = FindAttr(element, kEncodingStyleKey);
        return own != nullptr ? own->value : inherited;
    }

    // The URI a prefix is bound to as the handlers see the reported mappings. A default
    // namespace bound to the empty URI counts as undeclared: the parser reports the root's
    // default namespace even when the document declares none. A prefix found moves to the front
    // (each is there once, so order does not matter): type values name few prefixes, over and
    // over.
    View const* LookUpPrefix(View prefix) {
        for (auto it = m_prefixes.begin(); it != m_prefixes.end(); ++it) {
            if (SameShort(it->first, prefix)) {
                std::rotate(m_prefixes.begin(), it, it + 1);
                View const& uri = m_prefixes.front().second;
                return prefix.empty() && uri.empty() ? nullptr : &uri;
            }
        }
        return nullptr;
    }

    Rare& RareOf(Item& item) {
        if (item.rare == nullptr) {
            item.rare = m_rares.New();
        }
        return *item.rare;
    }

    ParamAttrs Scan(XMLNode const& element) { return ScanParamAttrs(element, m_xsi); }

    // What WMSOAPParamHandler::ProcessAttributes reads, with its faults in its order.
    Item* NewItem(XMLNode const& element, View style, ParamAttrs const& found) {
        Item* item = m_items.New();
        item->node = &element;
        item->style = found.encodingStyle != nullptr ? found.encodingStyle->value : style;
        if (found.id != nullptr) {
            RareOf(*item).id = found.id->value;
        }
        if (found.href != nullptr) {
            RareOf(*item).href = found.href->value;
        }
        if (found.arrayType != nullptr) {
            View const text = found.arrayType->value;
            auto const colon = text.find(u':');
            View const* uri = LookUpPrefix(colon != View::npos ? text.substr(0, colon) : View());
            if (uri == nullptr) {
                ThrowSOAPFault(kClient,
                               colon != View::npos ? readfault::kArrayTypePrefix
                                                   : readfault::kArrayTypeDefault,
                               true);
            }
            Rare& rare = RareOf(*item);
            rare.arrayTypeNS = *uri;
            // Without a prefix, deliberately the type name, which is still empty at this point.
            rare.arrayType = colon != View::npos ? text.substr(colon + 1) : View();
        }
        if (found.offset != nullptr &&
            !OffsetAccepted(found.offset->value,
                            found.href != nullptr && !found.href->value.empty())) {
            ThrowSOAPFault(kClient, readfault::kOffset, true);
        }
        if (found.root != nullptr) {
            RareOf(*item).root = found.root->value;
        }
        if (XMLAttr const* nil = FirstOf(found.nil)) {
            RareOf(*item).nil = nil->value;
        }
        if (XMLAttr const* type = FirstOf(found.type)) {
            ReadType(*item, type->value);
        }
        return item;
    }

    // The same for the elements of nearly every message: those that carry nothing or an xsi:type
    // of the 2001 schema alone.
    Item* NewItem(XMLNode const& element, View style) {
        if (element.attrCount > 1) {
            return NewItem(element, style, Scan(element));
        }
        XMLAttr const* type = element.attrCount == 1 ? &element.attrs[0] : nullptr;
        if (type != nullptr &&
            !(type->prefixed && type->ns == m_xsi && SameShort(type->Local(), u"type"))) {
            return NewItem(element, style, Scan(element));
        }
        Item* item = m_items.New();
        item->node = &element;
        item->style = style;
        if (type != nullptr) {
            ReadType(*item, type->value);
        }
        return item;
    }

    void ReadType(Item& item, View text) {
        auto const colon = text.find(u':');
        View const* uri = LookUpPrefix(colon != View::npos ? text.substr(0, colon) : View());
        if (uri == nullptr) {
            ThrowSOAPFault(kClient,
                           colon != View::npos ? readfault::kTypePrefix : readfault::kTypeDefault,
                           true);
        }
        item.typeNS = *uri;
        item.typeName = colon != View::npos ? text.substr(colon + 1) : text;
    }

    static void Enter(IdTable& ids, Item* item) {
        if (item->rare != nullptr && !item->rare->id.empty()) {
            ids.try_emplace(item->rare->id, item);
        }
    }

    Item* NewChild(Frame& parent, XMLNode const& element, IdTable& ids) {
        Item* child = NewItem(element, parent.item->style);
        Enter(ids, child);
        if (parent.lastChild != nullptr) {
            parent.lastChild->next = child;
        } else {
            parent.item->firstChild = child;
        }
        parent.lastChild = child;
        ++parent.item->childCount;
        return child;
    }

    Item* NewEntry(XMLNode const& element) {
        Item* entry = NewItem(element, m_headerStyle, Scan(element));
        XMLAttr const* mustUnderstand = FindAttr(element, kMustUnderstandKey);
        XMLAttr const* actor = FindAttr(element, kActorKey);
        if (mustUnderstand != nullptr || actor != nullptr) {
            Rare& rare = RareOf(*entry);
            // Only "1" sets the flag; "true" leaves it unset, deliberately.
            rare.mustUnderstand = mustUnderstand != nullptr && mustUnderstand->value == u"1";
            rare.actor = actor != nullptr ? actor->value : View();
        }
        Enter(m_headerIds, entry);
        m_entries.push_back(entry);
        return entry;
    }

    Frame BodyChild(XMLNode const& element, bool soapNS, View local) {
        ParamAttrs const found = Scan(element);
        if (!m_request && soapNS && local == u"Fault") {
            if (m_fault != nullptr) {
                return Frame{Role::kSwallow, nullptr, nullptr, nullptr};
            }
            m_fault = NewItem(element, m_bodyStyle, found);
            return Frame{Role::kFault, m_fault, &m_bodyIds, nullptr};
        }
        bool const isMethod = found.root == nullptr || found.root->value != u"0";
        if (m_method == nullptr && isMethod) {
            m_method = NewItem(element, m_bodyStyle, found);
            return Frame{Role::kParam, m_method, &m_bodyIds, nullptr};
        }
        Item* independent = NewItem(element, m_bodyStyle, found);
        Enter(m_bodyIds, independent);
        return Frame{Role::kParam, independent, &m_bodyIds, nullptr};
    }

    Frame FaultChild(XMLNode const& element, View local) {
        if (local == u"faultcode") {
            return Frame{Role::kText, nullptr, nullptr, &m_faultCode};
        }
        if (local == u"faultstring") {
            return Frame{Role::kText, nullptr, nullptr, &m_faultString};
        }
        if (local == u"faultactor") {
            return Frame{Role::kText, nullptr, nullptr, &m_faultActor};
        }
        if (local == u"detail" && m_detail == nullptr) {
            m_detail = NewItem(element, m_fault->style);
            Enter(m_bodyIds, m_detail);
            return Frame{Role::kParam, m_detail, &m_bodyIds, nullptr};
        }
        return Frame{Role::kSwallow, nullptr, nullptr, nullptr};
    }

    bool const m_request;
    std::vector<Frame> m_stack;
    // The mappings reported and not yet ended, as the parse-event handler keeps them.
    std::vector<std::pair<View, View>> m_prefixes;
    XMLNamespace const* m_xsi = nullptr;  // see ScanParamAttrs
    std::size_t m_elements = 0;
    Pool<Item> m_items;
    Pool<Rare> m_rares;
    View m_envelopeStyle;
    View m_headerStyle;
    View m_bodyStyle;
    std::vector<Item*> m_entries;
    Item* m_method = nullptr;
    Item* m_fault = nullptr;
    Item* m_detail = nullptr;
    View m_faultCode;
    View m_faultString;
    View m_faultActor;
    XMLNode const* m_body = nullptr;
    View m_bodyTextStyle;
    IdTable m_headerIds;
    IdTable m_bodyIds;
    Lists* m_spare = nullptr;  // the thread's lists, while this read holds them
};

// The children of an item, for range-for.
class ItemRange {
public:
    class Iterator {
    public:
        explicit Iterator(Item* item) : m_item(item) {}
        Item* operator*() const { return m_item; }
        Iterator& operator++() {
            m_item = m_item->next;
            return *this;
        }
        bool operator!=(Iterator const& other) const { return m_item != other.m_item; }

    private:
        Item* m_item;
    };
    explicit ItemRange(Item* first) : m_first(first) {}
    Iterator begin() const { return Iterator(m_first); }
    Iterator end() const { return Iterator(nullptr); }

private:
    Item* m_first;
};

// The items as the value reader and the reading steps see them.
struct ItemTree {
    using Node = Item*;
    using Entry = Item*;

    EnvelopeEvents const* events;

    Node Target(Node element) const { return events->Find(element->rare->href); }

    static View Local(Node element) { return element->node->Local(); }
    static View NS(Node element) { return element->node->ns->uri; }
    static View TypeNS(Node element) { return element->typeNS; }
    static View TypeName(Node element) { return element->typeName; }
    static View Value(Node element) { return element->node->text; }
    static View ArrayType(Node element) {
        return element->rare != nullptr ? element->rare->arrayType : View();
    }
    static View ArrayTypeNS(Node element) {
        return element->rare != nullptr ? element->rare->arrayTypeNS : View();
    }
    static bool IsNil(Node element) {
        return element->rare != nullptr &&
               (element->rare->nil == u"true" || element->rare->nil == u"1");
    }
    static bool HasHref(Node element) {
        return element->rare != nullptr && !element->rare->href.empty();
    }
    static ItemRange Children(Node element) { return ItemRange(element->firstChild); }
    static std::size_t ChildCount(Node element) { return element->childCount; }

    static View EncodingStyle(Entry entry) { return entry->style; }
    static View Root(Entry entry) { return entry->rare != nullptr ? entry->rare->root : View(); }
    static View Actor(Entry entry) { return entry->rare != nullptr ? entry->rare->actor : View(); }
    static bool MustUnderstand(Entry entry) {
        return entry->rare != nullptr && entry->rare->mustUnderstand;
    }
    // The actor text outlives the read: it is the message's.
    static void SetActor(Entry entry, WMString const& actor) {
        if (entry->rare != nullptr) {
            entry->rare->actor = actor;
        }
    }
    static WMString LiteralText(Entry entry) { return NodeText(*entry->node, entry->style, 0); }

    // The element as XML text, declaring every prefix in scope; an inherited encoding style
    // becomes an attribute of the element, as the handlers write it onto the exported tree.
    static WMString NodeText(XMLNode const& node, View style, std::size_t capacity) {
        WMString text;
        text.reserve(capacity);
        AddedAttribute const added{u"SOAP-ENV", u"encodingStyle", soapuri::kEnvelope, style};
        SerializeNode(node, nullptr, text, style.empty() ? nullptr : &added);
        return text;
    }
};

// The value reader's state, which a thread keeps from one read to the next so that its answer
// lists are sized once. A read started while another runs on the thread makes its own.
class StateLease {
public:
    StateLease() {
        m_kept = BorrowThreadLists<Kept>();
        if (m_kept == nullptr) {
            m_own = std::make_unique<ValueReadState>();
            m_state = m_own.get();
        } else {
            m_state = &m_kept->state;
        }
    }
    ~StateLease() {
        if (m_kept != nullptr) {
            // The answers name the description, which may be gone by the next read.
            m_state->Reset(0);
            m_kept->lent = false;
        }
    }
    StateLease(StateLease const&) = delete;
    StateLease& operator=(StateLease const&) = delete;

    ValueReadState& State() { return *m_state; }

private:
    struct Kept {
        ValueReadState state;
        bool lent = false;
    };
    Kept* m_kept;
    std::unique_ptr<ValueReadState> m_own;
    ValueReadState* m_state;
};

// Parses the message's buffer, counting lines on from the side's parser.
void Parse(WMSOAPMessage& message, bool request, XMLDocument& document, EnvelopeEvents& events) {
    int& line = MessageBuilder::ParseLine(message, request);
    if (!document.Read(*message.GetBufferPtr(), line, true, &events)) {
        ThrowParseError(line);
    }
}

void ReadBody(WMSOAPMessage& message, EnvelopeEvents const& events,
              BodyText body = BodyText::kKept) {
    if (events.Body() == nullptr || body == BodyText::kLeftOut) {
        return;
    }
    // The body is nearly the whole envelope: its text is given the envelope's size at once.
    MessageBuilder::SetBodyElemLit(
        message, ItemTree::NodeText(*events.Body(), events.BodyStyle(), message.GetBufferLength()),
        WMString(events.BodyStyle()));
}

}  // namespace

void ReadResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl, BodyText body) {
    MessageBuilder::BeginRead(message);
    XMLDocument document;
    EnvelopeEvents events(false);
    Parse(message, false, document, events);
    StateLease lease;
    ValueReadState& state = lease.State();
    state.Reset(events.ElementCount());
    state.standardWireMode = message.GetStandardWireMode();
    state.request = false;
    ValueReader<ItemTree> reader(ItemTree{&events}, state, &wsdl);
    ReadHeaderEntries(reader, events.Entries(), message, wsdl, ReadSide::kResponse,
                      events.FaultSeen());
    if (events.FaultSeen()) {
        ReadFault(reader, events.FaultCode(), events.FaultString(), events.FaultActor(),
                  events.Detail(), message, wsdl);
    }
    Item* method = events.Method();
    if (events.FaultSeen() || method == nullptr || method->childCount == 0) {
        ReadBody(message, events, body);
        return;
    }
    // The literal body is written after the values, once the items are gone, so that a large
    // answer does not hold both at once; a fault in the values still leaves it in the message.
    try {
        ReadResponseParams(reader, ItemTree::Children(method), message, wsdl);
    } catch (WMSOAPFault*) {
        ReadBody(message, events, body);
        throw;
    }
    events.ReleaseItems();
    ReadBody(message, events, body);
}

void ReadRequest(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    // A server holds the request's values while the application serves the call: the blocks of
    // the read go back to the system (after the document's, last) rather than wait idle.
    struct BlocksReleased {
        ~BlocksReleased() { ReleaseReaderBlocks(); }
    } const released;
    MessageBuilder::BeginRead(message);
    XMLDocument document;
    EnvelopeEvents events(true);
    Parse(message, true, document, events);
    StateLease lease;
    ValueReadState& state = lease.State();
    state.Reset(events.ElementCount());
    state.standardWireMode = message.GetStandardWireMode();
    state.request = true;
    ValueReader<ItemTree> reader(ItemTree{&events}, state, &wsdl);
    Item* method = events.Method();
    if (method != nullptr) {
        message.SetMethodName(WMString(ItemTree::Local(method)));
        message.SetMethodNS(WMString(ItemTree::NS(method)));
    }
    ReadHeaderEntries(reader, events.Entries(), message, wsdl, ReadSide::kRequest, false);
    // As for a response, the literal body is written once the values are read and the items
    // gone; a fault after the header entries still leaves it in the message.
    try {
        CheckRequestAction(message, wsdl);
        if (method == nullptr) {
            ThrowSOAPFault(kClient, u"Unable to process RPC representation in SOAP message.",
                           false);
        }
        ReadRequestParams(reader, ItemTree::Children(method), message, wsdl);
    } catch (...) {
        ReadBody(message, events);
        throw;
    }
    events.ReleaseItems();
    // The items' blocks go back now, not with the document's, so the body text can reuse them.
    ReleaseReaderBlocks();
    ReadBody(message, events);
}

}  // namespace corvane::detail
