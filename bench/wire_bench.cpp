// One echoString-sized exchange over loopback: the default mode's WMHTTPRequestSock (HTTP/1.0, a
// connection per request, a zero byte after the body) against the standard wire mode's client
// (HTTP/1.1, one kept connection), alone and through the automation proxy. The peer is a thread
// of this program that answers each request with the same prepared answer. Run by hand:
// build/release/bench/wire_bench
#include <benchmark/benchmark.h>
#include <corvane/client.h>
#include <corvane/http.h>
#include <corvane/wire.h>

#include <string>

#include "loopback_listener.h"
#include "net/wire_http.h"

namespace {

const std::string kBody =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SOAP-ENV:Envelope "
    "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><SOAP-ENV:Body>"
    "<m:echoString xmlns:m=\"http://soapinterop.org/\"><inputString xsi:type=\"xsd:string\">"
    "Hello, world</inputString></m:echoString></SOAP-ENV:Body></SOAP-ENV:Envelope>";

// Answers requests until the client closes; a request ends after its Content-Length bytes, or at
// the zero byte that the default mode sends. `keepAlive` answers in HTTP/1.1 and keeps the
// connection, otherwise in HTTP/1.0 and closes it.
class EchoServer {
public:
    explicit EchoServer(bool keepAlive)
        : keepAlive_(keepAlive),
          answer_(std::string(keepAlive ? "HTTP/1.1 200 OK\r\n" : "HTTP/1.0 200 OK\r\n") +
                  "Content-Type: text/xml; charset=utf-8\r\nContent-Length: " +
                  std::to_string(kBody.size()) + "\r\n\r\n" + kBody),
          listener_([this](int fd) { Serve(fd); }) {}
    int Port() const { return listener_.Port(); }

private:
    void Serve(int fd) const {
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, 1 /* TCP_NODELAY */, &on, sizeof(on));
        std::string pending;
        char buffer[16384];
        for (;;) {
            const ssize_t n = ::recv(fd, buffer, sizeof(buffer), 0);
            if (n <= 0) {
                break;
            }
            pending.append(buffer, static_cast<std::size_t>(n));
            if (!Complete(pending)) {
                continue;
            }
            pending.clear();
            ::send(fd, answer_.data(), answer_.size(), MSG_NOSIGNAL);
            if (!keepAlive_) {
                break;
            }
        }
    }
    bool Complete(std::string const& request) const {
        if (!keepAlive_) {
            return !request.empty() && request.back() == '\0';
        }
        const std::size_t end = request.find("\r\n\r\n");
        const std::size_t field = request.find("Content-Length: ");
        if (end == std::string::npos || field == std::string::npos) {
            return false;
        }
        return request.size() >= end + 4 + std::stoul(request.substr(field + 16));
    }

    bool keepAlive_;
    std::string answer_;
    LoopbackListener listener_;
};

void BM_DefaultModeExchange(benchmark::State& state) {
    EchoServer server(false);
    const WMString body(kBody.begin(), kBody.end());
    const std::string length = std::to_string(kBody.size());
    const WMString headers =
        u"Host: 127.0.0.1\r\nContent-Type: text/xml; charset=\"utf-8\"\r\n"
        u"Content-Length: " +
        WMString(length.begin(), length.end()) + u"\r\nSOAPAction: \"\"\r\n";
    for (auto _ : state) {
        WMHTTPRequestSock http(80, 10000);
        const bool ok =
            http.SendHTTPRequest(server.Port(), u"POST", u"127.0.0.1", u"/", u"", headers, body);
        benchmark::DoNotOptimize(http.GetContent());
        if (!ok || http.GetStatus() != 200) {
            state.SkipWithError("request failed");
            break;
        }
    }
}

void BM_StandardModeExchange(benchmark::State& state) {
    EchoServer server(true);
    WMWireOptions options;
    options.standard = true;
    corvane::detail::WireHttpClient client(options, 10000);
    corvane::detail::WireAnswer answer;
    const std::string url = "http://127.0.0.1:" + std::to_string(server.Port()) + "/";
    for (auto _ : state) {
        const bool ok = client.Exchange(
            "POST", url, "Content-Type: text/xml; charset=utf-8\r\nSOAPAction: \"\"\r\n", kBody,
            answer);
        benchmark::DoNotOptimize(answer.body.data());
        if (!ok || answer.status != 200) {
            state.SkipWithError(client.Error().c_str());
            break;
        }
    }
}

// The same exchange through the automation proxy, with the conversions of each mode.
void ProxyExchange(benchmark::State& state, bool standard) {
    EchoServer server(standard);
    WMSOAPAutomationProxy proxy;
    WMWireOptions options;
    options.standard = standard;
    proxy.SetWireOptions(options);
    const WMString request(kBody.begin(), kBody.end());
    WMSOAPMessage message;
    for (auto _ : state) {
        message.SetBuffer(request);
        if (!proxy.InvokeMethod(u"\"\"", u"127.0.0.1", server.Port(), u"/", u"bench", message)) {
            state.SkipWithError("exchange failed");
            break;
        }
        benchmark::DoNotOptimize(message.GetBufferPtr());
    }
}

void BM_DefaultModeProxy(benchmark::State& state) {
    ProxyExchange(state, false);
}
void BM_StandardModeProxy(benchmark::State& state) {
    ProxyExchange(state, true);
}

BENCHMARK(BM_DefaultModeExchange)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(BM_StandardModeExchange)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(BM_DefaultModeProxy)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(BM_StandardModeProxy)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

}  // namespace

BENCHMARK_MAIN();
