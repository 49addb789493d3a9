#include "client/proxy_state.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/codepage.h"
#include "text/wire_text.h"

namespace corvane::detail {

namespace {

// Units checked per step of the round trip: small enough for the stack.
constexpr std::size_t kCheckBlock = 4096;

// Whether the code-page bytes of `text` widen back to the same units: false as soon as one
// character had to be replaced.
bool WidensBack(WMString const& text, std::string const& bytes) {
    WMChar units[kCheckBlock];
    for (std::size_t at = 0; at < text.size(); at += kCheckBlock) {
        const std::size_t count = std::min(kCheckBlock, text.size() - at);
        platform::AnsiToWide(bytes.data() + at, count, units);
        if (std::memcmp(units, text.data() + at, count * sizeof(WMChar)) != 0) {
            return false;
        }
    }
    return true;
}

void Release(WMString& text) {
    WMString().swap(text);
}

}  // namespace

ProxyState::ProxyState(ProxyState const& other) : sent(other.sent), sentUtf8(other.sentUtf8) {}

ProxyState::~ProxyState() = default;

void ProxyState::KeepAsCodePage(WMString& text) {
    Forget();
    if (text.empty()) {
        return;
    }
    std::string bytes(text.size(), '\0');
    platform::WideToAnsi(text.data(), text.size(), bytes.data());
    if (!WidensBack(text, bytes)) {
        return;
    }
    sent = std::move(bytes);
    sentUtf8 = false;
    Release(text);
}

void ProxyState::KeepAsUtf8(WMString& text, std::string&& bytes) {
    Forget();
    // Decoding would take a leading U+FEFF for a byte-order mark and drop it.
    if (text.empty() || text.front() == u'\xFEFF') {
        return;
    }
    sent = std::move(bytes);
    sentUtf8 = true;
    Release(text);
}

void ProxyState::Widen(WMString& text) {
    if (sent.empty()) {
        return;
    }
    if (sentUtf8) {
        // The bytes are the encoding of valid UTF-16, so they always decode.
        std::string error;
        DecodeText(sent, "utf-8", text, error);
    } else {
        platform::AnsiToWide(sent.data(), sent.size(), text);
    }
    Forget();
}

void ProxyState::Forget() {
    std::string().swap(sent);
    sentUtf8 = false;
}

}  // namespace corvane::detail
