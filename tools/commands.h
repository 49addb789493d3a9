// The subcommands of the corvane tool and what they share.
#ifndef CORVANE_TOOLS_COMMANDS_H
#define CORVANE_TOOLS_COMMANDS_H

#include <corvane/types.h>
#include <corvane/wire.h>
#include <corvane/wsdl.h>

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace corvane::tool {

// A subcommand: its parser and what runs when it was chosen (the process exit status).
struct Command {
    CLI::App* app;
    std::function<int()> run;
};

Command AddInspectCommand(CLI::App& parent);
Command AddCallCommand(CLI::App& parent);
Command AddEnvelopeCommand(CLI::App& parent);
Command AddDecodeCommand(CLI::App& parent);

std::string Utf8(const WMString& text);
WMString Wide(const std::string& utf8);

// A path becomes a file:// location, which also gives relative imports their base; a location
// holding "http://", "https://" or "file://" is taken as it is.
WMString ToLocation(const std::string& location);

// The options of the standard wire mode, for the subcommands that fetch descriptions or call.
struct WireFlags {
    bool standard = false;
    std::string caFile;
    bool insecure = false;
    std::string user;  // user:password
    std::string proxy;
    std::string tlsLibraryDir;
    bool doclit = false;  // call and envelope only
};
void AddWireFlags(CLI::App* app, WireFlags& flags);
void AddDoclitFlag(CLI::App* app, WireFlags& flags);
// The library's options for the flags; also names the TLS library directory when one was given.
WMWireOptions ToWireOptions(const WireFlags& flags);

// The port that decode and envelope use: the service and port named, or else the first service
// in name order and its first port that has a binding.
struct PortRequest {
    std::string service;
    std::string port;
    WMWireOptions wire;
    std::string noMatch;  // the error when no port fits
};
struct OpenedOperation {
    WMSOAPWSDLClient wsdl;
    WMString service;
    WMString port;
    WMString style;  // of the operation's binding
};
// Reads the description at `location` for the port `request` names, and finds `operation` in
// its binding. False with `error` saying why.
bool OpenOperation(const WMString& location, const PortRequest& request,
                   const std::string& operation, OpenedOperation& opened, std::string& error);

}  // namespace corvane::tool

#endif
