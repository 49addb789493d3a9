// gSOAP on the benchmark's calls, through the proxy that wsdl2h and soapcpp2 generate from
// round2_base.wsdl when the benchmarks are built. Usage: gsoap_client ENDPOINT CASE CALLS [kept]
// CASE is string, or structs-N for echoStructArray of N structs; "kept" keeps one connection
// open for all the calls instead of opening one per call. Prints the seconds per call, elapsed
// and on the CPU.
#include "InteropTestBinding.nsmap"
#include "soapInteropTestBindingProxy.h"

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace {

int Fail(char const* why) {
    std::fprintf(stderr, "gsoap: %s\n", why);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 && !(argc == 5 && std::string(argv[4]) == "kept")) {
        return Fail("usage: gsoap_client ENDPOINT CASE CALLS [kept]");
    }
    char const* const endpoint = argv[1];
    std::string const testCase = argv[2];
    int const calls = std::atoi(argv[3]);
    InteropTestBindingProxy proxy(
        endpoint, argc == 5 ? SOAP_IO_KEEPALIVE | SOAP_C_UTFSTRING : SOAP_C_UTFSTRING);

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

    // Every answer must be whole; the warm-up answer's values are compared too.
    bool checkValues = true;
    std::function<bool()> call;
    if (testCase == "string") {
        call = [&] {
            std::string out;
            bool const right = proxy.echoString(text, out) == SOAP_OK && out == text;
            proxy.destroy();
            return right;
        };
    } else {
        call = [&] {
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
    if (!call()) {
        proxy.soap_print_fault(stderr);
        return Fail("wrong answer");
    }
    checkValues = false;
    std::clock_t const cpu = std::clock();
    auto const start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        if (!call()) {
            proxy.soap_print_fault(stderr);
            return Fail("wrong answer");
        }
    }
    double const elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double const onCpu = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC;
    std::printf("%.9f %.9f\n", elapsed / calls, onCpu / calls);
    return 0;
}
