#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <string_view>
#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/deserializer_text.h"
#include "soap/parse_handlers.h"
#include "soap/value_builder.h"
#include "soap/value_reader.h"
#include "text/equal.h"

using corvane::WMSOAPParamHandler;
using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

namespace corvane {

namespace {

// The built-in type table. It never changes; fifteen short names are found faster by a scan
// than by a tree.
struct BuiltInType {
    std::u16string_view name;
    BuiltInCategory category;
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

// Values one deserialization may materialize (new values plus deep copies, each counted by its
// size): this many per element of the input, plus a floor that lets small but deeply nested
// inputs through.
constexpr std::size_t kValuesPerElement = 64;
constexpr std::size_t kValueFloor = std::size_t{1} << 18;

}  // namespace

BuiltInCategory CategoryOf(std::u16string_view typeName) {
    for (BuiltInType const& type : kBuiltInTypes) {
        if (TextEquals(type.name, typeName)) {
            return type.category;
        }
    }
    return kNotBuiltIn;
}

bool ConvertBuiltIn(std::u16string_view text, std::u16string_view typeName,
                    WMSOAPStructMember& result) {
    switch (CategoryOf(typeName)) {
        case kLongCategory:
            result.SetValue(Wtol(text));
            return true;
        case kDoubleCategory:
            result.SetValue(static_cast<double>(ScanFloat(text)));
            return true;
        case kStringCategory:
            detail::ValueBuilder::SetString(result, text);
            return true;
        default:
            return false;
    }
}

void ValueReadState::Reset(std::size_t inputElements) {
    budget = kValueFloor + kValuesPerElement * inputElements;
    used = 0;
    created = 0;
    active.clear();
    referenceCycle = false;
    // The description may differ from one deserialization to the next.
    bases.clear();
    members.clear();
}

void ValueReadState::Use(WMSOAPWSDLClient const& description) {
    if (wsdl != &description) {
        bases.clear();
        members.clear();
        wsdl = &description;
    }
}

bool ValueReadState::IsArrayType(std::u16string_view typeNS, std::u16string_view typeName,
                                 WMSOAPWSDLClient& description) {
    Use(description);
    for (Base const& base : bases) {
        if (TextEquals(base.typeName, typeName) && TextEquals(base.typeNS, typeNS)) {
            return base.isArray;
        }
    }
    WMString baseName;
    WMString baseNS;
    description.GetComplexBaseType(WMString(typeName), WMString(typeNS), baseName, baseNS);
    bool const isArray = baseName == u"Array" && IsEncodingNamespace(baseNS);
    if (bases.size() < kMaxEntries) {
        bases.push_back({WMString(typeNS), WMString(typeName), isArray});
    }
    return isArray;
}

ValueReadState::MemberType const* ValueReadState::FindMemberType(
    std::u16string_view typeNS, std::u16string_view typeName, std::u16string_view name,
    std::u16string_view ns, WMSOAPWSDLClient& description, MemberType& uncached,
    Member const** entry) {
    Use(description);
    for (Member const& member : members) {
        if (TextEquals(member.name, name) && TextEquals(member.ns, ns) &&
            TextEquals(member.typeName, typeName) && TextEquals(member.typeNS, typeNS)) {
            if (entry != nullptr) {
                *entry = &member;
            }
            return &member.answer;
        }
    }
    // Member accessors are matched by name; their namespace is kept only when the description
    // agrees with it (peers qualify members by accident, through a default namespace), so that
    // the value can be written back.
    WMString const structName(typeName);
    WMString const structNS(typeNS);
    WMString const memberName(name);
    MemberType& answer = uncached;
    answer.ns.assign(ns);
    if (!description.GetStructMemberType(structName, structNS, memberName, answer.ns,
                                         answer.typeName, answer.typeNS)) {
        answer.ns.clear();
        if (!description.GetStructMemberType(structName, structNS, memberName, answer.ns,
                                             answer.typeName, answer.typeNS)) {
            return nullptr;
        }
    }
    if (members.size() >= kMaxEntries) {
        return &answer;
    }
    members.push_back({structNS, structName, memberName, WMString(ns), std::move(answer)});
    if (entry != nullptr) {
        *entry = &members.back();
    }
    return &members.back().answer;
}

}  // namespace corvane

WMSOAPDeserializer::WMSOAPDeserializer() : m_read(std::make_unique<corvane::ValueReadState>()) {
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
    return corvane::IsXSDNamespace(ns);
}

bool WMSOAPDeserializer::IsSoapEncType(WMString const& ns) {
    return corvane::IsEncodingNamespace(ns);
}

void WMSOAPDeserializer::ResetValueBudget(std::size_t inputElements) {
    m_read->Reset(inputElements);
}

bool WMSOAPDeserializer::HitReferenceCycle() const {
    return m_read->referenceCycle;
}

WMSOAPParamHandler* WMSOAPDeserializer::ResolveReference(WMSOAPParamHandler* element) {
    return corvane::HandlerReader(*this, nullptr).Resolve(element);
}

bool WMSOAPDeserializer::DeserializeBuiltInType(WMSOAPParamHandler* element,
                                                WMString const& typeName,
                                                WMSOAPStructMember& result) {
    return corvane::HandlerReader(*this, nullptr).NamedBuiltIn(element, typeName, result);
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

bool WMSOAPDeserializer::DeserializeComplexType(WMSOAPParamHandler* element,
                                                WMSOAPParamHandler* referenced, bool named,
                                                WMString typeNS, WMString typeName,
                                                WMSOAPStructMember& result, WMSOAPMessage&,
                                                WMSOAPWSDLClient& wsdl) {
    return corvane::HandlerReader(*this, &wsdl)
        .Complex(element, referenced, named, typeNS, typeName, result);
}

bool WMSOAPDeserializer::DeserializeStruct(WMString typeNS, WMString typeName,
                                           WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                           WMSOAPMessage&, WMSOAPWSDLClient& wsdl) {
    return corvane::HandlerReader(*this, &wsdl).Struct(typeNS, typeName, element, result);
}

bool WMSOAPDeserializer::DeserializeArray(WMString typeNS, WMString typeName,
                                          WMSOAPParamHandler* element, WMSOAPStructMember& result,
                                          WMSOAPMessage&, WMSOAPWSDLClient& wsdl) {
    return corvane::HandlerReader(*this, &wsdl).Array(typeNS, typeName, element, result);
}

bool WMSOAPDeserializer::DeserializeArray(WMSOAPParamHandler* element, DataType itemKind,
                                          WMString const& itemTypeNS, WMString const& itemTypeName,
                                          WMSOAPStructMember& result, WMSOAPMessage&,
                                          WMSOAPWSDLClient& wsdl) {
    return corvane::HandlerReader(*this, &wsdl)
        .Items(element, itemKind, itemTypeNS, itemTypeName, result);
}
