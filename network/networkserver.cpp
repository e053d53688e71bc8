// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkserver.h"

#include "networklimits.h"
#include "support/log.h"

#include <QHostAddress>
#include <QPointer>

#include <algorithm>
#include <iterator>
#include <utility>

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
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        connection->abandon();
    }
}

void NetworkServer::start(quint16 port)
{
    close();
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
    for (const QPointer<NetworkConnection>& connection : std::exchange(m_waiting, {})) {
        if (!m_connections.contains(connection)) {
            delete connection; // accepted, but not announced
        }
    }
}

QList<const NetworkConnection*> NetworkServer::connections() const
{
    QList<const NetworkConnection*> connected;
    std::copy_if(m_connections.cbegin(), m_connections.cend(), std::back_inserter(connected),
                 [](auto* connection) { return connection->isAlive(); });
    return connected;
}

bool NetworkServer::write(NetworkConnection* connection, const QByteArray& body)
{
    connection->write(body);
    connection->flush();
    return true;
}

bool NetworkServer::write(NetworkConnection* connection, const QJsonObject& json)
{
    return write(connection, NetworkWriter::encode(json));
}

bool NetworkServer::writeAll(const QByteArray& body)
{
    if (m_connections.isEmpty()) {
        return false;
    }
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        connection->write(body);
    }
    return true;
}

void NetworkServer::pushAll(const QString& property, const NetworkConnection::MakeBody& body)
{
    std::optional<QByteArray> made;
    const auto makeOnce = [&] {
        if (!made) {
            made = body();
        }
        return *made;
    };
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        connection->push(property, makeOnce);
    }
}

void NetworkServer::flush()
{
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        connection->flush();
    }
}

bool NetworkServer::writeAll(const QJsonObject& json)
{
    return writeAll(NetworkWriter::encode(json));
}

void NetworkServer::incomingConnection(qintptr socketDescriptor)
{
    m_hasAccepted = true;
    auto* connection = new NetworkConnection(&m_requests, this);
    if (!connection->setSocketDescriptor(socketDescriptor)) {
        delete connection;
        return;
    }
    if (m_requests.begin()) {
        announce(connection);
        m_requests.end();
    } else {
        connection->requestTurn(); // it is not read until it is announced
        m_waiting.append(connection);
    }
}

// Adds an accepted connection to the controllers.
void NetworkServer::announce(NetworkConnection* connection)
{
    connect(this, &NetworkServer::stopClients, connection, &NetworkConnection::terminate);
    connect(connection, &NetworkConnection::disconnectedFromClient, this, &NetworkServer::connectionTerminated);
    connect(connection, &NetworkConnection::receivedJson, this, &NetworkServer::receivedJson);
    connect(connection, &NetworkConnection::drained, this, &NetworkServer::drained);
    connect(connection, &NetworkConnection::turnNeeded, this, [this](NetworkConnection* waiting) {
        m_waiting.append(waiting);
        m_requests.schedule();
    });
    m_connections.append(connection);
    emit connectionAdded(connection);
    logInfo("Added new connection");
}

// Calls the waiting connections in turn until the slice is over.
void NetworkServer::takeTurns()
{
    const QPointer<NetworkServer> self(this);
    while (self && !m_waiting.isEmpty() && !m_requests.isSliceOver()) {
        const QPointer<NetworkConnection> connection = m_waiting.takeFirst();
        if (!m_waiting.isEmpty()) {
            m_requests.schedule(); // a nested event loop in a handler of this connection continues with the rest
        }
        if (connection && !m_connections.contains(connection)) {
            announce(connection);
        }
        if (connection) {
            connection->takeTurn();
        }
    }
}

void NetworkServer::connectionTerminated(NetworkConnection* connection)
{
    logInfo("Connection removed");
    emit connectionRemoved(connection);
}

void NetworkServer::idle()
{
    const QPointer<NetworkServer> self(this);
    acceptPending();
    if (self) {
        checkConnections();
    }
    if (self) {
        deleteDeadConnections();
    }
}

// Accepts again after a lack of file descriptors, from which on Qt does not report pending connections any more.
void NetworkServer::acceptPending()
{
    if (!m_acceptRetry.hasExpired()) {
        return;
    }
    // Qt reports a pending connection that it could not accept as if it had accepted it.
    m_hasAccepted = false;
    const QPointer<NetworkServer> self(this);
    const bool hasWaiting = waitForNewConnection(0);
    if (!self) {
        return;
    }
    if (!hasWaiting) {
        m_isDescriptorShortageLogged = false;
    } else if (!m_hasAccepted) {
        m_acceptRetry.setRemainingTime(NetworkLimits::acceptRetryInterval);
        if (!std::exchange(m_isDescriptorShortageLogged, true)) {
            logInfo("Out of file descriptors, new connections have to wait");
        }
    }
}

void NetworkServer::checkConnections()
{
    // Checking a connection can run a handler, which may run a nested event loop with further idle passes and delete
    // any other connection or this server.
    const QPointer<NetworkServer> self(this);
    const QList<QPointer<NetworkConnection>> sweep(m_connections.cbegin(), m_connections.cend());
    for (const QPointer<NetworkConnection>& connection : sweep) {
        if (self && connection) {
            connection->checkAlive();
        }
    }
}

void NetworkServer::deleteDeadConnections()
{
    const QList<NetworkConnection*> connections = m_connections;
    for (NetworkConnection* connection : connections) {
        if (!connection->isAlive() && !connection->isBusy()) {
            logInfo("Deleting dead connection");
            m_connections.removeOne(connection);
            delete connection;
        }
    }
}
