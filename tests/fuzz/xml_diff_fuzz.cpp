// Differential fuzz target: WMXMLParser and the internal reader must agree on every input, in
// tree and event mode (events, error line, tree, written texts). The first byte chooses how the
// rest becomes wide text, as in xml_fuzz: even, 16-bit code units; odd, through UTF-8.
#include <corvane/utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../xml/reader_diff.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    WMString text;
    if (data[0] & 1) {
        UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 1), size - 1), text);
    } else {
        for (std::size_t i = 1; i + 1 < size; i += 2) {
            text += static_cast<WMChar>(data[i] | (data[i + 1] << 8));
        }
    }
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
