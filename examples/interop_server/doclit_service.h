// The document/literal echo services of the interop server (--doclit): tests/peers/doclit's
// echo_doclit.wsdl (SOAP 1.1) at /echo and echo_soap12.wsdl (SOAP 1.2) at /echo12.
#ifndef INTEROP_SERVER_DOCLIT_SERVICE_H
#define INTEROP_SERVER_DOCLIT_SERVICE_H

#include "guarded_server.h"

#include <string>

// Loads both WSDLs from `directory` and routes their POST and GET (the WSDL, its address naming
// this server) on `server`. False, with the cause on standard error, when a WSDL does not load.
bool AddDocLitServices(GuardedServer& server, WorkerSlots& workers, std::string const& directory);

#endif
