// Reading an echoStructArrayResponse of 10,000 (and of 100) SOAPStruct items the way the client
// reads it (src/soap/envelope_reader.h, without the literal body text, which the client never
// shows), the same with that text written as a message's reader has it, and through the exported
// WMSOAPMessage::Deserialize and ProcessRPC, against PHP's SoapClient reading the same answer.
//
// Both sides are measured alike: from the moment the answer's text is in hand (in the message's
// buffer; returned by __doRequest) to the decoded values, in processor time; and the memory as
// the growth of the resident set's peak over that same span, in a process that has decoded a
// small answer before. PHP's own memory_get_peak_usage is printed too, but it leaves out what
// libxml2 allocates for the document tree, so it is not the figure compared.
#include <corvane/message.h>
#include <corvane/server.h>
#include <corvane/utf8.h>
#include <corvane/values.h>
#include <corvane/wsdl.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "soap/envelope_reader.h"

namespace {

std::string const kWsdlPath = std::string(CORVANE_TEST_DATA) + "/wsdl/round2_base.wsdl";

// The answer PHP's SoapServer gives (see tests/data/peers/php/echoStructArray.xml), with
// `items` items "item number i", i, i + 0.5.
std::string Response(int items) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope "
        "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:ns1=\"http://soapinterop.org/\" xmlns:ns2=\"http://soapinterop.org/xsd\" "
        "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><SOAP-ENV:Body>"
        "<ns1:echoStructArrayResponse><outputStructArray SOAP-ENC:arrayType=\"ns2:SOAPStruct[" +
        std::to_string(items) + "]\" xsi:type=\"ns2:ArrayOfSOAPStruct\">";
    for (int i = 0; i < items; ++i) {
        text +=
            "<item xsi:type=\"ns2:SOAPStruct\"><varString xsi:type=\"xsd:string\">item number " +
            std::to_string(i) + "</varString><varInt xsi:type=\"xsd:int\">" + std::to_string(i) +
            "</varInt><varFloat xsi:type=\"xsd:float\">" + std::to_string(i) +
            ".5</varFloat></item>";
    }
    return text +
           "</outputStructArray></ns1:echoStructArrayResponse></SOAP-ENV:Body>"
           "</SOAP-ENV:Envelope>\n";
}

// Which road a read takes.
enum class Path { kClient, kLiteralBody, kExported };

struct Fixture {
    WMSOAPWSDLClient wsdl;
    WMString text;
    int items;

    explicit Fixture(int count) : items(count) {
        WMString location;
        UTF8ToWideString("file://" + kWsdlPath, location);
        if (!wsdl.ReadServiceDesc(u"InteropTest", u"InteropTestPort", location)) {
            std::fprintf(stderr, "cannot read %s\n", kWsdlPath.c_str());
            std::exit(1);
        }
        UTF8ToWideString(Response(count), text);
    }

    // A fresh message holding the answer, as the client has it once the answer has arrived.
    void Prepare(WMSOAPMessage& message) const {
        message.SetBuffer(text);
        message.SetMethodName(u"echoStructArray");
        message.SetRequestPhase(false);
    }

    // One read of a prepared message.
    void Read(WMSOAPMessage& message, Path path) {
        try {
            if (path == Path::kExported) {
                message.Deserialize(wsdl);
                message.ProcessRPC(wsdl);
            } else {
                corvane::detail::ReadResponse(message, wsdl,
                                              path == Path::kClient
                                                  ? corvane::detail::BodyText::kLeftOut
                                                  : corvane::detail::BodyText::kKept);
            }
        } catch (WMSOAPFault* fault) {
            delete fault;
            std::fprintf(stderr, "the answer did not decode\n");
            std::exit(1);
        }
        if (message.GetReturnValue().ArrayValue().size() != static_cast<std::size_t>(items)) {
            std::fprintf(stderr, "wrong number of items\n");
            std::exit(1);
        }
    }

    void Decode(Path path) {
        WMSOAPMessage message;
        Prepare(message);
        Read(message, path);
    }
};

Fixture& Shared(int items) {
    static Fixture large(10000);
    static Fixture small(100);
    return items == 10000 ? large : small;
}

void BM_DecodeStructArray(benchmark::State& state) {
    Fixture& f = Shared(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        f.Decode(Path::kClient);
    }
    state.SetItemsProcessed(state.iterations() * f.items);
}
BENCHMARK(BM_DecodeStructArray)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_DecodeStructArrayExported(benchmark::State& state) {
    Fixture& f = Shared(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        f.Decode(Path::kExported);
    }
    state.SetItemsProcessed(state.iterations() * f.items);
}
BENCHMARK(BM_DecodeStructArrayExported)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

// Processor time, not wall time: the machine is shared.
// The message's destruction (freeing the values) counts, as PHP's freeing of its DOM does.
double BestCorvaneNanosInProcess(Fixture& f, int runs, Path path) {
    double best = 1e300;
    for (int run = 0; run < runs; ++run) {
        auto message = std::make_unique<WMSOAPMessage>();
        f.Prepare(*message);
        std::clock_t const start = std::clock();
        f.Read(*message, path);
        message.reset();
        best = std::min(best, 1e9 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    return best;
}

// PHP's time per call falls into one of two levels from one process to the next, so each side
// is timed as the best of its runs in each of several processes, and the best of those counts.
constexpr int kTimingProcesses = 3;

template <class Measure>
double InChild(Measure measure);

double BestCorvaneNanos(Fixture& f, int runs, Path path) {
    double best = 1e300;
    for (int process = 0; process < kTimingProcesses; ++process) {
        best = std::min(
            best, InChild([&f, runs, path] { return BestCorvaneNanosInProcess(f, runs, path); }));
    }
    return best;
}

// A field of /proc/self/status in kilobytes (Linux).
long StatusKilobytes(std::string const& field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field + ":", 0) == 0) {
            return std::atol(line.c_str() + field.size() + 1);
        }
    }
    return 0;
}

// Peak resident memory during one read above the resident memory before it: writing 5 to
// clear_refs resets the peak to the current level. A small answer is read first, as PHP's side
// does, so that neither side counts the allocations of a first call.
double PeakMegabytesOfOneDecode(Fixture& f, Path path) {
    Shared(100).Decode(path);
    WMSOAPMessage message;
    f.Prepare(message);
    std::ofstream("/proc/self/clear_refs") << "5";
    long const before = StatusKilobytes("VmRSS");
    f.Read(message, path);
    return static_cast<double>(StatusKilobytes("VmHWM") - before) / 1000.0;
}

// An echoStructArray request of `items` items, as Corvane's client writes it.
std::string Request(int items) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SOAP-ENV:Envelope "
        "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"><SOAP-ENV:Body>"
        "<m:echoStructArray SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:m=\"http://soapinterop.org/\"><inputStructArray "
        "SOAP-ENC:arrayType=\"nsa:SOAPStruct[" +
        std::to_string(items) +
        "]\" xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:nsa=\"http://soapinterop.org/xsd\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">";
    for (int i = 0; i < items; ++i) {
        text += "<item><varString xsi:type=\"xsd:string\">item number " + std::to_string(i) +
                "</varString><varInt xsi:type=\"xsd:int\">" + std::to_string(i) +
                "</varInt><varFloat xsi:type=\"xsd:float\">" + std::to_string(i) +
                ".5</varFloat></item>";
    }
    return text + "</inputStructArray></m:echoStructArray></SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

// Peak resident memory while WMSOAPServerCall reads a request of 10,000 items and hands its
// parameter over, as a multiple of the request's size in bytes; or (`exported`) while a message
// reads it through the exported Deserialize and ProcessRPC, as the server call once did.
double ServerPeakPerRequestByte(WMSOAPWSDLClient& wsdl, bool exported) {
    std::string const body = Request(10000);
    std::ofstream("/proc/self/clear_refs") << "5";
    long const before = StatusKilobytes("VmRSS");
    if (exported) {
        WMSOAPMessage message;
        WMString text;
        UTF8ToWideString(body, text);
        message.SetBuffer(text);
        message.Initialize(nullptr, 0, WMString(), WMString(), WMString(), u"\"http://\"",
                           WMString(), false);
        message.Deserialize(wsdl);
        message.ProcessRPC(wsdl);
    } else {
        WMSOAPServerCall call(wsdl);
        WMSOAPStructMember input;
        if (!call.ReadRequest(body, "\"http://\"") || !call.GetParam(u"inputStructArray", input) ||
            input.ArrayValue().size() != 10000) {
            std::fprintf(stderr, "the request did not decode\n");
            std::exit(1);
        }
    }
    return 1000.0 * static_cast<double>(StatusKilobytes("VmHWM") - before) /
           static_cast<double>(body.size());
}

// Runs a measurement in a child process, so that each starts from the same allocator state:
// memory that an earlier read gave back to the allocator would hide a later read's peak.
template <class Measure>
double InChild(Measure measure) {
    int fds[2];
    if (pipe(fds) != 0) {
        std::exit(1);
    }
    pid_t const child = fork();
    if (child == 0) {
        double const value = measure();
        ssize_t const written = write(fds[1], &value, sizeof value);
        _exit(written == sizeof value ? 0 : 1);
    }
    double value = 0;
    ssize_t const got = read(fds[0], &value, sizeof value);
    close(fds[0]);
    close(fds[1]);
    int status = 0;
    waitpid(child, &status, 0);
    if (got != sizeof value || status != 0) {
        std::exit(1);
    }
    return value;
}

// What PHP's SoapClient measures of one answer of `items` items, __doRequest returning the
// answer: the processor time from the moment the answer is handed back to the values' release
// (best of as many runs and processes as Corvane has), and, in a process of its own after a call
// with a 100-item answer, the growth of the resident set's peak and memory_get_peak_usage over one
// call.
struct PhpFigures {
    double nanos = 0;
    double residentBytes = 0;
    double heapBytes = 0;
};

bool RunPhp(int items, int runs, PhpFigures& figures) {
    auto const dir = std::filesystem::temp_directory_path();
    auto const answer = dir / "corvane_deserializer_bench_answer.xml";
    auto const warmUp = dir / "corvane_deserializer_bench_warm_up.xml";
    auto const out = dir / "corvane_deserializer_bench_php.txt";
    std::ofstream(answer, std::ios::binary) << Response(items);
    std::ofstream(warmUp, std::ios::binary) << Response(100);
    std::string const common =
        "function cpu() { $u = getrusage(); return 1000 * (1000000 * ($u[\"ru_utime.tv_sec\"]"
        " + $u[\"ru_stime.tv_sec\"]) + $u[\"ru_utime.tv_usec\"] + $u[\"ru_stime.tv_usec\"]); }"
        " function kb($f) { foreach (file(\"/proc/self/status\") as $l) {"
        " if (strpos($l, $f . \":\") === 0) { return intval(substr($l, strlen($f) + 1)); } }"
        " return 0; }"
        " class C extends SoapClient { public $t0; public $answer;"
        " function __doRequest($r, $l, $a, $v, $o = 0): ?string {"
        " $this->t0 = cpu(); return $this->answer; } }"
        " $c = new C(\"" +
        kWsdlPath + "\", array(\"location\" => \"http://localhost/\"));";
    std::string const timing =
        " $c->answer = file_get_contents(\"" + answer.string() +
        "\"); $best = PHP_INT_MAX;"
        " for ($k = 0; $k < " +
        std::to_string(runs) +
        "; $k++) { $r = $c->echoStructArray(array()); $n = count($r);"
        " unset($r); $t1 = cpu(); if ($n != " +
        std::to_string(items) +
        ") { exit(1); } $best = min($best, $t1 - $c->t0); } echo $best, \"\\n\";";
    std::string const memory =
        " $c->answer = file_get_contents(\"" + warmUp.string() +
        "\"); $r = $c->echoStructArray(array()); unset($r);"
        " $c->answer = file_get_contents(\"" +
        answer.string() +
        "\"); $m0 = memory_get_usage(); memory_reset_peak_usage();"
        " file_put_contents(\"/proc/self/clear_refs\", \"5\"); $rss = kb(\"VmRSS\");"
        " $r = $c->echoStructArray(array());"
        " echo 1000 * (kb(\"VmHWM\") - $rss), \" \", memory_get_peak_usage() - $m0, \"\\n\";";
    bool ran = true;
    for (int process = 0; process < kTimingProcesses; ++process) {
        std::string const command = "php -r '" + common + timing + "' >> '" + out.string() + "'";
        ran = ran && std::system(command.c_str()) == 0;
    }
    std::string const command = "php -r '" + common + memory + "' >> '" + out.string() + "'";
    ran = ran && std::system(command.c_str()) == 0;
    std::ifstream in(out);
    bool read = ran;
    figures.nanos = 1e300;
    for (int process = 0; read && process < kTimingProcesses; ++process) {
        double nanos = 0;
        read = static_cast<bool>(in >> nanos);
        figures.nanos = std::min(figures.nanos, nanos);
    }
    read = read && static_cast<bool>(in >> figures.residentBytes >> figures.heapBytes);
    in.close();
    std::filesystem::remove(out);
    std::filesystem::remove(answer);
    std::filesystem::remove(warmUp);
    return read;
}

}  // namespace

int main(int argc, char** argv) {
    // Memory first, each in a process of its own.
    double megabytes[2];
    double exportedMegabytes[2];
    for (int index : {0, 1}) {
        Fixture& f = Shared(index == 0 ? 100 : 10000);
        megabytes[index] = InChild([&f] { return PeakMegabytesOfOneDecode(f, Path::kClient); });
        exportedMegabytes[index] =
            InChild([&f] { return PeakMegabytesOfOneDecode(f, Path::kExported); });
    }
    double const serverPeak =
        InChild([] { return ServerPeakPerRequestByte(Shared(100).wsdl, false); });
    double const exportedServerPeak =
        InChild([] { return ServerPeakPerRequestByte(Shared(100).wsdl, true); });

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    int index = 0;
    for (int items : {100, 10000}) {
        Fixture& f = Shared(items);
        int const runs = items == 100 ? 200 : 10;
        double const corvane = BestCorvaneNanos(f, runs, Path::kClient);
        double const literal = BestCorvaneNanos(f, runs, Path::kLiteralBody);
        double const exported = BestCorvaneNanos(f, runs, Path::kExported);
        std::printf("\nechoStructArrayResponse, %d SOAPStruct items, processor time\n", items);
        std::printf("  Corvane:           %8.1f ns per item, peak memory %.1f MB\n",
                    corvane / items, megabytes[index]);
        std::printf("  Corvane, body text:%8.1f ns per item (the literal body written too)\n",
                    literal / items);
        std::printf("  Corvane, exported: %8.1f ns per item, peak memory %.1f MB\n",
                    exported / items, exportedMegabytes[index]);
        ++index;
        PhpFigures php;
        if (!RunPhp(items, runs, php)) {
            std::printf(
                "  PHP SoapClient:    not measured (php with the soap extension is needed)\n");
            continue;
        }
        std::printf(
            "  PHP SoapClient:    %8.1f ns per item, peak memory %.1f MB (its heap alone, "
            "without libxml2's: %.1f MB)\n",
            php.nanos / items, php.residentBytes / 1e6, php.heapBytes / 1e6);
        std::printf("  Corvane is %.1f times faster per item (%.1f with the body text)\n",
                    php.nanos / corvane, php.nanos / literal);
        // At 100 items both peaks are a few pages, too few to compare.
        if (items == 10000) {
            std::printf("  Corvane's peak memory is %.2f times PHP's\n",
                        megabytes[index - 1] / (php.residentBytes / 1e6));
        }
    }
    std::printf(
        "\nWMSOAPServerCall reading an echoStructArray request of 10,000 items: peak memory "
        "%.1f times the request's size (%.1f through the exported operations)\n",
        serverPeak, exportedServerPeak);
    return 0;
}
