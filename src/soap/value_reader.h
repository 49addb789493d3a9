// The value reader: converts the elements of a SOAP body into values by the WSDL's types. It is
// written once over a `Tree` that says what an element holds, and used over two trees: the
// handler tree of the exported deserializers and the nodes of the internal envelope reader
// (src/soap/envelope_reader.cpp). Both therefore apply the same bounds (values per input
// element, nesting, reference cycles) and produce the same values for the same elements.
//
// A Tree provides, for its `Node` (a pointer):
//   Local, NS, TypeNS, TypeName, Value, ArrayType, ArrayTypeNS (u16string_view), IsNil, HasHref,
//   Children (an iterable of Node) and ChildCount, and Target (the element an href names, or
//   null).
#ifndef CORVANE_SOAP_VALUE_READER_H
#define CORVANE_SOAP_VALUE_READER_H

#include <corvane/values.h>
#include <corvane/wsdl.h>
#include <corvane/xml_parser.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"
#include "soap/standard_values.h"
#include "soap/value_builder.h"
#include "text/equal.h"

namespace corvane {

inline bool IsXSDNamespace(std::u16string_view ns) {
    return TextEquals(ns, soapuri::kXSD2001) || TextEquals(ns, soapuri::kXSD1999) ||
           TextEquals(ns, soapuri::kXSD2000);
}

inline bool IsEncodingNamespace(std::u16string_view ns) {
    return TextEquals(ns, soapuri::kEncoding);
}

// Types whose values are read from the element's text: the schema's and the SOAP encoding's
// own simple types (SOAP-ENC:string...).
inline bool IsSimpleTypeNamespace(std::u16string_view ns) {
    return IsXSDNamespace(ns) || IsEncodingNamespace(ns);
}

// The built-in type table's categories; 0 for a name outside the table.
enum BuiltInCategory { kNotBuiltIn = 0, kLongCategory = 1, kDoubleCategory = 2, kStringCategory };
BuiltInCategory CategoryOf(std::u16string_view typeName);

// Converts an element's text by its built-in type into `result`; false (leaving `result` as it
// was) for a type outside the table. The one place where a text becomes a typed value.
bool ConvertBuiltIn(std::u16string_view text, std::u16string_view typeName,
                    WMSOAPStructMember& result);

// What one deserialization remembers: the description's answers about types (the items of an
// array ask the same questions over and over) and the bounds of its work.
struct ValueReadState {
    // Answers are looked up linearly: a description has few types, and the lists are capped so
    // that an input naming thousands of distinct types cannot make the look-ups quadratic.
    static constexpr std::size_t kMaxEntries = 64;

    // The member accessor's type in a struct type, and the namespace the member keeps.
    struct MemberType {
        WMString ns;
        WMString typeName;
        WMString typeNS;
    };
    struct Base {
        WMString typeNS;
        WMString typeName;
        bool isArray;
    };
    struct Member {
        WMString typeNS;  // the struct type
        WMString typeName;
        WMString name;  // the accessor as written
        WMString ns;
        MemberType answer;
    };

    // Room for every entry at once: answers are handed out by address and must not move while
    // a nested struct adds its own.
    ValueReadState() { members.reserve(kMaxEntries); }

    // Starts a deserialization of an input of `inputElements` elements.
    void Reset(std::size_t inputElements);
    // Forgets the answers of another description.
    void Use(WMSOAPWSDLClient const& description);

    bool IsArrayType(std::u16string_view typeNS, std::u16string_view typeName,
                     WMSOAPWSDLClient& wsdl);
    // Null when the description does not define the member. The answer lives in the list of
    // answers, or in `uncached` once the list is full; `entry`, when given, is set to the entry
    // that holds it (null for an uncached one). Entries stay in place until the next Reset or
    // description.
    MemberType const* FindMemberType(std::u16string_view typeNS, std::u16string_view typeName,
                                     std::u16string_view name, std::u16string_view ns,
                                     WMSOAPWSDLClient& wsdl, MemberType& uncached,
                                     Member const** entry = nullptr);

    // Counts `count` new values against the budget; false when it is spent.
    bool Charge(std::size_t count) {
        created += count;
        return ChargeCopy(count);
    }
    // Counts a deep copy of a value of `size` values; false when the budget is spent.
    bool ChargeCopy(std::size_t size) {
        used += size;
        return used <= budget;
    }

    WMSOAPWSDLClient const* wsdl = nullptr;
    std::vector<Base> bases;
    std::vector<Member> members;
    std::size_t budget = 0;
    std::size_t used = 0;
    std::size_t created = 0;
    // Elements whose value is being read, outermost first; bounds nesting and detects cycles.
    std::vector<void const*> active;
    bool referenceCycle = false;
    // The standard wire mode's typed readings (an extension), and the side being read, whose
    // party a bad value is the fault of.
    bool standardWireMode = false;
    bool request = false;
};

template <class Tree>
class ValueReader {
public:
    using Node = typename Tree::Node;
    using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

    // `wsdl` may be null for Resolve and the built-in readings, which do not ask it.
    ValueReader(Tree tree, ValueReadState& state, WMSOAPWSDLClient* wsdl)
        : m_tree(tree), m_state(state), m_wsdl(wsdl) {}

    ValueReadState& State() { return m_state; }

    // The href of `element` resolved, or null when it names no element or one whose value is
    // being read right now (a reference cycle).
    Node Resolve(Node element) {
        Node target = m_tree.Target(element);
        auto const& active = m_state.active;
        if (target == element || std::find(active.begin(), active.end(),
                                           static_cast<void const*>(target)) != active.end()) {
            m_state.referenceCycle = true;
            return nullptr;
        }
        return target;
    }

    // The element itself, or the element its href names; null on a bad reference.
    Node Content(Node element) { return Tree::HasHref(element) ? Resolve(element) : element; }

    // `converted` tells whether the type is in the built-in table (and the element not nil).
    bool BuiltIn(Node element, std::u16string_view typeName, WMSOAPStructMember& result,
                 bool& converted) {
        if (!m_state.Charge(1)) {
            return false;
        }
        if (m_state.standardWireMode) {
            // A nil stays without a value, so that it is written back as nil.
            WMString reason;
            if (!Tree::IsNil(element) &&
                !detail::ReadStandardValue(typeName, Tree::Value(element), result, reason)) {
                // A bad value in a request is the client's fault, in a response the server's.
                detail::ThrowBadValue(typeName, Tree::Value(element), Tree::Local(element),
                                      m_state.request ? u"SOAP-ENV:Client" : u"SOAP-ENV:Server",
                                      reason);
            }
            converted = true;
            return true;
        }
        if (Tree::IsNil(element)) {
            result.SetValue(WMString());
            return true;
        }
        converted = ConvertBuiltIn(Tree::Value(element), typeName, result);
        return true;
    }

    // A built-in value named after its element, with the namespace of its xsi:type.
    bool NamedBuiltIn(Node element, std::u16string_view typeName, WMSOAPStructMember& result) {
        bool converted = false;
        if (!BuiltIn(element, typeName, result, converted)) {
            return false;
        }
        if (converted) {
            detail::ValueBuilder::SetName(result, Tree::Local(element));
            detail::ValueBuilder::SetNS(result, Tree::TypeNS(element));
        }
        return true;
    }

    // `referenced`, when not null, is the element an href of `element` resolved to: it holds
    // the content. With `named`, the result takes the local name and xsi:type namespace of
    // `element`.
    bool Complex(Node element, Node referenced, bool named, std::u16string_view typeNS,
                 std::u16string_view typeName, WMSOAPStructMember& result) {
        return Complex(element, referenced, named, typeNS, typeName,
                       m_state.IsArrayType(typeNS, typeName, *m_wsdl), nullptr, result);
    }

    bool Struct(std::u16string_view typeNS, std::u16string_view typeName, Node element,
                WMSOAPStructMember& result) {
        return Struct(typeNS, typeName, element, nullptr, result);
    }

    bool Array(std::u16string_view typeNS, std::u16string_view typeName, Node element,
               WMSOAPStructMember& result) {
        WMString itemName;
        WMString itemNS;
        if (!m_wsdl->GetArrayType(WMString(typeName), WMString(typeNS), itemName, itemNS)) {
            return false;
        }
        if (Tree::IsNil(element)) {
            if (!m_state.Charge(1)) {
                return false;
            }
            result.SetValue(std::vector<WMSOAPStructType>());
            return true;
        }
        bool const anyItems = IsAnyType(itemName) && IsSimpleTypeNamespace(itemNS);
        std::u16string_view const arrayType = Tree::ArrayType(element);
        // An arrayType names its item type with a dimension suffix ("string[3]", "int[][2]").
        std::u16string_view const declared = arrayType.substr(0, arrayType.find(u'['));
        // An arrayType that names another item type than the description is refused rather
        // than guessed at; a generic one (anyType, ur-type) or none defers to the description.
        // The three schema namespaces count as one.
        if (!anyItems && !declared.empty() && !IsAnyType(declared)) {
            std::u16string_view const declaredNS = Tree::ArrayTypeNS(element);
            bool const sameNS = TextEquals(declaredNS, itemNS) ||
                                (IsXSDNamespace(declaredNS) && IsXSDNamespace(itemNS));
            if (!TextEquals(declared, itemName) || !sameNS) {
                return false;
            }
        }
        DataType kind = DataType::SOAP_NONE;
        if (!anyItems && !IsSimpleTypeNamespace(itemNS)) {
            kind = m_state.IsArrayType(itemNS, itemName, *m_wsdl) ? DataType::SOAP_ARRAY
                                                                  : DataType::SOAP_STRUCT;
        }
        return Items(element, kind, itemNS, itemName, result);
    }

    bool Items(Node element, DataType itemKind, std::u16string_view itemTypeNS,
               std::u16string_view itemTypeName, WMSOAPStructMember& result) {
        if (!m_state.Charge(1)) {
            return false;
        }
        std::vector<WMSOAPStructType> items;
        items.reserve(Tree::ChildCount(element));
        // Offsets and the dimensions of arrayType are not used, deliberately: items fill the
        // array from its start in document order, each item a row of its own. The standard wire
        // mode keeps the shape of a two-dimensional array whose arrayType sizes exactly its
        // items: one struct per row, the form its writer sizes as "[rows,columns]" again.
        std::size_t const columns = m_state.standardWireMode ? RowLength(Tree::ArrayType(element),
                                                                         Tree::ChildCount(element))
                                                             : 0;
        std::size_t index = 0;
        MemberMemo memo;
        for (Node child : Tree::Children(element)) {
            Node item = Content(child);
            if (item == nullptr) {
                return false;
            }
            std::size_t const before = m_state.created;
            if (columns == 0 || index++ % columns == 0) {
                items.emplace_back();
            }
            // Read in place; a failure drops the whole array.
            WMSOAPStructMember& value = detail::ValueBuilder::AppendNew(items.back());
            if (!Item(child, item, itemKind, itemTypeNS, itemTypeName, memo, value) ||
                !m_state.Charge(1) || !m_state.ChargeCopy(m_state.created - before)) {
                return false;
            }
        }
        detail::ValueBuilder::SetArray(result, std::move(items));
        return true;
    }

private:
    // The row length of an arrayType sized "[rows,columns]" for exactly `items` items; 0 for
    // any other arrayType.
    static std::size_t RowLength(std::u16string_view arrayType, std::size_t items) {
        std::size_t const open = arrayType.find(u'[');
        if (open == std::u16string_view::npos || arrayType.back() != u']') {
            return 0;
        }
        std::size_t sizes[2] = {0, 0};
        int dim = 0;
        for (char16_t c : arrayType.substr(open + 1, arrayType.size() - open - 2)) {
            if (c == u',' && dim == 0) {
                dim = 1;
            } else if (c >= u'0' && c <= u'9' && sizes[dim] <= items) {
                sizes[dim] = sizes[dim] * 10 + static_cast<std::size_t>(c - u'0');
            } else {
                return 0;
            }
        }
        bool const exact = dim == 1 && sizes[0] != 0 && sizes[1] != 0 && items % sizes[0] == 0 &&
                           items / sizes[0] == sizes[1];
        return exact ? sizes[1] : 0;
    }

    // The items of an array are structs of one type whose members come in the same order:
    // `memo` holds, by position, the entries that answered for the item before, which are
    // tried first.
    using MemberMemo = std::vector<ValueReadState::Member const*>;

    bool Complex(Node element, Node referenced, bool named, std::u16string_view typeNS,
                 std::u16string_view typeName, bool isArray, MemberMemo* memo,
                 WMSOAPStructMember& result) {
        Node content = referenced != nullptr ? referenced : element;
        // References can nest values deeper than the document; hold them to the parser's limit.
        if (m_state.active.size() >= static_cast<std::size_t>(WMXMLParser::kMaxNestingDepth)) {
            return false;
        }
        m_state.active.push_back(content);
        bool const ok = isArray ? Array(typeNS, typeName, content, result)
                                : Struct(typeNS, typeName, content, memo, result);
        m_state.active.pop_back();
        if (ok && named) {
            detail::ValueBuilder::SetName(result, Tree::Local(element));
            detail::ValueBuilder::SetNS(result, Tree::TypeNS(element));
        }
        return ok;
    }

    bool Struct(std::u16string_view typeNS, std::u16string_view typeName, Node element,
                MemberMemo* memo, WMSOAPStructMember& result) {
        if (!m_state.Charge(1)) {
            return false;
        }
        std::size_t const createdBefore = m_state.created;
        WMSOAPStructType members;
        detail::ValueBuilder::Reserve(members, Tree::ChildCount(element));
        std::size_t position = 0;
        // Holds a member's answer when the list is full, until the next member's.
        ValueReadState::MemberType uncached;
        for (Node child : Tree::Children(element)) {
            ValueReadState::MemberType const* memberType = nullptr;
            std::u16string_view const name = Tree::Local(child);
            std::u16string_view const ns = Tree::NS(child);
            if (memo != nullptr && position < memo->size() && (*memo)[position] != nullptr &&
                TextEquals((*memo)[position]->name, name) &&
                TextEquals((*memo)[position]->ns, ns)) {
                memberType = &(*memo)[position]->answer;
            } else {
                ValueReadState::Member const* entry = nullptr;
                memberType =
                    m_state.FindMemberType(typeNS, typeName, name, ns, *m_wsdl, uncached, &entry);
                if (memo != nullptr) {
                    if (position >= memo->size()) {
                        memo->resize(position + 1);
                    }
                    (*memo)[position] = entry;
                }
            }
            ++position;
            if (memberType == nullptr) {
                return false;
            }
            Node content = Content(child);
            if (content == nullptr) {
                return false;
            }
            std::size_t const before = m_state.created;
            // Read in place; a failure drops the whole struct.
            WMSOAPStructMember& value = detail::ValueBuilder::AppendNew(members);
            // The member is named by its accessor below, whatever its content says.
            bool converted = false;
            bool const ok = IsSimpleTypeNamespace(memberType->typeNS)
                                ? BuiltIn(content, memberType->typeName, value, converted)
                                : Complex(child, content == child ? nullptr : content, false,
                                          memberType->typeNS, memberType->typeName, value);
            if (!ok || !m_state.ChargeCopy(m_state.created - before)) {
                return false;
            }
            detail::ValueBuilder::SetName(value, name);
            detail::ValueBuilder::SetNS(value, memberType->ns);
        }
        if (!m_state.ChargeCopy(m_state.created - createdBefore)) {
            return false;
        }
        detail::ValueBuilder::SetStruct(result, std::move(members));
        return true;
    }

    static bool IsAnyType(std::u16string_view name) {
        return name == u"anyType" || name == u"ur-type";
    }

    bool Item(Node child, Node item, DataType itemKind, std::u16string_view itemTypeNS,
              std::u16string_view itemTypeName, MemberMemo& memo, WMSOAPStructMember& value) {
        // A complex item reached through an href is named after the referring item element.
        Node const referenced = item == child ? nullptr : item;
        if (itemKind == DataType::SOAP_STRUCT || itemKind == DataType::SOAP_ARRAY) {
            return Complex(child, referenced, true, itemTypeNS, itemTypeName,
                           itemKind == DataType::SOAP_ARRAY, &memo, value);
        }
        if (!IsAnyType(itemTypeName)) {
            return NamedBuiltIn(item, itemTypeName, value);
        }
        // Items of a generic array are read by their own xsi:type; an untyped item is taken as
        // its text, which loses nothing.
        std::u16string_view const ownNS = Tree::TypeNS(item);
        std::u16string_view const ownName = Tree::TypeName(item);
        if (ownName.empty()) {
            if (!m_state.Charge(1)) {
                return false;
            }
            detail::ValueBuilder::SetString(value, Tree::Value(item));
            detail::ValueBuilder::SetName(value, Tree::Local(item));
            return true;
        }
        if (IsSimpleTypeNamespace(ownNS)) {
            return NamedBuiltIn(item, ownName, value);
        }
        return Complex(child, referenced, true, ownNS, ownName, value);
    }

    Tree m_tree;
    ValueReadState& m_state;
    WMSOAPWSDLClient* m_wsdl;
};

}  // namespace corvane

#endif
