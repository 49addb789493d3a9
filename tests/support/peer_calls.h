// The SOAP servers of tests/peers for the client suites: one process per kind for the whole
// program, copies of descriptions that name the port a server got; the canned answers of the
// loopback server, and the automation proxy's exchanges with it.
#ifndef CORVANE_TESTS_SUPPORT_PEER_CALLS_H
#define CORVANE_TESTS_SUPPORT_PEER_CALLS_H

#include <corvane/client.h>

#include <map>
#include <memory>
#include <string>

#include "support/loopback.h"
#include "support/support.h"

namespace corvane::test {

struct RunningPeer {
    Peer process;
    TempDir dir;  // for files that name the server
    std::string port;
    bool up = false;
};

// tests/peers/start `kind` on a fresh port, then `extra`: started on the first use of `kind`,
// running until the program ends.
inline RunningPeer& PeerOf(const std::string& kind, const std::string& extra = "") {
    static std::map<std::string, std::unique_ptr<RunningPeer>> peers;
    auto& slot = peers[kind];
    if (!slot) {
        slot = std::make_unique<RunningPeer>();
        slot->port = std::to_string(UnusedPort());
        slot->up = slot->process.Start(kind + " " + slot->port + extra);
    }
    return *slot;
}

// A copy in `dir` of tests/data/`relative` with `from` replaced by `to`, as a file URL.
inline WMString DescriptionCopy(const TempDir& dir, const std::string& relative,
                                const std::string& from, const std::string& to) {
    std::string text = ReadFile(DataPath(relative));
    text.replace(text.find(from), from.size(), to);
    return u"file://" + Widen(dir.Write(relative.substr(relative.rfind('/') + 1), text));
}

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The canned envelope `name` of tests/data/client/answers.txt.
inline std::string CannedEnvelope(const std::string& name) {
    for (const TableRow& row : ReadTable("client/answers.txt")) {
        if (row.input == name) {
            return row.expected;
        }
    }
    return "no canned envelope " + name;
}

// Wire options without compression, so that requests read as they were sent.
inline WMWireOptions Wire(bool standard) {
    WMWireOptions options;
    options.standard = standard;
    options.gzip = false;
    return options;
}

inline WMSOAPAutomationProxy ProxyIn(bool standard) {
    WMSOAPAutomationProxy proxy;
    proxy.SetWireOptions(Wire(standard));
    return proxy;
}

// One exchange of the automation proxy with 127.0.0.1:`port`, or with the URL `path`: "" when
// it completes, else the fault it raises as "context: message".
inline WMString ProxyExchange(WMSOAPAutomationProxy& proxy, int port, WMSOAPMessage& message,
                              const WMString& path = u"/svc") {
    try {
        return proxy.InvokeSOAPMethod(u"\"urn:a\"", u"127.0.0.1", port, path, u"tester", message)
                   ? u""
                   : u"not completed, no fault";
    } catch (WMSOAPProxyFault* raised) {
        std::unique_ptr<WMSOAPProxyFault> fault(raised);
        return fault->GetContext() + u": " + fault->GetMessageText();
    }
}

}  // namespace corvane::test

#endif
