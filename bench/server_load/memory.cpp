// The heap one request takes while the example server serves it, against the request's size.
//
//   server_memory WSDL [ITEMS...]
//
// For each count (default 100, 1000 and 10000) an echoStructArray request of that many structs
// is served as examples/interop_server serves it (WMSOAPServerCall: ReadRequest, TakeParam,
// SetReturnValue, WriteResponse), in the default and in the standard wire mode. Every
// allocation is counted (as the allocator sizes it), so the figures are exact and unaffected by
// other work on the machine; malloc itself is replaced, since the reader takes its blocks from
// it rather than from operator new: the peak of the heap above what was live before the call while
// the request is read, what is held between reading and writing, and the peak while the answer is
// written (the answer included). The request body itself is not counted, as the HTTP server
// holds it anyway. peak/req is the larger peak over the request's bytes. The answer is checked
// for every struct so that a cheap wrong answer cannot pass.
#include <corvane/corvane.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

// glibc's own allocator, under the names it exports for replacements of malloc to call.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

std::size_t g_live = 0;
std::size_t g_peak = 0;

void* Count(void* block) {
    if (block != nullptr) {
        g_live += malloc_usable_size(block);
        g_peak = std::max(g_peak, g_live);
    }
    return block;
}

void Uncount(void* block) {
    if (block != nullptr) {
        g_live -= malloc_usable_size(block);
    }
}

std::string Request(int n) {
    std::string items;
    for (int i = 0; i < n; ++i) {
        std::string const k = std::to_string(i);
        items += "<item xsi:type=\"s:SOAPStruct\"><varString xsi:type=\"xsd:string\">s" + k +
                 "</varString><varInt xsi:type=\"xsd:int\">" + k +
                 "</varInt><varFloat xsi:type=\"xsd:float\">" + k + ".5</varFloat></item>";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
           "xmlns:s=\"http://soapinterop.org/xsd\" "
           "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><SOAP-ENV:Body>"
           "<m:echoStructArray xmlns:m=\"http://soapinterop.org/\">"
           "<inputStructArray xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"s:SOAPStruct[" +
           std::to_string(n) + "]\">" + items +
           "</inputStructArray></m:echoStructArray></SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

bool EchoedAll(std::string const& answer, int n) {
    std::size_t at = 0;
    for (int i = 0; i < n; ++i) {
        at = answer.find(">s" + std::to_string(i) + "</varString>", at);
        if (at == std::string::npos) {
            return false;
        }
    }
    return true;
}

struct Peaks {
    std::size_t read = 0;   // while the request is read
    std::size_t held = 0;   // live once it is read and answered, before the answer is written
    std::size_t write = 0;  // while the answer is written
};

// One call as the example server makes it; the answer's bytes, or empty on a fault. The peaks
// are above what was live before the call.
std::string Serve(WMSOAPWSDLClient const& loaded, bool standard, std::string const& body,
                  Peaks& peaks) {
    std::size_t const base = g_live;
    g_peak = g_live;
    WMSOAPWSDLClient wsdl = loaded;
    WMSOAPServerCall call(wsdl);
    WMWireOptions wire;
    wire.standard = standard;
    call.SetWireOptions(wire);
    if (call.ReadRequest(body, "\"http://\"")) {
        peaks.read = g_peak - base;
        WMSOAPStructMember value;
        call.TakeParam(u"inputStructArray", value);
        call.SetReturnValue(std::move(value));
    }
    peaks.held = g_live - base;
    g_peak = g_live;
    std::string answer;
    int const status = call.WriteResponse(answer);
    peaks.write = g_peak - base;
    return status == 200 ? answer : std::string();
}

}  // namespace

// operator new and delete come to these too. The aligned forms (memalign and its kin) are not
// replaced: nothing on the road of a request uses them, and free gives their blocks back alike.
extern "C" {

void* malloc(std::size_t size) {
    return Count(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return Count(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
    Uncount(block);
    void* const moved = __libc_realloc(block, size);
    if (moved == nullptr && size != 0) {
        Count(block);  // failed: the old block stays
        return nullptr;
    }
    return Count(moved);
}

void free(void* block) {
    Uncount(block);
    __libc_free(block);
}

}  // extern "C"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: server_memory WSDL [ITEMS...]\n");
        return 2;
    }
    WMSOAPWSDLClient wsdl;
    WMString location;
    UTF8ToWideString(std::string("file://") + argv[1], location);
    if (!wsdl.ReadServiceDesc(u"InteropTest", u"InteropTestPort", location)) {
        std::fprintf(stderr, "cannot load %s\n", argv[1]);
        return 1;
    }
    // A first call gives back the reader blocks that loading the WSDL left cached on the
    // thread, which would otherwise count against the first figure.
    Peaks warmup;
    Serve(wsdl, false, Request(1), warmup);
    int const defaults[] = {100, 1000, 10000};
    std::printf("%-6s %-8s %10s %10s %10s %10s %10s %9s\n", "items", "mode", "request B", "read B",
                "held B", "write B", "answer B", "peak/req");
    int status = 0;
    // The call whose peak is the largest multiple of its request, for the summary line.
    double highest = 0;
    char const* highestMode = "";
    int highestItems = 0;
    std::size_t highestPeak = 0;
    std::size_t highestRequest = 0;
    for (int k = 0; k < (argc > 2 ? argc - 2 : 3); ++k) {
        int const n = argc > 2 ? std::atoi(argv[k + 2]) : defaults[k];
        std::string const body = Request(n);
        for (bool const standard : {false, true}) {
            Peaks peaks;
            std::string const answer = Serve(wsdl, standard, body, peaks);
            bool const right = EchoedAll(answer, n);
            status |= right ? 0 : 1;
            std::size_t const peak = std::max(peaks.read, peaks.write);
            std::printf("%-6d %-8s %10zu %10zu %10zu %10zu %10zu %9.2f%s\n", n,
                        standard ? "standard" : "default", body.size(), peaks.read, peaks.held,
                        peaks.write, answer.size(),
                        static_cast<double>(peak) / static_cast<double>(body.size()),
                        right ? "" : "  wrong answer");
            double const ratio = static_cast<double>(peak) / static_cast<double>(body.size());
            if (ratio > highest) {
                highest = ratio;
                highestMode = standard ? "standard" : "default";
                highestItems = n;
                highestPeak = peak;
                highestRequest = body.size();
            }
        }
    }
    std::printf(
        "highest peak/req: %.2f (%d items, %s mode: %zu B peak, %zu B request; aim: 4 or "
        "less)\n",
        highest, highestItems, highestMode, highestPeak, highestRequest);
    return status;
}
