// Differential fuzz target: the WSDL loader on the internal reader and on WMXMLParser must build
// the same description, or fail with the same error, for every input. The bytes are a document
// file, read as the loader reads files (each byte one code unit).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "../wsdl/load_diff.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    // An import could reach for the network; imports are compared on the test data instead.
    if (bytes.find("import") != std::string::npos) {
        return 0;
    }
    static std::string const path = "/tmp/wsdl_diff_fuzz_" + std::to_string(getpid()) + ".wsdl";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    std::string const expected = loaddiff::LoadResult(path, WMString(), true);
    std::string const actual = loaddiff::LoadResult(path, WMString(), false);
    if (expected != actual) {
        std::fprintf(stderr, "parser:\n%s\nreader:\n%s\n", expected.c_str(), actual.c_str());
        std::abort();
    }
    return 0;
}
