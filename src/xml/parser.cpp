#include <corvane/xml_parser.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "text/equal.h"
#include "xml/chars.h"
#include "xml/model_impl.h"
#include "xml/noinline.h"

namespace corvane {
namespace detail {

// One parse of one document. The reader works on pointers into the parser's private copy of
// the text, whose terminating zero doubles as the end marker: the reader treats a zero code
// unit as the end anyway, so its scanning loops need no separate bounds test. Names and text
// runs are cut out of the input in one piece; the tree's names come from the interner.
class XMLReader {
public:
    XMLReader(WMString const& text, int& line, WMXMLEventHandler* handler, bool buildTree)
        : m_begin(text.data()),
          m_end(text.data() + text.size()),
          m_cur(text.data()),
          m_line(line),
          m_handler(handler),
          m_buildTree(buildTree),
          m_interner(kBudgetPerUnit * text.size() + kBudgetBase) {}

    ~XMLReader() {
        for (WMXMLElement* element : m_spareElements) {
            delete static_cast<WMXMLMarkup*>(element);
        }
        for (AttributeNode& node : m_spareAttributes) {
            delete node.mapped();
        }
    }

    XMLReader(XMLReader const&) = delete;
    XMLReader& operator=(XMLReader const&) = delete;

    // Parses the document; `storeRoot` receives the root as soon as it is complete.
    template <typename StoreRoot>
    void ParseXMLDocument(StoreRoot storeRoot) {
        if (m_handler) {
            m_handler->StartDoc();
        }
        ParseProlog();
        std::unique_ptr<WMXMLElement> root(ParseElement(nullptr, 1));
        if (!root) {
            Error();
        }
        storeRoot(root.release());
        ParseMisc();
        if (m_handler) {
            m_handler->EndDoc();
        }
    }

private:
    // Copy budget of a parse (see XMLInterner): ordinary documents use a few units per unit
    // of input; the fixed part lets small documents declare long namespace URIs freely.
    static constexpr std::size_t kBudgetPerUnit = 32;
    static constexpr std::size_t kBudgetBase = std::size_t{1} << 22;

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
                return 0;  // a carriage return that ends the input counts as the end
            }
            if (*m_cur == u'\n') {
                ++m_cur;
            }
            ++m_line;
            return u'\n';
        }
        return c;
    }

    // Steps back one code unit without undoing a line count.
    void PrevCh() {
        if (m_overrun) {
            m_overrun = false;
        } else if (m_cur > m_begin) {
            --m_cur;
        }
    }

    bool ParseCh(char16_t expected) {
        if (NextCh() == expected) {
            return true;
        }
        PrevCh();
        return false;
    }

    // The literals matched here contain no line ends, so a plain comparison of the raw input
    // consumes and counts exactly what reading them one by one would.
    bool ParseString(std::u16string_view literal) {
        if (m_overrun || static_cast<std::size_t>(m_end - m_cur) < literal.size() ||
            std::u16string_view(m_cur, literal.size()) != literal) {
            return false;
        }
        m_cur += literal.size();
        return true;
    }

    bool ParseWhiteSpace() {
        bool any = false;
        for (;;) {
            char16_t const c = NextCh();
            if (c == 0 || !IsXMLSpace(c)) {
                PrevCh();
                return any;
            }
            any = true;
        }
    }

    // Steps over a line end in a run that is dropped (a comment), counting it the way NextCh
    // would: CR LF is one. Returns false at a carriage return that ends the input (which reads
    // as the end).
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

    // A carriage return at `p` in a run that is kept reads as NextCh reads it: CR LF and a lone
    // CR are both one line feed. The run up to it and the line feed go to `out`; returns where
    // the next run starts. A carriage return that ends the input is the end. Positions pass by
    // value so that the scanners keep theirs in registers.
    NOINLINE char16_t const* TakeCarriageReturn(WMString& out, char16_t const* run,
                                                char16_t const* p) {
        if (p + 1 == m_end) {
            m_cur = p + 1;
            Error();
        }
        ++m_line;
        out.append(run, static_cast<std::size_t>(p - run));
        out += u'\n';
        return p[1] == u'\n' ? p + 2 : p + 1;
    }

    // ---- names and references

    std::u16string_view ParseName() {
        char16_t const* start = m_cur;
        if (m_overrun || m_cur == m_end || !IsNameStart(*m_cur)) {
            return std::u16string_view();
        }
        char16_t const* p = m_cur + 1;
        while (p < m_end && IsNameChar(*p)) {
            ++p;
        }
        m_cur = p;
        return std::u16string_view(start, static_cast<std::size_t>(p - start));
    }

    // Entered after "&". Numbers keep only their low 16 bits.
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
        char16_t c;
        if (!Dereference(name, c)) {
            Error();
        }
        return c;
    }

    // The five predefined entities are the only ones known.
    static bool Dereference(std::u16string_view name, char16_t& c) {
        if (name == u"lt") {
            c = u'<';
        } else if (name == u"gt") {
            c = u'>';
        } else if (name == u"amp") {
            c = u'&';
        } else if (name == u"apos") {
            c = u'\'';
        } else if (name == u"quot") {
            c = u'"';
        } else {
            return false;
        }
        return true;
    }

    // ---- attributes and elements

    NOINLINE bool ParseAttributeValue(WMString& value) {
        char16_t const quote = NextCh();
        if (quote != u'"' && quote != u'\'') {
            PrevCh();
            return false;
        }
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c == quote) {
                value.append(run, static_cast<std::size_t>(p - run));
                m_cur = p + 1;
                return true;
            }
            switch (c) {
                case 0:
                case u'<':
                    m_cur = p + 1;
                    Error();
                    break;
                case u'&':
                    value.append(run, static_cast<std::size_t>(p - run));
                    m_cur = p + 1;
                    value += ParseReference();
                    run = p = m_cur;
                    break;
                case u'\n':
                case u'\r':
                    // One case for both, as in the text scanner.
                    if (c == u'\n') {
                        ++m_line;
                        ++p;
                    } else {
                        run = p = TakeCarriageReturn(value, run, p);
                    }
                    break;
                default:
                    ++p;
            }
        }
    }

    // Capacity for an attribute key that resolution will turn into the expanded name: guessed
    // from the parent's scope, so that the key usually needs one allocation, not two.
    std::size_t ExpectedKeySize(std::u16string_view name, WMXMLElement const* element,
                                WMXMLElement const* parent) {
        if (!parent) {
            return name.size();
        }
        std::size_t const colon = name.find(u':');
        if (colon == std::u16string_view::npos) {
            std::u16string_view const qname = element->GetQualifiedName();
            std::size_t const elementColon = qname.find(u':');
            std::size_t const local = elementColon == std::u16string_view::npos
                                          ? qname.size()
                                          : qname.size() - elementColon - 1;
            return parent->DefaultNS().size() + local + name.size();
        }
        // Most attributes of a document share a prefix and a scope (xsi:type on every element):
        // the last answer is kept. A stale one costs nothing but a second allocation.
        WMXMLNSPrefixMap const& prefixes = parent->Prefixes();
        std::u16string_view const prefix = name.substr(0, colon);
        if (&prefixes != m_guessPrefixes || !TextEquals(prefix, m_guessPrefix)) {
            auto found = prefixes.find(WMString(prefix));
            m_guessPrefixes = &prefixes;
            m_guessPrefix.assign(prefix);
            m_guessURISize = found == prefixes.end() ? 0 : found->second.size();
        }
        return std::max(name.size(), m_guessURISize + name.size() - colon - 1);
    }

    NOINLINE bool ParseAttribute(WMXMLElement* element, WMXMLElement const* parent) {
        std::u16string_view const name = ParseName();
        if (name.empty()) {
            return false;
        }
        ParseWhiteSpace();
        if (!ParseCh(u'=')) {
            Error();
        }
        ParseWhiteSpace();
        m_value.clear();
        if (!ParseAttributeValue(m_value)) {
            Error();
        }
        WMXMLAttributeMap& attributes = element->m_attributes;
        std::size_t const keySize = ExpectedKeySize(name, element, parent);
        if (!m_spareAttributes.empty()) {
            AttributeNode node = std::move(m_spareAttributes.back());
            m_spareAttributes.pop_back();
            WMString& key = node.key();
            key.clear();
            key.reserve(keySize);
            key.assign(name);
            auto position = attributes.lower_bound(key);
            if (position != attributes.end() && position->first == key) {
                m_spareAttributes.push_back(std::move(node));
                Error();
            }
            m_interner.Reuse(node.mapped(), name, m_value);
            attributes.insert(position, std::move(node));
            return true;
        }
        WMString key;
        key.reserve(keySize);
        key.assign(name);
        auto position = attributes.lower_bound(key);
        if (position != attributes.end() && position->first == key) {
            Error();
        }
        attributes.emplace_hint(position, std::move(key),
                                m_interner.NewAttribute(name, WMString(m_value)));
        return true;
    }

    NOINLINE WMXMLElement* NewElement(std::u16string_view name) {
        if (m_spareElements.empty()) {
            return m_interner.NewElement(name);
        }
        WMXMLElement* element = m_spareElements.back();
        m_spareElements.pop_back();
        m_interner.Rename(element, name);
        return element;
    }

    NOINLINE void Keep(WMXMLElement* element, WMXMLElement* child) {
        if (!m_buildTree) {
            Recycle(child);
            return;
        }
        WMXMLElementList& children = element->m_children;
        if (children.empty()) {
            children.reserve(4);  // most parents have a few children: one allocation
        }
        children.push_back(child);
    }

    // Event mode: a finished child keeps its allocations (element, attribute entries, text
    // capacity) for the elements that follow instead of being deleted. At most one element per
    // level of nesting is ever spare, and the attribute entries of the largest start tag.
    void Recycle(WMXMLElement* child) {
        WMXMLAttributeMap& attributes = child->m_attributes;
        while (!attributes.empty()) {
            m_spareAttributes.push_back(attributes.extract(attributes.begin()));
        }
        child->m_text.clear();
        child->DeleteChildren();  // none, unless a handler added some
        Unref(child->m_scope);
        child->m_scope = nullptr;
        child->m_scopeExposed = false;
        m_spareElements.push_back(child);
    }

    WMXMLElement* ParseElement(WMXMLElement* parent, int depth) {
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
        std::unique_ptr<WMXMLElement> element(NewElement(name));
        for (;;) {
            ParseWhiteSpace();
            if (!ParseAttribute(element.get(), parent)) {
                break;
            }
        }
        if (!element->ResolveWith(parent, &m_interner)) {
            Error();
        }
        FireNSMappingEvents(element.get(), parent, true);
        char16_t const c = NextCh();
        if (c == u'/') {
            if (!ParseCh(u'>')) {
                Error();
            }
            FireStartElementEvent(element.get());
        } else if (c == u'>') {
            FireStartElementEvent(element.get());
            ParseContent(element.get(), depth);
            if (m_handler && !element->m_text.empty()) {
                m_handler->Characters(element->m_text);
            }
        } else {
            Error();
        }
        if (m_handler) {
            m_handler->EndElement(element->GetNamespaceURI(), element->GetLocalName(),
                                  element->GetQualifiedName(), element.get());
        }
        FireNSMappingEvents(element.get(), parent, false);
        return element.release();
    }

    // Character data, references and markup up to the element's end tag. A "]]>" is refused
    // wherever a character of the current run precedes it.
    void ParseContent(WMXMLElement* element, int depth) {
        WMString& text = element->m_text;
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c > u'<' && c != u']') {
                ++p;
                continue;
            }
            switch (c) {
                case 0:
                    m_cur = p + 1;
                    Error();
                    break;
                case u'\n':
                case u'\r':
                    // One case for both: as two, the dispatch of every other character got slower.
                    if (c == u'\n') {
                        ++m_line;
                        ++p;
                        break;
                    }
                    run = p = TakeCarriageReturn(text, run, p);
                    // A lone CR's line feed is not in the run, yet it was read before a "]]>".
                    if (p[0] == u']' && p[1] == u']' && p[2] == u'>') {
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
                    text.append(run, static_cast<std::size_t>(p - run));
                    m_cur = p + 1;
                    text += ParseReference();
                    run = p = m_cur;
                    break;
                case u'<':
                    text.append(run, static_cast<std::size_t>(p - run));
                    m_cur = p;
                    if (ParseEndTag(element)) {
                        return;
                    }
                    ParseMarkup(element, depth);
                    run = p = m_cur;
                    break;
                default:
                    ++p;
            }
        }
    }

    NOINLINE bool ParseEndTag(WMXMLElement* element) {
        if (!ParseString(u"</")) {
            return false;
        }
        std::u16string_view const name = ParseName();
        if (name.empty() || name != std::u16string_view(element->GetQualifiedName())) {
            Error();
        }
        ParseWhiteSpace();
        if (!ParseCh(u'>')) {
            Error();
        }
        return true;
    }

    void ParseMarkup(WMXMLElement* element, int depth) {
        if (ParseComment()) {
            return;
        }
        if (ParseAndReportPI()) {
            return;
        }
        if (ParseCDATA(element)) {
            return;
        }
        WMXMLElement* child = ParseElement(element, depth + 1);
        if (!child) {
            Error();
        }
        Keep(element, child);
    }

    // ---- comments, CDATA, processing instructions, document type

    NOINLINE bool ParseComment() {
        if (!ParseString(u"<!--")) {
            return false;
        }
        char16_t const* p = m_cur;
        for (;;) {
            switch (*p) {
                case 0:
                    m_cur = p + 1;
                    Error();
                    break;
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

    NOINLINE bool ParseCDATA(WMXMLElement* element) {
        if (!ParseString(u"<![CDATA[")) {
            return false;
        }
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c == u']' && p[1] == u']' && p[2] == u'>') {
                element->m_text.append(run, static_cast<std::size_t>(p - run));
                m_cur = p + 3;
                return true;
            }
            if (c == u'\n') {
                ++m_line;
                ++p;
                continue;
            }
            if (c == u'\r') {
                run = p = TakeCarriageReturn(element->m_text, run, p);
                continue;
            }
            if (c == 0 || (IsControl(c) && c != u'\t')) {
                m_cur = p + 1;
                Error();
            }
            ++p;
        }
    }

    // Returns false after "<?" has been consumed when no target name follows.
    NOINLINE bool ParseAndReportPI() {
        if (!ParseString(u"<?")) {
            return false;
        }
        std::u16string_view const target = ParseName();
        if (target.empty()) {
            return false;
        }
        WMString data;  // only now: this runs for every child element
        ParsePIData(data);
        FirePIEvent(target, data);
        return true;
    }

    // What follows the target, up to "?>".
    void ParsePIData(WMString& data) {
        ParseWhiteSpace();
        char16_t const* run = m_cur;
        char16_t const* p = m_cur;
        for (;;) {
            char16_t const c = *p;
            if (c == u'?' && p[1] == u'>') {
                data.append(run, static_cast<std::size_t>(p - run));
                m_cur = p + 2;
                return;
            }
            if (c == 0) {
                m_cur = p + 1;
                Error();
            }
            if (c == u'\n') {
                ++m_line;
            } else if (c == u'\r') {
                run = p = TakeCarriageReturn(data, run, p);
                continue;
            }
            ++p;
        }
    }

    // Skipped without interpretation: "<!" declarations inside end at their own ">".
    bool ParseDocTypeDecl() {
        if (!ParseString(u"<!DOCTYPE")) {
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

    // ---- events and errors

    [[noreturn]] NOINLINE void Error() {
        if (m_handler) {
            m_handler->FatalError(m_line);
        }
        throw m_line;
    }

    void FirePIEvent(std::u16string_view target, WMString const& data) {
        if (m_handler) {
            m_handler->PI(WMString(target), data);
        }
    }

    NOINLINE void FireStartElementEvent(WMXMLElement* element) {
        if (m_handler) {
            m_handler->StartElement(element->GetNamespaceURI(), element->GetLocalName(),
                                    element->GetQualifiedName(), element->m_attributes, element);
        }
    }

    // Reports the default namespace when it differs from the parent's (always for the root),
    // then every prefix the parent does not have; end events come in the same order.
    NOINLINE void FireNSMappingEvents(WMXMLElement* element, WMXMLElement* parent, bool start) {
        if (!m_handler || (parent && parent->m_scope == element->m_scope)) {
            return;
        }
        static WMString const emptyPrefix;
        WMString const& defaultNS = element->DefaultNS();
        if (parent && !m_interner.Charge(defaultNS.size())) {
            Error();
        }
        if (!parent || defaultNS != parent->DefaultNS()) {
            SendNSMapping(start, emptyPrefix, defaultNS);
        }
        WMXMLNSPrefixMap const* inherited = parent ? &parent->Prefixes() : nullptr;
        for (auto const& entry : element->Prefixes()) {
            if (inherited && inherited->count(entry.first)) {
                continue;
            }
            SendNSMapping(start, entry.first, entry.second);
        }
    }

    void SendNSMapping(bool start, WMString const& prefix, WMString const& uri) {
        if (start) {
            m_handler->StartNSMapping(prefix, uri);
        } else {
            m_handler->EndNSMapping(prefix);
        }
    }

    char16_t const* const m_begin;
    char16_t const* const m_end;
    char16_t const* m_cur;
    bool m_overrun = false;  // NextCh has read past the end; PrevCh returns to the end
    int& m_line;
    WMXMLEventHandler* const m_handler;
    bool const m_buildTree;
    XMLInterner m_interner;
    WMString m_value;  // the attribute value being read
    // The last prefix whose URI length ExpectedKeySize looked up, and in which map.
    WMXMLNSPrefixMap const* m_guessPrefixes = nullptr;
    WMString m_guessPrefix;
    std::size_t m_guessURISize = 0;
    using AttributeNode = std::map<WMString, WMXMLAttribute*>::node_type;
    std::vector<WMXMLElement*> m_spareElements;
    std::vector<AttributeNode> m_spareAttributes;
};

}  // namespace detail
}  // namespace corvane

WMXMLParser::WMXMLParser() : m_line(1), m_handler(nullptr), m_root(nullptr), m_buildTree(true) {}

WMXMLParser::WMXMLParser(WMXMLParser const& other)
    : m_line(other.m_line),
      m_handler(other.m_handler),
      m_root(nullptr),
      m_buildTree(other.m_buildTree) {}

WMXMLParser& WMXMLParser::operator=(WMXMLParser const& other) {
    if (this != &other) {
        m_line = other.m_line;
        m_handler = other.m_handler;
        m_buildTree = other.m_buildTree;
    }
    return *this;
}

WMXMLParser::~WMXMLParser() {
    SetDocRoot(nullptr);
}

void WMXMLParser::SetBuildTree(bool buildTree) {
    m_buildTree = buildTree;
}

void WMXMLParser::ParseXML(WMString const& text, WMXMLEventHandler* handler) {
    // A private copy: the handler may change or free the caller's text while it is read.
    WMString const copy(text);
    Parse(copy, handler);
}

void WMXMLParser::Parse(WMString const& text, WMXMLEventHandler* handler) {
    m_handler = handler;
    SetDocRoot(nullptr);
    corvane::detail::XMLReader reader(text, m_line, handler, m_buildTree);
    reader.ParseXMLDocument([this](WMXMLElement* root) { m_root = root; });
}

WMXMLElement* WMXMLParser::GetDocRoot() {
    return m_root;
}

WMXMLElement* WMXMLParser::DetachDocRoot() {
    WMXMLElement* root = m_root;
    m_root = nullptr;
    return root;
}

void WMXMLParser::SetDocRoot(WMXMLElement* root) {
    // Passing the current root again keeps it rather than leaving a deleted root behind.
    if (m_root != root) {
        delete static_cast<WMXMLMarkup*>(m_root);
    }
    m_root = root;
}

int WMXMLParser::SerializeXML(WMString& out) {
    if (!m_root) {
        return 0;
    }
    out.assign(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    m_root->Serialize(nullptr, out);
    return static_cast<int>(out.size());
}
