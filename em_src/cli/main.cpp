// The tovarn command line: runs the processing chain of a project without a
// screen. Commands arrive with the processes they drive.

#include <CLI/CLI.hpp>

#include <iostream>

int main(int argc, char** argv) {
    CLI::App app{
        "tovarn - airborne EM survey processing.\n"
        "A project is its PAR file. The chain runs Define System, ASCII to binary, Basis\n"
        "functions, Deconvolution, CDI and Inverter; each command below drives a part of it."};
    app.set_version_flag("--version", "tovarn 0.1.0");
    app.footer(
        "Exit codes: 0 success, 1 a process reported an error, 2 bad usage or a fatal error.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    std::cout << app.help();
    return 0;
}
