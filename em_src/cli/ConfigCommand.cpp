// tovarn config: the configuration file a project reads, shown or changed.
// The other commands read it and never write it.

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "xIniFile.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace cli {

fs::path UserConfigurationFolder() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && *config) return fs::path(config) / "tovarn";
    const char* home = std::getenv("HOME");
    // Without a home the program is run from a folder of its own.
    if (!home || !*home) return fs::current_path();
    return fs::path(home) / ".config" / "tovarn";
}

fs::path ConfigurationFolder(const fs::path& parFile) {
    if (parFile.empty()) return UserConfigurationFolder();
    fs::path projectFolder = parFile.parent_path();
    if (projectFolder.empty()) projectFolder = ".";
    return xIniFile::Locate(projectFolder, UserConfigurationFolder());
}

int ConfigShow(const fs::path& parFile, std::ostream& out) {
    xIniFile ini(ConfigurationFolder(parFile), {}, xIniFile::Saving::WhenAsked);
    Platform().Note("Configuration of " + ini.Path().string() +
                    (fs::exists(ini.Path()) ? "" : " (not written yet: the defaults)"));
    out << ini.Text();
    return kSuccess;
}

int ConfigSet(const std::vector<std::string>& assignments, const fs::path& parFile,
              std::ostream& out) {
    xIniFile ini(ConfigurationFolder(parFile), {}, xIniFile::Saving::WhenAsked);
    for (const auto& text : assignments) {
        const auto equals = text.find('=');
        std::string why = "config set wants \"Field=value\", not \"" + text + "\".";
        if (equals == std::string::npos ||
            !ini.Set(text.substr(0, equals), text.substr(equals + 1), why)) {
            Platform().Error(why + " Nothing was saved.");
            return kUsage;
        }
    }
    // A project's changes stay with the project; the user's file holds the rest.
    if (!parFile.empty()) {
        fs::path projectFolder = parFile.parent_path();
        ini.MoveTo(projectFolder.empty() ? fs::path(".") : projectFolder);
    }
    std::error_code error;
    fs::create_directories(ini.Path().parent_path(), error);
    if (!ini.Write()) {
        Platform().Error(ini.Path().string() + ": cannot be written. Nothing was saved.");
        return kFailed;
    }
    out << "saved: " << ini.Path().string() << '\n';
    return kSuccess;
}

void AddConfigCommand(CLI::App& app, CommandTable& table) {
    auto* config = app.add_subcommand(
        "config",
        "The configuration file Tovarn.INI: a project reads the one in its folder if there is\n"
        "one, else $XDG_CONFIG_HOME/tovarn/Tovarn.INI (~/.config when unset). Only this\n"
        "command writes it.");
    config->require_subcommand(1);
    auto project = std::make_shared<std::string>();
    auto assignments = std::make_shared<std::vector<std::string>>();

    auto* show =
        table.Add(*config, "show", "Print the configuration a project reads.",
                  [project](xConsolePlatform&) { return ConfigShow(*project, std::cout); });
    show->add_option("--project", *project, "the project whose configuration to show");

    auto* set = table.Add(
        *config, "set",
        "Change fields and save: with --project into the project's folder (starting from\n"
        "what the project reads), else into the user's file. Fields: " +
            [] {
                std::string names;
                for (const auto& name : xIniFile::FieldNames())
                    names += (names.empty() ? "" : ", ") + name;
                return names;
            }() +
            ".",
        [project, assignments](xConsolePlatform&) {
            return ConfigSet(*assignments, *project, std::cout);
        });
    set->add_option("FIELD=VALUE", *assignments, "e.g. ExtraTaus=3 InspectAmplitudes=Yes")
        ->required();
    set->add_option("--project", *project, "the project whose configuration to change");
}

}  // namespace cli
