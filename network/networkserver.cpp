// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkserver.h"

#include "networklimits.h"
#include "support/log.h"

#include <QHostAddress>
#include <QPointer>

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
        if (connection->isHandling()) {
            // Its slots are on the stack, and its socket's too.
            connection->disconnect();
            disconnect(connection);
            connection->setParent(nullptr);
            connection->deleteLater();
        } else {
            delete connection;
        }
    }
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

bool NetworkServer::write(NetworkConnection* connection, const QByteArray& body)
{
    connection->write(body);
    flush(connection);
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

void NetworkServer::flush()
{
    for (NetworkConnection* connection : std::as_const(m_connections)) {
        flush(connection);
    }
}

void NetworkServer::flush(NetworkConnection* connection)
{
    if (!connection->isHandling()) {
        connection->flush(); // else with its answers
    }
}

bool NetworkServer::writeAll(const QJsonObject& json)
{
    return writeAll(NetworkWriter::encode(json));
}

void NetworkServer::incomingConnection(qintptr socketDescriptor)
{
    m_hasAccepted = true;
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
    acceptWaiting();
    if (self) {
        sweepConnections();
    }
    if (self) {
        deleteDeadConnections();
    }
}

void NetworkServer::acceptWaiting()
{
    if (m_isAcceptingPaused) {
        if (!m_acceptRetry.hasExpired()) {
            return;
        }
        resumeAccepting();
    }
    // Qt reports a waiting connection that it could not accept, for want of descriptors, as if it had; and its event
    // loop would try again without end.
    m_hasAccepted = false;
    const QPointer<NetworkServer> self(this);
    const bool hasWaiting = waitForNewConnection(0);
    if (!self) {
        return;
    }
    m_isAcceptingPaused = hasWaiting && !m_hasAccepted;
    if (m_isAcceptingPaused) {
        pauseAccepting();
        m_acceptRetry = QDeadlineTimer(NetworkLimits::acceptRetryInterval);
        if (!std::exchange(m_isShortOfDescriptors, true)) {
            logInfo("Out of file descriptors, new connections have to wait");
        }
    } else if (!hasWaiting) {
        m_isShortOfDescriptors = false;
    }
}

void NetworkServer::sweepConnections()
{
    // Checking one connection can run a handler, a nested event loop in it and further idle passes, which may delete
    // any other connection or this server: hence pointers that know.
    const QPointer<NetworkServer> self(this);
    const QList<QPointer<NetworkConnection>> sweep(m_connections.cbegin(), m_connections.cend());
    for (const QPointer<NetworkConnection>& connection : sweep) {
        if (!connection) {
            continue;
        }
        if (connection->isBusy()) {
            connection->flush(); // what it is told while its handler is in a dialog
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
    // A busy connection stays queued until a pass that finds it at rest.
    const QList<NetworkConnection*> dead = m_deadConnections;
    for (NetworkConnection* connection : dead) {
        if (connection->isBusy()) {
            continue;
        }
        logInfo("Deleting dead connection");
        m_deadConnections.removeOne(connection);
        m_connections.removeOne(connection);
        delete connection;
    }
}
