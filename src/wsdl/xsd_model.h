// The XML Schema model of a WSDL description, read by XML Schema's rules for the
// document/literal extension. The default loader (description.h) reads `types` only as far as
// RPC/encoded needs and keeps its own quirks; this model is separate and read once per
// description, then shared read-only by every thread.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_WSDL_XSD_MODEL_H
#define CORVANE_WSDL_XSD_MODEL_H

#include <corvane/types.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace corvane::detail::xsd {

struct Name {
    WMString ns;
    WMString local;

    bool operator<(const Name& other) const {
        return ns != other.ns ? ns < other.ns : local < other.local;
    }
    bool operator==(const Name& other) const { return ns == other.ns && local == other.local; }
    bool Empty() const { return local.empty(); }
};

// "{ns}local", or "local" without a namespace.
std::string Clark(const Name& name);

extern const char16_t kSchemaNS[];    // 2001 XML Schema
extern const char16_t kSoapEncNS[];   // SOAP 1.1 encoding
extern const char16_t kWsdlNS[];      // WSDL 1.1
extern const char16_t kWsdlSoapNS[];  // WSDL SOAP 1.1 binding
extern const char16_t kWsdlSoap12NS[];

// maxOccurs="unbounded".
constexpr unsigned kUnbounded = ~0u;

struct Type;
struct Element;

struct Attribute {
    Name name;  // as it appears on an instance (qualified per form)
    Name typeName;
    const Type* type = nullptr;
    bool required = false;
};

struct Particle {
    enum class Kind { kElement, kSequence, kChoice, kAll, kAny };
    Kind kind = Kind::kSequence;
    unsigned minOccurs = 1;
    unsigned maxOccurs = 1;
    const Element* element = nullptr;  // kElement: a local declaration or a referenced global
    std::vector<Particle> children;    // groups
    WMString anyNamespace;             // kAny: the namespace constraint as written
};

struct Element {
    Name name;  // as it appears on an instance (qualified per form)
    Name typeName;
    const Type* type = nullptr;
    bool nillable = false;
    bool global = false;
    WMString file;  // where it was declared, for messages
};

struct Type {
    enum class Kind { kBuiltin, kSimple, kComplex, kArray };
    enum class Variety { kAtomic, kList, kUnion };
    Kind kind = Kind::kBuiltin;
    Name name;  // empty local for an anonymous type
    WMString file;

    // A derived type's base, resolved; for extension the base's members come first in content.
    const Type* base = nullptr;
    bool extension = false;

    // Simple types, and complex types with simple content: the built-in type underneath.
    const Type* builtin = nullptr;
    Variety variety = Variety::kAtomic;  // list and union values are kept as text
    std::vector<WMString> enumeration;

    // Complex types: a sequence holding the whole content model (base's first for extension).
    Particle content;
    std::vector<Attribute> attributes;
    bool simpleContent = false;
    bool anyAttribute = false;

    // SOAP-encoded arrays (soapenc:Array restricted with wsdl:arrayType).
    const Type* itemType = nullptr;
    Name itemTypeName;
    unsigned dimensions = 0;
};

// Fetches an http:// or https:// location: true with the document's text, or false with a
// reason. Given by the caller so that the HTTP client of its choice can serve.
using FetchFn = std::function<bool(const WMString& location, WMString& text, WMString& error)>;

struct Limits {
    int maxDocuments = 256;
    int maxImportDepth = 16;
    int maxNesting = 64;                // group, anonymous type and derivation nesting
    std::size_t maxParticles = 200000;  // after group references are expanded
    std::size_t maxDocumentBytes = 64u << 20;
};

struct LoadOptions {
    FetchFn fetch;  // without it http locations are refused
    Limits limits;
};

// The WSDL parts the binding view needs, as read from the documents.
struct WsdlPart {
    WMString name;
    Name element;
    Name type;
    const Element* elementDecl = nullptr;  // resolved in the model
    const Type* typeDecl = nullptr;
};

struct WsdlMessage {
    Name name;
    std::vector<WsdlPart> parts;
};

struct WsdlBody {
    bool present = false;
    WMString use;
    WMString ns;
    std::vector<WMString> parts;  // the `parts` attribute, split; empty means all
};

struct WsdlHeader {
    Name message;
    WMString part;
    WMString use;
};

struct WsdlBindingSide {
    bool present = false;
    WMString name;
    WsdlBody body;
    std::vector<WsdlHeader> headers;
};

struct WsdlBindingOperation {
    WMString name;
    WMString style;
    WMString soapAction;
    bool soapActionRequired = false;
    WsdlBindingSide input;
    WsdlBindingSide output;
    std::vector<WsdlBindingSide> faults;
};

struct WsdlBinding {
    Name name;
    Name portType;
    int soapVersion = 0;  // 11, 12, or 0 for a binding that is not SOAP
    WMString style;
    WMString transport;
    std::vector<WsdlBindingOperation> operations;
};

struct WsdlAbstractOperation {
    WMString name;
    Name input;
    Name output;
    std::vector<std::pair<WMString, Name>> faults;
};

struct WsdlPortType {
    Name name;
    std::vector<WsdlAbstractOperation> operations;
};

struct WsdlPort {
    WMString name;
    Name binding;
    WMString address;
};

struct WsdlService {
    Name name;
    std::vector<WsdlPort> ports;
};

// Types and elements point at each other inside the model, so it is never copied.
class Model {
public:
    Model() = default;
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    const Element* FindElement(const Name& name) const;
    const Type* FindType(const Name& name) const;
    const WsdlMessage* FindMessage(const Name& name) const;
    const WsdlPortType* FindPortType(const Name& name) const;
    const WsdlBinding* FindBinding(const Name& name) const;

    const std::map<Name, const Element*>& Elements() const { return m_elements; }
    const std::map<Name, const Type*>& Types() const { return m_types; }
    const std::vector<WsdlService>& Services() const { return m_services; }
    const std::vector<WsdlBinding>& Bindings() const { return m_bindings; }
    const WMString& Location() const { return m_location; }

private:
    friend class Loader;
    WMString m_location;
    std::deque<Type> m_typeStore;
    std::deque<Element> m_elementStore;
    std::map<Name, const Element*> m_elements;
    std::map<Name, const Type*> m_types;
    std::map<Name, WsdlMessage> m_messages;
    std::map<Name, WsdlPortType> m_portTypes;
    std::vector<WsdlBinding> m_bindings;
    std::vector<WsdlService> m_services;
};

// Reads the WSDL document (or schema) at `location` (a path, file:// or http(s)://) with every
// document it imports or includes. Null with `error` naming the cause (and the file) on failure.
std::shared_ptr<const Model> LoadModel(const WMString& location, const LoadOptions& options,
                                       WMString& error);
// The same from a document's text; relative locations resolve against `base`.
std::shared_ptr<const Model> LoadModelFromText(const WMString& text, const WMString& base,
                                               const LoadOptions& options, WMString& error);

// An indented tree of the element's structure, two spaces per level from `indent`: qualified
// names, types, occurrence, nillable, attributes, groups and any. Recursive types stop at the
// second appearance on a path.
std::string PrintElement(const Element& element, int indent);

}  // namespace corvane::detail::xsd

#endif
