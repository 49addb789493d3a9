// corvane inspect --schema: the operations of a description as the document/literal extension
// sees them, with the element structure of every message.
#ifndef CORVANE_TOOLS_INSPECT_SCHEMA_H
#define CORVANE_TOOLS_INSPECT_SCHEMA_H

#include <corvane/types.h>
#include <corvane/wire.h>

#include <string>

namespace corvane::tool {

// Prints the schema view of the description at `location` (a file://, http:// or https://
// location); schemas it imports over HTTP are fetched with `wire`. Returns the exit status.
int RunSchemaInspect(const WMString& location, const std::string& service, const std::string& port,
                     bool json, const WMWireOptions& wire);

}  // namespace corvane::tool

#endif
