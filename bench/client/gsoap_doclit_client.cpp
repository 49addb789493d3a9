// gSOAP on the benchmark's document/literal calls, through the proxy that wsdl2h and soapcpp2
// generate from tests/peers/doclit/echo_doclit.wsdl when the benchmarks are built.
// Usage: gsoap_doclit_client ENDPOINT items-N CALLS [kept]
// echoItems of N items; "kept" keeps one connection open for all the calls instead of opening
// one per call. Prints the seconds per call, elapsed and on the CPU.
#include "EchoBinding.nsmap"
#include "soapEchoBindingProxy.h"

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

int Fail(char const* why) {
    std::fprintf(stderr, "gsoap: %s\n", why);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::string const prefix = "items-";
    if ((argc != 4 && !(argc == 5 && std::string(argv[4]) == "kept")) ||
        std::string(argv[2]).compare(0, prefix.size(), prefix) != 0) {
        return Fail("usage: gsoap_doclit_client ENDPOINT items-N CALLS [kept]");
    }
    char const* const endpoint = argv[1];
    int const count = std::atoi(argv[2] + prefix.size());
    int const calls = std::atoi(argv[3]);
    EchoBindingProxy proxy(endpoint,
                           argc == 5 ? SOAP_IO_KEEPALIVE | SOAP_C_UTFSTRING : SOAP_C_UTFSTRING);

    // The request is built once, as the other clients build theirs; each call frees what its
    // answer allocated in the context, as a long-running gSOAP client must.
    std::vector<ns1__Item> items(static_cast<std::size_t>(count));
    ns1__ItemList list;
    for (int i = 0; i < count; ++i) {
        items[i].name = "item text";
        items[i].count = i;
        items[i].price = i + 0.5;
        list.item.push_back(&items[i]);
    }
    _ns1__echoItems request;
    request.items = &list;

    // Every answer must be whole; the warm-up answer's values are compared too.
    bool checkValues = true;
    auto const call = [&] {
        _ns1__echoItemsResponse response;
        bool right = proxy.echoItems(&request, response) == SOAP_OK &&
                     response.return_ != nullptr &&
                     response.return_->item.size() == static_cast<std::size_t>(count);
        for (int i = 0; right && checkValues && i < count; ++i) {
            ns1__Item const* item = response.return_->item[i];
            right = item != nullptr && item->name == "item text" && item->count == i &&
                    item->price == items[i].price;
        }
        proxy.destroy();
        return right;
    };
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
