// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestreldemo, a tour of the plug-in on a host that was prepared for it.
#include "console.h"
#include "exitstatus.h"
#include "pluginport.h"
#include "tour.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>

int main(int argc, char* argv[])
{
    try {
        const QCoreApplication application(argc, argv);
        CLI::App app("Drives a prepared host through the KestrelBridge plug-in and tells what a controller sees. Ends "
                     "with 0 only when every step was seen to happen.",
                     "kestreldemo");
        quint16 port = 0;
        PluginPort::addOption(app, port);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? ExitStatus::done : ExitStatus::usage;
        }
        return Tour(port).run() ? ExitStatus::done : ExitStatus::notSeen;
    } catch (const std::exception& error) {
        Console::printError(QString::fromLocal8Bit(error.what()));
        return ExitStatus::notSeen;
    }
}
