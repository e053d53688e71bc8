// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestrelctl, the controller for the command line.
#include "arguments.h"
#include "terminal.h"

#include <QCoreApplication>

#ifndef Q_OS_WIN
#include <clocale>

#include <langinfo.h>
#endif

namespace {

Result run(const Invocation& invocation)
{
    KestrelSession session(invocation.timeout.value_or(KestrelSession::defaultTimeout));
    if (!invocation.command->isOffline() && !session.open(invocation.port)) {
        return Commands::unconnected(session, invocation.port);
    }
    return invocation.command->run(session, invocation);
}

} // namespace

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

    const auto parsed = Arguments::parse(QCoreApplication::arguments().mid(1));
    const auto* const invocation = std::get_if<Invocation>(&parsed);
    const Result result = invocation != nullptr ? run(*invocation) : std::get<Result>(parsed);
    Terminal::print(result, invocation != nullptr && invocation->isJson);
    return Terminal::close() ? result.status : ExitStatus::failed;
}
