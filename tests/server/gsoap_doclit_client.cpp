// gSOAP's client of tests/peers/doclit/echo_doclit.wsdl, generated at build time, against a
// document/literal echo service: every value comes back exactly, and echoString("raise-fault")
// gives the WSDL's typed fault. Prints "N passed, N failed"; exit status 1 on a failure.
//
//   gsoap_doclit_client ENDPOINT_URL
#include "EchoBinding.nsmap"
#include "soapH.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

int g_failures = 0;
int g_passed = 0;

void Check(bool ok, char const* what) {
    if (ok) {
        ++g_passed;
    } else {
        ++g_failures;
        std::printf("FAIL %s\n", what);
    }
}

ns1__Item* Item(soap* context, std::string name, int count, double price, char const* note,
                char const* id) {
    auto* item = soap_new_ns1__Item(context);
    item->name = std::move(name);
    item->count = count;
    item->price = price;
    item->note = note ? soap_new_std__string(context) : nullptr;
    if (note) {
        *item->note = note;
    }
    item->id = id ? soap_new_std__string(context) : nullptr;
    if (id) {
        *item->id = id;
    }
    return item;
}

bool Same(std::string const* a, std::string const* b) {
    return a == nullptr ? b == nullptr : b != nullptr && *a == *b;
}

bool Same(ns1__Item const* a, ns1__Item const* b) {
    return a && b && a->name == b->name && a->count == b->count && a->price == b->price &&
           Same(a->note, b->note) && Same(a->id, b->id);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s ENDPOINT_URL\n", argv[0]);
        return 2;
    }
    char const* const url = argv[1];
    soap* const context = soap_new1(SOAP_IO_KEEPALIVE | SOAP_C_UTFSTRING | SOAP_XML_TREE);

    for (std::string text : {std::string("h\xC3\xA9llo <&> \xF0\x9D\x84\x9E end"), std::string()}) {
        _ns1__echoString in;
        in.text = text;
        _ns1__echoStringResponse out;
        Check(soap_call___ns1__echoString(context, url, nullptr, &in, out) == SOAP_OK &&
                  out.return_ == text,
              "echoString");
    }
    for (int value : {-2147483647 - 1, 2147483647}) {
        _ns1__echoInt in;
        in.value = value;
        _ns1__echoIntResponse out;
        Check(soap_call___ns1__echoInt(context, url, nullptr, &in, out) == SOAP_OK &&
                  out.return_ == value,
              "echoInt");
    }
    ns1__Item* const full = Item(context, "cr\xC3\xA8me", -5, 0.1, "n", "a-1");
    ns1__Item* const bare = Item(context, "", 7, -1e300, nullptr, nullptr);
    for (ns1__Item* item : {full, bare}) {
        _ns1__echoItem in;
        in.item = item;
        _ns1__echoItemResponse out;
        Check(soap_call___ns1__echoItem(context, url, nullptr, &in, out) == SOAP_OK &&
                  Same(out.return_, item),
              "echoItem");
    }
    for (std::size_t count : {std::size_t{0}, std::size_t{3}}) {
        _ns1__echoItems in;
        in.items = soap_new_ns1__ItemList(context);
        for (std::size_t i = 0; i < count; ++i) {
            in.items->item.push_back(i % 2 ? bare : full);
        }
        _ns1__echoItemsResponse out;
        bool ok = soap_call___ns1__echoItems(context, url, nullptr, &in, out) == SOAP_OK &&
                  out.return_ && out.return_->item.size() == count;
        for (std::size_t i = 0; ok && i < count; ++i) {
            ok = Same(out.return_->item[i], in.items->item[i]);
        }
        Check(ok, "echoItems");
    }
    for (std::vector<std::string> const& values :
         {std::vector<std::string>{"a", "", "c"}, std::vector<std::string>{}}) {
        _ns1__echoStrings in;
        in.value = values;
        _ns1__echoStringsResponse out;
        Check(soap_call___ns1__echoStrings(context, url, nullptr, &in, out) == SOAP_OK &&
                  out.return_ == values,
              "echoStrings");
    }
    for (char const* value : {"v", static_cast<char const*>(nullptr)}) {
        _ns1__echoNillable in;
        std::string text = value ? value : "";
        in.value = value ? &text : nullptr;
        _ns1__echoNillableResponse out;
        Check(soap_call___ns1__echoNillable(context, url, nullptr, &in, out) == SOAP_OK &&
                  Same(out.return_, in.value),
              "echoNillable");
    }
    _ns1__echoString in;
    in.text = "raise-fault";
    _ns1__echoStringResponse out;
    // A Server fault comes back as SOAP_SVR_FAULT.
    bool const faulted =
        soap_call___ns1__echoString(context, url, nullptr, &in, out) == SOAP_SVR_FAULT;
    SOAP_ENV__Detail const* detail = faulted ? context->fault->detail : nullptr;
    Check(faulted && std::string(*soap_faultstring(context)) == "Fault raised on request" &&
              detail && detail->ns1__echoFault && detail->ns1__echoFault->code == 42 &&
              detail->ns1__echoFault->message == "raise-fault",
          "echoString(raise-fault)");

    std::printf("%d passed, %d failed\n", g_passed, g_failures);
    soap_destroy(context);
    soap_end(context);
    soap_free(context);
    return g_failures ? 1 : 0;
}
