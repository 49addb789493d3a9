// The subcommands of the corvane tool and what they share.
#ifndef CORVANE_TOOLS_COMMANDS_H
#define CORVANE_TOOLS_COMMANDS_H

#include <corvane/types.h>

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

}  // namespace corvane::tool

#endif
