// SPDX-License-Identifier: GPL-2.0-or-later
//
// Prints the name of the program scene: the smallest program that uses the client library.
#include <QCoreApplication>
#include <QDebug>

#include <kestrelsession.h>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    KestrelSession session;
    if (!session.open()) {
        qCritical().noquote() << "no connection to OBS:" << session.errorString();
        return 1;
    }
    qInfo().noquote() << session.state().programScene();
    return 0;
}
