#include <corvane/dynssl.h>
#include <corvane/utf8.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "net/tls.h"
#include "platform/executable.h"
#include "platform/library.h"
#include "platform/signals.h"

void* DynSSL::m_hLibeay32Instance = nullptr;
void* DynSSL::m_hSsleay32Instance = nullptr;
int DynSSL::m_bLoadSuccess = 0;

int (*DynSSL::m_SSL_get_error)(ssl_st const*, int) = nullptr;
int (*DynSSL::m_SSL_read)(ssl_st*, void*, int) = nullptr;
int (*DynSSL::m_SSL_library_init)() = nullptr;
void (*DynSSL::m_SSL_load_error_strings)() = nullptr;
int (*DynSSL::m_SSL_CTX_load_verify_locations)(ssl_ctx_st*, char const*, char const*) = nullptr;
ssl_ctx_st* (*DynSSL::m_SSL_CTX_new)(ssl_method_st const*) = nullptr;
ssl_method_st const* (*DynSSL::m_SSLv23_method)() = nullptr;
int (*DynSSL::m_SSL_connect)(ssl_st*) = nullptr;
int (*DynSSL::m_SSL_CTX_set_cipher_list)(ssl_ctx_st*, char const*) = nullptr;
void (*DynSSL::m_SSL_set_bio)(ssl_st*, bio_st*, bio_st*) = nullptr;
ssl_st* (*DynSSL::m_SSL_new)(ssl_ctx_st*) = nullptr;
int (*DynSSL::m_SSL_write)(ssl_st*, void const*, int) = nullptr;
unsigned long (*DynSSL::m_ERR_get_error)() = nullptr;
void (*DynSSL::m_ERR_error_string_n)(unsigned long, char*, std::size_t) = nullptr;
bio_st* (*DynSSL::m_BIO_new_socket)(int, int) = nullptr;
void (*DynSSL::m_SSL_free)(ssl_st*) = nullptr;
int (*DynSSL::m_SSL_CTX_use_certificate_file)(ssl_ctx_st*, char const*, int) = nullptr;
void (*DynSSL::m_SSL_CTX_set_default_passwd_cb)(ssl_ctx_st*, PemPasswordCallback*) = nullptr;
int (*DynSSL::m_SSL_CTX_use_PrivateKey_file)(ssl_ctx_st*, char const*, int) = nullptr;
int (*DynSSL::m_SSL_accept)(ssl_st*) = nullptr;
void (*DynSSL::m_SSL_set_accept_state)(ssl_st*) = nullptr;
long (*DynSSL::m_SSL_ctrl)(ssl_st*, int, long, void*) = nullptr;
int (*DynSSL::m_BIO_free)(bio_st*) = nullptr;
void (*DynSSL::m_EVP_PKEY_free)(evp_pkey_st*) = nullptr;
int (*DynSSL::m_BIO_read)(bio_st*, void*, int) = nullptr;
int (*DynSSL::m_PEM_ASN1_write_bio)(I2dOfVoid*, char const*, bio_st*, void*, evp_cipher_st const*,
                                    unsigned char*, int, PemPasswordCallback*, void*) = nullptr;
evp_pkey_st* (*DynSSL::m_EVP_PKEY_new)() = nullptr;
rsa_st* (*DynSSL::m_RSA_generate_key)(int, unsigned long, RsaProgressCallback, void*) = nullptr;
int (*DynSSL::m_EVP_PKEY_assign)(evp_pkey_st*, int, void*) = nullptr;
int (*DynSSL::m_X509_set_version)(x509_st*, long) = nullptr;
int (*DynSSL::m_ASN1_INTEGER_set)(asn1_string_st*, long) = nullptr;
asn1_string_st* (*DynSSL::m_X509_get_serialNumber)(x509_st*) = nullptr;
asn1_string_st* (*DynSSL::m_X509_gmtime_adj)(asn1_string_st*, long) = nullptr;
int (*DynSSL::m_X509_set_pubkey)(x509_st*, evp_pkey_st*) = nullptr;
X509_name_st* (*DynSSL::m_X509_get_subject_name)(x509_st*) = nullptr;
int (*DynSSL::m_X509_NAME_add_entry_by_txt)(X509_name_st*, char const*, int, unsigned char const*,
                                            int, int, int) = nullptr;
int (*DynSSL::m_X509_NAME_add_entry_by_NID)(X509_name_st*, int, int, unsigned char*, int, int,
                                            int) = nullptr;
X509_name_st* (*DynSSL::m_X509_get_issuer_name)(x509_st*) = nullptr;
int (*DynSSL::m_X509_sign)(x509_st*, evp_pkey_st*, env_md_st const*) = nullptr;
int (*DynSSL::m_X509_print_fp)(std::FILE*, x509_st*) = nullptr;
int (*DynSSL::m_PEM_ASN1_write)(I2dOfVoid*, char const*, std::FILE*, void*, evp_cipher_st const*,
                                unsigned char*, int, PemPasswordCallback*, void*) = nullptr;
bio_st* (*DynSSL::m_BIO_new)(bio_method_st*) = nullptr;
int (*DynSSL::m_i2d_PrivateKey)(evp_pkey_st*, unsigned char**) = nullptr;
x509_st* (*DynSSL::m_X509_new)() = nullptr;
void (*DynSSL::m_X509_free)(x509_st*) = nullptr;
bio_method_st* (*DynSSL::m_BIO_s_mem)() = nullptr;
int (*DynSSL::m_PEM_write_X509)(std::FILE*, x509_st*) = nullptr;
env_md_st const* (*DynSSL::m_EVP_sha1)() = nullptr;

namespace {

// Entry points of OpenSSL 1.1 and later that stand in for removed ones, and SSL_CTX_free,
// which the socket needs to release its contexts. Resolved with the others, never exported.
int (*g_OPENSSL_init_ssl)(std::uint64_t, void const*) = nullptr;
void (*g_SSL_CTX_free)(ssl_ctx_st*) = nullptr;

constexpr std::uint64_t kInitLoadCryptoStrings = 0x00000002UL;
constexpr std::uint64_t kInitLoadSslStrings = 0x00200000UL;

int AdaptLibraryInit() {
    return g_OPENSSL_init_ssl(0, nullptr);
}
void AdaptLoadErrorStrings() {
    g_OPENSSL_init_ssl(kInitLoadSslStrings | kInitLoadCryptoStrings, nullptr);
}

std::string& LibraryDirectory() {
    static std::string directory;
    return directory;
}

// Where the last attempt found no crypto library, and the directory's stamp then. Each socket
// asks for the libraries, so without them every call would try every file name again; while
// the directory has not changed, that attempt would fail the same way.
struct MissedDirectory {
    std::string directory;
    std::string stamp;
};

MissedDirectory& LastMiss() {
    static MissedDirectory missed;
    return missed;
}

template <typename Fn>
void Assign(Fn*& slot, void* address) {
    slot = reinterpret_cast<Fn*>(address);
}

template <typename Fn>
void* AsAddress(Fn* function) {
    return reinterpret_cast<void*>(function);
}

corvane::detail::TlsVerifyApi g_verifyApi{};
bool g_verifyApiComplete = false;

// Resolves the entry points of TlsVerifyApi; true when every one was found.
bool ResolveVerifyApi(void* ssl, void* crypto) {
    namespace platform = corvane::platform;
    auto& api = g_verifyApi;
    bool found = true;
    auto take = [&found](auto& slot, void* library, char const* name) {
        void* address = platform::FindSymbol(library, name);
        found = found && address != nullptr;
        Assign(slot, address);
    };
    take(api.TLS_client_method, ssl, "TLS_client_method");
    take(api.SSL_CTX_ctrl, ssl, "SSL_CTX_ctrl");
    take(api.SSL_CTX_set_verify, ssl, "SSL_CTX_set_verify");
    take(api.SSL_CTX_set_default_verify_paths, ssl, "SSL_CTX_set_default_verify_paths");
    take(api.SSL_CTX_use_certificate_chain_file, ssl, "SSL_CTX_use_certificate_chain_file");
    take(api.SSL_CTX_check_private_key, ssl, "SSL_CTX_check_private_key");
    take(api.SSL_set1_host, ssl, "SSL_set1_host");
    take(api.SSL_get0_param, ssl, "SSL_get0_param");
    take(api.X509_VERIFY_PARAM_set1_ip_asc, crypto, "X509_VERIFY_PARAM_set1_ip_asc");
    take(api.SSL_get_verify_result, ssl, "SSL_get_verify_result");
    take(api.X509_verify_cert_error_string, crypto, "X509_verify_cert_error_string");
    take(api.ERR_clear_error, crypto, "ERR_clear_error");
    return found;
}

enum class From { kSsl, kCrypto };

struct Entry {
    From library;
    char const* name;
    void (*store)(void*);
};

#define CORVANE_ENTRY(library, name)                                             \
    {                                                                            \
        library, #name, [](void* address) { Assign(DynSSL::m_##name, address); } \
    }

// The order in which the entry points are resolved; a missing one stops the resolution.
const Entry kEntries[] = {
    CORVANE_ENTRY(From::kSsl, SSL_get_error),
    CORVANE_ENTRY(From::kSsl, SSL_read),
    CORVANE_ENTRY(From::kSsl, SSL_library_init),
    CORVANE_ENTRY(From::kSsl, SSL_load_error_strings),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_load_verify_locations),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_new),
    CORVANE_ENTRY(From::kSsl, SSLv23_method),
    CORVANE_ENTRY(From::kSsl, SSL_connect),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_set_cipher_list),
    CORVANE_ENTRY(From::kSsl, SSL_set_bio),
    CORVANE_ENTRY(From::kSsl, SSL_new),
    CORVANE_ENTRY(From::kSsl, SSL_write),
    CORVANE_ENTRY(From::kCrypto, ERR_get_error),
    CORVANE_ENTRY(From::kCrypto, ERR_error_string_n),
    CORVANE_ENTRY(From::kCrypto, BIO_new_socket),
    CORVANE_ENTRY(From::kSsl, SSL_free),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_use_certificate_file),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_set_default_passwd_cb),
    CORVANE_ENTRY(From::kSsl, SSL_CTX_use_PrivateKey_file),
    CORVANE_ENTRY(From::kSsl, SSL_accept),
    CORVANE_ENTRY(From::kSsl, SSL_set_accept_state),
    CORVANE_ENTRY(From::kSsl, SSL_ctrl),
    CORVANE_ENTRY(From::kCrypto, BIO_free),
    CORVANE_ENTRY(From::kCrypto, EVP_PKEY_free),
    CORVANE_ENTRY(From::kCrypto, BIO_read),
    CORVANE_ENTRY(From::kCrypto, PEM_ASN1_write_bio),
    CORVANE_ENTRY(From::kCrypto, EVP_PKEY_new),
    CORVANE_ENTRY(From::kCrypto, RSA_generate_key),
    CORVANE_ENTRY(From::kCrypto, EVP_PKEY_assign),
    CORVANE_ENTRY(From::kCrypto, X509_set_version),
    CORVANE_ENTRY(From::kCrypto, ASN1_INTEGER_set),
    CORVANE_ENTRY(From::kCrypto, X509_get_serialNumber),
    CORVANE_ENTRY(From::kCrypto, X509_gmtime_adj),
    CORVANE_ENTRY(From::kCrypto, X509_set_pubkey),
    CORVANE_ENTRY(From::kCrypto, X509_get_subject_name),
    CORVANE_ENTRY(From::kCrypto, X509_NAME_add_entry_by_txt),
    CORVANE_ENTRY(From::kCrypto, X509_NAME_add_entry_by_NID),
    CORVANE_ENTRY(From::kCrypto, X509_get_issuer_name),
    CORVANE_ENTRY(From::kCrypto, X509_sign),
    CORVANE_ENTRY(From::kCrypto, X509_print_fp),
    CORVANE_ENTRY(From::kCrypto, PEM_ASN1_write),
    CORVANE_ENTRY(From::kCrypto, BIO_new),
    CORVANE_ENTRY(From::kCrypto, i2d_PrivateKey),
    CORVANE_ENTRY(From::kCrypto, X509_new),
    CORVANE_ENTRY(From::kCrypto, X509_free),
    CORVANE_ENTRY(From::kCrypto, BIO_s_mem),
    CORVANE_ENTRY(From::kCrypto, PEM_write_X509),
    CORVANE_ENTRY(From::kCrypto, EVP_sha1),
};

#undef CORVANE_ENTRY

static_assert(sizeof(kEntries) / sizeof(kEntries[0]) == 48, "one entry per forwarder");

// The address of `name`, or of the stand-in that newer OpenSSL versions provide for it.
void* Resolve(void* library, char const* name) {
    if (void* address = corvane::platform::FindSymbol(library, name)) {
        return address;
    }
    const std::string wanted(name);
    if (wanted == "SSLv23_method") {
        return corvane::platform::FindSymbol(library, "TLS_method");
    }
    if (g_OPENSSL_init_ssl != nullptr && wanted == "SSL_library_init") {
        return AsAddress(&AdaptLibraryInit);
    }
    if (g_OPENSSL_init_ssl != nullptr && wanted == "SSL_load_error_strings") {
        return AsAddress(&AdaptLoadErrorStrings);
    }
    return nullptr;
}

// What a forwarder returns when its entry point is missing: 1, also for pointer results.
template <typename R>
R Missing() {
    if constexpr (std::is_pointer_v<R>) {
        return reinterpret_cast<R>(std::uintptr_t{1});
    } else if constexpr (!std::is_void_v<R>) {
        return static_cast<R>(1);
    }
}

template <typename R, typename... P, typename... A>
R Call(R (*function)(P...), A... args) {
    if (function == nullptr) {
        return Missing<R>();
    }
    return function(args...);
}

// For calls that may write to the socket: a peer that has gone must not raise SIGPIPE.
template <typename R, typename... P, typename... A>
R CallGuarded(R (*function)(P...), A... args) {
    if (function == nullptr) {
        return Missing<R>();
    }
    corvane::platform::SigpipeGuard guard;
    return function(args...);
}

}  // namespace

namespace corvane::detail {

void FreeTlsContext(ssl_ctx_st* context) {
    if (g_SSL_CTX_free != nullptr && context != nullptr) {
        g_SSL_CTX_free(context);
    }
}

TlsVerifyApi const* LoadTlsVerifyApi() {
    // The forwarder loads the libraries on first use, as every TLS use does.
    DynSSL::SSL_library_init();
    return DynSSL::m_bLoadSuccess == 1 && g_verifyApiComplete ? &g_verifyApi : nullptr;
}

}  // namespace corvane::detail

DynSSL::DynSSL() = default;
DynSSL::DynSSL(DynSSL const&) = default;
DynSSL& DynSSL::operator=(DynSSL const&) = default;
DynSSL::~DynSSL() = default;

void DynSSL::SetLibraryDirectory(WMString const& directory) {
    std::string bytes;
    WideStringToUTF8(directory, bytes);
    LibraryDirectory() = bytes;
}

int DynSSL::LoadAndInitialize() {
    namespace platform = corvane::platform;
    // The test is on the crypto library alone: once it is loaded, later calls answer 1 even
    // when a later step had failed, and missing entry points stay null.
    if (m_hLibeay32Instance != nullptr) {
        return 1;
    }
    const std::string directory =
        LibraryDirectory().empty() ? platform::ExecutableDirectory() : LibraryDirectory();
    if (directory.empty()) {
        return 0;
    }
    MissedDirectory& missed = LastMiss();
    std::string stamp = platform::DirectoryStamp(directory);
    if (!stamp.empty() && missed.directory == directory && missed.stamp == stamp) {
        return 0;
    }
    void* crypto = nullptr;
    std::string sslName;
    for (const auto& pair : platform::TlsLibraryFileNames()) {
        crypto = platform::LoadLibraryAt(platform::JoinPath(directory, pair.first));
        if (crypto != nullptr) {
            sslName = pair.second;
            break;
        }
    }
    if (crypto == nullptr) {
        missed.directory = directory;
        missed.stamp = std::move(stamp);
        return 0;
    }
    m_hLibeay32Instance = crypto;
    void* ssl = platform::LoadLibraryAt(platform::JoinPath(directory, sslName));
    if (ssl == nullptr) {
        return 0;
    }
    m_hSsleay32Instance = ssl;
    Assign(g_OPENSSL_init_ssl, platform::FindSymbol(ssl, "OPENSSL_init_ssl"));
    for (const Entry& entry : kEntries) {
        void* address = Resolve(entry.library == From::kSsl ? ssl : crypto, entry.name);
        if (address == nullptr) {
            return 0;
        }
        entry.store(address);
    }
    Assign(g_SSL_CTX_free, platform::FindSymbol(ssl, "SSL_CTX_free"));
    g_verifyApiComplete = ResolveVerifyApi(ssl, m_hLibeay32Instance);
    m_bLoadSuccess = 1;
    return 1;
}

int DynSSL::SSL_get_error(ssl_st const* ssl, int ret) {
    LoadAndInitialize();
    return Call(m_SSL_get_error, ssl, ret);
}

int DynSSL::SSL_read(ssl_st* ssl, void* buf, int num) {
    LoadAndInitialize();
    return CallGuarded(m_SSL_read, ssl, buf, num);
}

int DynSSL::SSL_library_init() {
    LoadAndInitialize();
    return Call(m_SSL_library_init);
}

void DynSSL::SSL_load_error_strings() {
    LoadAndInitialize();
    Call(m_SSL_load_error_strings);
}

int DynSSL::SSL_CTX_load_verify_locations(ssl_ctx_st* ctx, char const* CAfile, char const* CApath) {
    LoadAndInitialize();
    return Call(m_SSL_CTX_load_verify_locations, ctx, CAfile, CApath);
}

ssl_ctx_st* DynSSL::SSL_CTX_new(ssl_method_st const* method) {
    LoadAndInitialize();
    return Call(m_SSL_CTX_new, method);
}

ssl_method_st const* DynSSL::SSLv23_method() {
    LoadAndInitialize();
    return Call(m_SSLv23_method);
}

int DynSSL::SSL_connect(ssl_st* ssl) {
    LoadAndInitialize();
    return CallGuarded(m_SSL_connect, ssl);
}

int DynSSL::SSL_CTX_set_cipher_list(ssl_ctx_st* ctx, char const* str) {
    LoadAndInitialize();
    return Call(m_SSL_CTX_set_cipher_list, ctx, str);
}

void DynSSL::SSL_set_bio(ssl_st* ssl, bio_st* rbio, bio_st* wbio) {
    LoadAndInitialize();
    Call(m_SSL_set_bio, ssl, rbio, wbio);
}

ssl_st* DynSSL::SSL_new(ssl_ctx_st* ctx) {
    LoadAndInitialize();
    return Call(m_SSL_new, ctx);
}

int DynSSL::SSL_write(ssl_st* ssl, void const* buf, int num) {
    LoadAndInitialize();
    return CallGuarded(m_SSL_write, ssl, buf, num);
}

unsigned long DynSSL::ERR_get_error() {
    LoadAndInitialize();
    return Call(m_ERR_get_error);
}

void DynSSL::ERR_error_string_n(unsigned long e, char* buf, std::size_t len) {
    LoadAndInitialize();
    Call(m_ERR_error_string_n, e, buf, len);
}

bio_st* DynSSL::BIO_new_socket(int sock, int close_flag) {
    LoadAndInitialize();
    return Call(m_BIO_new_socket, sock, close_flag);
}

void DynSSL::SSL_free(ssl_st* ssl) {
    LoadAndInitialize();
    Call(m_SSL_free, ssl);
}

int DynSSL::SSL_CTX_use_certificate_file(ssl_ctx_st* ctx, char const* file, int type) {
    LoadAndInitialize();
    return Call(m_SSL_CTX_use_certificate_file, ctx, file, type);
}

void DynSSL::SSL_CTX_set_default_passwd_cb(ssl_ctx_st* ctx, PemPasswordCallback* cb) {
    LoadAndInitialize();
    Call(m_SSL_CTX_set_default_passwd_cb, ctx, cb);
}

int DynSSL::SSL_CTX_use_PrivateKey_file(ssl_ctx_st* ctx, char const* file, int type) {
    LoadAndInitialize();
    return Call(m_SSL_CTX_use_PrivateKey_file, ctx, file, type);
}

int DynSSL::SSL_accept(ssl_st* ssl) {
    LoadAndInitialize();
    return CallGuarded(m_SSL_accept, ssl);
}

void DynSSL::SSL_set_accept_state(ssl_st* ssl) {
    LoadAndInitialize();
    Call(m_SSL_set_accept_state, ssl);
}

long DynSSL::SSL_ctrl(ssl_st* ssl, int cmd, long larg, void* parg) {
    LoadAndInitialize();
    return Call(m_SSL_ctrl, ssl, cmd, larg, parg);
}

int DynSSL::BIO_free(bio_st* a) {
    LoadAndInitialize();
    return Call(m_BIO_free, a);
}

void DynSSL::EVP_PKEY_free(evp_pkey_st* pkey) {
    LoadAndInitialize();
    Call(m_EVP_PKEY_free, pkey);
}

int DynSSL::BIO_read(bio_st* b, void* data, int len) {
    LoadAndInitialize();
    return Call(m_BIO_read, b, data, len);
}

int DynSSL::PEM_ASN1_write_bio(I2dOfVoid* i2d, char const* name, bio_st* bp, void* x,
                               evp_cipher_st const* enc, unsigned char* kstr, int klen,
                               PemPasswordCallback* cb, void* u) {
    LoadAndInitialize();
    return Call(m_PEM_ASN1_write_bio, i2d, name, bp, x, enc, kstr, klen, cb, u);
}

evp_pkey_st* DynSSL::EVP_PKEY_new() {
    LoadAndInitialize();
    return Call(m_EVP_PKEY_new);
}

rsa_st* DynSSL::RSA_generate_key(int bits, unsigned long e, RsaProgressCallback callback,
                                 void* cb_arg) {
    LoadAndInitialize();
    return Call(m_RSA_generate_key, bits, e, callback, cb_arg);
}

int DynSSL::EVP_PKEY_assign(evp_pkey_st* pkey, int type, void* key) {
    LoadAndInitialize();
    return Call(m_EVP_PKEY_assign, pkey, type, key);
}

int DynSSL::X509_set_version(x509_st* x, long version) {
    LoadAndInitialize();
    return Call(m_X509_set_version, x, version);
}

int DynSSL::ASN1_INTEGER_set(asn1_string_st* a, long v) {
    LoadAndInitialize();
    return Call(m_ASN1_INTEGER_set, a, v);
}

asn1_string_st* DynSSL::X509_get_serialNumber(x509_st* x) {
    LoadAndInitialize();
    return Call(m_X509_get_serialNumber, x);
}

asn1_string_st* DynSSL::X509_gmtime_adj(asn1_string_st* s, long adj) {
    LoadAndInitialize();
    return Call(m_X509_gmtime_adj, s, adj);
}

int DynSSL::X509_set_pubkey(x509_st* x, evp_pkey_st* pkey) {
    LoadAndInitialize();
    return Call(m_X509_set_pubkey, x, pkey);
}

X509_name_st* DynSSL::X509_get_subject_name(x509_st* a) {
    LoadAndInitialize();
    return Call(m_X509_get_subject_name, a);
}

int DynSSL::X509_NAME_add_entry_by_txt(X509_name_st* name, char const* field, int type,
                                       unsigned char const* bytes, int len, int loc, int set) {
    LoadAndInitialize();
    return Call(m_X509_NAME_add_entry_by_txt, name, field, type, bytes, len, loc, set);
}

int DynSSL::X509_NAME_add_entry_by_NID(X509_name_st* name, int nid, int type, unsigned char* bytes,
                                       int len, int loc, int set) {
    LoadAndInitialize();
    return Call(m_X509_NAME_add_entry_by_NID, name, nid, type, bytes, len, loc, set);
}

X509_name_st* DynSSL::X509_get_issuer_name(x509_st* a) {
    LoadAndInitialize();
    return Call(m_X509_get_issuer_name, a);
}

int DynSSL::X509_sign(x509_st* x, evp_pkey_st* pkey, env_md_st const* md) {
    LoadAndInitialize();
    return Call(m_X509_sign, x, pkey, md);
}

int DynSSL::X509_print_fp(std::FILE* bp, x509_st* x) {
    LoadAndInitialize();
    return Call(m_X509_print_fp, bp, x);
}

int DynSSL::PEM_ASN1_write(I2dOfVoid* i2d, char const* name, std::FILE* fp, void* x,
                           evp_cipher_st const* enc, unsigned char* kstr, int klen,
                           PemPasswordCallback* callback, void* u) {
    LoadAndInitialize();
    return Call(m_PEM_ASN1_write, i2d, name, fp, x, enc, kstr, klen, callback, u);
}

bio_st* DynSSL::BIO_new(bio_method_st* type) {
    LoadAndInitialize();
    return Call(m_BIO_new, type);
}

int DynSSL::i2d_PrivateKey(evp_pkey_st* a, unsigned char** pp) {
    LoadAndInitialize();
    return Call(m_i2d_PrivateKey, a, pp);
}

x509_st* DynSSL::X509_new() {
    LoadAndInitialize();
    return Call(m_X509_new);
}

void DynSSL::X509_free(x509_st* a) {
    LoadAndInitialize();
    Call(m_X509_free, a);
}

bio_method_st* DynSSL::BIO_s_mem() {
    LoadAndInitialize();
    return Call(m_BIO_s_mem);
}

int DynSSL::PEM_write_X509(std::FILE* fp, x509_st* x) {
    LoadAndInitialize();
    return Call(m_PEM_write_X509, fp, x);
}

env_md_st const* DynSSL::EVP_sha1() {
    LoadAndInitialize();
    return Call(m_EVP_sha1);
}

DynSSL::I2dOfVoid* DynSSL::GetPrivateKey() {
    LoadAndInitialize();
    return reinterpret_cast<I2dOfVoid*>(m_i2d_PrivateKey);
}
