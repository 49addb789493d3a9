// The document/literal side of WMSOAPServerCall (an extension): requests read by the schema
// model, dispatched by the Body element's qualified name (and by the action where operations
// share one), answers and faults written by the schema, in the request's SOAP version.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_SOAP_LITERAL_SERVER_H
#define CORVANE_SOAP_LITERAL_SERVER_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <memory>
#include <string>
#include <vector>

#include "soap/literal_codec.h"
#include "soap/soap12.h"
#include "wsdl/xsd_binding.h"

namespace corvane::detail {

// What a service reads once and every call shares, read-only.
struct LiteralService {
    std::shared_ptr<const xsd::Model> model;
    xsd::BindingView binding;
};

// Reads the WSDL at `location` and views the binding of the port named (the first SOAP port of
// the first service when both names are empty). Null with `error` naming the cause.
std::shared_ptr<const LiteralService> LoadLiteralService(WMString const& location,
                                                         WMString const& service,
                                                         WMString const& port, WMString& error);

class LiteralCall {
public:
    LiteralCall(std::shared_ptr<const LiteralService> service, LiteralLimits limits)
        : m_service(std::move(service)), m_limits(limits) {}

    // False when the request was refused; the fault is then recorded and Write sends it.
    bool Read(std::string const& body, std::string const& soapAction,
              std::string const& contentType);
    WMString const& OperationName() const { return m_name; }
    bool GetParam(WMString const& name, WMSOAPStructMember& value) const;
    bool SetReturnValue(WMSOAPStructMember&& value);
    bool SetOutParam(WMString const& name, WMSOAPStructMember const& value);
    void SetFault(WMString const& code, WMString const& reason);
    bool SetFaultDetail(WMString const& faultName, WMSOAPStructMember const& detail);
    // The answer as UTF-8 and its HTTP status: 200, or 500 for a fault.
    int Write(std::string& body);
    char const* ContentType() const;

private:
    // Where an output value goes: the return value or an output parameter of that name.
    struct Output {
        WMString name;
        WMSOAPStructMember value;
    };

    bool Refuse(WMString const& code, WMString reason);
    bool Dispatch(XMLNode const& first, std::string const& action);
    bool ReadHeaders(XMLNode const* header);
    bool ReadParams(XMLNode const& body, XMLNode const* first);
    bool WriteResult(WMString& out, WMString& error);
    WMSOAPStructMember const* FindOutput(WMString const& name) const;
    void WriteFault(WMString& out);

    std::shared_ptr<const LiteralService> m_service;
    LiteralLimits m_limits;
    xsd::OperationView const* m_operation = nullptr;
    WMString m_name;
    int m_version = 11;
    std::vector<WMSOAPStructMember> m_params;
    std::vector<Output> m_outputs;  // the return value, if set, under the return part's name
    bool m_isFault = false;
    soap12::Fault m_fault;
    WMString m_faultName;
    WMSOAPStructMember m_faultDetail;
};

}  // namespace corvane::detail

#endif
