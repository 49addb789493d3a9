// Parsing speed and tree memory on a ~20 MB SOAP response: Corvane's exported parser and its
// internal reader, each in tree and event mode, against libxml2 (DOM), expat (events) and
// pugixml (DOM). Throughput is reported in MB/s of the document's UTF-8 size
// (bytes_per_second); the peers parse the UTF-8 bytes, Corvane the UTF-16 text. Before the
// timings the program prints the memory held by each of Corvane's trees; after them, the
// ratios of the reader's rates to the peers'.
#include <benchmark/benchmark.h>
#include <corvane/utf8.h>
#include <corvane/xml_parser.h>
#include <expat.h>
#include <libxml/parser.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "xml/reader.h"

// Counts the memory of every operator new of the program, as glibc's malloc lays it out (a
// chunk is the request plus 8 bytes, rounded up to 16, at least 32), so that the figure is what
// the process really spends. The peers allocate with malloc and are not counted.
namespace {

// Counting is on only while the memory is measured, so the timings do not pay for it.
bool g_counting = false;
std::atomic<long long> g_live{0};
std::atomic<long long> g_peak{0};

std::size_t ChunkSize(std::size_t size) {
    std::size_t const chunk = (size + 8 + 15) & ~std::size_t{15};
    return chunk < 32 ? 32 : chunk;
}

void* CountedAlloc(std::size_t size) {
    void* block = std::malloc(size + 16);
    if (!block) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t*>(block) = g_counting ? size : 0;
    if (!g_counting) {
        return static_cast<char*>(block) + 16;
    }
    long long const live = g_live += static_cast<long long>(ChunkSize(size));
    long long peak = g_peak.load();
    while (live > peak && !g_peak.compare_exchange_weak(peak, live)) {
    }
    return static_cast<char*>(block) + 16;
}

void CountedFree(void* pointer) {
    if (pointer) {
        void* block = static_cast<char*>(pointer) - 16;
        std::size_t const size = *static_cast<std::size_t*>(block);
        if (size) {
            g_live -= static_cast<long long>(ChunkSize(size));
        }
        std::free(block);
    }
}

}  // namespace

void* operator new(std::size_t size) {
    return CountedAlloc(size);
}
void* operator new[](std::size_t size) {
    return CountedAlloc(size);
}
void operator delete(void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}

namespace {

// An echoStructArrayResponse: a SOAP-ENC array of structs whose members carry xsi:type, with
// namespace declarations on the envelope, the method element, the array and some items, and
// entity references in the strings.
std::string MakeResponse(std::size_t targetBytes) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
        "<SOAP-ENV:Body>\n"
        "<ns1:echoStructArrayResponse xmlns:ns1=\"http://soapinterop.org/\">\n"
        "<return xmlns:ns2=\"http://soapinterop.org/xsd\" xsi:type=\"SOAP-ENC:Array\" "
        "SOAP-ENC:arrayType=\"ns2:SOAPStruct[]\">\n";
    xml.reserve(targetBytes + 1024);
    for (long i = 0; xml.size() < targetBytes; ++i) {
        std::string const n = std::to_string(i);
        if (i % 50 == 0) {
            xml += "<item xmlns:ns3=\"http://soapinterop.org/xsd\" xsi:type=\"ns3:SOAPStruct\">";
        } else {
            xml += "<item xsi:type=\"ns2:SOAPStruct\">";
        }
        xml += "<varString xsi:type=\"xsd:string\">String &amp; value " + n +
               " &lt;x&gt;</varString><varInt xsi:type=\"xsd:int\">" + n +
               "</varInt><varFloat xsi:type=\"xsd:float\">" + n + ".5</varFloat></item>\n";
    }
    xml += "</return>\n</ns1:echoStructArrayResponse>\n</SOAP-ENV:Body>\n</SOAP-ENV:Envelope>\n";
    return xml;
}

struct Document {
    std::string utf8;
    WMString utf16;
    Document() : utf8(MakeResponse(20u << 20)) { UTF8ToWideString(utf8, utf16); }
};

Document const& Doc() {
    static Document const doc;
    return doc;
}

class NullHandler : public WMXMLEventHandler {
public:
    int StartElement(WMString const&, WMString const&, WMString const&, WMXMLAttributeMap&,
                     WMXMLElement*) override {
        return 0;
    }
};

void CorvaneTree(benchmark::State& state) {
    Document const& doc = Doc();
    for (auto _ : state) {
        WMXMLParser parser;
        parser.ParseXML(doc.utf16, nullptr);
        benchmark::DoNotOptimize(parser.GetDocRoot());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

void CorvaneEvents(benchmark::State& state) {
    Document const& doc = Doc();
    NullHandler handler;
    for (auto _ : state) {
        WMXMLParser parser;
        parser.SetBuildTree(false);
        parser.ParseXML(doc.utf16, &handler);
        benchmark::DoNotOptimize(parser.GetDocRoot());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

class NullEvents : public corvane::detail::XMLReadEvents {
public:
    void StartElement(corvane::detail::XMLNode const&, corvane::detail::XMLNode const*) override {}
    void EndElement(corvane::detail::XMLNode const&, corvane::detail::XMLNode const*) override {}
    void PI(std::u16string_view, std::u16string_view) override {}
};

void ReaderTree(benchmark::State& state) {
    Document const& doc = Doc();
    for (auto _ : state) {
        corvane::detail::XMLDocument document;
        int line = 1;
        if (!document.Read(doc.utf16, line, true, nullptr)) {
            state.SkipWithError("reader failed");
        }
        benchmark::DoNotOptimize(document.Root());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

void ReaderEvents(benchmark::State& state) {
    Document const& doc = Doc();
    NullEvents events;
    for (auto _ : state) {
        corvane::detail::XMLDocument document;
        int line = 1;
        if (!document.Read(doc.utf16, line, false, &events)) {
            state.SkipWithError("reader failed");
        }
        benchmark::DoNotOptimize(document.Root());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

void Libxml2Dom(benchmark::State& state) {
    Document const& doc = Doc();
    for (auto _ : state) {
        xmlDocPtr tree = xmlReadMemory(doc.utf8.data(), static_cast<int>(doc.utf8.size()),
                                       "response.xml", nullptr, XML_PARSE_NONET);
        if (!tree) {
            state.SkipWithError("libxml2 failed");
            break;
        }
        xmlFreeDoc(tree);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

void XMLCALL ExpatStart(void*, XML_Char const*, XML_Char const**) {}
void XMLCALL ExpatEnd(void*, XML_Char const*) {}
void XMLCALL ExpatText(void*, XML_Char const*, int) {}

void ExpatEvents(benchmark::State& state) {
    Document const& doc = Doc();
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreateNS(nullptr, ' ');
        XML_SetElementHandler(parser, ExpatStart, ExpatEnd);
        XML_SetCharacterDataHandler(parser, ExpatText);
        if (XML_Parse(parser, doc.utf8.data(), static_cast<int>(doc.utf8.size()), 1) !=
            XML_STATUS_OK) {
            state.SkipWithError("expat failed");
        }
        XML_ParserFree(parser);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

void PugixmlDom(benchmark::State& state) {
    Document const& doc = Doc();
    for (auto _ : state) {
        pugi::xml_document tree;
        if (!tree.load_buffer(doc.utf8.data(), doc.utf8.size())) {
            state.SkipWithError("pugixml failed");
        }
        benchmark::DoNotOptimize(tree.first_child());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.utf8.size()));
}

BENCHMARK(CorvaneTree)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(CorvaneEvents)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(ReaderTree)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(ReaderEvents)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(Libxml2Dom)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(ExpatEvents)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(PugixmlDom)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void PrintMemory() {
    Document const& doc = Doc();
    double const mib = 1024.0 * 1024.0;
    double const text = static_cast<double>(doc.utf16.size() * sizeof(WMChar));
    g_counting = true;
    auto* parser = new WMXMLParser;
    parser->ParseXML(doc.utf16, nullptr);
    g_counting = false;
    double const tree = static_cast<double>(g_live.load());
    double const peak = static_cast<double>(g_peak.load());
    delete parser;
    std::printf("document: %.1f MiB UTF-8, %.1f MiB UTF-16\n", doc.utf8.size() / mib, text / mib);
    std::printf("Corvane tree: %.1f MiB held after the parse (%.2f x the UTF-16 text)\n",
                tree / mib, tree / text);
    std::printf("Corvane tree parse: %.1f MiB peak above the caller's text (%.2f x)\n", peak / mib,
                peak / text);

    g_live = 0;
    g_peak = 0;
    g_counting = true;
    auto* document = new corvane::detail::XMLDocument;
    int line = 1;
    document->Read(doc.utf16, line, true, nullptr);
    g_counting = false;
    double const arena = static_cast<double>(document->ArenaBytes());
    double const readerPeak = static_cast<double>(g_peak.load());
    delete document;
    // The arena takes its blocks from malloc directly; the counter sees the reader's own work.
    std::printf("reader tree: %.1f MiB of arena (%.2f x the UTF-16 text), %.1f MiB peak besides\n",
                arena / mib, arena / text, readerPeak / mib);
}

// Prints each run as usual and, at the end, the reader's rates against the peers'.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs) {
            // With repetitions, the medians stand for the benchmark.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") {
                continue;
            }
            auto const rate = run.counters.find("bytes_per_second");
            if (rate != run.counters.end()) {
                m_rates[run.run_name.function_name] = rate->second.value;
            }
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        Ratio("ReaderEvents", "ExpatEvents");
        Ratio("ReaderEvents", "CorvaneEvents");
        Ratio("ReaderTree", "Libxml2Dom");
        Ratio("ReaderTree", "CorvaneTree");
        Ratio("ReaderTree", "PugixmlDom");
    }

private:
    void Ratio(std::string const& mine, std::string const& theirs) {
        auto const a = m_rates.find(mine);
        auto const b = m_rates.find(theirs);
        if (a != m_rates.end() && b != m_rates.end() && b->second > 0) {
            std::printf("%s / %s: %.2f (%.1f / %.1f MB/s)\n", mine.c_str(), theirs.c_str(),
                        a->second / b->second, a->second / 1e6, b->second / 1e6);
        }
    }
    std::map<std::string, double> m_rates;
};

}  // namespace

int main(int argc, char** argv) {
    PrintMemory();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) {
            std::printf("process peak resident memory: %s\n", line.c_str() + 6);
        }
    }
    return 0;
}
