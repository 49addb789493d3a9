// Cost of building and iterating structs of growing size. The time per member must stay flat
// from 1,000 to 100,000 members: iteration by position is linear in total.
#include <corvane/values.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

WMSOAPStructType MakeStruct(long members) {
    WMSOAPStructType st;
    for (long i = 0; i < members; ++i) {
        WMString name = u"m";
        for (char c : std::to_string(i % 1000)) {
            name += static_cast<WMChar>(c);
        }
        st.SetMemberQN(name, u"urn:bench", i);
    }
    return st;
}

void ReportPerMember(benchmark::State& state, long members) {
    state.SetItemsProcessed(state.iterations() * members);
    // Seconds per member, shown with an SI prefix (n for nanoseconds).
    state.counters["per_member"] = benchmark::Counter(
        static_cast<double>(members),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_IterateMembers(benchmark::State& state) {
    long const members = state.range(0);
    WMSOAPStructType const st = MakeStruct(members);
    WMString name;
    WMSOAPStructMember member;
    for (auto _ : state) {
        long position = 0;
        long seen = 0;
        for (bool more = st.GetFirstMember(&name, member, &position); more;
             more = st.GetNextMember(&name, member, &position)) {
            ++seen;
        }
        benchmark::DoNotOptimize(seen);
    }
    ReportPerMember(state, members);
}

void BM_IterateMembersQN(benchmark::State& state) {
    long const members = state.range(0);
    WMSOAPStructType const st = MakeStruct(members);
    WMString name;
    WMString ns;
    WMSOAPStructMember member;
    for (auto _ : state) {
        long position = 0;
        long seen = 0;
        for (bool more = st.GetFirstMemberQN(&name, &ns, member, &position); more;
             more = st.GetNextMemberQN(&name, &ns, member, &position)) {
            ++seen;
        }
        benchmark::DoNotOptimize(seen);
    }
    ReportPerMember(state, members);
}

void BM_BuildStruct(benchmark::State& state) {
    long const members = state.range(0);
    for (auto _ : state) {
        WMSOAPStructType st;
        for (long i = 0; i < members; ++i) {
            st.SetMember(u"item", i);
        }
        benchmark::DoNotOptimize(st);
    }
    ReportPerMember(state, members);
}

BENCHMARK(BM_IterateMembers)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_IterateMembersQN)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_BuildStruct)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
