// Differential fuzz target of the envelope readers: the exported Deserialize and ProcessRPC
// against the library's own reader (src/soap/envelope_reader.h), on the input layout of
// fuzz_descriptions.h. Any difference in what a caller could observe aborts.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_descriptions.h"
#include "support/read_diff.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Input const decoded = fuzz::Decode(data, size);
    if (decoded.wsdl == nullptr) {
        return 0;
    }
    corvane::test::ReadInput input;
    input.text = decoded.text;
    input.request = decoded.request;
    input.standard = decoded.standard;
    input.operation = decoded.operation;
    input.actorURI = u"urn:me";
    decoded.wsdl->GetMethodSOAPAction(input.operation, input.soapAction);
    std::string const exported = corvane::test::ReadAndDump(*decoded.wsdl, input, false);
    std::string const own = corvane::test::ReadAndDump(*decoded.wsdl, input, true);
    if (exported != own) {
        std::fprintf(stderr, "exported:%s\nown:%s\n", exported.c_str(), own.c_str());
        std::abort();
    }
    return 0;
}
