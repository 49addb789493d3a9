// Hostile documents at a size and at twice that size: the time ratio shows that each parses
// (or fails) in time linear in its length. Each shape is timed in tree and in event mode, with
// the exported parser and with the internal reader, best of three runs in processor time (the
// machine is shared: wall time moves with the others' load); the table ends with
// the worst ratio of each. Shapes that finish in under 20 ms
// are listed but not ranked: their time is mostly the copy of the input and its page faults,
// which the allocator serves differently for different sizes.
#include <benchmark/benchmark.h>
#include <corvane/xml_parser.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "xml/reader.h"

namespace {

WMString Repeat(WMString const& piece, std::size_t count) {
    WMString out;
    out.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        out += piece;
    }
    return out;
}

WMString Number(std::size_t value) {
    std::string const digits = std::to_string(value);
    return WMString(digits.begin(), digits.end());
}

struct Shape {
    char const* name;
    std::function<WMString(std::size_t)> make;  // a document of about n code units
};

std::vector<Shape> Shapes() {
    return {
        {"one element, many attributes",
         [](std::size_t n) {
             WMString text = u"<a";
             for (std::size_t i = 0; text.size() < n; ++i) {
                 text += u" n" + Number(i) + u"='v'";
             }
             return text + u"/>";
         }},
        {"many namespace declarations",
         [](std::size_t n) {
             WMString text = u"<a";
             for (std::size_t i = 0; text.size() < n; ++i) {
                 text += u" xmlns:p" + Number(i) + u"='urn:x'";
             }
             return text + u"><p0:b p1:c=''/></a>";
         }},
        {"large text node", [](std::size_t n) { return u"<a>" + WMString(n, u'x') + u"</a>"; }},
        {"references in text",
         [](std::size_t n) { return u"<a>" + Repeat(u"&amp;", n / 5) + u"</a>"; }},
        {"line ends in text",
         [](std::size_t n) { return u"<a>" + Repeat(u"\r\n\r", n / 3) + u"</a>"; }},
        {"sibling elements",
         [](std::size_t n) { return u"<a>" + Repeat(u"<b/>", n / 4) + u"</a>"; }},
        {"large attribute value",
         [](std::size_t n) { return u"<a v='" + WMString(n, u'x') + u"'/>"; }},
        {"long element name",
         [](std::size_t n) {
             WMString const name(n / 2, u'n');
             return u"<" + name + u"></" + name + u">";
         }},
        {"nesting far beyond the limit", [](std::size_t n) { return Repeat(u"<a>", n / 3); }},
        {"unterminated content", [](std::size_t n) { return u"<a>" + Repeat(u"<b>x</b>", n / 8); }},
        {"unterminated comment", [](std::size_t n) { return u"<a><!--" + Repeat(u"-x", n / 2); }},
        {"unterminated CDATA",
         [](std::size_t n) { return u"<a><![CDATA[" + Repeat(u"]]x", n / 3); }},
        {"unterminated attribute value",
         [](std::size_t n) { return u"<a v='" + Repeat(u"&lt;", n / 4); }},
        {"unterminated DOCTYPE",
         [](std::size_t n) { return u"<!DOCTYPE a " + Repeat(u"<!x>", n / 4); }},
        {"document type declarations",
         [](std::size_t n) { return Repeat(u"<!DOCTYPE a>", n / 12) + u"<a/>"; }},
    };
}

class NullHandler : public WMXMLEventHandler {
public:
    int StartElement(WMString const&, WMString const&, WMString const&, WMXMLAttributeMap&,
                     WMXMLElement*) override {
        return 0;
    }
};

class NullEvents : public corvane::detail::XMLReadEvents {
public:
    void StartElement(corvane::detail::XMLNode const&, corvane::detail::XMLNode const*) override {}
    void EndElement(corvane::detail::XMLNode const&, corvane::detail::XMLNode const*) override {}
    void PI(std::u16string_view, std::u16string_view) override {}
};

double Seconds(WMString const& text, bool buildTree, bool reader, int runs = 3) {
    double best = 1e9;
    for (int run = 0; run < runs; ++run) {
        NullHandler handler;
        NullEvents events;
        // Each run starts without the blocks an earlier read kept, so that both sizes pay for
        // the pages of their arena alike.
        corvane::detail::ReleaseReaderBlocks();
        std::clock_t const start = std::clock();
        if (reader) {
            corvane::detail::XMLDocument document;
            int line = 1;
            document.Read(text, line, buildTree, &events);
        } else {
            WMXMLParser parser;
            parser.SetBuildTree(buildTree);
            try {
                parser.ParseXML(text, &handler);
            } catch (int) {
            }
        }
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    return best;
}

void ParseHostile(benchmark::State& state) {
    std::vector<Shape> const shapes = Shapes();
    Shape const& shape = shapes[static_cast<std::size_t>(state.range(0))];
    WMString const text = shape.make(static_cast<std::size_t>(state.range(1)));
    for (auto _ : state) {
        WMXMLParser parser;
        try {
            parser.ParseXML(text, nullptr);
        } catch (int) {
        }
    }
    state.SetLabel(shape.name);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size() * 2));
}

void PrintRatios() {
    std::size_t const n = 4u << 20;
    double worst[2] = {0, 0};
    char const* worstName[2] = {"", ""};
    std::printf("%-32s %10s %10s %7s   (tree mode | event mode, parser | reader)\n", "shape", "n s",
                "2n s", "ratio");
    for (Shape const& shape : Shapes()) {
        WMString const small = shape.make(n);
        WMString const large = shape.make(2 * n);
        for (bool reader : {false, true}) {
            for (bool buildTree : {true, false}) {
                double const a = Seconds(small, buildTree, reader);
                double const b = Seconds(large, buildTree, reader);
                double const ratio = b / a;
                std::printf("%-32s %10.4f %10.4f %7.2f   %s, %s%s\n", shape.name, a, b, ratio,
                            buildTree ? "tree" : "events", reader ? "reader" : "parser",
                            a < 0.02 ? " (not ranked)" : "");
                if (a >= 0.02 && ratio > worst[reader]) {
                    worst[reader] = ratio;
                    worstName[reader] = shape.name;
                }
            }
        }
    }
    std::printf("worst ratio for twice the size: parser %.2f (%s), reader %.2f (%s)\n", worst[0],
                worstName[0], worst[1], worstName[1]);
}

BENCHMARK(ParseHostile)
    ->ArgsProduct({benchmark::CreateDenseRange(0, 14, 1), {1 << 20}})
    ->Unit(benchmark::kMillisecond);

// CORVANE_HOSTILE_PROFILE=SHAPE,SIZE,tree|events,parser|reader parses that one document once
// and prints nothing else: for callgrind, to compare the instructions and cache misses of a shape
// at n and at 2n with what the time ratio says.
bool ProfileOne() {
    char const* wanted = std::getenv("CORVANE_HOSTILE_PROFILE");
    if (wanted == nullptr) {
        return false;
    }
    std::size_t shape = 0;
    std::size_t size = 0;
    char mode[8] = {};
    char side[8] = {};
    std::vector<Shape> const shapes = Shapes();
    if (std::sscanf(wanted, "%zu,%zu,%7[a-z],%7[a-z]", &shape, &size, mode, side) != 4 ||
        shape >= shapes.size()) {
        std::fprintf(stderr, "CORVANE_HOSTILE_PROFILE: SHAPE,SIZE,tree|events,parser|reader\n");
        std::exit(2);
    }
    WMString const text = shapes[shape].make(size);
    std::printf("%s, %zu units: %.4f s\n", shapes[shape].name, text.size(),
                Seconds(text, std::string(mode) == "tree", std::string(side) == "reader", 1));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (ProfileOne()) {
        return 0;
    }
    PrintRatios();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
