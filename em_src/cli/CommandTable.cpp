#include <CLI/CLI.hpp>

#include "Commands.h"

namespace cli {

CLI::App* CommandTable::Add(CLI::App& parent, const std::string& name, const std::string& help,
                            Body body) {
    CLI::App* command = parent.add_subcommand(name, help);
    commands_.emplace_back(command, std::move(body));
    return command;
}

int CommandTable::RunChosen(xConsolePlatform& console) const {
    for (const auto& [command, body] : commands_)
        if (command->parsed()) return body(console);
    return kUsage;
}

}  // namespace cli
