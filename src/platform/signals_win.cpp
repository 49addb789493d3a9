#include <windows.h>

#include <csignal>

// <windows.h> defines YieldProcessor as a macro (a pause instruction), which would rename ours.
#undef YieldProcessor

#include "platform/signals.h"

namespace corvane::platform {
namespace {

extern "C" void IgnoreSignal(int) {}

}  // namespace

// Windows has no SIGPIPE: a write to a closed socket fails with an error code only.
SigpipeGuard::SigpipeGuard() : wasBlocked_(false), wasPending_(false) {}

SigpipeGuard::~SigpipeGuard() = default;

void IgnoreAbortSignal() {
    std::signal(SIGABRT, IgnoreSignal);
}

void YieldProcessor() {
    ::Sleep(0);
}

}  // namespace corvane::platform
