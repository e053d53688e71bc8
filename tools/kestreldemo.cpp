// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestreldemo, a tour of the plug-in on a host that was prepared for it.
#include "console.h"
#include "exitstatus.h"
#include "portoption.h"
#include "tour.h"

#include <QCommandLineParser>
#include <QCoreApplication>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"kestreldemo"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Drives a prepared host through the KestrelBridge plug-in and tells what a "
                                     "controller sees. Ends with 0 only when every step was seen to happen."_s);
    const QCommandLineOption help = parser.addHelpOption();
    const PortOption portOption(parser);
    if (!parser.parse(QCoreApplication::arguments())) {
        Console::printError(u"kestreldemo: %1\nSee kestreldemo --help."_s.arg(parser.errorText()));
        return ExitStatus::usage;
    }
    if (parser.isSet(help)) {
        parser.showHelp(ExitStatus::done);
    }
    const std::optional<quint16> port = portOption.port(parser);
    if (!port || !parser.positionalArguments().isEmpty()) {
        Console::printError(u"kestreldemo: takes nothing but --port and a port of the plug-in."_s);
        return ExitStatus::usage;
    }
    return Tour(*port).run() ? ExitStatus::done : ExitStatus::notSeen;
}
