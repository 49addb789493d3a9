// What `corvane call` and `corvane envelope` use for literal operations (option --doclit).
#ifndef CORVANE_TOOLS_LITERAL_TOOLS_H
#define CORVANE_TOOLS_LITERAL_TOOLS_H

#include "commands.h"
#include "json_values.h"

#include <memory>
#include <string>
#include <vector>

namespace corvane::detail {
class LiteralPort;
namespace xsd {
struct OperationView;
}
}  // namespace corvane::detail

namespace corvane::tool {

struct LiteralToolArgs {
    std::string location;
    std::string operation;
    std::vector<std::string> values;  // PART=JSON
    std::string service;
    std::string port;
    WireFlags wire;
};

// The wire flags with the standard mode and the document/literal extension on.
WMWireOptions LiteralWireOptions(WireFlags const& flags);

// A JSON value as a member that the schema then converts: objects are structs, arrays arrays,
// numbers longs (when they fit) or doubles, booleans and strings text, null nil.
void JsonToLiteral(Json const& json, WMString const& name, WMSOAPStructMember& value);

// One PART=JSON argument as its name and value.
bool ReadLiteralValue(std::string const& text, WMString& name, WMSOAPStructMember& value,
                      std::string& error);

// The operation `args` names, in the port it names (or the first one).
class LiteralOperation {
public:
    // False, with `error` saying why, when the description cannot be read or the port has no
    // such operation.
    bool Load(LiteralToolArgs const& args, WMWireOptions const& wire, std::string& error);
    // The names of the values its response carries.
    std::vector<WMString> OutputNames() const;
    // The detail entries of the fault `answer`, typed where the description declares them: the
    // client offers them by name only.
    Json FaultDetail(WMString const& answer) const;
    detail::xsd::OperationView const& View() const { return *m_view; }

private:
    std::shared_ptr<const detail::LiteralPort> m_port;
    detail::xsd::OperationView const* m_view = nullptr;
};

// With `sample`, every value the message needs and the arguments do not give gets a sample of
// its type.
int RunLiteralEnvelope(LiteralToolArgs const& args, bool response, bool sample);

}  // namespace corvane::tool

#endif
