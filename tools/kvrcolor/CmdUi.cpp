// kvrcolor ui: a local web page over the presets, their pages and the profile folders of the
// settings, served to this computer alone (ui/UiServer.h).
#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "ui/UiServer.h"

Command RegisterUi(CLI::App& parent) {
    auto options = std::make_shared<SUiServerOptions>();
    auto noBrowser = std::make_shared<bool>(false);
    CLI::App* cmd = parent.add_subcommand(
        "ui", "A web page on this computer for the presets, their pages, the profile folders "
              "and soft proofs");
    cmd->add_option("--port", options->port, "Port on 127.0.0.1 (default 0: any free port)")
        ->check(CLI::Range(0, 65535));
    cmd->add_option("--idle-timeout", options->idleSeconds,
                    "End after this many seconds without a request (default 0: never)");
    cmd->add_flag("--no-browser", *noBrowser, "Print the address only; start no browser");
    cmd->footer("The address printed at start carries a token that every request needs; the "
                "server answers\n127.0.0.1 alone and ends on Ctrl-C, SIGTERM or the idle time. "
                "Uploads are limited to\n" +
                std::to_string(kMaxUploadBytes >> 20) +
                " MiB. Presets and profiles are those of the settings ($KVR_INI), as for "
                "kvrcolor preset.");
    return {cmd, [options, noBrowser] {
                options->openBrowser = !*noBrowser;
                return RunUiServer(*options);
            }};
}
