// Reading a large HTTP response through WMHTTPRequestSock over loopback. The peer is a thread
// in this program that answers every connection with the same prepared reply. Run by hand:
// build/release/bench/http_bench
#include <benchmark/benchmark.h>
#include <corvane/http.h>

#include <string>

#include "loopback_listener.h"

namespace {

// Answers every connection with the same prepared reply, after the request's zero byte.
class ReplyServer {
public:
    explicit ReplyServer(std::string reply)
        : reply_(std::move(reply)), listener_([this](int fd) { Serve(fd); }) {}
    int Port() const { return listener_.Port(); }

private:
    void Serve(int fd) const {
        char buffer[4096];
        ssize_t n;
        while ((n = ::recv(fd, buffer, sizeof(buffer), 0)) > 0 && buffer[n - 1] != '\0') {
        }
        for (std::size_t sent = 0; sent < reply_.size();) {
            ssize_t m = ::send(fd, reply_.data() + sent, reply_.size() - sent, MSG_NOSIGNAL);
            if (m <= 0) {
                break;
            }
            sent += static_cast<std::size_t>(m);
        }
    }

    std::string reply_;
    LoopbackListener listener_;
};

void ReadResponse(benchmark::State& state, bool announceLength) {
    const std::string body(static_cast<std::size_t>(state.range(0)) << 20, 'x');
    std::string head = "HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\n";
    if (announceLength) {
        head += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    ReplyServer server(head + "\r\n" + body);
    for (auto _ : state) {
        WMHTTPRequestSock http(80, 10000);
        bool ok = http.SendHTTPRequest(server.Port(), u"GET", u"127.0.0.1", u"/", u"", u"", u"");
        benchmark::DoNotOptimize(http.GetContent());
        if (!ok) {
            state.SkipWithError("request failed");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(body.size()));
}

void BM_ResponseWithLength(benchmark::State& state) {
    ReadResponse(state, true);
}
void BM_ResponseUntilClose(benchmark::State& state) {
    ReadResponse(state, false);
}

BENCHMARK(BM_ResponseWithLength)->Arg(1)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ResponseUntilClose)->Arg(1)->Arg(20)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
