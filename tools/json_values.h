// JSON text and the value model, mapped through the schema types of a WSDL description.
#ifndef CORVANE_TOOLS_JSON_VALUES_H
#define CORVANE_TOOLS_JSON_VALUES_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <nlohmann/json.hpp>

#include <string>

class WMSOAPWSDLClient;

namespace corvane::tool {

// Object members keep their order: it is the order of struct members on the wire.
using Json = nlohmann::ordered_json;

// A JSON value as a value of the schema type typeNS/typeName, named `name`:
// - null is nil, for any type;
// - built-in integer types (int, long, short, byte, their unsigned forms and the integer
//   family) take a JSON integer within the type's range and the 32-bit long of the value model;
// - float, double and decimal take a JSON number;
// - other built-ins take a string, a number or a boolean, kept as its text;
// - an array type takes a JSON array: one single-member struct per item, the member named
//   "item" holding the item converted with the array's item type;
// - any other complex type is a struct and takes a JSON object: each key a member that the
//   WSDL declares for the type, in the object's order.
// On failure `error` names the path of the value that does not fit ("part.member[2]") and why.
bool JsonToValue(WMSOAPWSDLClient& wsdl, Json const& json, WMString const& typeName,
                 WMString const& typeNS, WMString const& name, WMSOAPStructMember& value,
                 std::string& error);

// The inverse, for values read from a message: longs and doubles become numbers, strings
// strings, nil null, structs objects (a repeated member name becomes an array of its values)
// and arrays JSON arrays with one entry per item.
Json ValueToJson(WMSOAPStructMember const& value);

}  // namespace corvane::tool

#endif
