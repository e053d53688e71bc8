// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestrelctl, the controller for the command line.
#include "arguments.h"

#include <QCoreApplication>

#ifndef Q_OS_WIN
#include <clocale>

#include <langinfo.h>
#endif

int main(int argc, char* argv[])
{
#ifndef Q_OS_WIN
    // Qt warns of locales without UTF-8 and then uses UTF-8 all the same.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread yet
    if (std::setlocale(LC_ALL, "") == nullptr || QByteArrayView(nl_langinfo(CODESET)) != "UTF-8") {
        qputenv("LC_ALL", "C.UTF-8");
    }
#endif
    const QCoreApplication application(argc, argv);

    Result result;
    bool isJson = false;
    try {
        const Invocation invocation = parseArguments(QCoreApplication::arguments().mid(1));
        isJson = invocation.isJson;
        KestrelSession session(invocation.timeout.value_or(KestrelSession::defaultTimeout));
        const bool isOffline = invocation.command->group == other || invocation.command->group == hidden;
        if (!isOffline && !session.open(invocation.port)) {
            throw Commands::unconnected(session, invocation.port);
        }
        result = invocation.command->run(session, invocation);
    } catch (const Result& early) {
        result = early;
    }
    Terminal::print(result, isJson);
    return result.status;
}
