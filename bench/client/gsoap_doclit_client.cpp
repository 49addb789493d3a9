// gSOAP on the benchmark's document/literal calls, through the proxy that wsdl2h and soapcpp2
// generate from tests/peers/doclit/echo_doclit.wsdl when the benchmarks are built.
// Usage: gsoap_doclit_client ENDPOINT items-N CALLS [kept]
// echoItems of N items; "kept" keeps one connection open for all the calls instead of opening
// one per call. Prints the seconds per call, elapsed and on the CPU.
#include "EchoBinding.nsmap"
#include "gsoap_timing.h"
#include "soapEchoBindingProxy.h"

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::string const prefix = "items-";
    if (!gsoap_bench::ValidArguments(argc, argv) ||
        std::string(argv[2]).compare(0, prefix.size(), prefix) != 0) {
        return gsoap_bench::Fail("usage: gsoap_doclit_client ENDPOINT items-N CALLS [kept]");
    }
    int const count = std::atoi(argv[2] + prefix.size());
    EchoBindingProxy proxy(argv[1], gsoap_bench::Mode(argc));

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

    return gsoap_bench::TimeCalls(proxy, std::atoi(argv[3]), [&](bool checkValues) {
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
    });
}
