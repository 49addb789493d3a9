#include "wsdl/xsd_model.h"

#include <corvane/utf8.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string_view>

#include "platform/codepage.h"
#include "platform/file.h"
#include "xml/reader.h"

namespace corvane::detail::xsd {

const char16_t kSchemaNS[] = u"http://www.w3.org/2001/XMLSchema";
const char16_t kSoapEncNS[] = u"http://schemas.xmlsoap.org/soap/encoding/";
const char16_t kWsdlNS[] = u"http://schemas.xmlsoap.org/wsdl/";
const char16_t kWsdlSoapNS[] = u"http://schemas.xmlsoap.org/wsdl/soap/";
const char16_t kWsdlSoap12NS[] = u"http://schemas.xmlsoap.org/wsdl/soap12/";

namespace {

using View = std::u16string_view;

constexpr char16_t kXmlNS[] = u"http://www.w3.org/XML/1998/namespace";

std::string Utf8(View text) {
    std::string out;
    WideStringToUTF8(text.data(), static_cast<unsigned long>(text.size()), out);
    return out;
}

bool IsSchemaNS(View ns) {
    return ns == kSchemaNS || ns == u"http://www.w3.org/2000/10/XMLSchema" ||
           ns == u"http://www.w3.org/1999/XMLSchema";
}

// The built-in datatypes, anyType included.
bool IsBuiltinName(View local) {
    static const std::set<View> names = {u"anyType",
                                         u"anySimpleType",
                                         u"string",
                                         u"boolean",
                                         u"decimal",
                                         u"float",
                                         u"double",
                                         u"duration",
                                         u"dateTime",
                                         u"time",
                                         u"date",
                                         u"gYearMonth",
                                         u"gYear",
                                         u"gMonthDay",
                                         u"gDay",
                                         u"gMonth",
                                         u"hexBinary",
                                         u"base64Binary",
                                         u"anyURI",
                                         u"QName",
                                         u"NOTATION",
                                         u"normalizedString",
                                         u"token",
                                         u"language",
                                         u"NMTOKEN",
                                         u"NMTOKENS",
                                         u"Name",
                                         u"NCName",
                                         u"ID",
                                         u"IDREF",
                                         u"IDREFS",
                                         u"ENTITY",
                                         u"ENTITIES",
                                         u"integer",
                                         u"nonPositiveInteger",
                                         u"negativeInteger",
                                         u"long",
                                         u"int",
                                         u"short",
                                         u"byte",
                                         u"nonNegativeInteger",
                                         u"unsignedLong",
                                         u"unsignedInt",
                                         u"unsignedShort",
                                         u"unsignedByte",
                                         u"positiveInteger",
                                         u"timeInstant",
                                         u"binary",
                                         u"uriReference",
                                         u"recurringDuration",
                                         u"timeDuration"};
    return names.count(local) != 0;
}

class LoadError : public std::runtime_error {
public:
    explicit LoadError(const std::string& what) : std::runtime_error(what) {}
};

[[noreturn]] void Fail(const std::string& what, View file) {
    throw LoadError(what + " (in " + Utf8(file) + ")");
}

const XMLAttr* Attr(const XMLNode& node, View local) {
    for (std::uint32_t i = 0; i < node.attrCount; ++i) {
        if (!node.attrs[i].prefixed && node.attrs[i].Local() == local) {
            return &node.attrs[i];
        }
    }
    return nullptr;
}

WMString AttrText(const XMLNode& node, View local) {
    const XMLAttr* attr = Attr(node, local);
    return attr ? WMString(attr->value) : WMString();
}

bool IsTrue(const XMLNode& node, View local) {
    const XMLAttr* attr = Attr(node, local);
    return attr && (attr->value == u"true" || attr->value == u"1");
}

bool Is(const XMLNode& node, View ns, View local) {
    return node.Local() == local && node.ns && node.ns->uri == ns;
}

bool IsSchema(const XMLNode& node, View local) {
    return node.Local() == local && node.ns && IsSchemaNS(node.ns->uri);
}

bool IsSoapExt(const XMLNode& node, View local) {
    return node.Local() == local && node.ns &&
           (node.ns->uri == kWsdlSoapNS || node.ns->uri == kWsdlSoap12NS);
}

// Directory part of a location, with its trailing slash.
WMString DirectoryOf(const WMString& location) {
    std::size_t slash = location.find_last_of(u"/\\");
    return slash == WMString::npos ? WMString() : location.substr(0, slash + 1);
}

// True unless the XML declaration names an encoding other than UTF-8.
bool DeclaresUtf8(const std::string& bytes) {
    const std::string head = bytes.substr(0, std::min<std::size_t>(bytes.find("?>"), 200));
    if (head.compare(0, 5, "<?xml") != 0) {
        return true;
    }
    std::size_t at = head.find("encoding");
    if (at == std::string::npos) {
        return true;
    }
    at = head.find_first_of("\"'", at);
    if (at == std::string::npos) {
        return true;
    }
    std::string name = head.substr(at + 1, 5);
    for (char& c : name) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    }
    return name == "utf-8" || name == "utf8\"" || name == "utf8'";
}

bool IsHttp(View location) {
    return location.substr(0, 7) == u"http://" || location.substr(0, 8) == u"https://";
}

// Resolves a relative location against the including document's directory and drops "./"
// and "dir/../" steps, so one document reached by two spellings is read once.
WMString ResolveLocation(const WMString& base, const WMString& relative) {
    WMString joined = relative;
    if (relative.find(u"://") == WMString::npos && (relative.empty() || relative[0] != u'/')) {
        joined = DirectoryOf(base) + relative;
    }
    std::size_t start = joined.find(u"://");
    start = start == WMString::npos ? 0 : joined.find(u'/', start + 3);
    if (start == WMString::npos) {
        return joined;
    }
    std::size_t query = joined.find(u'?');
    WMString path = joined.substr(start, query == WMString::npos ? WMString::npos : query - start);
    std::vector<WMString> steps;
    std::size_t pos = 0;
    while (pos <= path.size()) {
        std::size_t next = path.find(u'/', pos);
        WMString step = path.substr(pos, next == WMString::npos ? WMString::npos : next - pos);
        if (step == u"..") {
            // Above the root stays at the root; above a relative start is kept.
            if (steps.empty() || steps.back() == u"..") {
                steps.push_back(step);
            } else if (!steps.back().empty()) {
                steps.pop_back();
            }
        } else if (step != u"." && !(step.empty() && !steps.empty() && next != WMString::npos)) {
            steps.push_back(step);
        }
        if (next == WMString::npos) {
            break;
        }
        pos = next + 1;
    }
    WMString normal;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        normal += (i ? u"/" : u"") + steps[i];
    }
    return joined.substr(0, start) + normal +
           (query == WMString::npos ? WMString() : joined.substr(query));
}

}  // namespace

std::string Clark(const Name& name) {
    return (name.ns.empty() ? std::string() : "{" + Utf8(name.ns) + "}") + Utf8(name.local);
}

template <class T>
const T* FindIn(const std::map<Name, T>& table, const Name& name) {
    auto found = table.find(name);
    return found == table.end() ? nullptr : &found->second;
}

const Element* Model::FindElement(const Name& name) const {
    auto found = m_elements.find(name);
    return found == m_elements.end() ? nullptr : found->second;
}
const Type* Model::FindType(const Name& name) const {
    auto found = m_types.find(name);
    return found == m_types.end() ? nullptr : found->second;
}
const WsdlMessage* Model::FindMessage(const Name& name) const {
    return FindIn(m_messages, name);
}
const WsdlPortType* Model::FindPortType(const Name& name) const {
    return FindIn(m_portTypes, name);
}
const WsdlBinding* Model::FindBinding(const Name& name) const {
    for (const WsdlBinding& binding : m_bindings) {
        if (binding.name == name) {
            return &binding;
        }
    }
    return nullptr;
}

// Reads the documents into parsed trees and tables of global declarations, then builds the
// model from them. Named types and global elements get their objects before any content is
// built, so a reference never needs the referenced content: recursion through references is
// not followed at all, and only derivation and nesting recurse, both bounded.
class Loader {
public:
    Loader(const LoadOptions& options, Model& model, const WMString& location)
        : m_options(options), m_model(model) {
        m_model.m_location = location;
    }

    void LoadLocation(const WMString& location, int depth, const WMString* chameleon, View from) {
        if (depth > m_options.limits.maxImportDepth) {
            Fail("imports nested more than " + std::to_string(m_options.limits.maxImportDepth) +
                     " deep at " + Utf8(location),
                 from);
        }
        const WMString key = location + u"#" + (chameleon ? *chameleon : WMString());
        if (!m_loaded.insert(key).second) {
            return;  // read already, or being read: an import cycle ends here
        }
        WMString text;
        if (IsHttp(location)) {
            WMString reason;
            if (!m_options.fetch) {
                Fail("cannot fetch " + Utf8(location) + ": no HTTP fetch was given", from);
            }
            if (!m_options.fetch(location, text, reason)) {
                Fail("cannot fetch " + Utf8(location) + ": " + Utf8(reason), from);
            }
        } else {
            ReadFile(location, text, from);
        }
        LoadText(std::move(text), location, depth, chameleon);
    }

    void LoadText(WMString text, const WMString& location, int depth, const WMString* chameleon) {
        if (++m_documentCount > m_options.limits.maxDocuments) {
            Fail("more than " + std::to_string(m_options.limits.maxDocuments) + " documents",
                 location);
        }
        m_docs.emplace_back();
        Doc& doc = m_docs.back();
        doc.location = location;
        doc.text = std::make_unique<WMString>(std::move(text));
        doc.tree = std::make_unique<XMLDocument>();
        int line = 1;
        if (!doc.tree->Read(*doc.text, line, true, nullptr) || !doc.tree->Root()) {
            Fail("not well-formed XML at line " + std::to_string(line), location);
        }
        const XMLNode& root = *doc.tree->Root();
        if (Is(root, kWsdlNS, u"definitions")) {
            ReadDefinitions(root, doc.location, depth);
        } else if (IsSchema(root, u"schema")) {
            ReadSchema(root, doc.location, depth, chameleon);
        } else {
            Fail("the document is neither a WSDL description nor a schema", location);
        }
    }

    void Build();

private:
    struct Doc {
        WMString location;
        std::unique_ptr<WMString> text;
        std::unique_ptr<XMLDocument> tree;
    };
    struct Context {
        WMString tns;
        WMString file;
        bool chameleon = false;
        bool elementQualified = false;
        bool attributeQualified = false;
    };
    struct Decl {
        const XMLNode* node;
        const Context* context;
    };
    enum class State { kEmpty, kBuilding, kDone };

    void ReadFile(const WMString& location, WMString& text, View from) {
        WMString path = location;
        if (path.substr(0, 7) == u"file://") {
            path = path.substr(7);
        }
        std::string utf8Path;
        WideStringToUTF8(path, utf8Path);
        std::string bytes;
        switch (platform::ReadWholeFile(utf8Path, m_options.limits.maxDocumentBytes, bytes)) {
            case platform::FileReadResult::kOk:
                break;
            case platform::FileReadResult::kCannotOpen:
                Fail("cannot open " + utf8Path, from);
            case platform::FileReadResult::kTooLarge:
                Fail(utf8Path + " is larger than the limit", from);
            case platform::FileReadResult::kReadError:
                Fail("cannot read " + utf8Path, from);
        }
        // XML without a declared encoding is UTF-8. A declared single-byte encoding, and bytes
        // that are not UTF-8, are taken in the code page, as the default loader takes every
        // file, rather than refused.
        if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) {
            bytes.erase(0, 3);
        }
        if (!DeclaresUtf8(bytes) || UTF8ToWideString(bytes, text) == 0) {
            text = platform::AnsiToWide(bytes);
        }
    }

    Name Resolve(const XMLNode& node, View value, const Context& context) const {
        std::size_t colon = value.find(u':');
        View prefix = colon == View::npos ? View() : value.substr(0, colon);
        Name name{WMString(), WMString(colon == View::npos ? value : value.substr(colon + 1))};
        if (prefix == u"xml") {
            name.ns = kXmlNS;
            return name;
        }
        bool found = prefix.empty();
        if (prefix.empty()) {
            if (node.scope && node.scope->defaultNS) {
                name.ns = WMString(node.scope->defaultNS->uri);
            }
        } else {
            for (const XMLReadScope* scope = node.scope; scope && !found; scope = scope->parent) {
                for (std::uint32_t i = 0; i < scope->count; ++i) {
                    if (scope->entries[i].prefix == prefix) {
                        name.ns = WMString(scope->entries[i].uri->uri);
                        found = true;
                        break;
                    }
                }
            }
        }
        if (!found) {
            Fail("undeclared prefix in '" + Utf8(value) + "'", context.file);
        }
        // A schema included into another namespace takes that namespace for its own names.
        if (name.ns.empty() && context.chameleon) {
            name.ns = context.tns;
        }
        return name;
    }

    Name ResolveAttr(const XMLNode& node, View local, const Context& context) const {
        const XMLAttr* attr = Attr(node, local);
        return attr ? Resolve(node, attr->value, context) : Name();
    }

    void ReadDefinitions(const XMLNode& root, const WMString& file, int depth);
    void ReadSchema(const XMLNode& root, const WMString& file, int depth,
                    const WMString* chameleon);

    // A type by name; `complete` when its content is needed now (a derivation's base),
    // otherwise it may still be empty, which lets a type contain itself.
    const Type* TypeRef(const Name& name, const Context& context, int depth, bool complete);
    const Type* Builtin(const Name& name);
    void BuildType(Type& type, const XMLNode& node, const Context& context, int depth);
    void BuildSimple(Type& type, const XMLNode& node, const Context& context, int depth);
    void BuildComplex(Type& type, const XMLNode& node, const Context& context, int depth);
    void BuildDerivation(Type& type, const XMLNode& node, const Context& context, int depth,
                         bool simpleContent);
    bool BuildArray(Type& type, const XMLNode& restriction, const Context& context);
    const Type* Anonymous(const XMLNode& node, const Context& context, int depth);
    Particle BuildGroup(const XMLNode& node, const Context& context, int depth);
    Particle BuildGroupRef(const XMLNode& node, const Context& context, int depth);
    Particle BuildElementParticle(const XMLNode& node, const Context& context, int depth);
    void FillElement(Element& element, const XMLNode& node, const Context& context, int depth);
    void AddAttributes(Type& type, const XMLNode& parent, const Context& context, int depth);
    void AddAttribute(Type& type, const XMLNode& node, const Context& context, int depth);
    void Occurs(Particle& particle, const XMLNode& node, const Context& context) const;
    void Count(const Context& context);
    void CheckDepth(int depth, const Context& context) const;
    void ResolveWsdl();

    const LoadOptions& m_options;
    Model& m_model;
    std::set<WMString> m_loaded;
    int m_documentCount = 0;
    std::deque<Doc> m_docs;
    std::deque<Context> m_contexts;
    std::map<Name, Decl> m_typeDecls;
    std::map<Name, Decl> m_elementDecls;
    std::map<Name, Decl> m_groupDecls;
    std::map<Name, Decl> m_attributeGroupDecls;
    std::map<Name, Decl> m_attributeDecls;
    std::map<const Type*, std::pair<Decl, State>> m_typeState;
    std::map<Name, const Type*> m_builtins;
    std::set<Name> m_openGroups;
    std::set<Name> m_openAttributeGroups;
    std::size_t m_particles = 0;
};

void Loader::ReadDefinitions(const XMLNode& root, const WMString& file, int depth) {
    Context& context = m_contexts.emplace_back();
    context.tns = AttrText(root, u"targetNamespace");
    context.file = file;
    auto qualified = [&](const XMLNode& node) {
        return Name{context.tns, AttrText(node, u"name")};
    };
    for (const XMLNode* child = root.firstChild; child; child = child->nextSibling) {
        const XMLNode& node = *child;
        if (!node.ns || node.ns->uri != kWsdlNS) {
            continue;
        }
        View local = node.Local();
        if (local == u"import") {
            const XMLAttr* location = Attr(node, u"location");
            if (location && !location->value.empty()) {
                LoadLocation(ResolveLocation(file, WMString(location->value)), depth + 1, nullptr,
                             file);
            }
        } else if (local == u"types") {
            for (const XMLNode* schema = node.firstChild; schema; schema = schema->nextSibling) {
                if (IsSchema(*schema, u"schema")) {
                    ReadSchema(*schema, file, depth, nullptr);
                }
            }
        } else if (local == u"message") {
            WsdlMessage message{qualified(node), {}};
            for (const XMLNode* part = node.firstChild; part; part = part->nextSibling) {
                if (Is(*part, kWsdlNS, u"part")) {
                    message.parts.push_back(
                        WsdlPart{AttrText(*part, u"name"), ResolveAttr(*part, u"element", context),
                                 ResolveAttr(*part, u"type", context), nullptr, nullptr});
                }
            }
            m_model.m_messages.emplace(message.name, std::move(message));
        } else if (local == u"portType") {
            WsdlPortType portType{qualified(node), {}};
            for (const XMLNode* op = node.firstChild; op; op = op->nextSibling) {
                if (!Is(*op, kWsdlNS, u"operation")) {
                    continue;
                }
                WsdlAbstractOperation abstract{AttrText(*op, u"name"), {}, {}, {}};
                for (const XMLNode* side = op->firstChild; side; side = side->nextSibling) {
                    if (Is(*side, kWsdlNS, u"input")) {
                        abstract.input = ResolveAttr(*side, u"message", context);
                    } else if (Is(*side, kWsdlNS, u"output")) {
                        abstract.output = ResolveAttr(*side, u"message", context);
                    } else if (Is(*side, kWsdlNS, u"fault")) {
                        abstract.faults.emplace_back(AttrText(*side, u"name"),
                                                     ResolveAttr(*side, u"message", context));
                    }
                }
                portType.operations.push_back(std::move(abstract));
            }
            m_model.m_portTypes.emplace(portType.name, std::move(portType));
        } else if (local == u"binding") {
            WsdlBinding binding;
            binding.name = qualified(node);
            binding.portType = ResolveAttr(node, u"type", context);
            auto readSide = [&](const XMLNode& sideNode, WsdlBindingSide& side) {
                side.present = true;
                side.name = AttrText(sideNode, u"name");
                for (const XMLNode* ext = sideNode.firstChild; ext; ext = ext->nextSibling) {
                    if (IsSoapExt(*ext, u"body") || IsSoapExt(*ext, u"fault")) {
                        side.body.present = true;
                        side.body.use = AttrText(*ext, u"use");
                        side.body.ns = AttrText(*ext, u"namespace");
                        WMString parts = AttrText(*ext, u"parts");
                        std::size_t pos = 0;
                        while ((pos = parts.find_first_not_of(u" \t\r\n", pos)) != WMString::npos) {
                            std::size_t end = parts.find_first_of(u" \t\r\n", pos);
                            side.body.parts.push_back(parts.substr(pos, end - pos));
                            pos = end;
                        }
                    } else if (IsSoapExt(*ext, u"header")) {
                        side.headers.push_back(WsdlHeader{ResolveAttr(*ext, u"message", context),
                                                          AttrText(*ext, u"part"),
                                                          AttrText(*ext, u"use")});
                    }
                }
            };
            for (const XMLNode* child2 = node.firstChild; child2; child2 = child2->nextSibling) {
                if (IsSoapExt(*child2, u"binding")) {
                    binding.soapVersion = child2->ns->uri == kWsdlSoap12NS ? 12 : 11;
                    binding.style = AttrText(*child2, u"style");
                    binding.transport = AttrText(*child2, u"transport");
                } else if (Is(*child2, kWsdlNS, u"operation")) {
                    WsdlBindingOperation op;
                    op.name = AttrText(*child2, u"name");
                    for (const XMLNode* part = child2->firstChild; part; part = part->nextSibling) {
                        if (IsSoapExt(*part, u"operation")) {
                            op.style = AttrText(*part, u"style");
                            op.soapAction = AttrText(*part, u"soapAction");
                            op.soapActionRequired = IsTrue(*part, u"soapActionRequired");
                        } else if (Is(*part, kWsdlNS, u"input")) {
                            readSide(*part, op.input);
                        } else if (Is(*part, kWsdlNS, u"output")) {
                            readSide(*part, op.output);
                        } else if (Is(*part, kWsdlNS, u"fault")) {
                            op.faults.emplace_back();
                            readSide(*part, op.faults.back());
                        }
                    }
                    binding.operations.push_back(std::move(op));
                }
            }
            if (!m_model.FindBinding(binding.name)) {
                m_model.m_bindings.push_back(std::move(binding));
            }
        } else if (local == u"service") {
            WsdlService service{qualified(node), {}};
            for (const XMLNode* port = node.firstChild; port; port = port->nextSibling) {
                if (!Is(*port, kWsdlNS, u"port")) {
                    continue;
                }
                WsdlPort entry{AttrText(*port, u"name"), ResolveAttr(*port, u"binding", context),
                               WMString()};
                for (const XMLNode* ext = port->firstChild; ext; ext = ext->nextSibling) {
                    if (IsSoapExt(*ext, u"address")) {
                        entry.address = AttrText(*ext, u"location");
                    }
                }
                service.ports.push_back(std::move(entry));
            }
            m_model.m_services.push_back(std::move(service));
        }
    }
}

void Loader::ReadSchema(const XMLNode& root, const WMString& file, int depth,
                        const WMString* chameleon) {
    Context context;
    const XMLAttr* tns = Attr(root, u"targetNamespace");
    context.tns = tns ? WMString(tns->value) : chameleon ? *chameleon : WMString();
    context.chameleon = !tns && chameleon && !chameleon->empty();
    context.file = file;
    context.elementQualified = AttrText(root, u"elementFormDefault") == u"qualified";
    context.attributeQualified = AttrText(root, u"attributeFormDefault") == u"qualified";
    m_contexts.push_back(context);
    const Context* stored = &m_contexts.back();
    for (const XMLNode* child = root.firstChild; child; child = child->nextSibling) {
        const XMLNode& node = *child;
        if (!node.ns || !IsSchemaNS(node.ns->uri)) {
            continue;
        }
        View local = node.Local();
        if (local == u"import" || local == u"include" || local == u"redefine") {
            const XMLAttr* location = Attr(node, u"schemaLocation");
            if (location && !location->value.empty()) {
                LoadLocation(ResolveLocation(file, WMString(location->value)), depth + 1,
                             local == u"import" ? nullptr : &stored->tns, file);
            }
            continue;
        }
        std::map<Name, Decl>* table = local == u"complexType" || local == u"simpleType"
                                          ? &m_typeDecls
                                      : local == u"element"        ? &m_elementDecls
                                      : local == u"group"          ? &m_groupDecls
                                      : local == u"attributeGroup" ? &m_attributeGroupDecls
                                      : local == u"attribute"      ? &m_attributeDecls
                                                                   : nullptr;
        if (!table) {
            continue;
        }
        const XMLAttr* name = Attr(node, u"name");
        if (!name || name->value.empty()) {
            Fail("a global " + Utf8(local) + " has no name", file);
        }
        // The first declaration of a name wins, as in the rest of the WSDL layer.
        table->emplace(Name{stored->tns, WMString(name->value)}, Decl{&node, stored});
    }
}

void Loader::CheckDepth(int depth, const Context& context) const {
    if (depth > m_options.limits.maxNesting) {
        Fail("types, groups or derivations nested more than " +
                 std::to_string(m_options.limits.maxNesting) + " deep",
             context.file);
    }
}

void Loader::Count(const Context& context) {
    if (++m_particles > m_options.limits.maxParticles) {
        Fail("the schema has more than " + std::to_string(m_options.limits.maxParticles) +
                 " particles once its groups are expanded",
             context.file);
    }
}

const Type* Loader::Builtin(const Name& name) {
    auto found = m_builtins.find(name);
    if (found != m_builtins.end()) {
        return found->second;
    }
    Type& type = m_model.m_typeStore.emplace_back();
    type.kind = Type::Kind::kBuiltin;
    type.name = name;
    m_builtins.emplace(name, &type);
    return &type;
}

const Type* Loader::TypeRef(const Name& name, const Context& context, int depth, bool complete) {
    auto found = m_model.m_types.find(name);
    if (found != m_model.m_types.end() && complete) {
        auto& [decl, state] = m_typeState[found->second];
        if (state == State::kBuilding) {
            // Also a local type that derives from the type enclosing it: its base is not complete
            // yet.
            Fail("type " + Clark(name) + " is derived from itself or from within itself",
                 context.file);
        }
        if (state == State::kEmpty) {
            BuildType(const_cast<Type&>(*found->second), *decl.node, *decl.context, depth + 1);
        }
        return found->second;
    }
    if (found != m_model.m_types.end()) {
        return found->second;
    }
    // The SOAP encoding's types are taken as built in: documents use them without importing
    // a schema for them.
    if ((IsSchemaNS(name.ns) && IsBuiltinName(name.local)) || name.ns == kSoapEncNS) {
        return Builtin(name);
    }
    Fail("unknown type " + Clark(name), context.file);
}

void Loader::BuildType(Type& type, const XMLNode& node, const Context& context, int depth) {
    CheckDepth(depth, context);
    auto state = m_typeState.find(&type);
    if (state != m_typeState.end()) {
        state->second.second = State::kBuilding;
    }
    if (node.Local() == u"simpleType") {
        BuildSimple(type, node, context, depth);
    } else {
        BuildComplex(type, node, context, depth);
    }
    if (state != m_typeState.end()) {
        state->second.second = State::kDone;
    }
}

const Type* Loader::Anonymous(const XMLNode& node, const Context& context, int depth) {
    Type& type = m_model.m_typeStore.emplace_back();
    type.file = context.file;
    BuildType(type, node, context, depth + 1);
    return &type;
}

void Loader::BuildSimple(Type& type, const XMLNode& node, const Context& context, int depth) {
    type.kind = Type::Kind::kSimple;
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"restriction")) {
            const Type* base = nullptr;
            if (Attr(*child, u"base")) {
                base = TypeRef(ResolveAttr(*child, u"base", context), context, depth, true);
            }
            for (const XMLNode* facet = child->firstChild; facet; facet = facet->nextSibling) {
                if (!base && IsSchema(*facet, u"simpleType")) {
                    base = Anonymous(*facet, context, depth);
                } else if (IsSchema(*facet, u"enumeration")) {
                    type.enumeration.push_back(AttrText(*facet, u"value"));
                }
            }
            if (!base) {
                Fail("a simple type restriction has no base", context.file);
            }
            type.base = base;
            type.builtin = base->kind == Type::Kind::kBuiltin ? base : base->builtin;
            type.variety = base->variety;
            return;
        }
        if (IsSchema(*child, u"list") || IsSchema(*child, u"union")) {
            type.variety = child->Local() == u"list" ? Type::Variety::kList : Type::Variety::kUnion;
            type.builtin = Builtin(Name{kSchemaNS, u"string"});
            return;
        }
    }
    Fail("simple type " + Clark(type.name) + " has no restriction, list or union", context.file);
}

void Loader::BuildComplex(Type& type, const XMLNode& node, const Context& context, int depth) {
    type.kind = Type::Kind::kComplex;
    type.content.kind = Particle::Kind::kSequence;
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"sequence") || IsSchema(*child, u"choice") ||
            IsSchema(*child, u"all")) {
            type.content.children.push_back(BuildGroup(*child, context, depth + 1));
        } else if (IsSchema(*child, u"group")) {
            type.content.children.push_back(BuildGroupRef(*child, context, depth + 1));
        } else if (IsSchema(*child, u"complexContent") || IsSchema(*child, u"simpleContent")) {
            for (const XMLNode* derivation = child->firstChild; derivation;
                 derivation = derivation->nextSibling) {
                if (IsSchema(*derivation, u"extension") || IsSchema(*derivation, u"restriction")) {
                    BuildDerivation(type, *derivation, context, depth,
                                    child->Local() == u"simpleContent");
                }
            }
        }
    }
    AddAttributes(type, node, context, depth);
}

void Loader::BuildDerivation(Type& type, const XMLNode& node, const Context& context, int depth,
                             bool simpleContent) {
    const Name baseName = ResolveAttr(node, u"base", context);
    if (baseName.Empty()) {
        Fail("a derivation has no base", context.file);
    }
    if (!simpleContent && node.Local() == u"restriction" && baseName.ns == kSoapEncNS &&
        baseName.local == u"Array" && BuildArray(type, node, context)) {
        return;
    }
    const Type* base = TypeRef(baseName, context, depth, true);
    type.base = base;
    type.extension = node.Local() == u"extension";
    if (type.extension || simpleContent) {
        type.attributes = base->attributes;
        type.anyAttribute = base->anyAttribute;
    }
    if (simpleContent) {
        type.simpleContent = true;
        type.builtin = base->kind == Type::Kind::kBuiltin ? base : base->builtin;
        type.variety = base->variety;
        for (const XMLNode* facet = node.firstChild; facet; facet = facet->nextSibling) {
            if (IsSchema(*facet, u"enumeration")) {
                type.enumeration.push_back(AttrText(*facet, u"value"));
            }
        }
    } else if (type.extension) {
        if (base->kind == Type::Kind::kComplex) {
            type.content.children = base->content.children;
            type.simpleContent = base->simpleContent;
            type.builtin = base->builtin;
        }
    }
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"sequence") || IsSchema(*child, u"choice") ||
            IsSchema(*child, u"all")) {
            type.content.children.push_back(BuildGroup(*child, context, depth + 1));
        } else if (IsSchema(*child, u"group")) {
            type.content.children.push_back(BuildGroupRef(*child, context, depth + 1));
        }
    }
    AddAttributes(type, node, context, depth);
}

// soapenc:Array restricted with an attribute carrying wsdl:arrayType="ns:Item[]"; false for
// the literal form (a restriction with a sequence), which stays an ordinary complex type.
bool Loader::BuildArray(Type& type, const XMLNode& restriction, const Context& context) {
    for (const XMLNode* child = restriction.firstChild; child; child = child->nextSibling) {
        if (!IsSchema(*child, u"attribute")) {
            continue;
        }
        for (std::uint32_t i = 0; i < child->attrCount; ++i) {
            const XMLAttr& attr = child->attrs[i];
            if (!attr.prefixed || attr.Local() != u"arrayType" || attr.ns->uri != kWsdlNS) {
                continue;
            }
            View value = attr.value;
            std::size_t bracket = value.find(u'[');
            if (bracket == View::npos) {
                Fail("array type '" + Utf8(value) + "' has no dimensions", context.file);
            }
            // The last bracket group gives the dimensions; earlier ones make the item an
            // array itself, which is kept by name.
            std::size_t last = value.rfind(u'[');
            type.kind = Type::Kind::kArray;
            type.itemTypeName = Resolve(*child, value.substr(0, last), context);
            type.dimensions = 1;
            for (char16_t c : value.substr(last)) {
                type.dimensions += c == u',' ? 1 : 0;
            }
            if (last == bracket) {
                type.itemType = TypeRef(type.itemTypeName, context, 0, false);
            }
            type.base = Builtin(Name{kSoapEncNS, u"Array"});
            return true;
        }
    }
    return false;
}

void Loader::Occurs(Particle& particle, const XMLNode& node, const Context& context) const {
    auto parse = [&](View name, unsigned& out) {
        const XMLAttr* attr = Attr(node, name);
        if (!attr) {
            return;
        }
        if (name == u"maxOccurs" && attr->value == u"unbounded") {
            out = kUnbounded;
            return;
        }
        unsigned long long value = 0;
        for (char16_t c : attr->value) {
            if (c < u'0' || c > u'9') {
                Fail("bad " + Utf8(name) + " '" + Utf8(attr->value) + "'", context.file);
            }
            value = std::min<unsigned long long>(value * 10 + (c - u'0'), kUnbounded - 1);
        }
        if (attr->value.empty()) {
            Fail("empty " + Utf8(name), context.file);
        }
        out = static_cast<unsigned>(value);
    };
    parse(u"minOccurs", particle.minOccurs);
    parse(u"maxOccurs", particle.maxOccurs);
    if (particle.maxOccurs < particle.minOccurs) {
        Fail("maxOccurs below minOccurs", context.file);
    }
}

Particle Loader::BuildGroup(const XMLNode& node, const Context& context, int depth) {
    CheckDepth(depth, context);
    Count(context);
    Particle group;
    View local = node.Local();
    group.kind = local == u"choice" ? Particle::Kind::kChoice
                 : local == u"all"  ? Particle::Kind::kAll
                                    : Particle::Kind::kSequence;
    Occurs(group, node, context);
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"element")) {
            group.children.push_back(BuildElementParticle(*child, context, depth));
        } else if (IsSchema(*child, u"sequence") || IsSchema(*child, u"choice")) {
            group.children.push_back(BuildGroup(*child, context, depth + 1));
        } else if (IsSchema(*child, u"group")) {
            group.children.push_back(BuildGroupRef(*child, context, depth + 1));
        } else if (IsSchema(*child, u"any")) {
            Count(context);
            Particle any;
            any.kind = Particle::Kind::kAny;
            any.anyNamespace =
                Attr(*child, u"namespace") ? AttrText(*child, u"namespace") : WMString(u"##any");
            Occurs(any, *child, context);
            group.children.push_back(std::move(any));
        }
    }
    return group;
}

Particle Loader::BuildGroupRef(const XMLNode& node, const Context& context, int depth) {
    CheckDepth(depth, context);
    const Name name = ResolveAttr(node, u"ref", context);
    auto found = m_groupDecls.find(name);
    if (found == m_groupDecls.end()) {
        Fail("unknown group " + Clark(name), context.file);
    }
    if (!m_openGroups.insert(name).second) {
        Fail("group " + Clark(name) + " contains itself", context.file);
    }
    const Decl& decl = found->second;
    Particle group;
    bool built = false;
    for (const XMLNode* child = decl.node->firstChild; child && !built;
         child = child->nextSibling) {
        if (IsSchema(*child, u"sequence") || IsSchema(*child, u"choice") ||
            IsSchema(*child, u"all")) {
            group = BuildGroup(*child, *decl.context, depth + 1);
            built = true;
        }
    }
    m_openGroups.erase(name);
    if (!built) {
        Fail("group " + Clark(name) + " has no sequence, choice or all", decl.context->file);
    }
    // The reference's occurrence stands for the group's.
    Occurs(group, node, context);
    return group;
}

Particle Loader::BuildElementParticle(const XMLNode& node, const Context& context, int depth) {
    Count(context);
    Particle particle;
    particle.kind = Particle::Kind::kElement;
    Occurs(particle, node, context);
    if (Attr(node, u"ref")) {
        const Name name = ResolveAttr(node, u"ref", context);
        particle.element = m_model.FindElement(name);
        if (!particle.element) {
            Fail("unknown element " + Clark(name), context.file);
        }
        return particle;
    }
    Element& element = m_model.m_elementStore.emplace_back();
    const XMLAttr* form = Attr(node, u"form");
    const bool qualified = form ? form->value == u"qualified" : context.elementQualified;
    element.name = Name{qualified ? context.tns : WMString(), AttrText(node, u"name")};
    if (element.name.local.empty()) {
        Fail("a local element has neither a name nor a ref", context.file);
    }
    FillElement(element, node, context, depth);
    particle.element = &element;
    return particle;
}

void Loader::FillElement(Element& element, const XMLNode& node, const Context& context, int depth) {
    element.file = context.file;
    element.nillable = IsTrue(node, u"nillable");
    if (Attr(node, u"type")) {
        element.typeName = ResolveAttr(node, u"type", context);
        element.type = TypeRef(element.typeName, context, depth, false);
        return;
    }
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"complexType") || IsSchema(*child, u"simpleType")) {
            element.type = Anonymous(*child, context, depth);
            return;
        }
    }
    // A member of a substitution group without a type of its own has its head's type.
    if (Attr(node, u"substitutionGroup")) {
        const Element* head = m_model.FindElement(ResolveAttr(node, u"substitutionGroup", context));
        if (head && head != &element) {
            element.typeName = head->typeName;
            element.type = head->type;
            return;
        }
    }
    element.typeName = Name{kSchemaNS, u"anyType"};
    element.type = Builtin(element.typeName);
}

void Loader::AddAttributes(Type& type, const XMLNode& parent, const Context& context, int depth) {
    for (const XMLNode* child = parent.firstChild; child; child = child->nextSibling) {
        if (IsSchema(*child, u"attribute")) {
            AddAttribute(type, *child, context, depth);
        } else if (IsSchema(*child, u"anyAttribute")) {
            type.anyAttribute = true;
        } else if (IsSchema(*child, u"attributeGroup")) {
            CheckDepth(depth + 1, context);
            const Name name = ResolveAttr(*child, u"ref", context);
            auto found = m_attributeGroupDecls.find(name);
            if (found == m_attributeGroupDecls.end()) {
                Fail("unknown attribute group " + Clark(name), context.file);
            }
            if (!m_openAttributeGroups.insert(name).second) {
                Fail("attribute group " + Clark(name) + " contains itself", context.file);
            }
            AddAttributes(type, *found->second.node, *found->second.context, depth + 1);
            m_openAttributeGroups.erase(name);
        }
    }
}

void Loader::AddAttribute(Type& type, const XMLNode& node, const Context& context, int depth) {
    Count(context);
    Attribute attribute;
    const WMString use = AttrText(node, u"use");
    attribute.required = use == u"required";
    const XMLNode* typeNode = &node;
    const Context* typeContext = &context;
    if (Attr(node, u"ref")) {
        attribute.name = ResolveAttr(node, u"ref", context);
        auto found = m_attributeDecls.find(attribute.name);
        if (found != m_attributeDecls.end()) {
            typeNode = found->second.node;
            typeContext = found->second.context;
        } else if (attribute.name.ns == kXmlNS || attribute.name.ns == kSoapEncNS ||
                   attribute.name.ns == kWsdlNS) {
            attribute.typeName = Name{kSchemaNS, u"string"};
            attribute.type = Builtin(attribute.typeName);
            typeNode = nullptr;
        } else {
            Fail("unknown attribute " + Clark(attribute.name), context.file);
        }
    } else {
        const XMLAttr* form = Attr(node, u"form");
        const bool qualified = form ? form->value == u"qualified" : context.attributeQualified;
        attribute.name = Name{qualified ? context.tns : WMString(), AttrText(node, u"name")};
    }
    if (typeNode) {
        if (Attr(*typeNode, u"type")) {
            attribute.typeName = ResolveAttr(*typeNode, u"type", *typeContext);
            attribute.type = TypeRef(attribute.typeName, *typeContext, depth, false);
        } else {
            for (const XMLNode* child = typeNode->firstChild; child; child = child->nextSibling) {
                if (IsSchema(*child, u"simpleType")) {
                    attribute.type = Anonymous(*child, *typeContext, depth);
                }
            }
            if (!attribute.type) {
                attribute.typeName = Name{kSchemaNS, u"anySimpleType"};
                attribute.type = Builtin(attribute.typeName);
            }
        }
    }
    // A restriction restates or prohibits the base's attributes by name.
    for (auto it = type.attributes.begin(); it != type.attributes.end(); ++it) {
        if (it->name == attribute.name) {
            type.attributes.erase(it);
            break;
        }
    }
    if (use != u"prohibited") {
        type.attributes.push_back(std::move(attribute));
    }
}

void Loader::ResolveWsdl() {
    // Parts name their element or type through the document that declared the message; the
    // message's own file is not kept, so errors name the description's location.
    for (auto& [name, message] : m_model.m_messages) {
        for (WsdlPart& part : message.parts) {
            if (!part.element.Empty()) {
                part.elementDecl = m_model.FindElement(part.element);
                if (!part.elementDecl) {
                    Fail("part " + Utf8(part.name) + " of message " + Clark(name) +
                             " names unknown element " + Clark(part.element),
                         m_model.m_location);
                }
            } else if (!part.type.Empty()) {
                Context context;
                context.file = m_model.m_location;
                part.typeDecl = TypeRef(part.type, context, 0, false);
            }
        }
    }
}

void Loader::Build() {
    // Every named type and global element exists before any content refers to it.
    for (const auto& [name, decl] : m_typeDecls) {
        Type& type = m_model.m_typeStore.emplace_back();
        type.name = name;
        type.file = decl.context->file;
        m_model.m_types.emplace(name, &type);
        m_typeState.emplace(&type, std::make_pair(decl, State::kEmpty));
    }
    for (const auto& [name, decl] : m_elementDecls) {
        Element& element = m_model.m_elementStore.emplace_back();
        element.name = name;
        element.global = true;
        m_model.m_elements.emplace(name, &element);
    }
    for (const auto& [name, decl] : m_typeDecls) {
        TypeRef(name, *decl.context, 0, true);
    }
    for (const auto& [name, decl] : m_elementDecls) {
        FillElement(const_cast<Element&>(*m_model.FindElement(name)), *decl.node, *decl.context, 0);
    }
    // Substitution group members declared before their head took anyType above; a second
    // pass gives them the head's type.
    for (const auto& [name, decl] : m_elementDecls) {
        Element& element = const_cast<Element&>(*m_model.FindElement(name));
        if (!Attr(*decl.node, u"type") && Attr(*decl.node, u"substitutionGroup") &&
            element.typeName == Name{kSchemaNS, u"anyType"}) {
            FillElement(element, *decl.node, *decl.context, 0);
        }
    }
    ResolveWsdl();
}

std::shared_ptr<const Model> LoadModel(const WMString& location, const LoadOptions& options,
                                       WMString& error) {
    auto model = std::make_shared<Model>();
    WMString normal = location;
    for (char16_t& c : normal) {
        c = c == u'\\' ? u'/' : c;
    }
    try {
        Loader loader(options, *model, normal);
        loader.LoadLocation(normal, 0, nullptr, normal);
        loader.Build();
    } catch (const LoadError& failure) {
        UTF8ToWideString(failure.what(), error);
        return nullptr;
    } catch (const std::bad_alloc&) {
        error = u"out of memory reading " + location;
        return nullptr;
    }
    return model;
}

std::shared_ptr<const Model> LoadModelFromText(const WMString& text, const WMString& base,
                                               const LoadOptions& options, WMString& error) {
    auto model = std::make_shared<Model>();
    try {
        Loader loader(options, *model, base);
        loader.LoadText(text, base, 0, nullptr);
        loader.Build();
    } catch (const LoadError& failure) {
        UTF8ToWideString(failure.what(), error);
        return nullptr;
    } catch (const std::bad_alloc&) {
        error = u"out of memory reading " + base;
        return nullptr;
    }
    return model;
}

}  // namespace corvane::detail::xsd
