#include "soap/literal_codec.h"

#include <algorithm>
#include <set>
#include <string>

#include "soap/standard_values.h"
#include "soap/value_builder.h"

namespace corvane::detail {

namespace {

using View = std::u16string_view;
using DataType = WMSOAPStructMember::SOAPDataMember;
using xsd::Particle;
using xsd::Type;

constexpr View kXsiNS = u"http://www.w3.org/2001/XMLSchema-instance";
constexpr View kEnv11NS = u"http://schemas.xmlsoap.org/soap/envelope/";
constexpr View kEnv12NS = u"http://www.w3.org/2003/05/soap-envelope";
constexpr View kContentMember = u"$";
constexpr char16_t kAttributeMark = u'@';

// Thrown inside a read or write and turned into the caller's error text at the entry points.
struct LiteralError {
    WMString message;
};

[[noreturn]] void Fail(View element, View what) {
    WMString message = u"Element '";
    message.append(element);
    message.append(u"': ");
    message.append(what);
    message.append(u".");
    throw LiteralError{std::move(message)};
}

WMString Digits(std::size_t n) {
    std::string const digits = std::to_string(n);
    return WMString(digits.begin(), digits.end());
}

WMString Quoted(View name) {
    WMString text = u"'";
    text.append(name);
    text.append(u"'");
    return text;
}

bool IsAnyType(const Type* type) {
    return !type || (type->kind == Type::Kind::kBuiltin && type->name.local == u"anyType");
}

bool IsSimple(const Type* type) {
    return type->kind == Type::Kind::kSimple ||
           (type->kind == Type::Kind::kBuiltin && type->name.local != u"anyType");
}

// The built-in type whose lexical forms a simple value takes; lists and unions stay text.
View BuiltinOf(const Type* type) {
    if (type->kind == Type::Kind::kBuiltin) {
        return type->name.local;
    }
    if (type->variety != Type::Variety::kAtomic || !type->builtin) {
        return u"string";
    }
    return type->builtin->name.local;
}

WMString TypeLabel(const Type* type) {
    if (!type || type->name.local.empty()) {
        return u"an anonymous type";
    }
    return Quoted(type->name.local);
}

View Trim(View text) {
    auto const space = [](char16_t c) {
        return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
    };
    while (!text.empty() && space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

void CheckEnumeration(const Type* type, View text, View element) {
    if (type->kind != Type::Kind::kSimple || type->enumeration.empty()) {
        return;
    }
    View const value = Trim(text);
    for (const WMString& allowed : type->enumeration) {
        if (allowed == value) {
            return;
        }
    }
    Fail(element, u"\"" + WMString(value.substr(0, 40)) + u"\" is not one of the values of " +
                      TypeLabel(type));
}

void AppendEscaped(WMString& out, View text, bool attribute) {
    for (char16_t const c : text) {
        switch (c) {
            case u'&':
                out.append(u"&amp;");
                break;
            case u'<':
                out.append(u"&lt;");
                break;
            case u'>':
                out.append(u"&gt;");
                break;
            case u'"':
                out.append(attribute ? u"&quot;" : u"\"");
                break;
            case u'\r':
                // Written as a reference so that the reader's line-end normalisation keeps it.
                out.append(u"&#xD;");
                break;
            default:
                out.push_back(c);
        }
    }
}

bool IsElement(const XMLNode& node, const xsd::Element& element) {
    return node.Local() == element.name.local && node.ns->uri == element.name.ns;
}

// Whether `particle` can begin with `node`, and whether it can match nothing at all.
bool Nullable(const Particle& particle) {
    if (particle.minOccurs == 0) {
        return true;
    }
    switch (particle.kind) {
        case Particle::Kind::kSequence:
        case Particle::Kind::kAll:
            return std::all_of(particle.children.begin(), particle.children.end(), Nullable);
        case Particle::Kind::kChoice:
            return std::any_of(particle.children.begin(), particle.children.end(), Nullable);
        default:
            return false;
    }
}

bool Starts(const Particle& particle, const XMLNode& node) {
    switch (particle.kind) {
        case Particle::Kind::kElement:
            return IsElement(node, *particle.element);
        case Particle::Kind::kAny:
            return true;
        case Particle::Kind::kSequence:
            for (const Particle& child : particle.children) {
                if (Starts(child, node)) {
                    return true;
                }
                if (!Nullable(child)) {
                    return false;
                }
            }
            return false;
        default:
            return std::any_of(particle.children.begin(), particle.children.end(),
                               [&](const Particle& child) { return Starts(child, node); });
    }
}

void CollectNames(const Particle& particle, std::set<View>& names) {
    if (particle.kind == Particle::Kind::kElement) {
        names.insert(particle.element->name.local);
    }
    for (const Particle& child : particle.children) {
        CollectNames(child, names);
    }
}

}  // namespace

// ---------------------------------------------------------------- writing

struct LiteralWriter::Impl {
    LiteralWriter& writer;
    int depth = 0;

    WMString& Out() { return writer.m_out; }

    const WMString* PrefixOf(View uri) const {
        for (auto it = writer.m_scope.rbegin(); it != writer.m_scope.rend(); ++it) {
            if (View(it->second) == uri) {
                return &it->first;
            }
        }
        return nullptr;
    }

    bool PrefixTaken(View prefix) const {
        return std::any_of(writer.m_scope.begin(), writer.m_scope.end(),
                           [&](const auto& entry) { return entry.first == prefix; });
    }

    // The prefix of `uri`, declared on the open start tag when nothing declares it yet.
    WMString Prefix(View uri, View preferred) {
        if (const WMString* prefix = PrefixOf(uri)) {
            return *prefix;
        }
        WMString prefix(preferred);
        for (std::size_t n = 1; prefix.empty() || PrefixTaken(prefix); ++n) {
            prefix = u"ns" + Digits(n);
        }
        Out().append(u" xmlns:");
        Out().append(prefix);
        Out().append(u"=\"");
        AppendEscaped(Out(), uri, true);
        Out().append(u"\"");
        writer.m_scope.emplace_back(prefix, WMString(uri));
        return prefix;
    }

    // Starts the tag of `name` (left open for attributes); returns the prefix Close needs. A
    // prefix is short enough to stay in the string itself, where a whole qualified name would
    // cost an allocation per element.
    WMString Open(const xsd::Name& name) {
        Out().push_back(u'<');
        if (name.ns.empty()) {
            Out().append(name.local);
            return WMString();
        }
        if (const WMString* known = PrefixOf(name.ns)) {
            WMString prefix = *known;
            Out().append(prefix);
            Out().push_back(u':');
            Out().append(name.local);
            return prefix;
        }
        std::size_t const nameAt = Out().size();
        Out().append(name.local);
        WMString prefix = Prefix(name.ns, {});
        Out().insert(nameAt, 1, u':');
        Out().insert(nameAt, prefix);
        return prefix;
    }

    void Close(const xsd::Name& name, const WMString& prefix) {
        Out().append(u"</");
        if (!name.ns.empty()) {
            Out().append(prefix);
            Out().push_back(u':');
        }
        Out().append(name.local);
        Out().push_back(u'>');
    }

    // Appends the escaped text of a simple value. Written in place and escaped only when it
    // holds a character that needs it, which most values do not.
    void Scalar(const Type* type, WMSOAPStructMember& value, View element, bool attribute) {
        View const builtin = BuiltinOf(type);
        std::size_t const at = Out().size();
        if (!WriteStandardValue(builtin, value, Out())) {
            Fail(element, u"the value is not a valid " + WMString(builtin));
        }
        CheckEnumeration(type, View(Out()).substr(at), element);
        bool const plain = std::none_of(Out().begin() + at, Out().end(), [&](char16_t c) {
            return c == u'&' || c == u'<' || c == u'>' || c == u'\r' || (attribute && c == u'"');
        });
        if (!plain) {
            WMString const text = Out().substr(at);
            Out().resize(at);
            AppendEscaped(Out(), text, attribute);
        }
    }

    // Writes one element; `item` (an array element) stands for a struct value when given.
    void Value(const xsd::Name& name, const Type* type, bool nillable, WMSOAPStructMember* value,
               WMSOAPStructType* item) {
        if (++depth > writer.m_limits.maxDepth) {
            Fail(name.local, u"the value nests deeper than " +
                                 Digits(static_cast<std::size_t>(writer.m_limits.maxDepth)) +
                                 u" levels");
        }
        std::size_t const mark = writer.m_scope.size();
        DataType::DATATYPE const kind =
            item ? DataType::SOAP_STRUCT : ValueBuilder::Data(*value).dataType;
        if (kind == DataType::SOAP_NONE) {
            if (!nillable) {
                Fail(name.local, u"no value, and the element is not nillable");
            }
            Open(name);
            WMString const xsi = Prefix(kXsiNS, u"xsi");
            Out().push_back(u' ');
            Out().append(xsi);
            Out().append(u":nil=\"true\"/>");
        } else if (IsAnyType(type)) {
            WMString const prefix = Open(name);
            Untyped(kind, value, item);
            Close(name, prefix);
        } else if (IsSimple(type)) {
            if (item) {
                Fail(name.local, u"a struct where " + TypeLabel(type) + u" is simple");
            }
            WMString const prefix = Open(name);
            Out().push_back(u'>');
            Scalar(type, *value, name.local, false);
            Close(name, prefix);
        } else if (type->kind == Type::Kind::kArray) {
            Fail(name.local, u"SOAP-encoded array types are not written as literal values");
        } else {
            WMString const prefix = Open(name);
            Complex(name.local, type,
                    item ? item
                         : (kind == DataType::SOAP_STRUCT ? &ValueBuilder::Data(*value).structValue
                                                          : nullptr),
                    value);
            Close(name, prefix);
        }
        writer.m_scope.resize(mark);
        --depth;
    }

    // anyType: a scalar as text, a struct as elements named by its members.
    void Untyped(DataType::DATATYPE kind, WMSOAPStructMember* value, WMSOAPStructType* item) {
        if (kind == DataType::SOAP_ARRAY) {
            Fail(value->GetName(), u"an array where one element is expected");
        }
        if (kind != DataType::SOAP_STRUCT) {
            WMString text;
            WriteStandardValue(u"string", *value, text);
            Out().push_back(u'>');
            AppendEscaped(Out(), text, false);
            return;
        }
        Out().push_back(u'>');
        WMSOAPStructType& members = item ? *item : ValueBuilder::Data(*value).structValue;
        for (WMSOAPStructMember& member : ValueBuilder::Members(members)) {
            UntypedMember(member);
        }
    }

    void UntypedMember(WMSOAPStructMember& member) {
        xsd::Name const name{member.GetNS(), member.GetName()};
        if (ValueBuilder::Data(member).dataType != DataType::SOAP_ARRAY) {
            Value(name, nullptr, true, &member, nullptr);
            return;
        }
        for (WMSOAPStructType& element : member.ArrayValue()) {
            Value(name, nullptr, true, nullptr, &element);
        }
    }

    // The attributes, then the content of a complex type; the start tag is still open.
    void Complex(View element, const Type* type, WMSOAPStructType* st, WMSOAPStructMember* value) {
        if (!st && !type->simpleContent) {
            Fail(element, u"a single value where " + TypeLabel(type) + u" needs a struct");
        }
        std::vector<WMSOAPStructMember>* members = st ? &ValueBuilder::Members(*st) : nullptr;
        std::vector<bool> used(members ? members->size() : 0, false);
        for (const xsd::Attribute& attribute : type->attributes) {
            WMSOAPStructMember* found = nullptr;
            for (std::size_t i = 0; members && i < members->size(); ++i) {
                const WMString& name = (*members)[i].GetName();
                if (!used[i] && name.size() == attribute.name.local.size() + 1 &&
                    name[0] == kAttributeMark && View(name).substr(1) == attribute.name.local) {
                    used[i] = true;
                    found = &(*members)[i];
                    break;
                }
            }
            if (!found || ValueBuilder::Data(*found).dataType == DataType::SOAP_NONE) {
                if (attribute.required) {
                    Fail(element, u"missing attribute " + Quoted(attribute.name.local));
                }
                continue;
            }
            WMString const prefix =
                attribute.name.ns.empty() ? WMString() : Prefix(attribute.name.ns, {}) + u":";
            Out().push_back(u' ');
            Out().append(prefix);
            Out().append(attribute.name.local);
            Out().append(u"=\"");
            Scalar(attribute.type ? attribute.type : type, *found, attribute.name.local, true);
            Out().push_back(u'"');
        }
        if (type->simpleContent) {
            WMSOAPStructMember* content = st ? nullptr : value;
            for (std::size_t i = 0; st && i < members->size(); ++i) {
                if (!used[i] && (*members)[i].GetName() == kContentMember) {
                    used[i] = true;
                    content = &(*members)[i];
                }
            }
            Unused(element, type, members, used);
            Out().push_back(u'>');
            if (content && ValueBuilder::Data(*content).dataType != DataType::SOAP_NONE) {
                Scalar(type, *content, element, false);
            }
            return;
        }
        Out().push_back(u'>');
        Content content{*members, used, type, {}, false};
        Walk(element, type->content, content);
        Unused(element, type, members, used);
    }

    struct Content {
        std::vector<WMSOAPStructMember>& members;
        std::vector<bool>& used;
        const Type* type;
        std::set<View> declared;
        bool declaredKnown;
    };

    static void Unused(View element, const Type* type, std::vector<WMSOAPStructMember>* members,
                       const std::vector<bool>& used) {
        for (std::size_t i = 0; members && i < members->size(); ++i) {
            if (!used[i]) {
                Fail(element, Quoted((*members)[i].GetName()) + u" is no element or attribute of " +
                                  TypeLabel(type));
            }
        }
    }

    static bool Present(const Particle& particle, const Content& content) {
        if (particle.kind == Particle::Kind::kElement) {
            for (std::size_t i = 0; i < content.members.size(); ++i) {
                if (!content.used[i] &&
                    content.members[i].GetName() == particle.element->name.local) {
                    return true;
                }
            }
            return false;
        }
        return std::any_of(particle.children.begin(), particle.children.end(),
                           [&](const Particle& child) { return Present(child, content); });
    }

    void Walk(View element, const xsd::Particle& particle, Content& content) {
        switch (particle.kind) {
            case Particle::Kind::kElement:
                ElementParticle(element, particle, content);
                return;
            case Particle::Kind::kAny:
                AnyParticle(content);
                return;
            case Particle::Kind::kChoice:
                for (unsigned reps = 0; reps < particle.maxOccurs; ++reps) {
                    auto const chosen = std::find_if(
                        particle.children.begin(), particle.children.end(),
                        [&](const xsd::Particle& child) { return Present(child, content); });
                    if (chosen == particle.children.end()) {
                        if (reps < particle.minOccurs && !Nullable(particle)) {
                            Fail(element, WMString(u"none of the choice's elements is given"));
                        }
                        return;
                    }
                    Walk(element, *chosen, content);
                }
                return;
            default:
                for (unsigned reps = 0; reps < particle.maxOccurs; ++reps) {
                    if (reps >= particle.minOccurs && !Present(particle, content)) {
                        return;
                    }
                    for (const xsd::Particle& child : particle.children) {
                        Walk(element, child, content);
                    }
                    // Past minOccurs, the next round begins with the same test.
                    if (reps + 1 < particle.maxOccurs && reps + 1 < particle.minOccurs &&
                        !Present(particle, content)) {
                        return;
                    }
                }
        }
    }

    void ElementParticle(View parent, const xsd::Particle& particle, Content& content) {
        const xsd::Element& decl = *particle.element;
        bool const repeated = particle.maxOccurs > 1;
        std::size_t count = 0;
        for (std::size_t i = 0; i < content.members.size(); ++i) {
            WMSOAPStructMember& member = content.members[i];
            if (content.used[i] || member.GetName() != decl.name.local) {
                continue;
            }
            content.used[i] = true;
            if (repeated && ValueBuilder::Data(member).dataType == DataType::SOAP_ARRAY) {
                for (WMSOAPStructType& item : member.ArrayValue()) {
                    Occurrence(parent, particle, ++count);
                    Item(decl, item);
                }
            } else {
                Occurrence(parent, particle, ++count);
                Value(decl.name, decl.type, decl.nillable, &member, nullptr);
            }
            if (!repeated) {
                break;
            }
        }
        if (count < particle.minOccurs) {
            Fail(parent, u"missing element " + Quoted(decl.name.local));
        }
    }

    void Occurrence(View parent, const xsd::Particle& particle, std::size_t count) {
        std::size_t const limit =
            std::min<std::size_t>(particle.maxOccurs, writer.m_limits.maxOccurs);
        if (count > limit) {
            Fail(parent, u"more than " + Digits(limit) + u" elements " +
                             Quoted(particle.element->name.local));
        }
    }

    // An array element: the item's struct for a complex type, else the one member it holds.
    void Item(const xsd::Element& decl, WMSOAPStructType& item) {
        if (!IsAnyType(decl.type) && !IsSimple(decl.type) && !decl.type->simpleContent) {
            Value(decl.name, decl.type, decl.nillable, nullptr, &item);
            return;
        }
        std::vector<WMSOAPStructMember>& members = ValueBuilder::Members(item);
        WMSOAPStructMember none;
        Value(decl.name, decl.type, decl.nillable, members.empty() ? &none : &members.front(),
              nullptr);
    }

    // xsd:any takes every member that names no element of the type, a string as markup.
    void AnyParticle(Content& content) {
        if (!content.declaredKnown) {
            CollectNames(content.type->content, content.declared);
            content.declaredKnown = true;
        }
        for (std::size_t i = 0; i < content.members.size(); ++i) {
            WMSOAPStructMember& member = content.members[i];
            const WMString& name = member.GetName();
            if (content.used[i] || (!name.empty() && name[0] == kAttributeMark) ||
                name == kContentMember || content.declared.count(name)) {
                continue;
            }
            content.used[i] = true;
            if (ValueBuilder::Data(member).dataType == DataType::SOAP_STRING) {
                Out().append(member.StringValue());
            } else {
                UntypedMember(member);
            }
        }
    }
};

LiteralWriter::LiteralWriter(WMString& out, LiteralLimits limits) : m_out(out), m_limits(limits) {}

void LiteralWriter::InScope(View prefix, View uri) {
    m_scope.emplace_back(prefix, uri);
}

bool LiteralWriter::Write(const xsd::Element& element, WMSOAPStructMember& value, WMString& error) {
    return Write(element.name, element.type, element.nillable, value, error);
}

bool LiteralWriter::Write(const xsd::Name& name, const Type* type, bool nillable,
                          WMSOAPStructMember& value, WMString& error) {
    std::size_t const size = m_out.size();
    std::size_t const scope = m_scope.size();
    Impl impl{*this};
    try {
        impl.Value(name, type, nillable, &value, nullptr);
        return true;
    } catch (LiteralError& failure) {
        m_out.resize(size);
        m_scope.resize(scope);
        error = std::move(failure.message);
        return false;
    }
}

// ---------------------------------------------------------------- reading

namespace {

class Reading {
public:
    explicit Reading(const LiteralLimits& limits) : m_limits(limits) {}

    void Value(const XMLNode& node, const Type* type, bool nillable,
               WMSOAPStructMember& value) const {
        ValueBuilder::SetName(value, node.Local());
        ValueBuilder::SetNS(value, node.ns->uri);
        if (IsNil(node)) {
            if (!nillable) {
                Fail(node.Local(), u"xsi:nil where the element is not nillable");
            }
            if (node.firstChild || !Trim(node.text).empty()) {
                Fail(node.Local(), u"content in a nil element");
            }
            return;
        }
        if (IsAnyType(type)) {
            Untyped(node, value);
        } else if (IsSimple(type)) {
            if (node.firstChild) {
                Fail(node.Local(), u"child elements where " + TypeLabel(type) + u" is simple");
            }
            Scalar(type, node.text, node.Local(), value);
        } else if (type->kind == Type::Kind::kArray) {
            Fail(node.Local(), u"SOAP-encoded array types are not read as literal values");
        } else {
            WMSOAPStructType members;
            // Usually one member per attribute and per particle of the content.
            ValueBuilder::Reserve(members, type->attributes.size() + type->content.children.size());
            bool const attributes = Attributes(node, type, members);
            if (type->simpleContent) {
                if (node.firstChild) {
                    Fail(node.Local(),
                         u"child elements where " + TypeLabel(type) + u" has simple content");
                }
                if (!attributes) {
                    Scalar(type, node.text, node.Local(), value);
                    return;
                }
                WMSOAPStructMember content;
                Scalar(type, node.text, node.Local(), content);
                ValueBuilder::SetName(content, kContentMember);
                ValueBuilder::Append(members, std::move(content));
            } else {
                const XMLNode* cursor = node.firstChild;
                Walk(node, type->content, cursor, members);
                if (cursor) {
                    Fail(node.Local(), u"unknown element " + Quoted(cursor->Local()));
                }
            }
            ValueBuilder::SetStruct(value, std::move(members));
        }
    }

private:
    static bool IsNil(const XMLNode& node) {
        for (std::uint32_t i = 0; i < node.attrCount; ++i) {
            const XMLAttr& attr = node.attrs[i];
            if (attr.prefixed && attr.ns->uri == kXsiNS && attr.Local() == u"nil") {
                View const flag = Trim(attr.value);
                return flag == u"true" || flag == u"1";
            }
        }
        return false;
    }

    static void Scalar(const Type* type, View text, View element, WMSOAPStructMember& value) {
        View const builtin = BuiltinOf(type);
        WMString reason;
        if (!ReadStandardValue(builtin, text, value, reason)) {
            WMString what = u"\"";
            what.append(text.substr(0, 40));
            what.append(text.size() > 40 ? u"...\"" : u"\"");
            what.append(u" is not a valid ");
            what.append(builtin);
            what.append(u" (" + reason + u")");
            Fail(element, what);
        }
        CheckEnumeration(type, text, element);
    }

    void Untyped(const XMLNode& node, WMSOAPStructMember& value) const {
        if (!node.firstChild) {
            ValueBuilder::SetString(value, node.text);
            return;
        }
        WMSOAPStructType members;
        for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
            WMSOAPStructMember member;
            Value(*child, nullptr, true, member);
            ValueBuilder::Append(members, std::move(member));
        }
        ValueBuilder::SetStruct(value, std::move(members));
    }

    // The attributes as "@" members; whether the type declares any.
    static bool Attributes(const XMLNode& node, const Type* type, WMSOAPStructType& members) {
        std::vector<bool> seen(type->attributes.size(), false);
        for (std::uint32_t i = 0; i < node.attrCount; ++i) {
            const XMLAttr& attr = node.attrs[i];
            View const ns = attr.prefixed ? attr.ns->uri : View();
            if (ns == kXsiNS || ns == kEnv11NS || ns == kEnv12NS) {
                continue;
            }
            const xsd::Attribute* decl = nullptr;
            for (std::size_t a = 0; a < type->attributes.size(); ++a) {
                if (type->attributes[a].name.local == attr.Local() &&
                    type->attributes[a].name.ns == ns) {
                    decl = &type->attributes[a];
                    seen[a] = true;
                    break;
                }
            }
            if (!decl && !type->anyAttribute) {
                Fail(node.Local(), u"unknown attribute " + Quoted(attr.qname));
            }
            WMSOAPStructMember member;
            if (decl && decl->type && !IsAnyType(decl->type) && IsSimple(decl->type)) {
                Scalar(decl->type, attr.value, attr.Local(), member);
            } else {
                ValueBuilder::SetString(member, attr.value);
            }
            WMString name(1, kAttributeMark);
            name.append(attr.Local());
            member.SetName(name);
            ValueBuilder::SetNS(member, ns);
            ValueBuilder::Append(members, std::move(member));
        }
        for (std::size_t a = 0; a < seen.size(); ++a) {
            if (!seen[a] && type->attributes[a].required) {
                Fail(node.Local(), u"missing attribute " + Quoted(type->attributes[a].name.local));
            }
        }
        return !type->attributes.empty() || type->anyAttribute;
    }

    void Walk(const XMLNode& parent, const xsd::Particle& particle, const XMLNode*& cursor,
              WMSOAPStructType& members) const {
        switch (particle.kind) {
            case Particle::Kind::kElement:
                Element(parent, particle, cursor, members);
                return;
            case Particle::Kind::kAny:
                Any(parent, particle, cursor, members);
                return;
            case Particle::Kind::kAll:
                All(parent, particle, cursor, members);
                return;
            case Particle::Kind::kChoice:
                for (unsigned reps = 0; reps < particle.maxOccurs; ++reps) {
                    const XMLNode* const before = cursor;
                    auto const chosen =
                        std::find_if(particle.children.begin(), particle.children.end(),
                                     [&](const xsd::Particle& child) {
                                         return cursor && Starts(child, *cursor);
                                     });
                    if (chosen == particle.children.end()) {
                        if (reps < particle.minOccurs && !Nullable(particle)) {
                            Fail(parent.Local(),
                                 cursor ? u"unexpected element " + Quoted(cursor->Local())
                                        : WMString(u"missing content"));
                        }
                        return;
                    }
                    Walk(parent, *chosen, cursor, members);
                    if (cursor == before) {
                        return;
                    }
                }
                return;
            default:
                for (unsigned reps = 0; reps < particle.maxOccurs; ++reps) {
                    if (reps >= particle.minOccurs && !(cursor && Starts(particle, *cursor))) {
                        return;
                    }
                    const XMLNode* const before = cursor;
                    for (const xsd::Particle& child : particle.children) {
                        Walk(parent, child, cursor, members);
                    }
                    if (cursor == before) {
                        return;
                    }
                }
        }
    }

    void Element(const XMLNode& parent, const xsd::Particle& particle, const XMLNode*& cursor,
                 WMSOAPStructType& members) const {
        const xsd::Element& decl = *particle.element;
        if (particle.maxOccurs <= 1) {
            if (cursor && IsElement(*cursor, decl)) {
                WMSOAPStructMember member;
                Value(*cursor, decl.type, decl.nillable, member);
                ValueBuilder::Append(members, std::move(member));
                cursor = cursor->nextSibling;
            } else if (particle.minOccurs > 0) {
                Fail(parent.Local(), u"missing element " + Quoted(decl.name.local));
            }
            return;
        }
        std::size_t const limit = std::min<std::size_t>(particle.maxOccurs, m_limits.maxOccurs);
        bool const complex = !IsAnyType(decl.type) && !IsSimple(decl.type);
        std::vector<WMSOAPStructType> items;
        for (; cursor && IsElement(*cursor, decl); cursor = cursor->nextSibling) {
            if (items.size() == limit) {
                Fail(parent.Local(),
                     u"more than " + Digits(limit) + u" elements " + Quoted(decl.name.local));
            }
            WMSOAPStructMember member;
            Value(*cursor, decl.type, decl.nillable, member);
            WMSOAPStructType& item = items.emplace_back();
            if (complex && ValueBuilder::Data(member).dataType == DataType::SOAP_STRUCT) {
                item = std::move(ValueBuilder::Data(member).structValue);
            } else {
                ValueBuilder::Append(item, std::move(member));
            }
        }
        if (items.size() < particle.minOccurs) {
            Fail(parent.Local(), u"missing element " + Quoted(decl.name.local));
        }
        WMSOAPStructMember array;
        ValueBuilder::SetName(array, decl.name.local);
        ValueBuilder::SetNS(array, decl.name.ns);
        ValueBuilder::SetArray(array, std::move(items));
        ValueBuilder::Append(members, std::move(array));
    }

    void All(const XMLNode& parent, const xsd::Particle& particle, const XMLNode*& cursor,
             WMSOAPStructType& members) const {
        std::vector<bool> done(particle.children.size(), false);
        while (cursor) {
            std::size_t i = 0;
            while (i < done.size() && (done[i] || !Starts(particle.children[i], *cursor))) {
                ++i;
            }
            if (i == done.size()) {
                break;
            }
            done[i] = true;
            Walk(parent, particle.children[i], cursor, members);
        }
        for (std::size_t i = 0; i < done.size(); ++i) {
            if (!done[i] && particle.minOccurs > 0 && !Nullable(particle.children[i])) {
                Fail(parent.Local(), u"missing element " +
                                         Quoted(particle.children[i].element
                                                    ? View(particle.children[i].element->name.local)
                                                    : View(u"of a group")));
            }
        }
    }

    void Any(const XMLNode& parent, const xsd::Particle& particle, const XMLNode*& cursor,
             WMSOAPStructType& members) const {
        std::size_t const limit = std::min<std::size_t>(particle.maxOccurs, m_limits.maxOccurs);
        std::size_t count = 0;
        for (; cursor && count < limit; cursor = cursor->nextSibling, ++count) {
            WMSOAPStructMember member;
            ValueBuilder::SetName(member, cursor->Local());
            ValueBuilder::SetNS(member, cursor->ns->uri);
            WMString markup;
            SerializeNode(*cursor, &parent, markup);
            ValueBuilder::SetString(member, markup);
            ValueBuilder::Append(members, std::move(member));
        }
        if (count < particle.minOccurs) {
            Fail(parent.Local(), u"missing content for xsd:any");
        }
    }

    const LiteralLimits& m_limits;
};

}  // namespace

bool LiteralReader::Read(const XMLNode& node, const xsd::Element& element,
                         WMSOAPStructMember& value, WMString& error) const {
    if (!IsElement(node, element)) {
        error = u"Element '" + WMString(node.Local()) + u"': expected element " +
                Quoted(element.name.local) + u".";
        return false;
    }
    return Read(node, element.type, element.nillable, value, error);
}

bool LiteralReader::Read(const XMLNode& node, const Type* type, bool nillable,
                         WMSOAPStructMember& value, WMString& error) const {
    try {
        WMSOAPStructMember result;
        Reading(m_limits).Value(node, type, nillable, result);
        value = std::move(result);
        return true;
    } catch (LiteralError& failure) {
        error = std::move(failure.message);
        return false;
    }
}

}  // namespace corvane::detail
