// Document/literal and rpc/literal operations for `corvane call --doclit` and `corvane envelope
// --doclit`: values converted by the WSDL's schema rather than by the JSON's own types.
#include "literal_tools.h"

#include "client/literal_fetch.h"
#include "soap/literal_envelope.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace corvane::tool {

namespace {

namespace detail = corvane::detail;

int Fail(std::string const& reason) {
    std::cerr << "corvane envelope: " << reason << "\n";
    return 1;
}

// PART=JSON pairs, as names and values.
bool ReadValues(std::vector<std::string> const& texts, std::vector<WMString>& names,
                std::vector<WMSOAPStructMember>& values, std::string& error) {
    for (std::string const& text : texts) {
        if (!ReadLiteralValue(text, names.emplace_back(), values.emplace_back(), error)) {
            return false;
        }
    }
    return true;
}

// A value the schema accepts for each built-in type, for --sample.
WMString SampleText(std::u16string_view builtin) {
    static std::map<std::u16string_view, const char16_t*> const texts{
        {u"boolean", u"true"},         {u"negativeInteger", u"-1"},
        {u"nonPositiveInteger", u"0"}, {u"dateTime", u"2000-01-01T00:00:00Z"},
        {u"date", u"2000-01-01"},      {u"time", u"00:00:00Z"},
        {u"duration", u"P1D"},         {u"gYear", u"2000"},
        {u"gYearMonth", u"2000-01"},   {u"gMonth", u"--01"},
        {u"gDay", u"---01"},           {u"gMonthDay", u"--01-01"},
        {u"base64Binary", u""},        {u"hexBinary", u""},
        {u"anyURI", u"urn:sample"},    {u"language", u"en"},
    };
    static std::set<std::u16string_view> const numbers{u"int",
                                                       u"long",
                                                       u"short",
                                                       u"byte",
                                                       u"integer",
                                                       u"decimal",
                                                       u"float",
                                                       u"double",
                                                       u"unsignedInt",
                                                       u"unsignedLong",
                                                       u"unsignedShort",
                                                       u"unsignedByte",
                                                       u"nonNegativeInteger",
                                                       u"positiveInteger"};
    auto const found = texts.find(builtin);
    if (found != texts.end()) {
        return found->second;
    }
    return numbers.count(builtin) ? u"1" : u"x";
}

void Sample(const detail::xsd::Type* type, WMString const& name, WMSOAPStructMember& value,
            int depth);

void SampleParticle(const detail::xsd::Particle& particle, WMSOAPStructType& members, int depth) {
    using Kind = detail::xsd::Particle::Kind;
    if (particle.minOccurs == 0) {
        return;
    }
    if (particle.kind == Kind::kElement) {
        const detail::xsd::Element& element = *particle.element;
        WMSOAPStructMember member;
        Sample(element.type, element.name.local, member, depth + 1);
        if (particle.maxOccurs > 1) {
            std::vector<WMSOAPStructType> items(particle.minOccurs);
            for (WMSOAPStructType& item : items) {
                if (member.GetDataType() == WMSOAPStructMember::SOAPDataMember::SOAP_STRUCT) {
                    item = member.StructValue();
                } else {
                    item.SetMember(member);
                }
            }
            member.SetValue(items);
        }
        members.SetMember(member);
    } else if (particle.kind == Kind::kChoice) {
        if (!particle.children.empty()) {
            SampleParticle(particle.children.front(), members, depth);
        }
    } else {
        for (const detail::xsd::Particle& child : particle.children) {
            SampleParticle(child, members, depth);
        }
    }
}

// The smallest value `type` accepts: required elements and attributes only, the first branch
// of a choice. Recursion stops at a depth no sensible message reaches.
void Sample(const detail::xsd::Type* type, WMString const& name, WMSOAPStructMember& value,
            int depth) {
    using Kind = detail::xsd::Type::Kind;
    value.SetName(name);
    if (!type || depth > 32 || type->kind == Kind::kArray) {
        value.SetValue(WMString(u"x"));
        return;
    }
    if (type->kind != Kind::kComplex) {
        value.SetValue(!type->enumeration.empty() ? type->enumeration.front()
                       : type->kind == Kind::kBuiltin
                           ? SampleText(type->name.local)
                           : SampleText(type->builtin
                                            ? std::u16string_view(type->builtin->name.local)
                                            : u"string"));
        return;
    }
    WMSOAPStructType members;
    for (const detail::xsd::Attribute& attribute : type->attributes) {
        if (attribute.required) {
            WMSOAPStructMember member;
            Sample(attribute.type, u"@" + attribute.name.local, member, depth + 1);
            members.SetMember(member);
        }
    }
    if (type->simpleContent) {
        WMSOAPStructMember content;
        Sample(type->builtin, u"$", content, depth + 1);
        if (type->attributes.empty()) {
            value = content;
            value.SetName(name);
            return;
        }
        members.SetMember(content);
    } else {
        SampleParticle(type->content, members, depth);
    }
    value.SetValue(members);
}

// Adds a sample for every value of the operation's message that the caller did not give.
void AddSamples(detail::xsd::OperationView const& operation, bool response,
                std::vector<WMString>& names, std::vector<WMSOAPStructMember>& values) {
    auto const given = [&](WMString const& name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    detail::xsd::MessageView const& message = response ? operation.output : operation.input;
    for (detail::xsd::PartView const& part : message.body) {
        WMSOAPStructMember sample;
        Sample(part.element ? part.element->type : part.type, part.name, sample, 0);
        if (!operation.wrapped) {
            if (!given(part.name)) {
                names.push_back(part.name);
                values.push_back(sample);
            }
            continue;
        }
        WMString name;
        WMSOAPStructMember member;
        long position = 0;
        for (bool more = sample.StructValue().GetFirstMember(&name, member, &position); more;
             more = sample.StructValue().GetNextMember(&name, member, &position)) {
            if (!given(name)) {
                names.push_back(name);
                values.push_back(member);
            }
        }
    }
}

}  // namespace

void JsonToLiteral(Json const& json, WMString const& name, WMSOAPStructMember& value) {
    value.SetName(name);
    if (json.is_object()) {
        WMSOAPStructType members;
        for (auto const& [key, entry] : json.items()) {
            WMSOAPStructMember member;
            JsonToLiteral(entry, Wide(key), member);
            members.SetMember(member);
        }
        value.SetValue(members);
    } else if (json.is_array()) {
        std::vector<WMSOAPStructType> items;
        for (Json const& entry : json) {
            WMSOAPStructMember item;
            JsonToLiteral(entry, name, item);
            if (entry.is_object()) {
                items.push_back(item.StructValue());
            } else {
                items.emplace_back().SetMember(item);
            }
        }
        value.SetValue(items);
    } else if (json.is_number_integer() && json >= std::numeric_limits<std::int32_t>::min() &&
               json <= std::numeric_limits<std::int32_t>::max()) {
        value.SetValue(json.get<std::int32_t>());
    } else if (json.is_number_float()) {
        value.SetValue(json.get<double>());
    } else if (json.is_string()) {
        value.SetValue(Wide(json.get<std::string>()));
    } else if (!json.is_null()) {
        value.SetValue(Wide(json.dump()));  // booleans and integers beyond 32 bits, as text
    }
}

bool ReadLiteralValue(std::string const& text, WMString& name, WMSOAPStructMember& value,
                      std::string& error) {
    std::size_t const equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        error = "\"" + text + "\" is not PART=JSON";
        return false;
    }
    Json const json = Json::parse(text.substr(equals + 1), nullptr, false);
    if (json.is_discarded()) {
        error = text.substr(0, equals) + ": the value is not JSON text";
        return false;
    }
    name = Wide(text.substr(0, equals));
    JsonToLiteral(json, name, value);
    return true;
}

bool LiteralOperation::Load(LiteralToolArgs const& args, WMWireOptions const& wire,
                            std::string& error) {
    detail::xsd::LoadOptions options;
    options.fetch = detail::WireFetch(wire, 60000);
    WMString reason;
    m_port = detail::LiteralPort::Load(ToLocation(args.location), Wide(args.service),
                                       Wide(args.port), options, reason);
    if (!m_port) {
        error = "cannot read " + args.location + ": " + Utf8(reason);
        return false;
    }
    m_view = m_port->Find(Wide(args.operation));
    if (!m_view) {
        error = "the port has no operation named " + args.operation;
        return false;
    }
    return true;
}

std::vector<WMString> LiteralOperation::OutputNames() const {
    return detail::LiteralOutputNames(*m_view);
}

Json LiteralOperation::FaultDetail(WMString const& answer) const {
    detail::LiteralAnswer read;
    WMString reason;
    detail::ReadLiteralResponse(*m_view, answer, detail::LiteralLimits(), read, reason);
    Json out = Json::array();
    for (WMSOAPStructMember const& value : read.detail) {
        out.push_back(Json{{"namespace", Utf8(value.GetNS())},
                           {"name", Utf8(value.GetName())},
                           {"value", ValueToJson(value)}});
    }
    return out;
}

WMWireOptions LiteralWireOptions(WireFlags const& flags) {
    WMWireOptions wire = ToWireOptions(flags);
    wire.standard = true;
    wire.documentLiteral = true;
    return wire;
}

int RunLiteralEnvelope(LiteralToolArgs const& args, bool response, bool sample) {
    WMWireOptions const wire = LiteralWireOptions(args.wire);
    std::string error;
    LiteralOperation operation;
    if (!operation.Load(args, wire, error)) {
        return Fail(error);
    }
    std::vector<WMString> names;
    std::vector<WMSOAPStructMember> values;
    if (!ReadValues(args.values, names, values, error)) {
        return Fail(error);
    }
    if (sample) {
        AddSamples(operation.View(), response, names, values);
    }
    std::vector<detail::LiteralHeader> headers;
    detail::LiteralLimits limits;
    limits.maxOccurs = wire.maxOccurs;
    WMString out;
    WMString reason;
    if (!detail::WriteLiteralEnvelope(operation.View(), response, names.data(), values.data(),
                                      static_cast<int>(names.size()), headers, limits, out,
                                      reason)) {
        return Fail(Utf8(reason));
    }
    std::cout << Utf8(out) << "\n";
    return 0;
}

}  // namespace corvane::tool
