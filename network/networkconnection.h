// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "corkedsocket.h"
#include "networkreader.h"
#include "networkwriter.h"

#include <QElapsedTimer>

// One controller: its socket, the frames on it in both directions, and the watch over its liveness.
//
// Created, checked and deleted by NetworkServer, on the main thread; nothing deletes itself. Everyone else knows a
// connection as a handle, valid from NetworkServer::connectionAdded until the idle pass that deletes it. Handlers of
// receivedJson run inside the handling of the socket's input and may enter a nested event loop (a modal dialog of the
// host): then no further frame of this connection is handled until they return. So may those of disconnectedFromClient.
class NetworkConnection : public QObject
{
    Q_OBJECT

public:
    explicit NetworkConnection(QObject* parent);
    ~NetworkConnection() override;

    // Takes over an accepted native socket.
    bool setSocketDescriptor(qintptr descriptor);

    // Queues one message, encoded or not, until flush() or the end of the handler that runs; never blocks. False when
    // the socket refused it, or too much waits to be sent, which ends the connection.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(NetworkWriter::encode(json)); }

    // Whether a message of that length can be sent to this controller; a log line says when it cannot.
    bool accepts(qsizetype length_bytes) const;

    // Sends what is waiting, without blocking; handlers may run inside. False once the connection has failed, was
    // silent for too long or is disconnected.
    bool checkAlive();

    // Hands to the system what it takes of the bytes that wait, without blocking; nothing is emitted inside.
    void flush() { m_socket.uncork(); }

    // Whether a handler is on the stack or received frames are still to be handled. A busy connection is left alone.
    bool isBusy() const { return isHandling() || m_isReadPending; }

    bool isHandling() const { return m_handlersRunning > 0; }

signals:
    void receivedJson(QJsonObject json, NetworkConnection* connection);
    void disconnectedFromClient(NetworkConnection* connection);

public slots:
    void readData();
    void parsedData(QJsonObject json);
    void terminate();
    void disconnectCompleted();

private:
    void readLater();
    void restartAliveTimer();
    bool isExpired() const;
    void logRefusal(qsizetype length_bytes) const;
    bool isOverloaded();

    CorkedSocket m_socket;
    NetworkReader m_reader;
    NetworkWriter m_writer;
    QElapsedTimer m_aliveTimer; // valid while the connection is alive; once invalid it stays so
    int m_handlersRunning = 0;
    bool m_isReadPending = false;
    bool m_isOverloaded = false;
};
