#include <CLI/CLI.hpp>

#include <cstdio>

#include "core/Paths.h"

int main(int argc, char** argv) {
    CLI::App app{"Ombrel: film looks for digital camera footage"};
    bool version = false;
    app.add_flag("--version", version, "Print the version and the data root in use");
    CLI11_PARSE(app, argc, argv);
    if (version) {
        std::printf("ombrel %s\ndata root: %s\n", OMBREL_VERSION, ombrel::DataRoot().c_str());
    }
    return 0;
}
