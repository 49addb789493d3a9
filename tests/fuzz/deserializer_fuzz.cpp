// Fuzz target of the SOAP deserializers, on the input layout of fuzz_descriptions.h. Whatever
// the envelope holds, reading it ends in values or a WMSOAPFault.
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <cstddef>
#include <cstdint>

#include "fuzz_descriptions.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Input const input = fuzz::Decode(data, size);
    if (input.wsdl == nullptr) {
        return 0;
    }
    WMSOAPWSDLClient& wsdl = *input.wsdl;
    WMSOAPMessage message;
    message.SetBuffer(input.text);
    message.SetStandardWireMode(input.standard);
    message.SetRequestPhase(input.request);
    WMString soapAction;
    wsdl.GetMethodSOAPAction(input.operation, soapAction);
    if (input.request) {
        message.Initialize(nullptr, 0, WMString(), WMString(), WMString(), soapAction, WMString(),
                           false);
    } else {
        message.SetMethodName(input.operation);
    }
    try {
        message.Deserialize(wsdl);
        message.ProcessRPC(wsdl);
    } catch (WMSOAPFault* fault) {
        delete fault;
    }
    return 0;
}
