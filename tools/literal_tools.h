// The document/literal forms of `corvane call` and `corvane envelope` (option --doclit).
#ifndef CORVANE_TOOLS_LITERAL_TOOLS_H
#define CORVANE_TOOLS_LITERAL_TOOLS_H

#include "commands.h"
#include "json_values.h"

#include <optional>
#include <string>
#include <vector>

namespace corvane::tool {

struct LiteralToolArgs {
    std::string location;
    std::string operation;
    std::vector<std::string> values;  // PART=JSON
    std::string service;
    std::string port;
    WireFlags wire;
};

struct LiteralCallExtras {
    std::vector<std::string> headers;  // NAMESPACE:NAME=JSON
    std::optional<int> timeout;
    bool showRequest = false;
    bool showResponse = false;
};

// The wire flags with the standard mode and the document/literal extension on.
WMWireOptions LiteralWireOptions(WireFlags const& flags);

// With `sample`, every value the message needs and the arguments do not give gets a sample of
// its type.
int RunLiteralEnvelope(LiteralToolArgs const& args, bool response, bool sample);
int RunLiteralCall(LiteralToolArgs const& args, LiteralCallExtras const& extras);

}  // namespace corvane::tool

#endif
