// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkconnection.h"

#include "networklimits.h"
#include "support/log.h"

#include <QDeadlineTimer>
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
    m_socket.setReadBufferSize(NetworkLimits::readAhead_bytes);
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
    if (!m_socket.setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite)) {
        return false;
    }
    // What is sent is whole: it need not wait until the peer acknowledges what came before, which can take it 40 ms.
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    return true;
}

bool NetworkConnection::write(const QByteArray& body)
{
    if (isOverloaded()) {
        return false;
    }
    logRefusal(body.size());
    if (m_writer.write(body)) {
        // Within a long run of messages, so that a controller that reads is not taken for one that does not.
        if (m_socket.bytesToWrite() > NetworkLimits::flushAbove_bytes) {
            m_socket.uncork();
            m_socket.flush();
        }
        return true;
    }
    m_socket.disconnectFromHost();
    logInfo("NetworkConnection::write failed, disconnecting");
    return false;
}

bool NetworkConnection::accepts(qsizetype length_bytes) const
{
    logRefusal(length_bytes);
    return length_bytes <= m_writer.maximumBody_bytes();
}

// Logs why the writer leaves out a body of that length, if it does.
void NetworkConnection::logRefusal(qsizetype length_bytes) const
{
    if (const QByteArray refusal = m_writer.refusal(length_bytes); !refusal.isEmpty()) {
        logInfo("%s", refusal.constData());
    }
}

bool NetworkConnection::checkAlive()
{
    if (!m_aliveTimer.isValid()) {
        return false;
    }
    if (isExpired()) {
        // After a pause of the event loop the judgement can come before the socket's notifier: what waits counts.
        const QPointer<NetworkConnection> self(this);
        if (m_socket.state() == QAbstractSocket::ConnectedState) {
            m_socket.waitForReadyRead(0);
        }
        if (!self) {
            return false;
        }
    }
    if (isExpired()) {
        logInfo("Connection alive expired. Disconnecting!");
        m_aliveTimer.invalidate();
        m_socket.disconnectFromHost();
        return false;
    }
    if (isOverloaded()) {
        return false;
    }
    // Input needs no poll of every socket in every pass, its notifier tells of it. Output that waits is tried again for
    // nested event loops that leave notifiers out; a peer that has sent its messages and gone makes the socket fail
    // there, and what is not read yet would be lost.
    flush();
    if (m_socket.bytesToWrite() > 0 && m_socket.bytesAvailable() == 0
        && m_socket.state() == QAbstractSocket::ConnectedState) {
        m_socket.flush();
    }
    return true;
}

bool NetworkConnection::isExpired() const
{
    return m_aliveTimer.isValid() && m_aliveTimer.hasExpired(NetworkLimits::aliveLimit.count());
}

bool NetworkConnection::isOverloaded()
{
    // A socket that was asked to disconnect while its peer does not read stays closing for ever, bytes and all: only
    // the deletion that follows ends it.
    if (!m_isOverloaded && m_socket.bytesToWrite() > NetworkLimits::maximumUnsent_bytes) {
        m_isOverloaded = true;
        m_aliveTimer.invalidate();
        m_socket.disconnectFromHost();
        logInfo("NetworkConnection::write failed, disconnecting");
    }
    return m_isOverloaded;
}

void NetworkConnection::readData()
{
    if (isHandling()) {
        return; // the reader goes on with these bytes when the handler returns
    }
    m_isReadPending = false;
    const QPointer<NetworkConnection> self(this);
    const QDeadlineTimer deadline(NetworkLimits::handlingBudget);
    const bool isWellFormed = m_reader.readFrames([deadline] { return !deadline.hasExpired(); });
    if (!self) {
        return;
    }
    flush(); // the answers
    if (!isWellFormed) {
        m_aliveTimer.invalidate();
        logInfo("%s", m_reader.errorString().constData());
        logInfo("NetworkConnection::readData failed");
        m_socket.disconnectFromHost();
    } else if (m_socket.bytesAvailable() > 0 && !m_isOverloaded) {
        readLater();
    }
}

void NetworkConnection::readLater()
{
    m_isReadPending = true;
    QMetaObject::invokeMethod(this, &NetworkConnection::readData, Qt::QueuedConnection);
}

void NetworkConnection::parsedData(QJsonObject json)
{
    const QPointer<NetworkConnection> self(this);
    restartAliveTimer();
    m_writer.setLongFrames(m_reader.hasReadLongFrame());
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
    const QPointer<NetworkConnection> self(this);
    ++m_handlersRunning; // the socket is on the stack, too
    emit disconnectedFromClient(this);
    if (self) {
        --m_handlersRunning;
        if (m_isReadPending) {
            readLater(); // a nested event loop has passed over it
        }
    }
}

void NetworkConnection::restartAliveTimer()
{
    // The peer can have gone away in a nested event loop while earlier bytes are still being handled.
    if (m_aliveTimer.isValid()) {
        m_aliveTimer.start();
    }
}
