// gSOAP on the benchmark's calls, through the proxy that wsdl2h and soapcpp2 generate from
// round2_base.wsdl when the benchmarks are built. Usage: gsoap_client ENDPOINT CASE CALLS [kept]
// CASE is string, or structs-N for echoStructArray of N structs; "kept" keeps one connection
// open for all the calls instead of opening one per call. Prints the seconds per call, elapsed
// and on the CPU.
#include "InteropTestBinding.nsmap"
#include "gsoap_timing.h"
#include "soapInteropTestBindingProxy.h"

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (!gsoap_bench::ValidArguments(argc, argv)) {
        return gsoap_bench::Fail("usage: gsoap_client ENDPOINT CASE CALLS [kept]");
    }
    std::string const testCase = argv[2];
    InteropTestBindingProxy proxy(argv[1], gsoap_bench::Mode(argc));

    // The request is built once, as the other clients build theirs; each call frees what its
    // answer allocated in the context, as a long-running gSOAP client must.
    std::string const text = "Hello, bench";
    int const count =
        testCase == "string" ? 0 : std::atoi(testCase.c_str() + std::string("structs-").size());
    std::vector<s__SOAPStruct> structs(static_cast<std::size_t>(count));
    std::vector<s__SOAPStruct*> pointers;
    for (int i = 0; i < count; ++i) {
        structs[i].varString = "item text";
        structs[i].varInt = i;
        structs[i].varFloat = static_cast<float>(i + 0.5);
        pointers.push_back(&structs[i]);
    }
    ArrayOfSOAPStruct array;
    array.__ptr = pointers.data();
    array.__size = count;

    std::function<bool(bool)> call;
    if (testCase == "string") {
        call = [&](bool) {
            std::string out;
            bool const right = proxy.echoString(text, out) == SOAP_OK && out == text;
            proxy.destroy();
            return right;
        };
    } else {
        call = [&](bool checkValues) {
            i__echoStructArrayResponse response;
            bool right = proxy.echoStructArray(&array, response) == SOAP_OK &&
                         response.outputStructArray != nullptr &&
                         response.outputStructArray->__size == count;
            for (int i = 0; right && checkValues && i < count; ++i) {
                s__SOAPStruct const* item = response.outputStructArray->__ptr[i];
                right = item != nullptr && item->varString == "item text" && item->varInt == i &&
                        item->varFloat == structs[i].varFloat;
            }
            proxy.destroy();
            return right;
        };
    }
    return gsoap_bench::TimeCalls(proxy, std::atoi(argv[3]), call);
}
