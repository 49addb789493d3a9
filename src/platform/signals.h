// Signal handling the transport needs: keeping SIGPIPE away from the host process, the abort
// handler installed for TLS set-up, and yielding the processor.
#ifndef CORVANE_PLATFORM_SIGNALS_H
#define CORVANE_PLATFORM_SIGNALS_H

namespace corvane::platform {

// Blocks SIGPIPE in the calling thread for its lifetime; a SIGPIPE raised meanwhile (by a
// library writing to a closed socket) is consumed before the previous mask is restored.
class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

private:
    bool wasBlocked_;
    bool wasPending_;
};

// Installs a handler that does nothing for the abort signal.
void IgnoreAbortSignal();

// Gives up the rest of the time slice.
void YieldProcessor();

}  // namespace corvane::platform

#endif
