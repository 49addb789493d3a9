#include "json_values.h"

#include <corvane/serializer.h>
#include <corvane/wsdl.h>

#include "commands.h"

#include <cstdint>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace corvane::tool {

namespace {

struct IntegerRange {
    std::int64_t low;
    std::int64_t high;
};

constexpr std::int64_t kLongLow = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kLongHigh = std::numeric_limits<std::int32_t>::max();

// The built-in integer types, with what the 32-bit long of the value model can hold of them.
std::map<WMString, IntegerRange> const& IntegerTypes() {
    static std::map<WMString, IntegerRange> const types{
        {u"byte", {-128, 127}},
        {u"short", {-32768, 32767}},
        {u"int", {kLongLow, kLongHigh}},
        {u"long", {kLongLow, kLongHigh}},
        {u"integer", {kLongLow, kLongHigh}},
        {u"unsignedByte", {0, 255}},
        {u"unsignedShort", {0, 65535}},
        {u"unsignedInt", {0, kLongHigh}},
        {u"unsignedLong", {0, kLongHigh}},
        {u"nonNegativeInteger", {0, kLongHigh}},
        {u"positiveInteger", {1, kLongHigh}},
        {u"nonPositiveInteger", {kLongLow, 0}},
        {u"negativeInteger", {kLongLow, -1}},
    };
    return types;
}

bool IsFloatType(WMString const& name) {
    return name == u"float" || name == u"double" || name == u"decimal";
}

class Converter {
public:
    Converter(WMSOAPWSDLClient& wsdl, std::string& error) : m_wsdl(wsdl), m_error(error) {}

    bool Convert(Json const& json, WMString const& typeName, WMString const& typeNS,
                 std::string const& path, WMSOAPStructMember& value) {
        if (json.is_null()) {
            return true;  // a fresh member is nil
        }
        if (WMSOAPSerializer::IsXSDType(typeNS) || WMSOAPSerializer::IsSoapEncType(typeNS)) {
            return BuiltIn(json, typeName, path, value);
        }
        WMString baseName;
        WMString baseNS;
        if (!m_wsdl.GetComplexBaseType(typeName, typeNS, baseName, baseNS)) {
            return Fail(path, "its type " + Utf8(typeName) + " is not described by the WSDL");
        }
        if (WMSOAPSerializer::IsSoapEncType(baseNS) && baseName == u"Array") {
            return Array(json, typeName, typeNS, path, value);
        }
        if (WMSOAPSerializer::IsSoapEncType(baseNS) && baseName != u"Struct") {
            return Fail(path, "its type " + Utf8(typeName) + " derives from SOAP-ENC:" +
                                  Utf8(baseName) + ", which cannot be written");
        }
        return Struct(json, typeName, typeNS, path, value);
    }

private:
    bool BuiltIn(Json const& json, WMString const& typeName, std::string const& path,
                 WMSOAPStructMember& value) {
        auto integer = IntegerTypes().find(typeName);
        if (integer != IntegerTypes().end()) {
            IntegerRange const range = integer->second;
            bool const fits =
                json.is_number_integer() &&
                (json.is_number_unsigned()
                     ? json.get<std::uint64_t>() <= static_cast<std::uint64_t>(range.high)
                     : json.get<std::int64_t>() >= range.low &&
                           json.get<std::int64_t>() <= range.high);
            if (!fits) {
                return Fail(path, "xsd:" + Utf8(typeName) + " needs an integer from " +
                                      std::to_string(range.low) + " to " +
                                      std::to_string(range.high) + ", not " + json.dump());
            }
            value.SetValue(static_cast<std::int32_t>(json.get<std::int64_t>()));
            return true;
        }
        if (IsFloatType(typeName)) {
            if (!json.is_number()) {
                return Fail(path, "xsd:" + Utf8(typeName) + " needs a number, not " + json.dump());
            }
            value.SetValue(json.get<double>());
            return true;
        }
        if (json.is_string()) {
            value.SetValue(Wide(json.get<std::string>()));
            return true;
        }
        if (json.is_number() || json.is_boolean()) {
            value.SetValue(Wide(json.dump()));
            return true;
        }
        return Fail(path, "xsd:" + Utf8(typeName) + " needs a single value, not " +
                              std::string(json.type_name()));
    }

    bool Array(Json const& json, WMString const& typeName, WMString const& typeNS,
               std::string const& path, WMSOAPStructMember& value) {
        if (!json.is_array()) {
            return Fail(path, Utf8(typeName) + " is an array and needs a JSON array, not " +
                                  std::string(json.type_name()));
        }
        WMString itemName;
        WMString itemNS;
        if (!m_wsdl.GetArrayType(typeName, typeNS, itemName, itemNS)) {
            return Fail(path, "the WSDL gives no item type for " + Utf8(typeName));
        }
        std::vector<WMSOAPStructType> items;
        items.reserve(json.size());
        for (std::size_t i = 0; i < json.size(); ++i) {
            WMSOAPStructMember item;
            item.SetName(u"item");
            if (!Convert(json[i], itemName, itemNS, path + "[" + std::to_string(i) + "]", item)) {
                return false;
            }
            WMSOAPStructType holder;
            holder.SetMember(item);
            items.push_back(std::move(holder));
        }
        value.SetValue(items);
        return true;
    }

    bool Struct(Json const& json, WMString const& typeName, WMString const& typeNS,
                std::string const& path, WMSOAPStructMember& value) {
        if (!json.is_object()) {
            return Fail(path, Utf8(typeName) + " is a struct and needs a JSON object, not " +
                                  std::string(json.type_name()));
        }
        WMSOAPStructType members;
        for (auto const& [key, memberJson] : json.items()) {
            WMString const memberName = Wide(key);
            WMString memberTypeName;
            WMString memberTypeNS;
            if (!m_wsdl.GetStructMemberType(typeName, typeNS, memberName, WMString(),
                                            memberTypeName, memberTypeNS)) {
                return Fail(path, Utf8(typeName) + " has no member named " + key);
            }
            WMSOAPStructMember member;
            member.SetName(memberName);
            if (!Convert(memberJson, memberTypeName, memberTypeNS, path + "." + key, member)) {
                return false;
            }
            members.SetMember(member);
        }
        value.SetValue(members);
        return true;
    }

    bool Fail(std::string const& path, std::string const& why) {
        m_error = path + ": " + why;
        return false;
    }

    WMSOAPWSDLClient& m_wsdl;
    std::string& m_error;
};

}  // namespace

bool JsonToValue(WMSOAPWSDLClient& wsdl, Json const& json, WMString const& typeName,
                 WMString const& typeNS, WMString const& name, WMSOAPStructMember& value,
                 std::string& error) {
    WMSOAPStructMember result;
    result.SetName(name);
    Converter converter(wsdl, error);
    if (!converter.Convert(json, typeName, typeNS, Utf8(name), result)) {
        return false;
    }
    value = std::move(result);
    return true;
}

Json ValueToJson(WMSOAPStructMember const& value) {
    WMSOAPStructMember member = value;
    switch (member.GetDataType()) {
        case WMSOAPStructMember::SOAPDataMember::SOAP_LONG:
            return member.LongValue();
        case WMSOAPStructMember::SOAPDataMember::SOAP_DOUBLE:
            return member.DoubleValue();
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRING:
            return Utf8(member.StringValue());
        case WMSOAPStructMember::SOAPDataMember::SOAP_STRUCT: {
            WMSOAPStructType const& members = member.StructValue();
            std::vector<WMSOAPStructMember> children;
            std::map<WMString, int> count;
            WMSOAPStructMember child;
            long position = 0;
            for (bool more = members.GetFirstMember(nullptr, child, &position); more;
                 more = members.GetNextMember(nullptr, child, &position)) {
                ++count[child.GetName()];
                children.push_back(child);
            }
            Json object = Json::object();
            for (WMSOAPStructMember const& each : children) {
                std::string const key = Utf8(each.GetName());
                if (count[each.GetName()] > 1) {
                    object[key].push_back(ValueToJson(each));
                } else {
                    object[key] = ValueToJson(each);
                }
            }
            return object;
        }
        case WMSOAPStructMember::SOAPDataMember::SOAP_ARRAY: {
            Json array = Json::array();
            for (WMSOAPStructType const& item : member.ArrayValue()) {
                // An item is one member (named "item" when written by JsonToValue); an item
                // of several members is shown as an object.
                WMSOAPStructMember only;
                WMSOAPStructMember second;
                long position = 0;
                if (item.GetFirstMember(nullptr, only, &position) &&
                    !item.GetNextMember(nullptr, second, &position)) {
                    array.push_back(ValueToJson(only));
                } else {
                    array.push_back(ValueToJson(WMSOAPStructMember(u"item", item)));
                }
            }
            return array;
        }
        case WMSOAPStructMember::SOAPDataMember::SOAP_NONE:
            break;
    }
    return nullptr;
}

}  // namespace corvane::tool
