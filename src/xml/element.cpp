#include <corvane/xml.h>

#include <utility>

#include "xml/model_impl.h"
#include "xml/noinline.h"

using corvane::detail::Ref;
using corvane::detail::Unref;
using corvane::detail::XMLInterner;
using corvane::detail::XMLNameData;
using corvane::detail::XMLScope;

namespace {

WMString const& EmptyString() {
    static WMString const empty;
    return empty;
}

WMXMLNSPrefixMap const& EmptyPrefixMap() {
    static WMXMLNSPrefixMap const empty;
    return empty;
}

XMLNameData* NewName(WMString const& ns, WMString const& local, WMString const& qname) {
    auto* data = new XMLNameData;
    data->ns = ns;
    data->local = local;
    data->qname = qname;
    return data;
}

bool Joined2Equal(WMString const& a1, WMString const& a2, WMString const& b1, WMString const& b2) {
    return a1.size() + a2.size() == b1.size() + b2.size() && a1 + a2 == b1 + b2;
}

// Record for `name` resolved to (ns, qname from localStart); reuses the current record when it
// already says so, and the interner's record during a parse.
XMLNameData* ResolvedName(XMLNameData* name, XMLScope* scope, WMString const& ns,
                          std::size_t localStart, XMLInterner* interner) {
    std::u16string_view local = std::u16string_view(name->qname).substr(localStart);
    if (name->ns == ns && std::u16string_view(name->local) == local) {
        return Ref(name);
    }
    if (interner) {
        return interner->Resolved(name, scope, ns, localStart);
    }
    return NewName(ns, WMString(local), name->qname);
}

// A record with `name`'s qualified name only.
XMLNameData* QualifiedOnly(XMLNameData* name) {
    if (name->ns.empty() && name->local.empty()) {
        return Ref(name);
    }
    return NewName(WMString(), WMString(), name->qname);
}

// Shares `source`'s scope unless its owner handed out a mutable reference to it.
XMLScope* ShareScope(XMLScope* source, bool exposed) {
    if (!source) {
        return nullptr;
    }
    if (exposed) {
        auto* copy = new XMLScope;
        copy->prefixes = source->prefixes;
        copy->defaultNS = source->defaultNS;
        return copy;
    }
    source->refs.fetch_add(1, std::memory_order_relaxed);
    return source;
}

}  // namespace

// ---- WMXMLName

WMXMLName::WMXMLName(WMString const& qualifiedName)
    : m_name(NewName(WMString(), WMString(), qualifiedName)) {}

WMXMLName::WMXMLName(XMLNameData* adopted) : m_name(adopted) {}

WMXMLName::WMXMLName(WMXMLName const& other) : m_name(Ref(other.m_name)) {}

WMXMLName& WMXMLName::operator=(WMXMLName const& other) {
    AdoptNameData(Ref(other.m_name));
    return *this;
}

WMXMLName::~WMXMLName() {
    Unref(m_name);
}

bool WMXMLName::NameEquals(WMXMLName const& other) const {
    return Joined2Equal(m_name->ns, m_name->local, other.m_name->ns, other.m_name->local);
}

WMString const& WMXMLName::GetNamespaceURI() const {
    return m_name->ns;
}
WMString const& WMXMLName::GetLocalName() const {
    return m_name->local;
}
WMString const& WMXMLName::GetQualifiedName() const {
    return m_name->qname;
}

void WMXMLName::SetResolvedName(WMString const& ns, WMString const& localName) {
    if (m_name->ns == ns && m_name->local == localName) {
        return;
    }
    AdoptNameData(NewName(ns, localName, m_name->qname));
}

void WMXMLName::AdoptNameData(XMLNameData* adopted) {
    Unref(m_name);
    m_name = adopted;
}

// ---- WMXMLMarkup

WMXMLMarkup::WMXMLMarkup() = default;
WMXMLMarkup::WMXMLMarkup(WMXMLMarkup const& other) = default;
WMXMLMarkup& WMXMLMarkup::operator=(WMXMLMarkup const& other) = default;
WMXMLMarkup::~WMXMLMarkup() = default;

WMString const& WMXMLMarkup::GetText() const {
    return m_text;
}
void WMXMLMarkup::SetText(WMString const& text) {
    m_text = text;
}
void WMXMLMarkup::AppendText(WMString const& text) {
    m_text += text;
}

// ---- WMXMLAttribute

WMXMLAttribute::WMXMLAttribute(WMString const& qualifiedName, WMString const& value)
    : WMXMLName(qualifiedName), m_element(nullptr), m_value(value) {}

WMXMLAttribute::WMXMLAttribute(XMLNameData* name, WMString&& value)
    : WMXMLName(name), m_element(nullptr), m_value(std::move(value)) {}

// A copied attribute keeps its qualified name, element name, element namespace and value; its
// own namespace URI and local name start empty again, as before resolution.
WMXMLAttribute::WMXMLAttribute(WMXMLAttribute const& other)
    : WMXMLName(QualifiedOnly(other.NameData())),
      m_element(Ref(other.m_element)),
      m_value(other.m_value) {}

WMXMLAttribute& WMXMLAttribute::operator=(WMXMLAttribute const& other) {
    if (this != &other) {
        AdoptNameData(QualifiedOnly(other.NameData()));
        XMLNameData* element = Ref(other.m_element);
        Unref(m_element);
        m_element = element;
        m_value = other.m_value;
    }
    return *this;
}

WMXMLAttribute::~WMXMLAttribute() {
    Unref(m_element);
}

void* WMXMLAttribute::operator new(std::size_t size) {
    return corvane::detail::AllocateNode(size);
}
void WMXMLAttribute::operator delete(void* pointer) noexcept {
    corvane::detail::FreeNode(pointer);
}

WMString const& WMXMLAttribute::GetValue() const {
    return m_value;
}
void WMXMLAttribute::SetValue(WMString const& value) {
    m_value = value;
}

WMString const& WMXMLAttribute::GetElementName() const {
    return m_element ? m_element->local : EmptyString();
}

WMString const& WMXMLAttribute::GetElementNS() const {
    return m_element ? m_element->ns : EmptyString();
}

void WMXMLAttribute::SetElementName(WMString const& name) {
    XMLNameData* element = NewName(GetElementNS(), name, WMString());
    Unref(m_element);
    m_element = element;
}

void WMXMLAttribute::SetElementNS(WMString const& ns) {
    XMLNameData* element = NewName(ns, GetElementName(), WMString());
    Unref(m_element);
    m_element = element;
}

bool WMXMLAttribute::Matches(WMXMLAttribute const& other) const {
    WMString const mine = GetNamespaceURI() + GetElementNS() + GetElementName() + GetLocalName();
    WMString const theirs = other.GetNamespaceURI() + other.GetElementNS() +
                            other.GetElementName() + other.GetLocalName();
    return mine == theirs;
}

// ---- WMXMLAttributeMap

WMXMLAttributeMap::WMXMLAttributeMap() = default;

WMXMLAttributeMap::WMXMLAttributeMap(WMXMLAttributeMap const& other)
    : std::map<WMString, WMXMLAttribute*>() {
    for (auto const& entry : other) {
        emplace_hint(end(), entry.first, new WMXMLAttribute(*entry.second));
    }
}

WMXMLAttributeMap& WMXMLAttributeMap::operator=(WMXMLAttributeMap const& other) {
    if (this != &other) {
        WMXMLAttributeMap copy(other);
        DeleteAll();
        swap(copy);
    }
    return *this;
}

WMXMLAttributeMap::~WMXMLAttributeMap() {
    DeleteAll();
}

void WMXMLAttributeMap::AddAttribute(WMString const& name, WMString const& value) {
    (*this)[name] = new WMXMLAttribute(name, value);
}

void WMXMLAttributeMap::DeleteAll() {
    for (auto& entry : *this) {
        delete entry.second;
    }
    clear();
}

// ---- WMXMLElement

WMXMLElement::WMXMLElement(WMString const& qualifiedName)
    : WMXMLName(qualifiedName), m_scope(nullptr), m_scopeExposed(false) {}

WMXMLElement::WMXMLElement(XMLNameData* name)
    : WMXMLName(name), m_scope(nullptr), m_scopeExposed(false) {}

WMXMLElement::WMXMLElement(WMXMLElement const& other)
    : WMXMLName(other),
      WMXMLMarkup(other),
      m_attributes(other.m_attributes),
      m_scope(ShareScope(other.m_scope, other.m_scopeExposed)),
      m_scopeExposed(false) {
    m_children.reserve(other.m_children.size());
    for (WMXMLElement const* child : other.m_children) {
        m_children.push_back(new WMXMLElement(*child));
    }
}

WMXMLElement& WMXMLElement::operator=(WMXMLElement const& other) {
    if (this != &other) {
        WMXMLElement copy(other);
        WMXMLName::operator=(copy);
        m_text.swap(copy.m_text);
        m_attributes.swap(copy.m_attributes);
        m_children.swap(copy.m_children);
        std::swap(m_scope, copy.m_scope);
        m_scopeExposed = false;
    }
    return *this;
}

void* WMXMLElement::operator new(std::size_t size) {
    return corvane::detail::AllocateNode(size);
}
void WMXMLElement::operator delete(void* pointer) noexcept {
    corvane::detail::FreeNode(pointer);
}

WMXMLElement::~WMXMLElement() {
    DeleteChildren();
    Unref(m_scope);
}

// Deletes the subtree without recursion, so that the depth of a tree never matters here.
void WMXMLElement::DeleteChildren() {
    WMXMLElementList pending;
    pending.swap(m_children);
    while (!pending.empty()) {
        WMXMLElement* element = pending.back();
        pending.pop_back();
        if (!element) {
            continue;
        }
        pending.insert(pending.end(), element->m_children.begin(), element->m_children.end());
        element->m_children.clear();
        delete static_cast<WMXMLMarkup*>(element);
    }
}

void WMXMLElement::AddChildElement(WMXMLElement* child) {
    if (child) {
        m_children.push_back(child);
    }
}

WMXMLElementList& WMXMLElement::GetChildElements() {
    return m_children;
}
WMXMLElementList const& WMXMLElement::GetChildElements() const {
    return m_children;
}
WMXMLAttributeMap& WMXMLElement::GetAttributeMap() {
    return m_attributes;
}
WMXMLAttributeMap const& WMXMLElement::GetAttributeMap() const {
    return m_attributes;
}

XMLScope* WMXMLElement::ScopeForWrite() {
    if (!m_scope) {
        m_scope = new XMLScope;
    } else if (m_scope->refs.load(std::memory_order_acquire) > 1) {
        auto* copy = new XMLScope;
        copy->prefixes = m_scope->prefixes;
        copy->defaultNS = m_scope->defaultNS;
        Unref(m_scope);
        m_scope = copy;
    }
    return m_scope;
}

WMXMLNSPrefixMap const& WMXMLElement::Prefixes() const {
    return m_scope ? m_scope->prefixes : EmptyPrefixMap();
}

WMString const& WMXMLElement::DefaultNS() const {
    return m_scope ? m_scope->defaultNS : EmptyString();
}

WMXMLNSPrefixMap& WMXMLElement::GetNSPrefixMap() {
    XMLScope* scope = ScopeForWrite();
    m_scopeExposed = true;
    return scope->prefixes;
}

WMXMLNSPrefixMap const& WMXMLElement::GetNSPrefixMap() const {
    return Prefixes();
}

WMString& WMXMLElement::GetDefaultNS() {
    XMLScope* scope = ScopeForWrite();
    m_scopeExposed = true;
    return scope->defaultNS;
}

WMString const& WMXMLElement::GetDefaultNS() const {
    return DefaultNS();
}

WMXMLElement* WMXMLElement::GetChildElement(WMString const& ns, WMString const& localName) const {
    for (WMXMLElement* child : m_children) {
        if (child->GetLocalName() == localName && child->GetNamespaceURI() == ns) {
            return child;
        }
    }
    return nullptr;
}

WMXMLElement* WMXMLElement::GetNestedElement(WMString const& ns, WMString const& localName) const {
    for (WMXMLElement* child : m_children) {
        if (child->GetLocalName() == localName && child->GetNamespaceURI() == ns) {
            return child;
        }
        if (WMXMLElement* found = child->GetNestedElement(ns, localName)) {
            return found;
        }
    }
    return nullptr;
}

bool WMXMLElement::SetAttribute(WMString const& name, WMString const& value) {
    auto position = m_attributes.lower_bound(name);
    if (position != m_attributes.end() && position->first == name) {
        return false;
    }
    m_attributes.emplace_hint(position, name, new WMXMLAttribute(name, value));
    return true;
}

bool WMXMLElement::SetAttribute(WMString const& qualifiedName, WMString const& nsURI,
                                WMString const& value) {
    auto* attribute = new WMXMLAttribute(qualifiedName, value);
    WMString key;
    std::size_t const colon = qualifiedName.find(u':');
    if (colon == WMString::npos) {
        // An unprefixed attribute goes into its element's partition, the same key that
        // resolution gives it, so that GetAttribute finds it either way.
        attribute->SetResolvedName(WMString(), qualifiedName);
        attribute->m_element = Ref(NameData());
        key = GetNamespaceURI() + GetLocalName() + qualifiedName;
    } else {
        WMString const prefix = qualifiedName.substr(0, colon);
        bool ok = !prefix.empty();
        if (ok) {
            WMXMLNSPrefixMap const& prefixes = Prefixes();
            auto found = prefixes.find(prefix);
            if (found == prefixes.end()) {
                ScopeForWrite()->prefixes.emplace(prefix, nsURI);
            } else {
                ok = found->second == nsURI;
            }
        }
        if (!ok) {
            delete attribute;
            return false;
        }
        WMString const local = qualifiedName.substr(colon + 1);
        attribute->SetResolvedName(nsURI, local);
        key = nsURI + local;
    }
    auto position = m_attributes.lower_bound(key);
    if (position != m_attributes.end() && position->first == key) {
        delete attribute;
        return false;
    }
    m_attributes.emplace_hint(position, std::move(key), attribute);
    return true;
}

bool WMXMLElement::GetAttribute(WMString const& ns, WMString const& localName,
                                WMString& value) const {
    auto found = m_attributes.find(ns + localName);
    if (found == m_attributes.end()) {
        return false;
    }
    value = found->second->GetValue();
    return true;
}

bool WMXMLElement::SetNSPrefix(WMString const& prefix, WMString const& uri) {
    if (Prefixes().count(prefix)) {
        return false;
    }
    ScopeForWrite()->prefixes.emplace(prefix, uri);
    return true;
}

bool WMXMLElement::ProcNamespaceDecl(WMXMLAttribute* attribute) {
    static WMString const xmlns = u"xmlns";
    WMString const& name = attribute->GetQualifiedName();
    if (name == xmlns) {
        XMLScope* scope = ScopeForWrite();
        scope->defaultNS = attribute->GetValue();
        scope->prefixes[WMString()] = attribute->GetValue();
        return true;
    }
    std::size_t const colon = name.find(u':');
    if (colon == WMString::npos || name.compare(0, colon, xmlns) != 0) {
        return false;
    }
    ScopeForWrite()->prefixes[name.substr(colon + 1)] = attribute->GetValue();
    return true;
}

bool WMXMLElement::ResolveNSPrefixes(WMXMLElement const* parent) {
    return ResolveWith(parent, nullptr);
}

bool WMXMLElement::ResolveWith(WMXMLElement const* parent, XMLInterner* interner) {
    auto charge = [interner](std::size_t units) { return !interner || interner->Charge(units); };
    if (parent) {
        XMLScope* source = parent->m_scope;
        if (source && parent->m_scopeExposed && !charge(corvane::detail::ScopeSize(*source))) {
            return false;
        }
        XMLScope* inherited = ShareScope(source, parent->m_scopeExposed);
        Unref(m_scope);
        m_scope = inherited;
        m_scopeExposed = false;
    }

    bool detached = false;
    for (auto it = m_attributes.begin(); it != m_attributes.end();) {
        if (it->second->GetQualifiedName().compare(0, 5, u"xmlns") == 0) {
            // Declarations write to this element's own copy of the scope, made once.
            if (!detached && m_scope && m_scope->refs.load(std::memory_order_acquire) > 1 &&
                !charge(corvane::detail::ScopeSize(*m_scope))) {
                return false;
            }
            detached = true;
            if (ProcNamespaceDecl(it->second)) {
                delete it->second;
                it = m_attributes.erase(it);
                continue;
            }
        }
        ++it;
    }

    WMXMLNSPrefixMap const& prefixes = Prefixes();
    WMString const& qname = GetQualifiedName();
    std::size_t const colon = qname.find(u':');
    XMLNameData* resolvedName;
    if (colon == WMString::npos || colon == 0) {
        resolvedName = ResolvedName(NameData(), m_scope, DefaultNS(), 0, interner);
    } else {
        auto found = prefixes.find(qname.substr(0, colon));
        if (found == prefixes.end() || qname.find(u':', colon + 1) != WMString::npos) {
            return false;
        }
        resolvedName = ResolvedName(NameData(), m_scope, found->second, colon + 1, interner);
    }
    if (!resolvedName) {
        return false;
    }
    AdoptNameData(resolvedName);

    if (m_attributes.empty()) {
        return true;
    }
    // Attribute nodes move to the fresh map with their new keys, so that no node is
    // allocated again; on failure they move back, keeping the element the owner of them all.
    WMString const& elementNS = GetNamespaceURI();
    WMString const& elementName = GetLocalName();
    std::map<WMString, WMXMLAttribute*>& current = m_attributes;
    std::map<WMString, WMXMLAttribute*> resolved;
    bool ok = true;
    while (!current.empty()) {
        WMXMLAttribute* attribute = current.begin()->second;
        WMString const& name = attribute->GetQualifiedName();
        std::size_t const attrColon = name.find(u':');
        WMString const* ns = &EmptyString();
        std::size_t localStart = 0;
        if (attrColon != WMString::npos) {
            auto found = attrColon == 0 ? prefixes.end() : prefixes.find(name.substr(0, attrColon));
            if (found == prefixes.end() || name.find(u':', attrColon + 1) != WMString::npos) {
                ok = false;
                break;
            }
            ns = &found->second;
            localStart = attrColon + 1;
        }
        std::size_t const keySize = attrColon == WMString::npos
                                        ? elementNS.size() + elementName.size() + name.size()
                                        : ns->size() + name.size() - localStart;
        XMLNameData* attributeName = charge(keySize) ? ResolvedName(attribute->NameData(), m_scope,
                                                                    *ns, localStart, interner)
                                                     : nullptr;
        if (!attributeName) {
            ok = false;
            break;
        }
        attribute->AdoptNameData(attributeName);
        WMString const& qualified = attributeName->qname;  // `name` went with the old record
        auto node = current.extract(current.begin());
        WMString& key = node.key();
        key.clear();
        if (attrColon == WMString::npos) {
            XMLNameData* element = Ref(NameData());
            Unref(attribute->m_element);
            attribute->m_element = element;
            key.reserve(keySize);
            key.append(elementNS).append(elementName).append(qualified);
        } else {
            key.reserve(keySize);
            key.append(*ns).append(qualified, localStart, WMString::npos);
        }
        auto inserted = resolved.insert(std::move(node));
        if (!inserted.inserted) {
            auto back = current.insert(std::move(inserted.node));
            if (!back.inserted) {
                delete back.node.mapped();
            }
            ok = false;
            break;
        }
    }
    if (!ok) {
        // Everything goes back to the element's map; where a new key meets an old one the
        // element keeps one entry and the other attribute is deleted, so nothing is lost.
        while (!resolved.empty()) {
            auto back = current.insert(resolved.extract(resolved.begin()));
            if (!back.inserted) {
                delete back.node.mapped();
            }
        }
        return false;
    }
    current.swap(resolved);
    return true;
}

void WMXMLElement::EscElementContent(WMString& text) {
    WMString escaped;
    corvane::detail::AppendEscapedContent(escaped, text);
    text.swap(escaped);
}

void WMXMLElement::EscAttributeValue(WMString& text) {
    WMString escaped;
    corvane::detail::AppendEscapedAttribute(escaped, text);
    text.swap(escaped);
}

// Writes the start tag, or the whole element when it is empty (then returns true). Kept apart
// from the recursion of Serialize so that each level of it takes little stack.
NOINLINE bool WMXMLElement::SerializeStartTag(WMXMLElement const* parent, WMString& out) const {
    WMString const& qname = GetQualifiedName();
    out += u'<';
    out += qname;
    for (auto const& entry : m_attributes) {
        out += u' ';
        out += entry.second->GetQualifiedName();
        out += u"=\"";
        corvane::detail::AppendEscapedAttribute(out, entry.second->GetValue());
        out += u'"';
    }
    WMXMLNSPrefixMap const& prefixes = Prefixes();
    // A child sharing its parent's scope declares nothing new: skip the comparison.
    bool const sameScope = parent && parent->m_scope == m_scope;
    if (!sameScope) {
        WMXMLNSPrefixMap const* parentPrefixes = parent ? &parent->Prefixes() : nullptr;
        for (auto const& entry : prefixes) {
            if (parentPrefixes) {
                auto found = parentPrefixes->find(entry.first);
                if (found != parentPrefixes->end() && found->second == entry.second) {
                    continue;
                }
            }
            out += entry.first.empty() ? u" xmlns" : u" xmlns:";
            out += entry.first;
            out += u"=\"";
            corvane::detail::AppendEscapedAttribute(out, entry.second);
            out += u'"';
        }
    }
    if (m_text.empty() && m_children.empty()) {
        out += u" />";
        return true;
    }
    out += u'>';
    corvane::detail::AppendEscapedContent(out, m_text);
    return false;
}

void WMXMLElement::Serialize(WMXMLElement const* parent, WMString& out) const {
    if (SerializeStartTag(parent, out)) {
        return;
    }
    for (WMXMLElement const* child : m_children) {
        child->Serialize(this, out);
    }
    out += u"</";
    out += GetQualifiedName();
    out += u'>';
}

WMString WMXMLElement::Serialize(WMXMLElement const* parent) const {
    WMString out;
    Serialize(parent, out);
    return out;
}
