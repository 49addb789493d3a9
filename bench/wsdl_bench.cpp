// Loading a large generated WSDL description and asking it questions, compared with PHP's
// SoapClient loading the same file.
#include <benchmark/benchmark.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kOperations = 2000;
constexpr int kTypes = 2000;

// Type i: every fourth an encoded array of the previous type, every fourth (offset 1) an
// extension of the previous type, the others structs with a sequence of twenty-two members.
std::string TypeDeclaration(int i) {
    std::ostringstream out;
    const std::string name = "T" + std::to_string(i);
    const std::string previous = "typens:T" + std::to_string(i > 0 ? i - 1 : 0);
    if (i % 4 == 0 && i > 0) {
        out << "   <xsd:complexType name=\"" << name << "\">\n"
            << "    <xsd:complexContent>\n"
            << "     <xsd:restriction base=\"soapenc:Array\">\n"
            << "      <xsd:attribute ref=\"soapenc:arrayType\" wsdl:arrayType=\"" << previous
            << "[]\"/>\n"
            << "     </xsd:restriction>\n"
            << "    </xsd:complexContent>\n"
            << "   </xsd:complexType>\n";
    } else if (i % 4 == 1 && i > 1) {
        out << "   <xsd:complexType name=\"" << name << "\">\n"
            << "    <xsd:complexContent>\n"
            << "     <xsd:extension base=\"" << previous << "\">\n"
            << "      <xsd:sequence>\n";
        for (int m = 0; m < 10; ++m) {
            out << "       <xsd:element name=\"extra" << m << "\" type=\"xsd:string\""
                << " minOccurs=\"0\" maxOccurs=\"1\" nillable=\"true\"/>\n";
        }
        out << "      </xsd:sequence>\n"
            << "     </xsd:extension>\n"
            << "    </xsd:complexContent>\n"
            << "   </xsd:complexType>\n";
    } else {
        static const char* const kMemberTypes[] = {"xsd:string", "xsd:int",     "xsd:double",
                                                   "xsd:float",  "xsd:boolean", "xsd:dateTime"};
        out << "   <xsd:complexType name=\"" << name << "\">\n"
            << "    <xsd:sequence>\n";
        for (int m = 0; m < 22; ++m) {
            out << "     <xsd:element name=\"member" << m << "\" type=\"" << kMemberTypes[m % 6]
                << "\" minOccurs=\"0\" maxOccurs=\"1\" nillable=\"true\"/>\n";
        }
        out << "    </xsd:sequence>\n"
            << "   </xsd:complexType>\n";
    }
    return out.str();
}

std::string GenerateWsdl() {
    std::ostringstream out;
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<definitions name=\"Bench\" targetNamespace=\"urn:bench\"\n"
        << "  xmlns=\"http://schemas.xmlsoap.org/wsdl/\"\n"
        << "  xmlns:wsdl=\"http://schemas.xmlsoap.org/wsdl/\"\n"
        << "  xmlns:soap=\"http://schemas.xmlsoap.org/wsdl/soap/\"\n"
        << "  xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
        << "  xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
        << "  xmlns:typens=\"urn:bench:types\"\n"
        << "  xmlns:tns=\"urn:bench\">\n"
        << " <types>\n"
        << "  <xsd:schema targetNamespace=\"urn:bench:types\">\n"
        << "   <xsd:import namespace=\"http://schemas.xmlsoap.org/soap/encoding/\"/>\n";
    for (int i = 0; i < kTypes; ++i) {
        out << TypeDeclaration(i);
    }
    out << "  </xsd:schema>\n </types>\n";
    for (int i = 0; i < kOperations; ++i) {
        const std::string op = "operation" + std::to_string(i);
        out << " <message name=\"" << op << "Request\">\n"
            << "  <part name=\"name\" type=\"xsd:string\"/>\n"
            << "  <part name=\"count\" type=\"xsd:int\"/>\n"
            << "  <part name=\"payload\" type=\"typens:T" << i % kTypes << "\"/>\n"
            << "  <part name=\"factor\" type=\"xsd:double\"/>\n"
            << " </message>\n"
            << " <message name=\"" << op << "Response\">\n"
            << "  <part name=\"result\" type=\"typens:T" << (i + 1) % kTypes << "\"/>\n"
            << "  <part name=\"status\" type=\"xsd:int\"/>\n"
            << " </message>\n";
    }
    out << " <portType name=\"BenchPortType\">\n";
    for (int i = 0; i < kOperations; ++i) {
        const std::string op = "operation" + std::to_string(i);
        out << "  <operation name=\"" << op
            << "\" parameterOrder=\"name count payload factor result status\">\n"
            << "   <documentation>Operation number " << i
            << " of the generated benchmark service.</documentation>\n"
            << "   <input message=\"tns:" << op << "Request\"/>\n"
            << "   <output message=\"tns:" << op << "Response\"/>\n"
            << "  </operation>\n";
    }
    out << " </portType>\n"
        << " <binding name=\"BenchBinding\" type=\"tns:BenchPortType\">\n"
        << "  <soap:binding style=\"rpc\" transport=\"http://schemas.xmlsoap.org/soap/http\"/>\n";
    for (int i = 0; i < kOperations; ++i) {
        const std::string op = "operation" + std::to_string(i);
        out << "  <operation name=\"" << op << "\">\n"
            << "   <soap:operation soapAction=\"urn:bench#" << op << "\" style=\"rpc\"/>\n"
            << "   <input>\n"
            << "    <soap:body use=\"encoded\" namespace=\"urn:bench:service\"\n"
            << "      encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"/>\n"
            << "   </input>\n"
            << "   <output>\n"
            << "    <soap:body use=\"encoded\" namespace=\"urn:bench:service\"\n"
            << "      encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"/>\n"
            << "   </output>\n"
            << "  </operation>\n";
    }
    out << " </binding>\n"
        << " <service name=\"BenchService\">\n"
        << "  <port name=\"BenchPort\" binding=\"tns:BenchBinding\">\n"
        << "   <soap:address location=\"http://127.0.0.1:8080/bench\"/>\n"
        << "  </port>\n"
        << " </service>\n"
        << "</definitions>\n";
    return out.str();
}

const std::string& WsdlPath() {
    static const std::string path = [] {
        std::string file = (std::filesystem::temp_directory_path() / "corvane_wsdl_bench.wsdl");
        std::ofstream(file, std::ios::binary) << GenerateWsdl();
        return file;
    }();
    return path;
}

WMString Wide(const std::string& text) {
    WMString out;
    UTF8ToWideString(text, out);
    return out;
}

WMString Location() {
    return Wide("file://" + WsdlPath());
}

void LoadOnce(WMSOAPWSDLClient& client) {
    if (!client.ReadServiceDesc(u"BenchService", u"BenchPort", Location())) {
        std::cerr << "load failed\n";
        std::exit(1);
    }
}

void BM_Load(benchmark::State& state) {
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(WsdlPath()));
    for (auto _ : state) {
        WMSOAPWSDLClient client;
        LoadOnce(client);
        benchmark::DoNotOptimize(client.GetWSDLDesc());
    }
}
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// 100,000 queries of the kinds a call makes: binding details, part types, parameter walks,
// struct members and array items.
void BM_MixedQueries(benchmark::State& state) {
    WMSOAPWSDLClient client;
    LoadOnce(client);
    std::vector<WMString> ops;
    std::vector<WMString> actions;
    std::vector<WMString> types;
    for (int i = 0; i < kOperations; ++i) {
        ops.push_back(Wide("operation" + std::to_string(i)));
        actions.push_back(Wide("\"urn:bench#operation" + std::to_string(i) + "\""));
        types.push_back(Wide("T" + std::to_string(i)));
    }
    const WMString typesNS = u"urn:bench:types";
    WMString a;
    WMString b;
    WMString c;
    WMString d;
    long index = 0;
    unsigned int dims = 0;
    constexpr int kQueries = 100000;
    for (auto _ : state) {
        int answered = 0;
        for (int q = 0; q < kQueries; ++q) {
            const std::size_t i = static_cast<std::size_t>(q * 7919) % ops.size();
            bool ok = false;
            switch (q % 10) {
                case 0:
                    ok = client.GetMethodSOAPAction(ops[i], a);
                    break;
                case 1:
                    ok = client.GetOpBindingStyle(ops[i], a);
                    break;
                case 2:
                    ok = client.GetInputMsgPartType(ops[i], u"payload", a, b);
                    break;
                case 3:
                    ok = client.GetNextInParamName(ops[i], a, index = 1);
                    break;
                case 4:
                    ok = client.GetFirstStructMember(types[i], typesNS, a, b, c, d, index);
                    break;
                case 5:
                    ok = client.GetStructMemberType(types[i], typesNS, u"member7", u"", a, b);
                    break;
                case 6:
                    ok = client.GetArrayType(types[i], typesNS, a, b);
                    break;
                case 7:
                    ok = client.GetArrayDims(types[i], typesNS, dims);
                    break;
                case 8:
                    ok = client.GetOperationParamIndex(ops[i], u"factor", &index);
                    break;
                case 9:
                    ok = client.GetOpNamesBySOAPAction(actions[i], a, b);
                    break;
            }
            answered += ok ? 1 : 0;
        }
        benchmark::DoNotOptimize(answered);
    }
    // Seconds per query, printed with an SI prefix (n for nanoseconds).
    state.counters["per_query"] = benchmark::Counter(
        kQueries, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_MixedQueries)->Unit(benchmark::kMillisecond);

// Quotes `script` for the shell inside double quotes.
std::string Escape(const std::string& script) {
    std::string out;
    for (char c : script) {
        if (c == '$' || c == '"' || c == '\\' || c == '`') {
            out += '\\';
        }
        out += c;
    }
    return out;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Median wall and processor seconds of one load. Processor time is the fairer comparison on a
// machine that other work keeps busy.
struct Timing {
    double wall = -1;
    double cpu = -1;
};

constexpr int kTimedLoads = 5;

// Both sides are timed the same way: one untimed load first (so that neither pays for its
// first touch of the heap or of its code), then kTimedLoads loads in the same process, each
// including the release of everything it built, since a user waits for both.
Timing CorvaneLoad() {
    std::vector<double> walls;
    std::vector<double> cpus;
    for (int i = 0; i <= kTimedLoads; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const std::clock_t cpuStart = std::clock();
        {
            WMSOAPWSDLClient client;
            LoadOnce(client);
        }
        if (i == 0) {
            continue;
        }
        cpus.push_back(static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC);
        walls.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return {Median(walls), Median(cpus)};
}

// PHP's SoapClient loading the same file without its WSDL cache, timed inside PHP so that the
// interpreter's start-up does not count; negative when PHP is not available.
Timing PhpLoad() {
    const std::string output =
        (std::filesystem::temp_directory_path() / "corvane_wsdl_bench_php.txt").string();
    const std::string script =
        "ini_set('soap.wsdl_cache_enabled', 0);"
        "function cpu() { $r = getrusage(); return $r['ru_utime.tv_sec'] + "
        "$r['ru_utime.tv_usec'] / 1e6 + $r['ru_stime.tv_sec'] + $r['ru_stime.tv_usec'] / 1e6; }"
        "for ($i = 0; $i <= " +
        std::to_string(kTimedLoads) +
        "; ++$i) {"
        "$c = cpu(); $t = microtime(true);"
        "$client = new SoapClient('" +
        WsdlPath() +
        "', ['cache_wsdl' => WSDL_CACHE_NONE]);"
        "unset($client);"
        "$w = microtime(true) - $t; $p = cpu() - $c;"
        "if ($i > 0) { echo $w, ' ', $p, \"\\n\"; } }";
    const std::string command = "php -r \"" + Escape(script) + "\" > " + output + " 2>/dev/null";
    if (std::system(command.c_str()) != 0) {
        return {};
    }
    std::vector<double> walls;
    std::vector<double> cpus;
    std::ifstream in(output);
    double wall = -1;
    double cpu = -1;
    while (in >> wall >> cpu) {
        walls.push_back(wall);
        cpus.push_back(cpu);
    }
    std::remove(output.c_str());
    if (walls.size() != static_cast<std::size_t>(kTimedLoads)) {
        return {};
    }
    return {Median(walls), Median(cpus)};
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::cout << "generated " << WsdlPath() << ": " << std::filesystem::file_size(WsdlPath())
              << " bytes, " << kOperations << " operations, " << kTypes << " complex types\n";
    benchmark::RunSpecifiedBenchmarks();
    const Timing corvane = CorvaneLoad();
    const Timing php = PhpLoad();
    std::cout << "median load: Corvane " << corvane.wall * 1000 << " ms wall, "
              << corvane.cpu * 1000 << " ms processor";
    if (php.wall > 0) {
        std::cout << "; PHP SoapClient " << php.wall * 1000 << " ms wall, " << php.cpu * 1000
                  << " ms processor; PHP/Corvane " << php.wall / corvane.wall << " (wall), "
                  << php.cpu / corvane.cpu << " (processor)";
    } else {
        std::cout << "; PHP SoapClient not available (php8.2-cli, php8.2-soap)";
    }
    std::cout << "\n";
    benchmark::Shutdown();
    std::remove(WsdlPath().c_str());
    return 0;
}
