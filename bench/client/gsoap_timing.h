// What the gSOAP benchmark clients share: their arguments, ENDPOINT CASE CALLS [kept], and the
// loop that times the calls.
#ifndef CORVANE_BENCH_CLIENT_GSOAP_TIMING_H
#define CORVANE_BENCH_CLIENT_GSOAP_TIMING_H

#include <stdsoap2.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

namespace gsoap_bench {

inline int Fail(char const* why) {
    std::fprintf(stderr, "gsoap: %s\n", why);
    return 1;
}

// Whether the arguments are ENDPOINT CASE CALLS [kept].
inline bool ValidArguments(int argc, char** argv) {
    return argc == 4 || (argc == 5 && std::string(argv[4]) == "kept");
}

// "kept" keeps one connection open for all the calls instead of opening one per call.
inline soap_mode Mode(int argc) {
    return argc == 5 ? SOAP_IO_KEEPALIVE | SOAP_C_UTFSTRING : SOAP_C_UTFSTRING;
}

// `call(checkValues)` makes one call and tells whether its answer was whole. The warm-up call
// compares the answer's values too; then `calls` calls are timed, and the seconds per call,
// elapsed and on the CPU, printed.
template <class Proxy, class Call>
int TimeCalls(Proxy& proxy, int calls, Call const& call) {
    if (!call(true)) {
        proxy.soap_print_fault(stderr);
        return Fail("wrong answer");
    }
    std::clock_t const cpu = std::clock();
    auto const start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        if (!call(false)) {
            proxy.soap_print_fault(stderr);
            return Fail("wrong answer");
        }
    }
    double const elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double const onCpu = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC;
    std::printf("%.9f %.9f\n", elapsed / calls, onCpu / calls);
    return 0;
}

}  // namespace gsoap_bench

#endif
