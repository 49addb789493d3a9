// Load and bad-input runs against a SOAP server of the round 2 base suite on loopback.
//
//   server_load --port N [--path /round2_base.inc] [--clients 8] [--seconds 30]
//               [--max-items 1000] [--bad-every K] [--pid PID] [--seed S] [--keep-alive 1]
//               [--requests N] [--slow N] [--go-away 1]
//
// Each client sends echoStructArray requests of 1 to max-items structs (uniformly drawn) over a
// new connection each, and checks that every struct comes back in order. With --bad-every K,
// every K-th request of a client is a bad one instead (malformed, truncated, deeply nested, huge,
// not UTF-8, binary, wrong SOAPAction, not SOAP), whose answer is only required to come; the
// valid ones must still all be answered correctly. With --pid, the resident memory of that
// process and its children is sampled every second.
//
// --keep-alive 1: each client keeps its connection for all its requests. --requests N: the run
// ends after N requests (or the seconds), and the resident memory is also taken after the first
// 1,000. --slow N: N more connections send their request line and headers one byte a second
// while the run lasts; the tool reports when the server closed each. --go-away 1: a random fifth
// of the requests are made by clients that close mid-request or mid-answer (some with a reset).
//
// Prints requests per second, latency percentiles of the valid requests and the memory samples;
// exits 1 when any valid request failed or the server stopped answering.
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
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
    bool keepAlive = false;
    long requests = 0;
    int slow = 0;
    bool goAway = false;
};

std::atomic<long> g_started{0};
std::atomic<long> g_finished{0};

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
    long goneAway = 0;
    std::vector<double> latencies;  // milliseconds, valid requests
};

int Connect(int port) {
    int const sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (sock >= 0 && connect(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(sock);
        return -1;
    }
    return sock;
}

std::string HttpRequest(Options const& options, std::string const& body) {
    return "POST " + options.path +
           " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: text/xml; charset=utf-8\r\n"
           "SOAPAction: \"http://\"\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

// A client that goes away: half of them close after part of the request, the others after part
// of the answer, a third of those with a reset.
void GoAway(Options const& options, std::mt19937& random) {
    int const sock = Connect(options.port);
    if (sock < 0) {
        return;
    }
    std::string const request =
        HttpRequest(options, StructArray(std::uniform_int_distribution<int>(1, 100)(random)));
    bool const midRequest = random() % 2 == 0;
    std::size_t const length =
        midRequest ? std::uniform_int_distribution<std::size_t>(1, request.size() - 1)(random)
                   : request.size();
    if (send(sock, request.data(), length, MSG_NOSIGNAL) == static_cast<ssize_t>(length) &&
        !midRequest) {
        std::string answer(std::uniform_int_distribution<std::size_t>(1, 2000)(random), '\0');
        recv(sock, answer.data(), answer.size(), 0);
        if (random() % 3 == 0) {
            linger const reset{1, 0};
            setsockopt(sock, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        }
    }
    close(sock);
}

// Slow connections: each sends the next byte of its request head every second and is watched
// for the server's close. Returns the seconds from each one's first byte to its close (negative
// for one still open at the end).
std::vector<double> Slow(Options const& options, Clock::time_point end) {
    std::string const head = HttpRequest(options, StructArray(1));
    std::vector<int> socks;
    std::vector<Clock::time_point> firstByte;
    for (int i = 0; i < options.slow; ++i) {
        socks.push_back(Connect(options.port));
        send(socks.back(), head.data(), 1, MSG_NOSIGNAL);
        firstByte.push_back(Clock::now());
    }
    auto const start = Clock::now();
    std::vector<double> closedAfter(socks.size(), -1);
    auto const closeAt = [&](std::size_t i) {
        closedAfter[i] = std::chrono::duration<double>(Clock::now() - firstByte[i]).count();
    };
    std::size_t open = socks.size();
    for (std::size_t sent = 1; open > 0 && Clock::now() < end; ++sent) {
        auto const next = start + std::chrono::seconds(sent);
        while (open > 0 && Clock::now() < std::min(next, end)) {
            std::vector<pollfd> watch;
            for (std::size_t i = 0; i < socks.size(); ++i) {
                if (closedAfter[i] < 0) {
                    watch.push_back({socks[i], POLLIN, 0});
                }
            }
            auto const wait =
                std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now());
            poll(watch.data(), watch.size(), static_cast<int>(std::max<long>(0, wait.count())));
            for (pollfd const& entry : watch) {
                char byte;
                if (entry.revents != 0 && recv(entry.fd, &byte, 1, MSG_DONTWAIT) <= 0) {
                    closeAt(static_cast<std::size_t>(
                        std::find(socks.begin(), socks.end(), entry.fd) - socks.begin()));
                    --open;
                }
            }
        }
        for (std::size_t i = 0; i < socks.size(); ++i) {
            if (closedAfter[i] < 0 && sent < head.size() &&
                send(socks[i], head.data() + sent, 1, MSG_NOSIGNAL) != 1) {
                closeAt(i);
                --open;
            }
        }
    }
    for (int sock : socks) {
        close(sock);
    }
    return closedAfter;
}

void Client(Options const& options, int index, Clock::time_point end, Tally& tally) {
    std::mt19937 random(options.seed * 1000 + static_cast<unsigned>(index));
    std::uniform_int_distribution<int> items(1, options.maxItems);
    long sent = 0;
    std::unique_ptr<httplib::Client> kept;
    while (Clock::now() < end && (options.requests == 0 || g_started++ < options.requests)) {
        struct Finished {
            ~Finished() { ++g_finished; }
        } const finished;
        if (options.goAway && random() % 5 == 0) {
            GoAway(options, random);
            ++tally.goneAway;
            continue;
        }
        std::unique_ptr<httplib::Client> fresh;
        if (!options.keepAlive || !kept) {
            fresh = std::make_unique<httplib::Client>("127.0.0.1", options.port);
            fresh->set_read_timeout(60, 0);
            fresh->set_write_timeout(60, 0);
            fresh->set_keep_alive(options.keepAlive);
            // cpp-httplib's client writes the headers and the body apart; with Nagle's algorithm
            // the body of a request on a kept-alive connection waits for the server's delayed
            // acknowledgement of the headers.
            fresh->set_tcp_nodelay(true);
            if (options.keepAlive) {
                kept = std::move(fresh);
            }
        }
        httplib::Client& http = options.keepAlive ? *kept : *fresh;
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
        } else if (flag == "--keep-alive") {
            options.keepAlive = std::atoi(value) != 0;
        } else if (flag == "--requests") {
            options.requests = std::atol(value);
        } else if (flag == "--slow") {
            options.slow = std::atoi(value);
        } else if (flag == "--go-away") {
            options.goAway = std::atoi(value) != 0;
        } else {
            return false;
        }
    }
    // Bounded: loopback only, at most 64 clients and 1,000 slow connections for at most ten
    // minutes.
    return argc % 2 == 1 && options.port > 0 && options.clients > 0 && options.clients <= 64 &&
           options.seconds > 0 && options.seconds <= 600 && options.maxItems > 0 &&
           options.requests >= 0 && options.slow >= 0 && options.slow <= 1000;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        std::cerr << "usage: server_load --port N [--path P] [--clients 8] [--seconds 30] "
                     "[--max-items 1000] [--bad-every K] [--pid PID] [--seed S] "
                     "[--keep-alive 1] [--requests N] [--slow N] [--go-away 1]\n";
        return 2;
    }
    auto const start = Clock::now();
    auto const end = start + std::chrono::seconds(options.seconds);
    std::vector<Tally> tallies(static_cast<std::size_t>(options.clients));
    std::vector<double> slowClosed;
    std::thread slow;
    if (options.slow > 0) {
        slow = std::thread([&] { slowClosed = Slow(options, end); });
        // The slow connections are all open before the measured clients start.
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    std::atomic<int> running{options.clients};
    std::vector<std::thread> clients;
    for (int i = 0; i < options.clients; ++i) {
        clients.emplace_back([&, i] {
            Client(options, i, end, tallies[static_cast<std::size_t>(i)]);
            --running;
        });
    }
    std::vector<long> memory;
    long after1000 = -1;
    double const cpuBefore = options.pid > 0 ? CpuMs(options.pid) : 0;
    if (options.pid > 0) {
        memory.push_back(ResidentKiB(options.pid));
    }
    for (auto sample = start + std::chrono::seconds(1); running > 0;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (options.pid > 0 && after1000 < 0 && g_finished >= 1000) {
            after1000 = ResidentKiB(options.pid);
        }
        if (options.pid > 0 && Clock::now() >= sample) {
            memory.push_back(ResidentKiB(options.pid));
            sample += std::chrono::seconds(1);
        }
    }
    for (std::thread& client : clients) {
        client.join();
    }
    if (options.pid > 0) {
        memory.push_back(ResidentKiB(options.pid));
    }
    double const cpuUsed = options.pid > 0 ? CpuMs(options.pid) - cpuBefore : 0;
    double const elapsed = std::chrono::duration<double>(Clock::now() - start).count();

    Tally total;
    for (Tally const& tally : tallies) {
        total.valid += tally.valid;
        total.wrong += tally.wrong;
        total.bad += tally.bad;
        total.badUnanswered += tally.badUnanswered;
        total.goneAway += tally.goneAway;
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
    if (options.goAway) {
        std::printf("clients that went away mid-request or mid-answer: %ld\n", total.goneAway);
    }
    if (slow.joinable()) {
        slow.join();
        std::vector<double> closed;
        for (double at : slowClosed) {
            if (at >= 0) {
                closed.push_back(at);
            }
        }
        std::sort(closed.begin(), closed.end());
        std::printf("slow connections: %zu opened, %zu closed by the server", slowClosed.size(),
                    closed.size());
        if (!closed.empty()) {
            std::printf(", after %.1f / %.1f / %.1f s (min / median / max) from the first byte",
                        closed.front(), closed[closed.size() / 2], closed.back());
        }
        std::printf("\n");
    }
    if (after1000 >= 0) {
        std::printf("server resident KiB: %ld after 1,000 requests, %ld after %ld (%+.1f%%)\n",
                    after1000, memory.back(), total.valid + total.wrong + total.bad,
                    100.0 * static_cast<double>(memory.back() - after1000) /
                        static_cast<double>(after1000));
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
