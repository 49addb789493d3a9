// How decode and envelope choose the port of a description and find an operation in it.
#include <corvane/wsdl.h>

#include "commands.h"
#include "wsdl/description.h"

namespace corvane::tool {

namespace {

bool FindPort(WMSOAPDefinitionsHandler const& defs, PortRequest const& request, WMString& service,
              WMString& port) {
    for (auto const& [serviceName, serviceHandler] : defs.GetServices()) {
        if (!request.service.empty() && serviceName != Wide(request.service)) {
            continue;
        }
        for (auto const& [portName, portHandler] : serviceHandler->GetPorts()) {
            if ((!request.port.empty() && portName != Wide(request.port)) ||
                (request.port.empty() && !defs.FindBinding(portHandler->GetBinding()))) {
                continue;
            }
            service = serviceName;
            port = portName;
            return true;
        }
    }
    return false;
}

}  // namespace

bool OpenOperation(WMString const& location, PortRequest const& request,
                   std::string const& operation, OpenedOperation& opened, std::string& error) {
    WMSOAPWSDLImporter loader;
    loader.SetWireOptions(request.wire);
    if (!loader.ReadServiceDesc(location, WMString()) || !loader.GetWSDLDesc()) {
        std::string const category = Utf8(loader.GetLoadErrorCategory());
        std::string const reason = Utf8(loader.GetLoadErrorMessage());
        error = "cannot read " + Utf8(location) + ": " +
                (category.empty() ? std::string() : category + ": ") +
                (reason.empty() ? std::string("unknown reason") : reason);
        return false;
    }
    if (!FindPort(loader.GetWSDLDesc()->GetDefinitions(), request, opened.service, opened.port)) {
        error = request.noMatch;
        return false;
    }
    opened.wsdl.SetWireOptions(request.wire);
    if (!opened.wsdl.ReadServiceDesc(opened.service, opened.port, location)) {
        error = "cannot use port " + Utf8(opened.port) + " of service " + Utf8(opened.service) +
                ": it has no SOAP address";
        return false;
    }
    if (!opened.wsdl.GetOpBindingStyle(Wide(operation), opened.style)) {
        error = "port " + Utf8(opened.port) + " has no operation named " + operation;
        return false;
    }
    return true;
}

}  // namespace corvane::tool
