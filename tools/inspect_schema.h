// corvane inspect --schema: the operations of a description as the document/literal extension
// sees them, with the element structure of every message.
#ifndef CORVANE_TOOLS_INSPECT_SCHEMA_H
#define CORVANE_TOOLS_INSPECT_SCHEMA_H

#include <corvane/types.h>

#include <string>

namespace corvane::tool {

// Prints the schema view of the description at `location` (a file:// or http:// location);
// returns the exit status.
int RunSchemaInspect(const WMString& location, const std::string& service, const std::string& port,
                     bool json);

}  // namespace corvane::tool

#endif
