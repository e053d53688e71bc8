// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QTcpSocket>

// A socket whose output waits for uncork(), which hands it to the system at once.
//
// Qt's own flush() switches a notifier on and off around each call. In the host's event loop that costs two system
// calls, one turn more, and walks along the descriptors of all sockets: a good part of what an answer costs, and a push
// to many. So output passes Qt by as long as the system takes it. What it does not take goes into Qt's buffer, and
// whatever follows goes behind it.
class CorkedSocket : public QTcpSocket
{
    Q_OBJECT

public:
    using QTcpSocket::QTcpSocket;

    // Never blocks and emits nothing: a peer that is gone is left for the next read to notice.
    void uncork();

    // All that has not reached the system.
    qint64 bytesToWrite() const override { return m_corked.size() + QTcpSocket::bytesToWrite(); }

    void disconnectFromHost() override;

protected:
    qint64 writeData(const char* data, qint64 size) override;

private:
    QByteArray m_corked;
};
