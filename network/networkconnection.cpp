// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkconnection.h"

#include "networklimits.h"
#include "support/log.h"

#include <QPointer>

NetworkConnection::NetworkConnection(QObject* parent)
    : QObject(parent)
    , m_socket(this)
    , m_reader(&m_socket)
    , m_writer(&m_socket)
{
    connect(&m_socket, &QTcpSocket::readyRead, this, &NetworkConnection::readData);
    connect(&m_socket, &QTcpSocket::disconnected, this, &NetworkConnection::disconnectCompleted);
    connect(&m_reader, &NetworkReader::receivedJson, this, &NetworkConnection::parsedData);
    m_aliveTimer.start();
}

NetworkConnection::~NetworkConnection()
{
    // The socket closes while this object is half gone: nothing of it may arrive here any more.
    disconnect(&m_socket, &QTcpSocket::readyRead, this, &NetworkConnection::readData);
    disconnect(&m_socket, &QTcpSocket::disconnected, this, &NetworkConnection::disconnectCompleted);
    disconnect(&m_reader, &NetworkReader::receivedJson, this, &NetworkConnection::parsedData);
}

bool NetworkConnection::setSocketDescriptor(qintptr descriptor)
{
    return m_socket.setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
}

bool NetworkConnection::write(const QJsonObject& json)
{
    if (m_writer.write(json)) {
        return true;
    }
    m_socket.disconnectFromHost();
    logInfo("NetworkConnection::write failed, disconnecting");
    return false;
}

bool NetworkConnection::checkAlive()
{
    if (!m_aliveTimer.isValid()) {
        return false;
    }
    if (m_aliveTimer.hasExpired(NetworkLimits::aliveLimit.count())) {
        logInfo("Connection alive expired. Disconnecting!");
        m_aliveTimer.invalidate();
        m_socket.disconnectFromHost();
        return false;
    }
    const QPointer<NetworkConnection> self(this);
    m_socket.waitForReadyRead(0);
    // The peer may be gone by now, and Qt warns of polling a socket that is not connected.
    if (self && m_socket.state() == QAbstractSocket::ConnectedState) {
        m_socket.waitForBytesWritten(0);
    }
    return true;
}

void NetworkConnection::readData()
{
    const QPointer<NetworkConnection> self(this);
    if (m_reader.readFrames() || !self) {
        return;
    }
    m_aliveTimer.invalidate();
    logInfo("NetworkConnection::readData failed");
    m_socket.disconnectFromHost();
}

void NetworkConnection::parsedData(QJsonObject json)
{
    const QPointer<NetworkConnection> self(this);
    restartAliveTimer();
    ++m_handlersRunning;
    emit receivedJson(std::move(json), this);
    if (self) {
        --m_handlersRunning;
        // A handler can take long (a dialog of the host); the controller's time counts from its end.
        restartAliveTimer();
    }
}

void NetworkConnection::terminate()
{
    m_socket.disconnectFromHost();
}

void NetworkConnection::disconnectCompleted()
{
    m_aliveTimer.invalidate();
    emit disconnectedFromClient(this);
}

void NetworkConnection::restartAliveTimer()
{
    // The peer can have gone away in a nested event loop while earlier bytes are still being handled.
    if (m_aliveTimer.isValid()) {
        m_aliveTimer.start();
    }
}
