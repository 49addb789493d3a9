// What an automation proxy keeps beyond its exported members: the standard mode's connection
// and, once a request has gone out, the request as the bytes that were sent.
#ifndef CORVANE_CLIENT_PROXY_STATE_H
#define CORVANE_CLIENT_PROXY_STATE_H

#include <corvane/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "net/wire_http.h"

namespace corvane::detail {

struct ProxyState {
    ProxyState() = default;
    // A copy keeps the request sent but not the connection: copies start without one.
    ProxyState(ProxyState const& other);
    ProxyState& operator=(ProxyState const&) = delete;
    ~ProxyState();

    // The request text, kept for GetXMLOut, holds half its size or less as the bytes that went
    // out. Each moves `text` into `sent` (leaving it empty) only when widening those bytes gives
    // back exactly the same units; otherwise the text stays as it is. `bytes` is the UTF-8 that
    // the standard mode sent.
    void KeepAsCodePage(WMString& text);
    void KeepAsUtf8(WMString& text, std::string&& bytes);
    // Puts the text back into `text` when it is held as bytes.
    void Widen(WMString& text);
    // Drops the bytes of an earlier request.
    void Forget();

    std::unique_ptr<WireHttpClient> wire;  // made at the first exchange in the standard mode
    std::string sent;
    bool sentUtf8 = false;
    // The client asks before each of its own exchanges (kAsked) that its message take a large
    // answer's text itself rather than a copy; the exchange takes the request (kExchanging) and
    // says kLent once the message holds the text, which the client then hands back to m_xmlIn
    // after the read. A request holds for one exchange only, however that ends.
    enum class AnswerLoan : unsigned char { kNone, kAsked, kExchanging, kLent };
    AnswerLoan loan = AnswerLoan::kNone;
    // A shorter text may sit inside the string object, where moving it back would move the
    // characters that views into it point at; and copying it costs little.
    static constexpr std::size_t kLentFrom = 4096;

    // The standard mode's URL and header lines, as made for the last exchange from the texts
    // beside them: calls to one operation of one endpoint need them made once.
    struct StandardHead {
        bool made = false;
        WMString soapAction;
        WMString host;
        int port = 0;
        WMString path;
        WMString userAgent;
        int soapVersion = 0;
        std::string url;
        std::string headers;

        bool MadeFrom(WMString const& action, WMString const& toHost, int toPort,
                      WMString const& toPath, WMString const& agent, int version) const {
            return made && port == toPort && soapVersion == version && soapAction == action &&
                   host == toHost && path == toPath && userAgent == agent;
        }
    } head;
};

}  // namespace corvane::detail

#endif
