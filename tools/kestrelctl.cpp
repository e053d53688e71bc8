// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestrelctl, the controller for the command line.
#include "commandline.h"
#include "console.h"
#include "exitstatus.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    CommandLine commandLine;
    const std::optional<int> status = commandLine.parse(QCoreApplication::arguments());
    const int result = status ? *status : commandLine.run();
    return Console::close() ? result : ExitStatus::notSeen;
}
