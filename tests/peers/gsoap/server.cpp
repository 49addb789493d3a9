// gSOAP's standalone server of round2_base.wsdl and round2_groupB.wsdl together (one header from
// wsdl2h, one dispatcher from soapcpp2): every operation echoes its input. HTTP/1.1 with
// persistent connections and chunked answers, a thread per connection.
//
//   gsoap_peer PORT LIFETIME_SECONDS
//
// Listens on 127.0.0.1:PORT; exits on SIGTERM, SIGINT or after LIFETIME_SECONDS.
#include "InteropTestBinding.nsmap"
#include "serve.h"
#include "soapH.h"

// Most operations hand their input back as the output, or as the response's one member.
#define ECHO(op, In, Out, output)                     \
    int i__echo##op(soap*, In input, Out& response) { \
        output = input;                               \
        return SOAP_OK;                               \
    }
ECHO(String, std::string, std::string, response)
ECHO(StringArray, ArrayOfstring*, i__echoStringArrayResponse, response.outputStringArray)
ECHO(Integer, int, int, response)
ECHO(IntegerArray, ArrayOfint*, i__echoIntegerArrayResponse, response.outputIntegerArray)
ECHO(Float, float, float, response)
ECHO(FloatArray, ArrayOffloat*, i__echoFloatArrayResponse, response.outputFloatArray)
ECHO(Struct, s__SOAPStruct*, i__echoStructResponse, response.outputStruct)
ECHO(StructArray, ArrayOfSOAPStruct*, i__echoStructArrayResponse, response.outputStructArray)
ECHO(Base64, xsd__base64Binary, xsd__base64Binary, response)
ECHO(Date, time_t, time_t, response)
ECHO(HexBinary, xsd__hexBinary, xsd__hexBinary, response)
ECHO(Decimal, std::string, std::string, response)
ECHO(Boolean, bool, bool, response)
ECHO(2DStringArray, ArrayOfString2D*, i__echo2DStringArrayResponse, response._return_)
ECHO(NestedStruct, s__SOAPStructStruct*, i__echoNestedStructResponse, response._return_)
ECHO(NestedArray, s__SOAPArrayStruct*, i__echoNestedArrayResponse, response._return_)
#undef ECHO

int i__echoVoid(soap*, i__echoVoidResponse&) {
    return SOAP_OK;
}
int i__echoStructAsSimpleTypes(soap*, s__SOAPStruct* input,
                               i__echoStructAsSimpleTypesResponse& output) {
    if (input != nullptr) {
        output._outputString = input->varString;
        output._outputInteger = input->varInt;
        output._outputFloat = input->varFloat;
    }
    return SOAP_OK;
}
int i__echoSimpleTypesAsStruct(soap* context, std::string text, int number, float real,
                               i__echoSimpleTypesAsStructResponse& output) {
    output._return_ = soap_new_s__SOAPStruct(context);
    output._return_->varString = text;
    output._return_->varInt = number;
    output._return_->varFloat = real;
    return SOAP_OK;
}

int main(int argc, char** argv) {
    // SOAP_C_UTFSTRING: std::string holds the UTF-8 bytes as they came.
    return gsoap_peer::RunPeer(argc, argv, SOAP_IO_KEEPALIVE | SOAP_IO_CHUNK | SOAP_C_UTFSTRING,
                               true, soap_serve);
}
