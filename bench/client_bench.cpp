// Whole calls through WMSOAPClient against a running round 2 server: echoString, and
// echoStructArray with 100 and 10,000 structs. The server is named by the environment:
//
//     CORVANE_BENCH_WSDL=http://127.0.0.1:8081/round2_base.wsdl client_bench
//
// (a file:// description works too; its address names the server). With
// CORVANE_BENCH_STANDARD=1 the client calls in the standard wire mode, on one kept connection.
// bench/client/run.sh starts the servers, runs this and the other toolkits' clients on the same
// calls, and compares.
#include <benchmark/benchmark.h>
#include <corvane/client.h>
#include <corvane/utf8.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

// One client for every benchmark, as an application keeps it; null without a server.
WMSOAPClient* SharedClient() {
    static std::unique_ptr<WMSOAPClient> const client = []() -> std::unique_ptr<WMSOAPClient> {
        char const* location = std::getenv("CORVANE_BENCH_WSDL");
        if (location == nullptr) {
            return nullptr;
        }
        WMString wide;
        UTF8ToWideString(std::string(location), wide);
        auto made = std::make_unique<WMSOAPClient>();
        char const* standard = std::getenv("CORVANE_BENCH_STANDARD");
        if (standard != nullptr && std::string(standard) == "1") {
            WMWireOptions options;
            options.standard = true;
            made->SetWireOptions(options);
        }
        if (!made->Initialize(wide, u"InteropTest", u"InteropTestPort", u"", u"CorvaneBench/1.0",
                              u"", false)) {
            return nullptr;
        }
        return made;
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

// One call per iteration; the answer must hold `expectedItems` items (0: a string).
void Call(benchmark::State& state, WMString const& operation, WMSOAPStructMember argument,
          std::size_t expectedItems) {
    WMSOAPClient* client = SharedClient();
    if (client == nullptr) {
        state.SkipWithError("set CORVANE_BENCH_WSDL to the description of a running server");
        return;
    }
    // The echo operations have no in/out parameters, so the arguments stay as they are.
    WMString names[1] = {argument.GetName()};
    WMSOAPStructMember values[1] = {std::move(argument)};
    for (auto _ : state) {
        WMSOAPStructMember returned;
        bool const completed = client->InvokeSOAPMethod(operation, names, values, 1, returned);
        if (!completed || client->IsSOAPFault()) {
            WMString reason;
            client->GetSOAPFaultString(reason);
            std::string text;
            WideStringToUTF8(reason, text);
            state.SkipWithError(((completed ? "fault: " : "failed: ") + text).c_str());
            return;
        }
        if (expectedItems > 0 && returned.ArrayValue().size() != expectedItems) {
            state.SkipWithError("the answer came back incomplete");
            return;
        }
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
    Call(state, u"echoString", WMSOAPStructMember(u"inputString", WMString(u"Hello, bench")), 0);
}

void BM_EchoStructArray(benchmark::State& state) {
    int const count = static_cast<int>(state.range(0));
    Call(state, u"echoStructArray", WMSOAPStructMember(u"inputStructArray", Structs(count)),
         static_cast<std::size_t>(count));
}

BENCHMARK(BM_EchoString)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_EchoStructArray)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
