// gSOAP's standalone server of round2_base.wsdl, the peer of Corvane's interop server in run.sh:
// the service class that soapcpp2 generates from the WSDL, a thread for each connection (as
// gSOAP's own examples do), persistent connections, TCP_NODELAY (gSOAP's default on accepted
// sockets) and the same idle limit and requests per connection as the interop server's defaults.
//
//   gsoap_server [PORT]   (0, the default, lets the system choose)
//
// Prints "listening on http://127.0.0.1:PORT/" and runs until SIGINT or SIGTERM.
#include "InteropTestBinding.nsmap"
#include "gsoap/serve.h"
#include "soapInteropTestBindingService.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>

int InteropTestBindingService::echoString(std::string const& input, std::string& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoStringArray(ArrayOfstring* input,
                                               i__echoStringArrayResponse& output) {
    output.outputStringArray = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoInteger(int input, int& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoIntegerArray(ArrayOfint* input,
                                                i__echoIntegerArrayResponse& output) {
    output.outputIntegerArray = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoFloat(float input, float& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoFloatArray(ArrayOffloat* input,
                                              i__echoFloatArrayResponse& output) {
    output.outputFloatArray = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoStruct(s__SOAPStruct* input, i__echoStructResponse& output) {
    output.outputStruct = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoStructArray(ArrayOfSOAPStruct* input,
                                               i__echoStructArrayResponse& output) {
    output.outputStructArray = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoVoid(i__echoVoidResponse&) {
    return SOAP_OK;
}

int InteropTestBindingService::echoBase64(xsd__base64Binary const& input,
                                          xsd__base64Binary& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoDate(time_t input, time_t& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoHexBinary(xsd__hexBinary const& input, xsd__hexBinary& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoDecimal(std::string const& input, std::string& output) {
    output = input;
    return SOAP_OK;
}

int InteropTestBindingService::echoBoolean(bool input, bool& output) {
    output = input;
    return SOAP_OK;
}

int main(int argc, char** argv) {
    int const port = argc > 1 ? std::atoi(argv[1]) : 0;
    InteropTestBindingService service(SOAP_IO_KEEPALIVE | SOAP_C_UTFSTRING);
    soap* const context = service.soap;
    context->recv_timeout = 10;  // per read, gSOAP's only read limit
    context->send_timeout = 30;
    context->max_keep_alive = 100;
    if (!gsoap_peer::Listen(context, port, 128)) {
        return 1;
    }
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(context->master, reinterpret_cast<sockaddr*>(&address), &length);
    std::printf("listening on http://127.0.0.1:%d/\n", ntohs(address.sin_port));
    std::fflush(stdout);
    gsoap_peer::ServeConnections(
        context, 0, false, [](soap* connection) { InteropTestBindingService(connection).serve(); });
    return 0;
}
