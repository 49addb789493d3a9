// Differential fuzz target: WMXMLParser and the internal reader must agree on every input, in
// tree and event mode (events, error line, tree, written texts). The input becomes wide text
// as in xml_fuzz (see readerdiff::FuzzText).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../xml/reader_diff.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    WMString const text = readerdiff::FuzzText(data, size);
    for (bool buildTree : {true, false}) {
        std::string const expected = readerdiff::ParserResult(text, buildTree);
        std::string const actual = readerdiff::ReaderResult(text, buildTree);
        if (expected != actual) {
            std::fprintf(stderr, "parser:\n%s\nreader:\n%s\n", expected.c_str(), actual.c_str());
            std::abort();
        }
    }
    return 0;
}
