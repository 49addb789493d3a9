// Whole calls through WMSOAPClient against a running round 2 server: echoString, and
// echoStructArray with 100 and 10,000 structs. The server is named by the environment:
//
//     CORVANE_BENCH_WSDL=http://127.0.0.1:8081/round2_base.wsdl client_bench
//
// (a file:// description works too; its address names the server). With
// CORVANE_BENCH_STANDARD=1 the client calls in the standard wire mode, on one kept connection.
// BM_DoclitEchoItems calls echoItems of tests/peers/doclit/echo_doclit.wsdl, document/literal
// wrapped, with 100 and 10,000 items, against the service that CORVANE_BENCH_DOCLIT_WSDL
// describes (documentLiteral, so also the standard mode).
// bench/client/run.sh starts the servers, runs this and the other toolkits' clients on the same
// calls, and compares.
#include <benchmark/benchmark.h>
#include <corvane/client.h>
#include <corvane/utf8.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

// One client per service for every benchmark, as an application keeps it; null without a server.
std::unique_ptr<WMSOAPClient> MakeClient(char const* variable, WMString const& service,
                                         WMString const& port, WMWireOptions const& options) {
    char const* location = std::getenv(variable);
    if (location == nullptr) {
        return nullptr;
    }
    WMString wide;
    UTF8ToWideString(std::string(location), wide);
    auto made = std::make_unique<WMSOAPClient>();
    made->SetWireOptions(options);
    if (!made->Initialize(wide, service, port, u"", u"CorvaneBench/1.0", u"", false)) {
        return nullptr;
    }
    return made;
}

WMSOAPClient* RoundTwoClient() {
    static std::unique_ptr<WMSOAPClient> const client = [] {
        WMWireOptions options;
        char const* standard = std::getenv("CORVANE_BENCH_STANDARD");
        options.standard = standard != nullptr && std::string(standard) == "1";
        return MakeClient("CORVANE_BENCH_WSDL", u"InteropTest", u"InteropTestPort", options);
    }();
    return client.get();
}

WMSOAPClient* DoclitClient() {
    static std::unique_ptr<WMSOAPClient> const client = [] {
        WMWireOptions options;
        options.standard = true;
        options.documentLiteral = true;
        return MakeClient("CORVANE_BENCH_DOCLIT_WSDL", u"EchoService", u"EchoPort", options);
    }();
    return client.get();
}

std::vector<WMSOAPStructType> Structs(int count) {
    std::vector<WMSOAPStructType> items;
    items.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        WMSOAPStructType value;
        value.SetMember(u"varString", WMString(u"item text"));
        value.SetMember(u"varInt", i);
        value.SetMember(u"varFloat", i + 0.5);
        WMSOAPStructType item;
        item.SetMember(u"item", value);
        items.push_back(std::move(item));
    }
    return items;
}

std::vector<WMSOAPStructType> Items(int count) {
    std::vector<WMSOAPStructType> items;
    items.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        WMSOAPStructType item;
        item.SetMember(u"name", WMString(u"item text"));
        item.SetMember(u"count", i);
        item.SetMember(u"price", i + 0.5);
        items.push_back(std::move(item));
    }
    return items;
}

// The argument of `count` items, made once for every run of a benchmark (Google Benchmark runs
// it more than once) and lent to each call, as PHP's script makes its array once for all its
// calls; made anew for another count, so that a benchmark holds one argument at a time.
template <class Make>
WMSOAPStructMember& Argument(int count, Make make) {
    static WMSOAPStructMember argument;
    static int made = -1;
    if (made != count) {
        argument = WMSOAPStructMember();
        argument = make();
        made = count;
    }
    return argument;
}

// Whether the answer holds `expected` items; every value of them too with `values`.
bool RoundTwoRight(WMSOAPStructMember const& returned, std::size_t expected, bool) {
    return expected == 0 || returned.ArrayValue().size() == expected;
}

bool DoclitRight(WMSOAPStructMember const& returned, std::size_t expected, bool values) {
    WMSOAPStructMember list;
    if (!returned.StructValue().GetMember(u"item", list) || list.ArrayValue().size() != expected) {
        return false;
    }
    for (std::size_t i = 0; values && i < expected; ++i) {
        WMSOAPStructMember name, count, price;
        WMSOAPStructType const& item = list.ArrayValue()[i];
        if (!item.GetMember(u"name", name) || name.StringValue() != u"item text" ||
            !item.GetMember(u"count", count) || count.LongValue() != static_cast<int>(i) ||
            !item.GetMember(u"price", price) ||
            price.DoubleValue() != static_cast<double>(i) + 0.5) {
            return false;
        }
    }
    return true;
}

// One call per iteration; `right` checks the answer (every value of the first one). The check
// is not timed where it must copy the items out of the answer, which the call itself does not.
void Call(benchmark::State& state, WMSOAPClient* client, char const* variable,
          WMString const& operation, WMSOAPStructMember& argument, std::size_t expectedItems,
          bool (*right)(WMSOAPStructMember const&, std::size_t, bool), bool pauseToCheck) {
    if (client == nullptr) {
        state.SkipWithError(
            (std::string("set ") + variable + " to the description of a running server").c_str());
        return;
    }
    // The echo operations have no in/out parameters, so the arguments stay as they are.
    WMString names[1] = {argument.GetName()};
    bool first = true;
    for (auto _ : state) {
        WMSOAPStructMember returned;
        bool const completed = client->InvokeSOAPMethod(operation, names, &argument, 1, returned);
        if (!completed || client->IsSOAPFault()) {
            WMString reason;
            client->GetSOAPFaultString(reason);
            std::string text;
            WideStringToUTF8(reason, text);
            state.SkipWithError(((completed ? "fault: " : "failed: ") + text).c_str());
            return;
        }
        if (pauseToCheck) {
            state.PauseTiming();
        }
        bool const whole = right(returned, expectedItems, first);
        if (pauseToCheck) {
            state.ResumeTiming();
        }
        if (!whole) {
            state.SkipWithError("the answer came back incomplete or wrong");
            return;
        }
        first = false;
        benchmark::DoNotOptimize(returned);
    }
    std::size_t const items = expectedItems > 0 ? expectedItems : 1;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items));
    state.counters["calls_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["us_per_item"] =
        benchmark::Counter(static_cast<double>(state.iterations() * items) / 1e6,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_EchoString(benchmark::State& state) {
    WMSOAPStructMember argument(u"inputString", WMString(u"Hello, bench"));
    Call(state, RoundTwoClient(), "CORVANE_BENCH_WSDL", u"echoString", argument, 0, RoundTwoRight,
         false);
}

void BM_EchoStructArray(benchmark::State& state) {
    int const count = static_cast<int>(state.range(0));
    Call(state, RoundTwoClient(), "CORVANE_BENCH_WSDL", u"echoStructArray",
         Argument(count,
                  [count] {
                      // The structs move into the argument, so that it holds them once.
                      WMSOAPStructMember argument(u"inputStructArray",
                                                  std::vector<WMSOAPStructType>());
                      argument.ArrayValue() = Structs(count);
                      return argument;
                  }),
         static_cast<std::size_t>(count), RoundTwoRight, false);
}

// echoItems(items: ItemList), whose one member "item" repeats; the answer is the returned list.
void BM_DoclitEchoItems(benchmark::State& state) {
    int const count = static_cast<int>(state.range(0));
    Call(state, DoclitClient(), "CORVANE_BENCH_DOCLIT_WSDL", u"echoItems",
         Argument(count,
                  [count] {
                      // The list is gone when the argument is returned: its copy is the only one.
                      WMSOAPStructType list;
                      list.SetMember(u"item", Items(count));
                      return WMSOAPStructMember(u"items", list);
                  }),
         static_cast<std::size_t>(count), DoclitRight, true);
}

BENCHMARK(BM_EchoString)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_EchoStructArray)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DoclitEchoItems)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
