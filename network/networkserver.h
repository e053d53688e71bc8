// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "networkconnection.h"
#include "support/slicedtask.h"

#include <QDeadlineTimer>
#include <QList>
#include <QTcpServer>
#include <QTimer>

// The TCP server on 127.0.0.1: accepts controllers, relays their messages, and owns the connections. It deletes them
// only in its idle pass or its destructor.
//
// Main thread only. Signals are emitted while socket input or the idle pass is handled. Their handlers may write, stop
// the server, or run a nested event loop, in which further idle passes run.
class NetworkServer : public QTcpServer
{
    Q_OBJECT

public:
    explicit NetworkServer(QObject* parent);
    ~NetworkServer() override;

    // Listens on the port, instead of the one before, and logs the outcome; there is no retry. Controllers that are
    // connected stay connected. The reason of a failure is errorString().
    void start(quint16 port);

    // Ends every connection and stops listening. Deletion follows in the next idle passes.
    void stop();

    // Sends to one connection. Always true: a failure only ends that connection.
    bool write(NetworkConnection* connection, const QByteArray& body);
    bool write(NetworkConnection* connection, const QJsonObject& json);

    // Sends to all, in the order of their acceptance. False when there is no connection.
    bool writeAll(const QByteArray& body);
    bool writeAll(const QJsonObject& json);

    // Sends the new value of a property to all. A controller that does not read misses it; drained() is emitted when
    // it has caught up. The body is made at most once.
    void pushAll(const QString& property, const NetworkConnection::MakeBody& body);

    // The controllers that are connected, in the order of their acceptance; valid until the event loop runs.
    QList<const NetworkConnection*> connections() const;

    // Sends the bytes that writeAll() and pushAll() have queued, instead of in the next idle pass. A connection whose
    // handler is running sends them when the handler returns.
    void flush();

signals:
    void stopClients();
    void receivedJson(QJsonObject json, NetworkConnection* connection);
    void connectionAdded(NetworkConnection* connection);
    void connectionRemoved(NetworkConnection* connection);
    // The connection has missed pushes and can now receive the newest values.
    void drained(NetworkConnection* connection);

public slots:
    void connectionTerminated(NetworkConnection* connection);
    void idle();

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    void announce(NetworkConnection* connection);
    void takeTurns();
    void acceptPending();
    void checkConnections();
    void deleteDeadConnections();

    SlicedTask m_requests {[this] { takeTurns(); }};
    QList<QPointer<NetworkConnection>> m_waiting; // for takeTurn(), in this order
    QList<NetworkConnection*> m_connections;      // in the order of acceptance
    QTimer m_idleTimer;
    QDeadlineTimer m_acceptRetry;              // after a lack of file descriptors
    bool m_isDescriptorShortageLogged = false; // until no connection is pending
    bool m_hasAccepted = false;
};
