// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkserver.h"

#include "networklimits.h"
#include "support/log.h"

#include <QHostAddress>
#include <QPointer>

NetworkServer::NetworkServer(QObject* parent)
    : QTcpServer(parent)
{
    qRegisterMetaType<NetworkConnection*>("NetworkConnection*");
    connect(&m_idleTimer, &QTimer::timeout, this, &NetworkServer::idle);
    m_idleTimer.start(NetworkLimits::idleInterval);
}

NetworkServer::~NetworkServer()
{
    m_idleTimer.stop();
    disconnect(&m_idleTimer, &QTimer::timeout, this, &NetworkServer::idle);
    qDeleteAll(m_connections);
}

void NetworkServer::start(quint16 port)
{
    if (listen(QHostAddress(QHostAddress::LocalHost), port)) {
        logInfo("Server listening on localhost, port %d", port);
    } else {
        logInfo("Server failed to listen on localhost, port %d", port);
    }
}

void NetworkServer::stop()
{
    emit stopClients();
    close();
}

bool NetworkServer::write(NetworkConnection* connection, const QJsonObject& json)
{
    connection->write(json);
    return true;
}

bool NetworkServer::writeAll(const QJsonObject& json)
{
    if (m_connections.isEmpty()) {
        return false;
    }
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        connection->write(json);
    }
    return true;
}

void NetworkServer::incomingConnection(qintptr socketDescriptor)
{
    auto* connection = new NetworkConnection(this);
    if (!connection->setSocketDescriptor(socketDescriptor)) {
        delete connection;
        return;
    }
    connect(this, &NetworkServer::stopClients, connection, &NetworkConnection::terminate);
    connect(connection, &NetworkConnection::disconnectedFromClient, this, &NetworkServer::connectionTerminated);
    connect(connection, &NetworkConnection::receivedJson, this, &NetworkServer::receivedJson);
    m_connections.append(connection);
    emit connectionAdded(connection);
    logInfo("Added new connection");
}

void NetworkServer::connectionTerminated(NetworkConnection* connection)
{
    logInfo("Connection removed");
    if (!m_deadConnections.contains(connection)) {
        m_deadConnections.append(connection);
    }
    emit connectionRemoved(connection);
}

void NetworkServer::idle()
{
    const QPointer<NetworkServer> self(this);
    waitForNewConnection(0);
    sweepConnections();
    if (self) {
        deleteDeadConnections();
    }
}

void NetworkServer::sweepConnections()
{
    // Checking one connection can run a handler, a nested event loop in it and further idle passes, which may delete
    // any other connection or this server: hence pointers that know.
    const QPointer<NetworkServer> self(this);
    const QList<QPointer<NetworkConnection>> sweep(m_connections.cbegin(), m_connections.cend());
    for (const QPointer<NetworkConnection>& connection : sweep) {
        if (!connection || connection->isHandling()) {
            continue;
        }
        const bool isAlive = connection->checkAlive();
        if (!self) {
            return;
        }
        if (!isAlive && connection && !m_deadConnections.contains(connection)) {
            m_deadConnections.append(connection);
        }
    }
}

void NetworkServer::deleteDeadConnections()
{
    // A connection whose handler is on the stack stays queued until a pass after the handler's return.
    const QList<NetworkConnection*> dead = m_deadConnections;
    for (NetworkConnection* connection : dead) {
        if (connection->isHandling()) {
            continue;
        }
        logInfo("Deleting dead connection");
        m_deadConnections.removeOne(connection);
        m_connections.removeOne(connection);
        delete connection;
    }
}
