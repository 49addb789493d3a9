// DynSSL: OpenSSL reached through its two libraries loaded at run time from the executable's
// directory. Corvane neither links OpenSSL nor needs its headers: the OpenSSL types appear
// here only as incomplete structures, under the names of the interface before OpenSSL 1.1.
#ifndef CORVANE_DYNSSL_H
#define CORVANE_DYNSSL_H

#include <corvane/types.h>

#include <cstddef>
#include <cstdio>

struct ssl_st;
struct ssl_ctx_st;
struct ssl_method_st;
struct bio_st;
struct bio_method_st;
struct evp_pkey_st;
struct evp_cipher_st;
struct env_md_st;
struct rsa_st;
struct x509_st;
struct X509_name_st;
struct asn1_string_st;

// Every forwarder loads the libraries on first use and passes its arguments on unchanged.
// When an entry point could not be resolved, its forwarder calls nothing and returns 1 (as a
// pointer for pointer results), a harmless success value for callers.
class CORVANE_API DynSSL {
public:
    using PemPasswordCallback = int(char* buffer, int size, int rwflag, void* userdata);
    using I2dOfVoid = int(void* object, unsigned char** out);
    using RsaProgressCallback = void (*)(int, int, void*);

    DynSSL();
    DynSSL(DynSSL const& other);
    DynSSL& operator=(DynSSL const& other);
    virtual ~DynSSL();

    // A directory to load the libraries from instead of the executable's. Set it before the
    // first TLS use; the system's library path is still never searched.
    static void SetLibraryDirectory(WMString const& directory);

    static int SSL_get_error(ssl_st const* ssl, int ret);
    static int SSL_read(ssl_st* ssl, void* buf, int num);
    static int SSL_library_init();
    static void SSL_load_error_strings();
    static int SSL_CTX_load_verify_locations(ssl_ctx_st* ctx, char const* CAfile,
                                             char const* CApath);
    static ssl_ctx_st* SSL_CTX_new(ssl_method_st const* method);
    static ssl_method_st const* SSLv23_method();
    static int SSL_connect(ssl_st* ssl);
    static int SSL_CTX_set_cipher_list(ssl_ctx_st* ctx, char const* str);
    static void SSL_set_bio(ssl_st* ssl, bio_st* rbio, bio_st* wbio);
    static ssl_st* SSL_new(ssl_ctx_st* ctx);
    static int SSL_write(ssl_st* ssl, void const* buf, int num);

    static unsigned long ERR_get_error();
    static void ERR_error_string_n(unsigned long e, char* buf, std::size_t len);
    static bio_st* BIO_new_socket(int sock, int close_flag);

    static void SSL_free(ssl_st* ssl);
    static int SSL_CTX_use_certificate_file(ssl_ctx_st* ctx, char const* file, int type);
    static void SSL_CTX_set_default_passwd_cb(ssl_ctx_st* ctx, PemPasswordCallback* cb);
    static int SSL_CTX_use_PrivateKey_file(ssl_ctx_st* ctx, char const* file, int type);
    static int SSL_accept(ssl_st* ssl);
    static void SSL_set_accept_state(ssl_st* ssl);
    static long SSL_ctrl(ssl_st* ssl, int cmd, long larg, void* parg);

    static int BIO_free(bio_st* a);
    static void EVP_PKEY_free(evp_pkey_st* pkey);
    static int BIO_read(bio_st* b, void* data, int len);
    static int PEM_ASN1_write_bio(I2dOfVoid* i2d, char const* name, bio_st* bp, void* x,
                                  evp_cipher_st const* enc, unsigned char* kstr, int klen,
                                  PemPasswordCallback* cb, void* u);
    static evp_pkey_st* EVP_PKEY_new();
    static rsa_st* RSA_generate_key(int bits, unsigned long e, RsaProgressCallback callback,
                                    void* cb_arg);
    static int EVP_PKEY_assign(evp_pkey_st* pkey, int type, void* key);
    static int X509_set_version(x509_st* x, long version);
    static int ASN1_INTEGER_set(asn1_string_st* a, long v);
    static asn1_string_st* X509_get_serialNumber(x509_st* x);
    static asn1_string_st* X509_gmtime_adj(asn1_string_st* s, long adj);
    static int X509_set_pubkey(x509_st* x, evp_pkey_st* pkey);
    static X509_name_st* X509_get_subject_name(x509_st* a);
    static int X509_NAME_add_entry_by_txt(X509_name_st* name, char const* field, int type,
                                          unsigned char const* bytes, int len, int loc, int set);
    static int X509_NAME_add_entry_by_NID(X509_name_st* name, int nid, int type,
                                          unsigned char* bytes, int len, int loc, int set);
    static X509_name_st* X509_get_issuer_name(x509_st* a);
    static int X509_sign(x509_st* x, evp_pkey_st* pkey, env_md_st const* md);
    static int X509_print_fp(std::FILE* bp, x509_st* x);
    static int PEM_ASN1_write(I2dOfVoid* i2d, char const* name, std::FILE* fp, void* x,
                              evp_cipher_st const* enc, unsigned char* kstr, int klen,
                              PemPasswordCallback* callback, void* u);
    static bio_st* BIO_new(bio_method_st* type);
    static int i2d_PrivateKey(evp_pkey_st* a, unsigned char** pp);
    static x509_st* X509_new();
    static void X509_free(x509_st* a);
    static bio_method_st* BIO_s_mem();
    static int PEM_write_X509(std::FILE* fp, x509_st* x);
    static env_md_st const* EVP_sha1();

    // The resolved i2d_PrivateKey, as a callback for PEM_ASN1_write and PEM_ASN1_write_bio.
    static I2dOfVoid* GetPrivateKey();

    static void* m_hLibeay32Instance;  // the crypto library, null until loaded
    static void* m_hSsleay32Instance;  // the TLS library
    static int m_bLoadSuccess;         // 1 once every entry point has been found

    static int (*m_SSL_get_error)(ssl_st const*, int);
    static int (*m_SSL_read)(ssl_st*, void*, int);
    static int (*m_SSL_library_init)();
    static void (*m_SSL_load_error_strings)();
    static int (*m_SSL_CTX_load_verify_locations)(ssl_ctx_st*, char const*, char const*);
    static ssl_ctx_st* (*m_SSL_CTX_new)(ssl_method_st const*);
    static ssl_method_st const* (*m_SSLv23_method)();
    static int (*m_SSL_connect)(ssl_st*);
    static int (*m_SSL_CTX_set_cipher_list)(ssl_ctx_st*, char const*);
    static void (*m_SSL_set_bio)(ssl_st*, bio_st*, bio_st*);
    static ssl_st* (*m_SSL_new)(ssl_ctx_st*);
    static int (*m_SSL_write)(ssl_st*, void const*, int);
    static unsigned long (*m_ERR_get_error)();
    static void (*m_ERR_error_string_n)(unsigned long, char*, std::size_t);
    static bio_st* (*m_BIO_new_socket)(int, int);
    static void (*m_SSL_free)(ssl_st*);
    static int (*m_SSL_CTX_use_certificate_file)(ssl_ctx_st*, char const*, int);
    static void (*m_SSL_CTX_set_default_passwd_cb)(ssl_ctx_st*, PemPasswordCallback*);
    static int (*m_SSL_CTX_use_PrivateKey_file)(ssl_ctx_st*, char const*, int);
    static int (*m_SSL_accept)(ssl_st*);
    static void (*m_SSL_set_accept_state)(ssl_st*);
    static long (*m_SSL_ctrl)(ssl_st*, int, long, void*);
    static int (*m_BIO_free)(bio_st*);
    static void (*m_EVP_PKEY_free)(evp_pkey_st*);
    static int (*m_BIO_read)(bio_st*, void*, int);
    static int (*m_PEM_ASN1_write_bio)(I2dOfVoid*, char const*, bio_st*, void*,
                                       evp_cipher_st const*, unsigned char*, int,
                                       PemPasswordCallback*, void*);
    static evp_pkey_st* (*m_EVP_PKEY_new)();
    static rsa_st* (*m_RSA_generate_key)(int, unsigned long, RsaProgressCallback, void*);
    static int (*m_EVP_PKEY_assign)(evp_pkey_st*, int, void*);
    static int (*m_X509_set_version)(x509_st*, long);
    static int (*m_ASN1_INTEGER_set)(asn1_string_st*, long);
    static asn1_string_st* (*m_X509_get_serialNumber)(x509_st*);
    static asn1_string_st* (*m_X509_gmtime_adj)(asn1_string_st*, long);
    static int (*m_X509_set_pubkey)(x509_st*, evp_pkey_st*);
    static X509_name_st* (*m_X509_get_subject_name)(x509_st*);
    static int (*m_X509_NAME_add_entry_by_txt)(X509_name_st*, char const*, int,
                                               unsigned char const*, int, int, int);
    static int (*m_X509_NAME_add_entry_by_NID)(X509_name_st*, int, int, unsigned char*, int, int,
                                               int);
    static X509_name_st* (*m_X509_get_issuer_name)(x509_st*);
    static int (*m_X509_sign)(x509_st*, evp_pkey_st*, env_md_st const*);
    static int (*m_X509_print_fp)(std::FILE*, x509_st*);
    static int (*m_PEM_ASN1_write)(I2dOfVoid*, char const*, std::FILE*, void*, evp_cipher_st const*,
                                   unsigned char*, int, PemPasswordCallback*, void*);
    static bio_st* (*m_BIO_new)(bio_method_st*);
    static int (*m_i2d_PrivateKey)(evp_pkey_st*, unsigned char**);
    static x509_st* (*m_X509_new)();
    static void (*m_X509_free)(x509_st*);
    static bio_method_st* (*m_BIO_s_mem)();
    static int (*m_PEM_write_X509)(std::FILE*, x509_st*);
    static env_md_st const* (*m_EVP_sha1)();

protected:
    // Loads both libraries and resolves every entry point; 1 for success. Once the crypto
    // library is loaded it answers 1 at once, even when a later step had failed.
    static int LoadAndInitialize();
};

#endif
