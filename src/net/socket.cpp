#include <corvane/dynssl.h>
#include <corvane/socket.h>

#include "net/host_ent.h"
#include "net/network_events.h"
#include "net/tls.h"
#include "platform/executable.h"
#include "platform/signals.h"
#include "platform/socket.h"

namespace {

namespace platform = corvane::platform;
using corvane::detail::NetworkEventRecord;
using corvane::detail::NetworkEvents;

constexpr int kErrNotInitialized = 10093;
constexpr int kSslErrorNone = 0;
constexpr int kSslWantRead = 2;
constexpr int kSslWantWrite = 3;
constexpr int kErrConnectionAborted = 10053;
constexpr int kSslZeroReturn = 6;
constexpr int kSslCtrlMode = 33;
constexpr long kSslModeAcceptMovingWriteBuffer = 2;
// OpenSSL keeps at most 16 codes in its error queue; the bound also stops the drain when the
// forwarder of a missing entry point keeps answering 1.
constexpr int kErrorQueueLimit = 16;

// The Windows Sockets code for a send that made no progress. With TLS the library's own
// verdict decides whether it would block: errno may be left over from an earlier call, and
// taking a stale "would block" for a broken connection would retry it for ever.
int SendFailure(ssl_st* ssl, long result) {
    if (ssl == nullptr) {
        return platform::LastSocketError();
    }
    const int error = platform::LastSocketError();
    const int tlsError = DynSSL::SSL_get_error(ssl, static_cast<int>(result));
    if (tlsError == kSslWantRead || tlsError == kSslWantWrite) {
        return platform::kErrWouldBlock;
    }
    return error == 0 || error == platform::kErrWouldBlock ? kErrConnectionAborted : error;
}

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(&text[0]);
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

// WMHostEnt

WMHostEnt::WMHostEnt(hostent const* host) : m_addrType(0), m_addrLength(0) {
    platform::HostRecord record = platform::ReadHostent(host);
    m_name = std::move(record.name);
    m_aliasText = std::move(record.aliases);
    m_addrType = record.addressType;
    m_addrLength = record.addressLength;
    m_addressBytes = std::move(record.addresses);
    Link();
}

WMHostEnt::WMHostEnt(WMHostEnt const& other)
    : m_name(other.m_name),
      m_aliasText(other.m_aliasText),
      m_addrType(other.m_addrType),
      m_addrLength(other.m_addrLength),
      m_addressBytes(other.m_addressBytes) {
    Link();
}

WMHostEnt& WMHostEnt::operator=(WMHostEnt const& other) {
    if (this != &other) {
        m_name = other.m_name;
        m_aliasText = other.m_aliasText;
        m_addrType = other.m_addrType;
        m_addrLength = other.m_addrLength;
        m_addressBytes = other.m_addressBytes;
        Link();
    }
    return *this;
}

WMHostEnt::~WMHostEnt() = default;

void WMHostEnt::Link() {
    m_aliases = PointersTo(m_aliasText);
    m_addresses = PointersTo(m_addressBytes);
}

char const* WMHostEnt::GetName() const {
    return m_name.c_str();
}
char* const* WMHostEnt::GetAliases() const {
    return m_aliases.data();
}
short WMHostEnt::GetAddrType() const {
    return m_addrType;
}
short WMHostEnt::GetAddrLength() const {
    return m_addrLength;
}
char* const* WMHostEnt::GetAddrList() const {
    return m_addresses.data();
}

// WMWinSocket2

WMWinSocket2::WMWinSocket2(unsigned long timeout)
    : m_nLastError(0),
      m_bUseSSL(false),
      m_ssl(nullptr),
      m_ctx(nullptr),
      m_sbio(nullptr),
      m_bInitialized(false),
      m_bConnected(false),
      m_timeout(timeout),
      m_socket(platform::kInvalidSocket),
      m_hEvent(nullptr),
      m_pendingOffset(0) {
    // Sockets need no start-up here; the TLS library is prepared as on every platform. Without
    // the libraries both forwarders do nothing, so the first one's attempt to load them
    // decides whether the second runs: a process without them looks once per socket, not twice.
    DynSSL::SSL_load_error_strings();
    if (DynSSL::m_hLibeay32Instance != nullptr) {
        DynSSL::SSL_library_init();
    }
    m_hEvent = new NetworkEvents();
    m_bInitialized = true;
}

WMWinSocket2::WMWinSocket2(WMWinSocket2 const& other) : WMWinSocket2(other.m_timeout) {}

WMWinSocket2& WMWinSocket2::operator=(WMWinSocket2 const& other) {
    if (this != &other) {
        CloseConnection();
        m_timeout = other.m_timeout;
        m_nLastError = 0;
    }
    return *this;
}

WMWinSocket2::~WMWinSocket2() {
    CloseConnection();
    delete m_hEvent;
}

bool WMWinSocket2::OnSockTimeout() {
    return true;
}
bool WMWinSocket2::OnSockConnect() {
    return true;
}
bool WMWinSocket2::OnSockRead(bool&) {
    return true;
}
bool WMWinSocket2::OnSockWrite() {
    return true;
}
void WMWinSocket2::OnSockClose() {}

bool WMWinSocket2::IsInitialized() {
    return m_bInitialized;
}
bool WMWinSocket2::IsConnected() {
    return m_bConnected;
}

void WMWinSocket2::Clear() {
    m_pendingSends.clear();
    m_pendingOffset = 0;
}

// Every way out of a connection comes here: the TLS objects and the socket are released and
// data still queued for this connection is dropped, so a later connection starts clean.
void WMWinSocket2::CloseConnection() {
    if (m_ssl != nullptr) {
        DynSSL::SSL_free(m_ssl);  // frees the socket wrapper with it
    }
    corvane::detail::FreeTlsContext(m_ctx);
    m_ssl = nullptr;
    m_sbio = nullptr;
    m_ctx = nullptr;
    m_bUseSSL = false;
    platform::CloseSocket(m_socket);
    m_socket = platform::kInvalidSocket;
    m_bConnected = false;
    Clear();
}

bool WMWinSocket2::Connect(sockaddr_in* address, int useTLS) {
    if (!m_bInitialized) {
        m_nLastError = kErrNotInitialized;
        return false;
    }
    if (m_bConnected) {
        m_nLastError = platform::kErrIsConnected;
        return false;
    }
    m_nLastError = 0;
    m_bConnected = false;
    m_socket = platform::OpenStreamSocket();
    if (m_socket == platform::kInvalidSocket) {
        m_nLastError = platform::LastSocketError();
        return false;
    }
    m_hEvent->Select(corvane::detail::kEventConnect);
    if (platform::ConnectSocket(m_socket, address) != 0) {
        const int error = platform::LastSocketError();
        if (error != platform::kErrWouldBlock) {
            m_nLastError = error;
            CloseConnection();
            return false;
        }
    }
    if (useTLS && (initializeClient_ctx() == 0 || SSLConnect() == 0)) {
        // The TLS library's code; when its queue is empty, what the handshake saw instead
        // (258 for a time-out, or the socket's error) stays.
        const int code = static_cast<int>(DynSSL::ERR_get_error());
        if (code != 0) {
            m_nLastError = code;
        }
        CloseConnection();
        return false;
    }

    NetworkEventRecord record;
    int waited = m_hEvent->Wait(m_socket, m_timeout, record);
    for (;;) {
        if (waited != 0) {
            m_nLastError = waited;
            CloseConnection();
            return false;
        }
        if ((record.events & corvane::detail::kEventConnect) != 0) {
            if (record.connectError != 0) {
                m_nLastError = record.connectError;
                CloseConnection();
                return false;
            }
            m_hEvent->Select(corvane::detail::kEventRead | corvane::detail::kEventWrite |
                             corvane::detail::kEventClose);
            m_bConnected = true;
            if (!OnSockConnect()) {
                break;
            }
        }
        if ((record.events & corvane::detail::kEventWrite) != 0) {
            if (!FlushPending()) {
                CloseConnection();
                return false;
            }
            if (!OnSockWrite()) {
                break;
            }
        }
        if ((record.events & corvane::detail::kEventRead) != 0) {
            bool more = true;
            if (!OnSockRead(more)) {
                break;
            }
        }
        if ((record.events & corvane::detail::kEventClose) != 0) {
            if (record.closeError != 0) {
                m_nLastError = record.closeError;
                CloseConnection();
                return false;
            }
            // Drain what arrived before the close. A handler that leaves `more` set without
            // receiving anything would be called for ever, so that also ends the drain.
            bool more = true;
            while (more) {
                const unsigned long receives = m_hEvent->Receives();
                OnSockRead(more);
                if (m_hEvent->Receives() == receives) {
                    break;
                }
            }
            OnSockClose();
            break;
        }
        waited = m_hEvent->Wait(m_socket, m_timeout, record);
    }
    CloseConnection();
    return true;
}

bool WMWinSocket2::FlushPending() {
    while (!m_pendingSends.empty()) {
        const std::string& front = m_pendingSends.front();
        while (m_pendingOffset < front.size()) {
            const char* data = front.data() + m_pendingOffset;
            const std::size_t left = front.size() - m_pendingOffset;
            long sent;
            if (m_bUseSSL) {
                const int chunk = left > 0x40000000u ? 0x40000000 : static_cast<int>(left);
                platform::ClearSocketError();
                sent = DynSSL::SSL_write(m_ssl, data, chunk);
            } else {
                sent = platform::SendSocket(m_socket, data, left);
            }
            if (sent > 0) {
                m_pendingOffset += static_cast<std::size_t>(sent);
                continue;
            }
            const int error = SendFailure(m_bUseSSL ? m_ssl : nullptr, sent);
            if (error == platform::kErrWouldBlock) {
                m_hEvent->NoteWouldBlock();
                return true;
            }
            m_nLastError = error;
            return false;
        }
        m_pendingSends.pop_front();
        m_pendingOffset = 0;
    }
    return true;
}

bool WMWinSocket2::Send(char* data, int length) {
    if (length <= 0) {
        return true;
    }
    if (!m_pendingSends.empty()) {
        m_pendingSends.emplace_back(data, static_cast<std::size_t>(length));
        return true;
    }
    int sent = 0;
    while (sent < length) {
        platform::ClearSocketError();
        long n = m_bUseSSL ? DynSSL::SSL_write(m_ssl, data + sent, length - sent)
                           : platform::SendSocket(m_socket, data + sent,
                                                  static_cast<std::size_t>(length - sent));
        if (n > 0) {
            sent += static_cast<int>(n);
            continue;
        }
        const int error = SendFailure(m_bUseSSL ? m_ssl : nullptr, n);
        if (error == platform::kErrWouldBlock) {
            m_pendingSends.emplace_front(data + sent, static_cast<std::size_t>(length - sent));
            m_pendingOffset = 0;
            m_hEvent->NoteWouldBlock();
            return true;
        }
        m_nLastError = error;
        return false;
    }
    return true;
}

bool WMWinSocket2::Recv(char* buffer, int size, int* received) {
    if (m_bUseSSL) {
        m_hEvent->NoteReceive();
        *received = DynSSL::SSL_read(m_ssl, buffer, size);
        if (*received > 0) {
            return true;
        }
        m_nLastError = platform::LastSocketError();
        return m_nLastError == platform::kErrWouldBlock;
    }
    if (m_hEvent->AtEnd() && size > 0) {
        *received = 0;  // what the system would answer, known without asking it
    } else {
        *received = static_cast<int>(
            platform::RecvSocket(m_socket, buffer, size > 0 ? static_cast<std::size_t>(size) : 0));
    }
    m_hEvent->NoteReceive(*received, size);
    if (*received == -1) {
        const int error = platform::LastSocketError();
        if (error == platform::kErrWouldBlock) {
            return true;
        }
        m_nLastError = error;
        return false;
    }
    return true;
}

void WMWinSocket2::HandleError(int result) {
    if (result >= 1) {
        return;
    }
    // Without a connection object the failure comes from the context set-up: its codes are
    // in the queue all the same.
    if (m_ssl != nullptr) {
        const int error = DynSSL::SSL_get_error(m_ssl, result);
        if (error == kSslErrorNone || error == kSslWantRead || error == kSslZeroReturn) {
            return;
        }
    }
    // The texts are not kept anywhere; draining the queue keeps stale codes out of the next
    // ERR_get_error.
    char text[256];
    unsigned long code = DynSSL::ERR_get_error();
    for (int i = 0; code != 0 && i < kErrorQueueLimit; ++i) {
        DynSSL::ERR_error_string_n(code, text, sizeof(text));
        code = DynSSL::ERR_get_error();
    }
}

int WMWinSocket2::initializeClient_ctx() {
    platform::IgnoreAbortSignal();
    m_ctx = DynSSL::SSL_CTX_new(DynSSL::SSLv23_method());
    const std::string directory =
        platform::JoinPath(platform::ExecutableDirectory(), "Certificate Authorities");
    const int result = DynSSL::SSL_CTX_load_verify_locations(m_ctx, nullptr, directory.c_str());
    if (result == 0) {
        HandleError(result);
    }
    // Without the TLS library every forwarder answers 1 and the handles are not real: such a
    // connection would "read" made-up bytes for ever, so it is refused here.
    if (m_ctx != nullptr && result >= 1 && DynSSL::m_bLoadSuccess == 1) {
        m_bUseSSL = true;
        return 1;
    }
    m_bUseSSL = false;
    return 0;
}

int WMWinSocket2::SSLConnect() {
    m_ssl = DynSSL::SSL_new(m_ctx);
    // Data left over by a would-block send is retried from the queue's own copy.
    DynSSL::SSL_ctrl(m_ssl, kSslCtrlMode, kSslModeAcceptMovingWriteBuffer, nullptr);
    m_sbio = DynSSL::BIO_new_socket(static_cast<int>(m_socket), 0);
    DynSSL::SSL_set_bio(m_ssl, m_sbio, m_sbio);
    // Set after the connection object exists, so it does not apply to this connection. Where
    // no such ciphers exist the call fails; its error must not linger in the queue, where it
    // would be taken for the verdict of a later call.
    if (DynSSL::SSL_CTX_set_cipher_list(m_ctx, "EXP, EXPORT") == 0) {
        HandleError(0);
    }
    corvane::detail::TlsRetry retry(m_socket, m_timeout);
    for (;;) {
        platform::ClearSocketError();
        const int result = DynSSL::SSL_connect(m_ssl);
        if (result > 0) {
            return 1;
        }
        if (!retry.Wait(DynSSL::SSL_get_error(m_ssl, result))) {
            m_nLastError = retry.TimedOut() ? platform::kErrTimeout : retry.SocketError();
            HandleError(result);
            return 0;
        }
    }
}
