// corvane: command-line access to the Corvane SOAP library.
#include <corvane/utf8.h>

#include "commands.h"

#include <vector>

namespace corvane::tool {

std::string Utf8(const WMString& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

WMString Wide(const std::string& utf8) {
    WMString out;
    UTF8ToWideString(utf8, out);
    return out;
}

}  // namespace corvane::tool

int main(int argc, char** argv) {
    CLI::App app{"corvane: inspect and use SOAP services described by WSDL 1.1"};
    app.require_subcommand(1);
    // On Windows the parser would take "/json" for "--json", and so an absolute POSIX-style path
    // for an option; the command line is the same on every platform. Set before the
    // subcommands, which inherit it.
    app.allow_windows_style_options(false);
    std::vector<corvane::tool::Command> commands;
    commands.push_back(corvane::tool::AddInspectCommand(app));
    commands.push_back(corvane::tool::AddCallCommand(app));
    commands.push_back(corvane::tool::AddEnvelopeCommand(app));
    commands.push_back(corvane::tool::AddDecodeCommand(app));
    CLI11_PARSE(app, argc, argv);
    for (const corvane::tool::Command& command : commands) {
        if (command.app->parsed()) {
            return command.run();
        }
    }
    return 1;
}
