// Load and bad-input runs against a SOAP server of the round 2 base suite on loopback.
//
//   server_load --port N [--path /round2_base.inc] [--clients 8] [--seconds 30]
//               [--max-items 1000] [--bad-every K] [--pid PID] [--seed S]
//
// Each client sends echoStructArray requests of 1 to max-items structs (uniformly drawn) over a
// new connection each, and checks that every struct comes back in order. With --bad-every K,
// every K-th request of a client is a bad one instead (malformed, truncated, deeply nested, huge,
// not UTF-8, binary, wrong SOAPAction, not SOAP), whose answer is only required to come; the
// valid ones must still all be answered correctly. With --pid, the resident memory of that
// process and its children is sampled every second. Prints requests per second, latency
// percentiles of the valid requests and the memory samples; exits 1 when any valid request
// failed or the server stopped answering.
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    int port = 0;
    std::string path = "/round2_base.inc";
    int clients = 8;
    int seconds = 30;
    int maxItems = 1000;
    int badEvery = 0;
    long pid = 0;
    unsigned seed = 1;
};

std::string Envelope(std::string const& method, std::string const& params) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
           "xmlns:s=\"http://soapinterop.org/xsd\" "
           "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><SOAP-ENV:Body>"
           "<m:" +
           method + " xmlns:m=\"http://soapinterop.org/\">" + params + "</m:" + method +
           "></SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

// The request for n structs; item i carries "s<i>-<n>", i and i + 0.5.
std::string StructArray(int n) {
    std::string items;
    items.reserve(static_cast<std::size_t>(n) * 200);
    for (int i = 0; i < n; ++i) {
        std::string const k = std::to_string(i);
        items += "<item xsi:type=\"s:SOAPStruct\"><varString xsi:type=\"xsd:string\">s" + k + "-" +
                 std::to_string(n) + "</varString><varInt xsi:type=\"xsd:int\">" + k +
                 "</varInt><varFloat xsi:type=\"xsd:float\">" + k + ".5</varFloat></item>";
    }
    return Envelope(
        "echoStructArray",
        "<inputStructArray xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"s:SOAPStruct[" +
            std::to_string(n) + "]\">" + items + "</inputStructArray>");
}

// Every struct of the request, in order, with its three values ("17.5" as a prefix matches
// both "17.500000" and "17.5").
bool EchoedAll(std::string const& body, int n) {
    std::size_t at = 0;
    for (int i = 0; i < n; ++i) {
        std::string const k = std::to_string(i);
        for (std::string const& value : {">s" + k + "-" + std::to_string(n) + "</varString>",
                                         ">" + k + "</varInt>", ">" + k + ".5"}) {
            at = body.find(value, at);
            if (at == std::string::npos) {
                return false;
            }
        }
    }
    return body.find(">s" + std::to_string(n) + "-", at) == std::string::npos;
}

// The bad requests, by kind.
std::string BadRequest(int kind, std::mt19937& random, std::string& soapAction) {
    soapAction = "\"http://\"";
    std::string const good = StructArray(10);
    switch (kind) {
        case 0:  // truncated anywhere
            return good.substr(
                0, std::uniform_int_distribution<std::size_t>(0, good.size() - 1)(random));
        case 1: {  // one byte changed anywhere
            std::string bad = good;
            bad[std::uniform_int_distribution<std::size_t>(0, bad.size() - 1)(random)] =
                static_cast<char>(random());
            return bad;
        }
        case 2: {  // nested far deeper than any parser should recurse
            int const depth = 200000;
            std::string nested;
            nested.reserve(depth * 7);
            for (int i = 0; i < depth; ++i) {
                nested += "<a>";
            }
            for (int i = 0; i < depth; ++i) {
                nested += "</a>";
            }
            return Envelope("echoString", "<inputString>" + nested + "</inputString>");
        }
        case 3:  // above the server's body limit
            return Envelope("echoString", "<inputString>" + std::string(40 * 1024 * 1024, 'x') +
                                              "</inputString>");
        case 4:  // large but allowed: one string of 8 MiB
            return Envelope("echoString",
                            "<inputString>" + std::string(8 * 1024 * 1024, 'y') + "</inputString>");
        case 5:  // an array claiming a billion items
            return Envelope("echoStringArray",
                            "<inputStringArray SOAP-ENC:arrayType=\"xsd:string[1000000000]\">"
                            "<item>a</item></inputStringArray>");
        case 6: {  // binary noise
            std::string noise(4096, '\0');
            for (char& c : noise) {
                c = static_cast<char>(random());
            }
            return noise;
        }
        case 7:  // not UTF-8, not a SOAP envelope
            return "<?xml version=\"1.0\"?><\xff\xfe/>";
        case 8:
            soapAction = "\"urn:wrong\"";
            return good;
        default:  // many attributes on one element
            std::string attributes;
            for (int i = 0; i < 50000; ++i) {
                attributes += " a" + std::to_string(i) + "=\"v\"";
            }
            return Envelope("echoString", "<inputString" + attributes + ">x</inputString>");
    }
}
constexpr int kBadKinds = 10;

// Resident memory in KiB of a process and all its descendants.
long ResidentKiB(long pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    long total = 0;
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            total = std::atol(line.c_str() + 6);
        }
    }
    std::ifstream children("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) +
                           "/children");
    long child = 0;
    while (children >> child) {
        total += ResidentKiB(child);
    }
    return total;
}

// CPU time in milliseconds used so far by a process and all its descendants.
double CpuMs(long pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // Fields after the command name, which may hold spaces, start behind the last ")".
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int i = 3; i <= 15 && fields >> field; ++i) {
        if (i >= 14) {
            ticks += std::atof(field.c_str());  // utime, stime
        }
    }
    double total = ticks * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
    std::ifstream children("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) +
                           "/children");
    long child = 0;
    while (children >> child) {
        total += CpuMs(child);
    }
    return total;
}

struct Tally {
    long valid = 0;
    long wrong = 0;
    long bad = 0;
    long badUnanswered = 0;
    std::vector<double> latencies;  // milliseconds, valid requests
};

void Client(Options const& options, int index, Clock::time_point end, Tally& tally) {
    std::mt19937 random(options.seed * 1000 + static_cast<unsigned>(index));
    std::uniform_int_distribution<int> items(1, options.maxItems);
    long sent = 0;
    while (Clock::now() < end) {
        httplib::Client http("127.0.0.1", options.port);
        http.set_read_timeout(60, 0);
        http.set_write_timeout(60, 0);
        ++sent;
        if (options.badEvery > 0 && sent % options.badEvery == 0) {
            std::string action;
            std::string const body =
                BadRequest(static_cast<int>(random() % kBadKinds), random, action);
            auto answer = http.Post(options.path.c_str(), {{"SOAPAction", action}}, body,
                                    "text/xml; charset=utf-8");
            ++tally.bad;
            tally.badUnanswered += answer ? 0 : 1;
            continue;
        }
        int const n = items(random);
        std::string const body = StructArray(n);
        auto const start = Clock::now();
        auto answer = http.Post(options.path.c_str(), {{"SOAPAction", "\"http://\""}}, body,
                                "text/xml; charset=utf-8");
        auto const took = std::chrono::duration<double, std::milli>(Clock::now() - start);
        if (answer && answer->status == 200 && EchoedAll(answer->body, n)) {
            ++tally.valid;
            tally.latencies.push_back(took.count());
        } else {
            ++tally.wrong;
            if (tally.wrong <= 3) {
                std::cerr << "wrong answer to " << n << " items: "
                          << (answer ? std::to_string(answer->status) + " " +
                                           answer->body.substr(0, 300)
                                     : httplib::to_string(answer.error()))
                          << "\n";
            }
        }
    }
}

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string const flag = argv[i];
        char const* value = argv[i + 1];
        if (flag == "--port") {
            options.port = std::atoi(value);
        } else if (flag == "--path") {
            options.path = value;
        } else if (flag == "--clients") {
            options.clients = std::atoi(value);
        } else if (flag == "--seconds") {
            options.seconds = std::atoi(value);
        } else if (flag == "--max-items") {
            options.maxItems = std::atoi(value);
        } else if (flag == "--bad-every") {
            options.badEvery = std::atoi(value);
        } else if (flag == "--pid") {
            options.pid = std::atol(value);
        } else if (flag == "--seed") {
            options.seed = static_cast<unsigned>(std::atol(value));
        } else {
            return false;
        }
    }
    // Bounded: loopback only, at most 64 clients for at most ten minutes.
    return argc % 2 == 1 && options.port > 0 && options.clients > 0 && options.clients <= 64 &&
           options.seconds > 0 && options.seconds <= 600 && options.maxItems > 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        std::cerr << "usage: server_load --port N [--path P] [--clients 8] [--seconds 30] "
                     "[--max-items 1000] [--bad-every K] [--pid PID] [--seed S]\n";
        return 2;
    }
    auto const start = Clock::now();
    auto const end = start + std::chrono::seconds(options.seconds);
    std::vector<Tally> tallies(static_cast<std::size_t>(options.clients));
    std::vector<std::thread> clients;
    for (int i = 0; i < options.clients; ++i) {
        clients.emplace_back(Client, std::cref(options), i, end, std::ref(tallies[i]));
    }
    std::vector<long> memory;
    double const cpuBefore = options.pid > 0 ? CpuMs(options.pid) : 0;
    if (options.pid > 0) {
        memory.push_back(ResidentKiB(options.pid));
        for (int s = 1; s <= options.seconds; ++s) {
            std::this_thread::sleep_until(start + std::chrono::seconds(s));
            memory.push_back(ResidentKiB(options.pid));
        }
    }
    for (std::thread& client : clients) {
        client.join();
    }
    double const cpuUsed = options.pid > 0 ? CpuMs(options.pid) - cpuBefore : 0;
    double const elapsed = std::chrono::duration<double>(Clock::now() - start).count();

    Tally total;
    for (Tally const& tally : tallies) {
        total.valid += tally.valid;
        total.wrong += tally.wrong;
        total.bad += tally.bad;
        total.badUnanswered += tally.badUnanswered;
        total.latencies.insert(total.latencies.end(), tally.latencies.begin(),
                               tally.latencies.end());
    }
    std::sort(total.latencies.begin(), total.latencies.end());
    auto percentile = [&](double p) {
        if (total.latencies.empty()) {
            return 0.0;
        }
        auto k = static_cast<std::size_t>(p * static_cast<double>(total.latencies.size() - 1));
        return total.latencies[k];
    };
    std::printf("valid requests: %ld correct, %ld wrong or unanswered, %.1f per second\n",
                total.valid, total.wrong, static_cast<double>(total.valid) / elapsed);
    std::printf("latency ms: p50 %.1f  p90 %.1f  p99 %.1f  max %.1f\n", percentile(0.50),
                percentile(0.90), percentile(0.99), percentile(1.0));
    if (options.badEvery > 0) {
        std::printf("bad requests: %ld sent, %ld without an answer\n", total.bad,
                    total.badUnanswered);
    }
    if (options.pid > 0) {
        // Counts what the server itself spent, whatever else the machine was running.
        std::printf("server CPU: %.1f s in all, %.1f ms per request\n", cpuUsed / 1000.0,
                    cpuUsed / static_cast<double>(std::max(1L, total.valid + total.bad)));
    }
    if (!memory.empty()) {
        std::printf("server resident KiB, one sample a second:");
        for (long kib : memory) {
            std::printf(" %ld", kib);
        }
        long const peak = *std::max_element(memory.begin(), memory.end());
        long const at10 = memory[std::min<std::size_t>(10, memory.size() - 1)];
        std::printf("\nserver resident KiB: peak %ld, at 10 s %ld, at the end %ld\n", peak, at10,
                    memory.back());
    }
    // The server must still answer after everything it was sent.
    httplib::Client http("127.0.0.1", options.port);
    auto last = http.Post(options.path.c_str(), {{"SOAPAction", "\"http://\""}}, StructArray(3),
                          "text/xml; charset=utf-8");
    bool const alive = last && last->status == 200 && EchoedAll(last->body, 3);
    std::printf("server answers afterwards: %s\n", alive ? "yes" : "NO");
    return total.wrong == 0 && alive ? 0 : 1;
}
