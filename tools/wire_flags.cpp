// The standard wire mode's command-line options, shared by call, inspect and envelope.
#include <corvane/dynssl.h>

#include "commands.h"

#include <filesystem>

namespace corvane::tool {

WMString ToLocation(const std::string& location) {
    if (location.find("http://") != std::string::npos ||
        location.find("https://") != std::string::npos ||
        location.find("file://") != std::string::npos) {
        return Wide(location);
    }
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(location, error);
    return Wide("file://" + (error ? location : absolute.lexically_normal().string()));
}

void AddWireFlags(CLI::App* app, WireFlags& flags) {
    CLI::Option* standard = app->add_flag(
        "--standard", flags.standard,
        "Use the standard wire mode: HTTP/1.1 with kept connections, UTF-8, values typed by the "
        "description, https:// on any port with a verified certificate");
    app->add_option("--ca-file", flags.caFile,
                    "PEM file of the CAs that vouch for the server (default: the system's store)")
        ->needs(standard);
    app->add_flag("--insecure", flags.insecure, "Accept any server certificate")->needs(standard);
    app->add_option("--user", flags.user, "USER:PASSWORD for HTTP Basic authentication")
        ->needs(standard);
    app->add_option("--proxy", flags.proxy, "An HTTP proxy, http://[user:password@]host:port")
        ->needs(standard);
    app->add_option("--tls-library-dir", flags.tlsLibraryDir,
                    "Where libcrypto and libssl are (default: beside the corvane program)");
}

void AddDoclitFlag(CLI::App* app, WireFlags& flags) {
    app->add_flag("--doclit", flags.doclit,
                  "Document/literal and rpc/literal operations, values by the WSDL's schema "
                  "(SOAP 1.1 or 1.2 as the binding says); implies --standard");
}

WMWireOptions ToWireOptions(const WireFlags& flags) {
    if (!flags.tlsLibraryDir.empty()) {
        DynSSL::SetLibraryDirectory(Wide(flags.tlsLibraryDir));
    }
    WMWireOptions options;
    options.standard = flags.standard;
    options.caFile = Wide(flags.caFile);
    options.verifyServerCertificate = !flags.insecure;
    std::size_t const colon = flags.user.find(':');
    options.user = Wide(flags.user.substr(0, colon));
    if (colon != std::string::npos) {
        options.password = Wide(flags.user.substr(colon + 1));
    }
    options.proxy = Wide(flags.proxy);
    return options;
}

}  // namespace corvane::tool
