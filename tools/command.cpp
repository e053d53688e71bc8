// SPDX-License-Identifier: GPL-2.0-or-later
#include "command.h"

#include "console.h"
#include "exitstatus.h"
#include "portoption.h"

using namespace Qt::StringLiterals;

void Command::finishUnconnected(const QString& reason)
{
    Console::printError(u"kestrelctl: no connection to the plug-in on port %1: %2"_s.arg(m_options.port).arg(reason));
    Console::printError(PortOption::advice(m_options.port));
    emit finished(ExitStatus::noConnection);
}
