// SPDX-License-Identifier: GPL-2.0-or-later
//
// The echo in a process of its own: prints its port and serves until it is ended.
#include "echoserver.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const EchoServer server;
    std::printf("%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
