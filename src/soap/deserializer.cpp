#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>
#include <corvane/xml_parser.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"
#include "soap/standard_values.h"
#include "soap/value_builder.h"
#include "text/equal.h"

using corvane::WMSOAPParamHandler;
using corvane::detail::ValueBuilder;
using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

namespace {

enum Category { kLongCategory = 1, kDoubleCategory = 2, kStringCategory = 3 };

// The built-in type table. It never changes; fifteen short names are found faster by a scan
// than by a tree.
struct BuiltInType {
    std::u16string_view name;
    Category category;
};
constexpr BuiltInType kBuiltInTypes[] = {
    {u"string", kStringCategory},     {u"int", kLongCategory},
    {u"float", kDoubleCategory},      {u"double", kDoubleCategory},
    {u"boolean", kLongCategory},      {u"long", kLongCategory},
    {u"short", kLongCategory},        {u"byte", kLongCategory},
    {u"integer", kLongCategory},      {u"decimal", kDoubleCategory},
    {u"unsignedByte", kLongCategory}, {u"unsignedShort", kLongCategory},
    {u"unsignedInt", kLongCategory},  {u"unsignedLong", kLongCategory},
    {u"hexBinary", kStringCategory},
};

// The category of a built-in type name, or 0 for a name outside the table.
int BuiltInCategory(std::u16string_view name) {
    for (BuiltInType const& type : kBuiltInTypes) {
        if (corvane::TextEquals(type.name, name)) {
            return type.category;
        }
    }
    return 0;
}

// Values one deserialization may materialize (new values plus deep copies, each counted by its
// size): this many per element of the input, plus a floor that lets small but deeply nested
// inputs through.
constexpr std::size_t kValuesPerElement = 64;
constexpr std::size_t kValueFloor = std::size_t{1} << 18;

bool IsAnyType(WMString const& name) {
    return name == u"anyType" || name == u"ur-type";
}

// An arrayType names its item type with a dimension suffix ("string[3]", "int[][2]").
WMString ItemTypeOf(WMString const& arrayType) {
    return arrayType.substr(0, arrayType.find(u'['));
}

}  // namespace

namespace corvane {

// Answers are looked up linearly: a description has few types, and the lists are capped so
// that an input naming thousands of distinct types cannot make the look-ups quadratic.
struct TypeAnswers {
    static constexpr std::size_t kMaxEntries = 64;

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
        WMSOAPDeserializer::MemberType answer;
    };

    // Room for every entry at once: answers are handed out by address and must not move while
    // a nested struct adds its own.
    TypeAnswers() { members.reserve(kMaxEntries); }

    void Clear() {
        bases.clear();
        members.clear();
    }

    // Forgets the answers of another description.
    void Use(WMSOAPWSDLClient const& description) {
        if (wsdl != &description) {
            Clear();
            wsdl = &description;
        }
    }

    WMSOAPWSDLClient const* wsdl = nullptr;

    std::vector<Base> bases;
    std::vector<Member> members;
};

}  // namespace corvane

WMSOAPDeserializer::WMSOAPDeserializer() : m_answers(std::make_unique<corvane::TypeAnswers>()) {
    ResetValueBudget(0);
}

WMSOAPDeserializer::WMSOAPDeserializer(WMSOAPDeserializer const&) : WMSOAPDeserializer() {}

WMSOAPDeserializer& WMSOAPDeserializer::operator=(WMSOAPDeserializer const&) {
    return *this;
}

WMSOAPDeserializer::~WMSOAPDeserializer() = default;

WMSOAPParamHandler* WMSOAPDeserializer::GetMultiRefElem(WMSOAPParamHandler*) {
    return nullptr;
}

bool WMSOAPDeserializer::IsXSDType(WMString const& ns) {
    return corvane::TextEquals(ns, corvane::soapuri::kXSD2001) ||
           corvane::TextEquals(ns, corvane::soapuri::kXSD1999) ||
           corvane::TextEquals(ns, corvane::soapuri::kXSD2000);
}

bool WMSOAPDeserializer::IsSoapEncType(WMString const& ns) {
    return corvane::TextEquals(ns, corvane::soapuri::kEncoding);
}

void WMSOAPDeserializer::ResetValueBudget(std::size_t inputElements) {
    m_budget = kValueFloor + kValuesPerElement * inputElements;
    m_used = 0;
    m_created = 0;
    m_active.clear();
    m_referenceCycle = false;
    // The description may differ from one deserialization to the next.
    m_answers->Clear();
}

bool WMSOAPDeserializer::IsArrayType(WMString const& typeNS, WMString const& typeName,
                                     WMSOAPWSDLClient& wsdl) {
    m_answers->Use(wsdl);
    for (auto const& base : m_answers->bases) {
        if (corvane::TextEquals(base.typeName, typeName) &&
            corvane::TextEquals(base.typeNS, typeNS)) {
            return base.isArray;
        }
    }
    WMString baseName;
    WMString baseNS;
    wsdl.GetComplexBaseType(typeName, typeNS, baseName, baseNS);
    bool const isArray = baseName == u"Array" && IsSoapEncType(baseNS);
    if (m_answers->bases.size() < corvane::TypeAnswers::kMaxEntries) {
        m_answers->bases.push_back({typeNS, typeName, isArray});
    }
    return isArray;
}

WMSOAPDeserializer::MemberType const* WMSOAPDeserializer::FindMemberType(WMString const& typeNS,
                                                                         WMString const& typeName,
                                                                         WMSOAPParamHandler* child,
                                                                         WMSOAPWSDLClient& wsdl,
                                                                         MemberType& uncached) {
    m_answers->Use(wsdl);
    WMString const& name = child->GetLocalName();
    WMString const& ns = child->GetNS();
    for (auto const& member : m_answers->members) {
        if (corvane::TextEquals(member.name, name) && corvane::TextEquals(member.ns, ns) &&
            corvane::TextEquals(member.typeName, typeName) &&
            corvane::TextEquals(member.typeNS, typeNS)) {
            return &member.answer;
        }
    }
    // Member accessors are matched by name; their namespace is kept only when the description
    // agrees with it (peers qualify members by accident, through a default namespace), so that
    // the value can be written back.
    MemberType& answer = uncached;
    answer.ns = ns;
    if (!wsdl.GetStructMemberType(typeName, typeNS, name, answer.ns, answer.typeName,
                                  answer.typeNS)) {
        answer.ns.clear();
        if (!wsdl.GetStructMemberType(typeName, typeNS, name, answer.ns, answer.typeName,
                                      answer.typeNS)) {
            return nullptr;
        }
    }
    auto& members = m_answers->members;
    if (members.size() >= corvane::TypeAnswers::kMaxEntries) {
        return &answer;
    }
    members.push_back({typeNS, typeName, name, ns, std::move(answer)});
    return &members.back().answer;
}

bool WMSOAPDeserializer::Charge(std::size_t count) {
    m_created += count;
    return ChargeCopy(count);
}

bool WMSOAPDeserializer::ChargeCopy(std::size_t size) {
    m_used += size;
    return m_used <= m_budget;
}

bool WMSOAPDeserializer::Enter(WMSOAPParamHandler* element) {
    // References can nest values deeper than the document; hold them to the parser's limit.
    if (m_active.size() >= static_cast<std::size_t>(WMXMLParser::kMaxNestingDepth)) {
        return false;
    }
    m_active.push_back(element);
    return true;
}

void WMSOAPDeserializer::Leave() {
    m_active.pop_back();
}

WMSOAPParamHandler* WMSOAPDeserializer::ResolveReference(WMSOAPParamHandler* element) {
    WMSOAPParamHandler* target = GetMultiRefElem(element);
    if (target == element ||
        std::find(m_active.begin(), m_active.end(), target) != m_active.end()) {
        m_referenceCycle = true;
        return nullptr;
    }
    return target;
}

bool WMSOAPDeserializer::DeserializeBuiltInType(WMSOAPParamHandler* element,
                                                WMString const& typeName,
                                                WMSOAPStructMember& result) {
    bool converted = false;
    if (!ReadBuiltInValue(element, typeName, result, converted)) {
        return false;
    }
    if (converted) {
        result.SetName(element->GetLocalName());
        result.SetNS(element->GetTypeNS());
    }
    return true;
}

bool WMSOAPDeserializer::ReadBuiltInValue(WMSOAPParamHandler* element, WMString const& typeName,
                                          WMSOAPStructMember& result, bool& converted) {
    if (!Charge(1)) {
        return false;
    }
    if (m_standardWireMode) {
        // A nil stays without a value, so that it is written back as nil.
        WMString reason;
        if (!element->IsNil() &&
            !corvane::detail::ReadStandardValue(typeName, element->GetValue(), result, reason)) {
            // A bad value in a request is the client's fault, in a response the server's.
            bool const request = dynamic_cast<WMSOAPReqDeserializer*>(this) != nullptr;
            corvane::detail::ThrowBadValue(typeName, element->GetValue(), element->GetLocalName(),
                                           request ? u"SOAP-ENV:Client" : u"SOAP-ENV:Server",
                                           reason);
        }
        converted = true;
        return true;
    }
    if (element->IsNil()) {
        result.SetValue(WMString());
        return true;
    }
    switch (BuiltInCategory(typeName)) {
        case kLongCategory:
            result.SetValue(corvane::Wtol(element->GetValue()));
            break;
        case kDoubleCategory:
            result.SetValue(static_cast<double>(corvane::ScanFloat(element->GetValue())));
            break;
        case kStringCategory:
            result.SetValue(element->GetValue());
            break;
        default:
            return true;
    }
    converted = true;
    return true;
}

bool WMSOAPDeserializer::DeserializeDate(WMSOAPParamHandler* element, double* result) {
    auto const date = corvane::DateFromText(std::u16string_view(element->GetValue()).substr(0, 10));
    if (!date) {
        return false;
    }
    *result = *date;
    return true;
}

namespace {

// The zone of a time text: 0 for "Z" or no zone (read as UTC), +1 or -1 with the offset.
bool ReadZone(std::u16string_view text, int& sign, double& offset) {
    sign = 0;
    offset = 0.0;
    if (text.find(u'Z') != std::u16string_view::npos) {
        return true;
    }
    auto position = text.find(u'+');
    sign = 1;
    if (position == std::u16string_view::npos) {
        position = text.find(u'-');
        sign = -1;
    }
    if (position == std::u16string_view::npos) {
        sign = 0;
        return true;
    }
    WMString hoursMinutes(text.substr(position + 1, 5));
    hoursMinutes += u":00";
    auto const value = corvane::TimeFromText(hoursMinutes);
    if (!value) {
        return false;
    }
    offset = *value;
    return true;
}

}  // namespace

bool WMSOAPDeserializer::DeserializeTime(WMSOAPParamHandler* element, double* result) {
    std::u16string_view const text(element->GetValue());
    auto const time = corvane::TimeFromText(text.substr(0, 8));
    int sign = 0;
    double offset = 0.0;
    if (!time || !ReadZone(text, sign, offset)) {
        return false;
    }
    double t = *time;
    // The asymmetry of the two branches is deliberate: "+" yields values up to 2.
    if (sign > 0) {
        t -= offset;
        if (t < 1.0) {
            t += 1.0;
        }
    } else if (sign < 0) {
        t += offset;
        if (t > 1.0) {
            t -= 1.0;
        }
    }
    *result = t;
    return true;
}

bool WMSOAPDeserializer::DeserializeDateTime(WMSOAPParamHandler* element, double* result) {
    std::u16string_view const text(element->GetValue());
    auto const separator = text.find(u'T');
    if (separator == std::u16string_view::npos) {
        return false;
    }
    auto const date = corvane::DateFromText(text.substr(0, separator));
    std::u16string_view const timeText = text.substr(separator + 1);
    auto const time = corvane::TimeFromText(timeText.substr(0, 8));
    int sign = 0;
    double offset = 0.0;
    // The zone is looked for after the "T" only: the date's own hyphens are no sign.
    if (!date || !time || !ReadZone(timeText, sign, offset)) {
        return false;
    }
    double d = *date;
    double t = *time;
    if (sign > 0) {
        t -= offset;
        if (t < 1.0) {
            d -= 1.0;
            t += 1.0;
        }
    } else if (sign < 0) {
        t += offset;
        if (t > 1.0) {
            d += 1.0;
            t -= 1.0;
        }
    }
    *result = d + t;
    return true;
}

// The exported forms take the type's name by value; the reading itself passes references, so
// that the items of a large array do not copy their type's name four times each.
bool WMSOAPDeserializer::DeserializeComplexType(WMSOAPParamHandler* element,
                                                WMSOAPParamHandler* referenced, bool named,
                                                WMString typeNS, WMString typeName,
                                                WMSOAPStructMember& result, WMSOAPMessage& message,
                                                WMSOAPWSDLClient& wsdl) {
    return ReadComplex(element, referenced, named, typeNS, typeName, result, message, wsdl);
}

bool WMSOAPDeserializer::DeserializeStruct(WMString typeNS, WMString typeName,
                                           WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                           WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    return ReadStruct(typeNS, typeName, element, result, message, wsdl);
}

bool WMSOAPDeserializer::DeserializeArray(WMString typeNS, WMString typeName,
                                          WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                          WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    return ReadArray(typeNS, typeName, element, result, message, wsdl);
}

bool WMSOAPDeserializer::ReadComplex(WMSOAPParamHandler* element, WMSOAPParamHandler* referenced,
                                     bool named, WMString const& typeNS, WMString const& typeName,
                                     WMSOAPStructMember& result, WMSOAPMessage& message,
                                     WMSOAPWSDLClient& wsdl) {
    WMSOAPParamHandler* content = referenced != nullptr ? referenced : element;
    if (!Enter(content)) {
        return false;
    }
    bool const ok = IsArrayType(typeNS, typeName, wsdl)
                        ? ReadArray(typeNS, typeName, content, result, message, wsdl)
                        : ReadStruct(typeNS, typeName, content, result, message, wsdl);
    Leave();
    if (ok && named) {
        result.SetName(element->GetLocalName());
        result.SetNS(element->GetTypeNS());
    }
    return ok;
}

bool WMSOAPDeserializer::ReadStruct(WMString const& typeNS, WMString const& typeName,
                                    WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                    WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    if (!Charge(1)) {
        return false;
    }
    std::size_t const createdBefore = m_created;
    WMSOAPStructType members;
    ValueBuilder::Reserve(members, element->GetChildren().size());
    for (WMSOAPParamHandler* child : element->GetChildren()) {
        MemberType uncached;  // holds the answer when the list of answers is full
        MemberType const* memberType = FindMemberType(typeNS, typeName, child, wsdl, uncached);
        if (memberType == nullptr) {
            return false;
        }
        WMSOAPParamHandler* content = child;
        if (!child->GetHref().empty()) {
            content = ResolveReference(child);
            if (content == nullptr) {
                return false;
            }
        }
        std::size_t const before = m_created;
        WMSOAPStructMember value;
        // The member is named by its accessor below, whatever its content says.
        bool converted = false;
        bool const ok =
            IsXSDType(memberType->typeNS) || IsSoapEncType(memberType->typeNS)
                ? ReadBuiltInValue(content, memberType->typeName, value, converted)
                : ReadComplex(child, content == child ? nullptr : content, false,
                              memberType->typeNS, memberType->typeName, value, message, wsdl);
        if (!ok || !ChargeCopy(m_created - before)) {
            return false;
        }
        value.SetName(child->GetLocalName());
        value.SetNS(memberType->ns);
        ValueBuilder::Append(members, std::move(value));
    }
    if (!ChargeCopy(m_created - createdBefore)) {
        return false;
    }
    ValueBuilder::SetStruct(result, std::move(members));
    return true;
}

bool WMSOAPDeserializer::ReadArray(WMString const& typeNS, WMString const& typeName,
                                   WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                   WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    WMString itemName;
    WMString itemNS;
    if (!wsdl.GetArrayType(typeName, typeNS, itemName, itemNS)) {
        return false;
    }
    if (element->IsNil()) {
        if (!Charge(1)) {
            return false;
        }
        result.SetValue(std::vector<WMSOAPStructType>());
        return true;
    }
    bool const anyItems = IsAnyType(itemName) && (IsXSDType(itemNS) || IsSoapEncType(itemNS));
    WMString const declared = ItemTypeOf(element->GetArrayType());
    // An arrayType that names another item type than the description is refused rather than
    // guessed at; a generic one (anyType, ur-type) or none defers to the description. The
    // three schema namespaces count as one.
    if (!anyItems && !declared.empty() && !IsAnyType(declared)) {
        bool const sameNS = element->GetArrayTypeNS() == itemNS ||
                            (IsXSDType(element->GetArrayTypeNS()) && IsXSDType(itemNS));
        if (declared != itemName || !sameNS) {
            return false;
        }
    }
    DataType kind = DataType::SOAP_NONE;
    if (!anyItems && !IsXSDType(itemNS) && !IsSoapEncType(itemNS)) {
        kind = IsArrayType(itemNS, itemName, wsdl) ? DataType::SOAP_ARRAY : DataType::SOAP_STRUCT;
    }
    return DeserializeArray(element, kind, itemNS, itemName, result, message, wsdl);
}

bool WMSOAPDeserializer::ReadItem(WMSOAPParamHandler* child, WMSOAPParamHandler* item,
                                  DataType itemKind, WMString const& itemTypeNS,
                                  WMString const& itemTypeName, WMSOAPStructMember& value,
                                  WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    // A complex item reached through an href is named after the referring item element.
    WMSOAPParamHandler* const referenced = item == child ? nullptr : item;
    if (itemKind == DataType::SOAP_STRUCT || itemKind == DataType::SOAP_ARRAY) {
        return ReadComplex(child, referenced, true, itemTypeNS, itemTypeName, value, message, wsdl);
    }
    if (!IsAnyType(itemTypeName)) {
        return DeserializeBuiltInType(item, itemTypeName, value);
    }
    // Items of a generic array are read by their own xsi:type; an untyped item is taken as its
    // text, which loses nothing.
    WMString const& ownNS = item->GetTypeNS();
    WMString const& ownName = item->GetTypeName();
    if (ownName.empty()) {
        if (!Charge(1)) {
            return false;
        }
        value.SetValue(item->GetValue());
        value.SetName(item->GetLocalName());
        return true;
    }
    if (IsXSDType(ownNS) || IsSoapEncType(ownNS)) {
        return DeserializeBuiltInType(item, ownName, value);
    }
    return ReadComplex(child, referenced, true, ownNS, ownName, value, message, wsdl);
}

bool WMSOAPDeserializer::DeserializeArray(WMSOAPParamHandler* element, DataType itemKind,
                                          WMString const& itemTypeNS, WMString const& itemTypeName,
                                          WMSOAPStructMember& result, WMSOAPMessage& message,
                                          WMSOAPWSDLClient& wsdl) {
    if (!Charge(1)) {
        return false;
    }
    std::vector<WMSOAPStructType> items;
    items.reserve(element->GetChildren().size());
    // Offsets and the dimensions of arrayType are not used, deliberately: items fill the array
    // from its start in document order.
    for (WMSOAPParamHandler* child : element->GetChildren()) {
        WMSOAPParamHandler* item = child;
        if (!child->GetHref().empty()) {
            item = ResolveReference(child);
            if (item == nullptr) {
                return false;
            }
        }
        std::size_t const before = m_created;
        WMSOAPStructMember value;
        if (!ReadItem(child, item, itemKind, itemTypeNS, itemTypeName, value, message, wsdl) ||
            !Charge(1) || !ChargeCopy(m_created - before)) {
            return false;
        }
        items.emplace_back();
        ValueBuilder::Append(items.back(), std::move(value));
    }
    ValueBuilder::SetArray(result, std::move(items));
    return true;
}
