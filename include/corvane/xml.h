// The XML document model: elements with a qualified name, a resolved namespace URI and local
// name, one text string, an attribute map, owned children and the namespace prefixes in scope.
//
// Memory layout: names are held in small reference-counted records shared between every element
// and attribute of a parsed document that carries the same name, and the prefix map with the
// default namespace is one record shared by an element and its descendants until one of them
// changes it (copy on write). Neither sharing is observable: every accessor returns the values
// the element would hold with private copies. A map or default namespace obtained through the
// non-const accessors is private to its element from then on. A parse carves its elements and
// attributes out of shared blocks (see operator new below); each is still deleted on its own.
#ifndef CORVANE_XML_H
#define CORVANE_XML_H

#include <corvane/types.h>

#include <cstddef>
#include <map>
#include <vector>

namespace corvane {
namespace detail {
struct XMLNameData;
struct XMLScope;
class XMLInterner;
class XMLReader;
}  // namespace detail
}  // namespace corvane

class WMXMLElement;
class WMXMLAttribute;

// Prefix (empty for the default namespace) to namespace URI.
using WMXMLNSPrefixMap = std::map<WMString, WMString>;
// Child elements in document (or insertion) order; the element owns them.
using WMXMLElementList = std::vector<WMXMLElement*>;

// A name as written (qualified) and as resolved (namespace URI and local name).
class CORVANE_API WMXMLName {
public:
    explicit WMXMLName(WMString const& qualifiedName);
    WMXMLName(WMXMLName const& other);
    WMXMLName& operator=(WMXMLName const& other);
    virtual ~WMXMLName();

    // Compares namespace URI and local name joined without a separator, so ("ab", "c") equals
    // ("a", "bc").
    virtual bool NameEquals(WMXMLName const& other) const;

    // Empty until the name is resolved.
    WMString const& GetNamespaceURI() const;
    WMString const& GetLocalName() const;
    WMString const& GetQualifiedName() const;

protected:
    explicit WMXMLName(corvane::detail::XMLNameData* adopted);
    void SetResolvedName(WMString const& ns, WMString const& localName);
    corvane::detail::XMLNameData* NameData() const { return m_name; }
    void AdoptNameData(corvane::detail::XMLNameData* adopted);

private:
    corvane::detail::XMLNameData* m_name;
};

// The character content of an element: one string, whatever its position among the children.
class CORVANE_API WMXMLMarkup {
public:
    WMXMLMarkup();
    WMXMLMarkup(WMXMLMarkup const& other);
    WMXMLMarkup& operator=(WMXMLMarkup const& other);
    virtual ~WMXMLMarkup();

    WMString const& GetText() const;
    void SetText(WMString const& text);
    void AppendText(WMString const& text);

protected:
    WMString m_text;
};

class CORVANE_API WMXMLAttribute : public WMXMLName {
public:
    WMXMLAttribute(WMString const& qualifiedName, WMString const& value);
    WMXMLAttribute(WMXMLAttribute const& other);
    WMXMLAttribute& operator=(WMXMLAttribute const& other);
    ~WMXMLAttribute() override;

    // A parse carves its elements and attributes out of blocks it shares with the rest of the
    // document; these keep allocation and deletion of every object consistent with that.
    static void* operator new(std::size_t size);
    static void operator delete(void* pointer) noexcept;

    WMString const& GetValue() const;
    void SetValue(WMString const& value);
    // Local name and namespace URI of the element that owns the attribute, set by resolution.
    WMString const& GetElementName() const;
    void SetElementName(WMString const& name);
    WMString const& GetElementNS() const;
    void SetElementNS(WMString const& ns);

    // Compares namespace URI, element namespace, element name and local name joined without
    // separators.
    bool Matches(WMXMLAttribute const& other) const;

private:
    friend class WMXMLElement;
    friend class corvane::detail::XMLInterner;
    WMXMLAttribute(corvane::detail::XMLNameData* name, WMString&& value);

    // Holds the owning element's namespace URI and local name (shared with the element).
    corvane::detail::XMLNameData* m_element;
    WMString m_value;
};

// Key to owned attribute, ordered by code unit. The key is the qualified name until the owning
// element is resolved, then the expanded name (see WMXMLElement::GetAttribute). Erasing or
// clearing entries does not delete the attributes; destroying the map does.
class CORVANE_API WMXMLAttributeMap : public std::map<WMString, WMXMLAttribute*> {
public:
    WMXMLAttributeMap();
    // Copies are deep: each attribute is copied, so two maps never own the same attribute.
    WMXMLAttributeMap(WMXMLAttributeMap const& other);
    WMXMLAttributeMap& operator=(WMXMLAttributeMap const& other);
    virtual ~WMXMLAttributeMap();

    // Stores a new attribute under the key `name`. An entry already under that key is replaced
    // without being deleted; callers test for the key first.
    void AddAttribute(WMString const& name, WMString const& value);

private:
    void DeleteAll();
};

class CORVANE_API WMXMLElement : public WMXMLName, public WMXMLMarkup {
public:
    explicit WMXMLElement(WMString const& qualifiedName);
    // Deep copy of names, text, prefix map, default namespace, children and attributes.
    WMXMLElement(WMXMLElement const& other);
    WMXMLElement& operator=(WMXMLElement const& other);
    ~WMXMLElement() override;

    // A parse carves its elements and attributes out of blocks it shares with the rest of the
    // document; these keep allocation and deletion of every object consistent with that.
    static void* operator new(std::size_t size);
    static void operator delete(void* pointer) noexcept;

    // Appends `child` and takes ownership; a null pointer is ignored.
    void AddChildElement(WMXMLElement* child);
    WMXMLElementList& GetChildElements();
    WMXMLElementList const& GetChildElements() const;
    WMXMLAttributeMap& GetAttributeMap();
    WMXMLAttributeMap const& GetAttributeMap() const;
    WMXMLNSPrefixMap& GetNSPrefixMap();
    WMXMLNSPrefixMap const& GetNSPrefixMap() const;
    WMString& GetDefaultNS();
    WMString const& GetDefaultNS() const;

    // First direct child with this namespace URI and local name, or null.
    WMXMLElement* GetChildElement(WMString const& ns, WMString const& localName) const;
    // First match below this element, depth first in document order, or null.
    WMXMLElement* GetNestedElement(WMString const& ns, WMString const& localName) const;

    // Adds an attribute under its qualified name, without namespace processing; false when the
    // key is taken.
    bool SetAttribute(WMString const& name, WMString const& value);
    // Adds an attribute resolved at once; a prefix new to this element is declared with nsURI.
    bool SetAttribute(WMString const& qualifiedName, WMString const& nsURI, WMString const& value);
    // Looks up the key ns + localName. An unprefixed attribute of a resolved element is found
    // with the element's namespace URI and local name joined as `ns`.
    bool GetAttribute(WMString const& ns, WMString const& localName, WMString& value) const;

    bool SetNSPrefix(WMString const& prefix, WMString const& uri);
    // Records `attribute` when it is an xmlns or xmlns:prefix declaration and tells whether it
    // was one; the attribute itself is neither kept nor deleted.
    bool ProcNamespaceDecl(WMXMLAttribute* attribute);
    // Inherits the parent's prefixes, takes the declarations out of the attributes and resolves
    // the names of the element and its attributes. False on an undeclared prefix, a second
    // colon or two attributes with the same expanded name; the element is then part-resolved.
    bool ResolveNSPrefixes(WMXMLElement const* parent);

    // In-place escaping: content escapes & < >, attribute values & < " ' (not >).
    static void EscElementContent(WMString& text);
    static void EscAttributeValue(WMString& text);

    // Appends the markup of this element and its children; declarations that `parent` maps
    // alike are left out.
    void Serialize(WMXMLElement const* parent, WMString& out) const;
    WMString Serialize(WMXMLElement const* parent) const;

private:
    friend class corvane::detail::XMLInterner;
    friend class corvane::detail::XMLReader;
    explicit WMXMLElement(corvane::detail::XMLNameData* name);

    WMXMLNSPrefixMap const& Prefixes() const;
    WMString const& DefaultNS() const;
    corvane::detail::XMLScope* ScopeForWrite();
    bool ResolveWith(WMXMLElement const* parent, corvane::detail::XMLInterner* interner);
    bool SerializeStartTag(WMXMLElement const* parent, WMString& out) const;
    void DeleteChildren();

    WMXMLAttributeMap m_attributes;
    WMXMLElementList m_children;
    corvane::detail::XMLScope* m_scope;  // null: no prefixes, empty default namespace
    bool m_scopeExposed;                 // a mutable reference was handed out: never share
};

#endif
