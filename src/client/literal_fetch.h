// Schemas that a description imports over HTTP, fetched for the document/literal extension
// through the standard wire mode's HTTP client.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_CLIENT_LITERAL_FETCH_H
#define CORVANE_CLIENT_LITERAL_FETCH_H

#include <corvane/wire.h>

#include "wsdl/xsd_model.h"

namespace corvane::detail {

// Fetches with the options' TLS, authentication and proxy settings, each wait bounded by
// `waitMilliseconds`.
xsd::FetchFn WireFetch(const WMWireOptions& options, unsigned long waitMilliseconds);

}  // namespace corvane::detail

#endif
