// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkconnection.h"

#include "networklimits.h"
#include "support/log.h"
#include "support/slicedtask.h"

#include <utility>

NetworkConnection::NetworkConnection(SlicedTask* requests, QObject* parent)
    : QObject(parent)
    , m_requests(requests)
    , m_socket(this)
    , m_reader(&m_socket, NetworkLimits::maximumInboundBody_bytes)
    , m_writer(&m_socket)
{
    connect(&m_socket, &QAbstractSocket::readyRead, this, &NetworkConnection::readData);
    connect(&m_socket, &QAbstractSocket::disconnected, this, &NetworkConnection::disconnectCompleted);
    connect(&m_socket, &QAbstractSocket::bytesWritten, this, &NetworkConnection::outputSent);
    connect(&m_reader, &NetworkReader::receivedJson, this, &NetworkConnection::parsedData);
    m_aliveTimer.start();
}

NetworkConnection::~NetworkConnection()
{
    // The socket closes and emits signals while this object is half destroyed.
    m_socket.disconnect(this);
    m_reader.disconnect(this);
}

bool NetworkConnection::setSocketDescriptor(qintptr descriptor)
{
    if (!m_socket.setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState,
                                      QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        return false;
    }
    // Complete output is sent at once instead of after the acknowledgement of earlier output, which a peer can delay by
    // 40 ms.
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    return true;
}

bool NetworkConnection::write(const QByteArray& body)
{
    if (m_hasWriteFailed) {
        return false; // already logged
    }
    logRefusal(body.size());
    const bool isOverloaded = m_socket.bytesToWrite() > NetworkLimits::maximumUnsent_bytes;
    if (!isOverloaded && m_writer.write(body)) {
        if (m_socket.bytesToWrite() > NetworkLimits::flushAbove_bytes) {
            m_socket.flush();
        }
        return true;
    }
    m_hasWriteFailed = true;
    if (isOverloaded) {
        // The socket would stay in ClosingState until the peer reads: an invalid timer has the server delete it.
        m_aliveTimer.invalidate();
    }
    m_isEnding = true;
    m_socket.disconnectFromHost();
    logInfo("NetworkConnection::write failed, disconnecting");
    return false;
}

void NetworkConnection::push(const QString& property, const MakeBody& body)
{
    const QAbstractSocket::SocketState state = m_socket.state();
    if (state == QAbstractSocket::ClosingState
        || (state == QAbstractSocket::ConnectedState && m_socket.isPeerFinished())) {
        return; // the connection ends once its pending bytes are sent
    }
    if (!m_missedPushes.isEmpty() || m_socket.bytesToWrite() > NetworkLimits::maximumUnsentPushes_bytes) {
        m_missedPushes.removeOne(property);
        m_missedPushes.append(property);
    } else {
        write(body());
    }
}

void NetworkConnection::logRefusal(qsizetype length_bytes) const
{
    if (const QByteArray refusal = m_writer.refusal(length_bytes); !refusal.isEmpty()) {
        logInfo("%s", refusal.constData());
    }
}

bool NetworkConnection::mayAnswer(qsizetype pending_bytes) const
{
    return m_socket.bytesToWrite() + pending_bytes <= NetworkLimits::maximumUnsentAnswers_bytes;
}

bool NetworkConnection::isSliceOver() const
{
    return m_requests && m_requests->isSliceOver();
}

void NetworkConnection::flush()
{
    if (m_handlerDepth == 0) {
        m_socket.flush();
    }
}

void NetworkConnection::checkAlive()
{
    if (!isAlive()) {
        return;
    }
    m_socket.flush(); // also while a handler runs a dialog
    if (m_handlerDepth > 0 || m_isTurnNeeded) {
        return;
    }
    if (isExpired() && m_socket.state() == QAbstractSocket::ConnectedState) {
        // After a pause of the event loop this check can run before the socket's notifier: count unread bytes.
        const QPointer<NetworkConnection> self(this);
        m_socket.waitForReadyRead(0);
        if (!self || m_isTurnNeeded) {
            return;
        }
    }
    if (isExpired()) {
        fail("Connection alive expired. Disconnecting!");
        return;
    }
    // Nested event loops can exclude socket notifiers, so Qt's buffer is sent here too. Unread input is handled first,
    // since Qt discards it when the peer is gone.
    if (m_socket.bytesToWrite() > 0 && !isBusy() && m_socket.state() == QAbstractSocket::ConnectedState) {
        static_cast<QAbstractSocket&>(m_socket).flush();
    }
}

bool NetworkConnection::isExpired() const
{
    return isAlive() && m_aliveTimer.hasExpired(NetworkLimits::aliveLimit.count());
}

void NetworkConnection::fail(const char* reason)
{
    m_aliveTimer.invalidate();
    m_isEnding = true;
    m_continuation = {};
    logInfo("%s", reason);
    m_socket.disconnectFromHost();
}

void NetworkConnection::readData()
{
    if (isBusy()) {
        m_socket.pauseReading(); // handleInput() resumes it
        return;
    }
    m_socket.fill();
    const QPointer<SlicedTask> requests = m_requests;
    if (requests && requests->begin()) {
        handleInput();
        if (requests) {
            requests->end();
        }
    } else {
        requestTurn();
    }
}

void NetworkConnection::handleInput()
{
    const QPointer<NetworkConnection> self(this);
    const bool isWellFormed = m_reader.readFrames([this] { return !m_isEnding && !m_continuation && !isSliceOver(); });
    if (!self) {
        return;
    }
    flush();
    if (!isWellFormed) {
        logInfo("%s", m_reader.errorString().constData());
        fail("NetworkConnection::readData failed");
    } else if (m_isEnding) {
        return;
    } else if (m_continuation) {
        continueWriting();
    } else if (m_socket.bytesAvailable() > 0) {
        requestTurn();
    } else if (m_socket.isPeerFinished()) {
        if (m_socket.bytesToWrite() == 0) {
            m_socket.disconnectFromHost();
        }
    } else {
        m_socket.resumeReading();
    }
}

void NetworkConnection::takeTurn()
{
    if (m_handlerDepth > 0 || !std::exchange(m_isTurnNeeded, false) || m_isEnding) {
        return;
    }
    const QPointer<NetworkConnection> self(this);
    if (!m_missedPushes.isEmpty() && m_socket.bytesToWrite() == 0) {
        emit drained(this);
    }
    if (self && m_continuation) {
        runContinuation();
    }
    if (self) {
        handleInput();
    }
}

void NetworkConnection::runContinuation()
{
    const QPointer<NetworkConnection> self(this);
    const Continuation continuation = m_continuation;
    restartAliveTimer();
    ++m_handlerDepth;
    const bool isFinished = continuation();
    if (self) {
        if (isFinished) {
            m_continuation = {};
        }
        handlerReturned();
    }
}

void NetworkConnection::outputSent()
{
    if (m_continuation || m_socket.isPeerFinished()) {
        restartAliveTimer(); // the controller is reading its answers
    }
    continueWriting();
}

void NetworkConnection::continueWriting()
{
    if (m_continuation ? mayAnswer()
                       : m_socket.bytesToWrite() == 0 && (!m_missedPushes.isEmpty() || m_socket.isPeerFinished())) {
        requestTurn();
    }
}

void NetworkConnection::requestTurn()
{
    if (!std::exchange(m_isTurnNeeded, true)) {
        emit turnNeeded(this);
    }
}

void NetworkConnection::parsedData(QJsonObject json)
{
    const QPointer<NetworkConnection> self(this);
    restartAliveTimer();
    ++m_messagesReceived;
    m_writer.setLongFrames(m_reader.hasReadLongFrame());
    ++m_handlerDepth;
    emit receivedJson(std::move(json), this);
    if (self) {
        handlerReturned();
    }
}

void NetworkConnection::handlerReturned()
{
    // A handler can take long (a dialog of OBS): the keep-alive time counts from its end.
    restartAliveTimer();
    if (--m_handlerDepth > 0) {
        return;
    }
    if (m_isAbandoned) {
        deleteLater();
    } else if (m_isTurnNeeded) {
        emit turnNeeded(this); // takeTurn() does nothing while a handler runs
    }
}

void NetworkConnection::terminate()
{
    m_isEnding = true;
    m_continuation = {};
    m_socket.disconnectFromHost();
}

void NetworkConnection::abandon()
{
    disconnect();
    setParent(nullptr);
    m_isEnding = true;
    m_continuation = {};
    if (m_handlerDepth > 0) {
        m_isAbandoned = true; // deleting it now would destroy it under its own handler
    } else {
        delete this;
    }
}

void NetworkConnection::disconnectCompleted()
{
    m_aliveTimer.invalidate();
    const QPointer<NetworkConnection> self(this);
    ++m_handlerDepth; // the code of the socket is on the stack, too
    emit disconnectedFromClient(this);
    if (self) {
        handlerReturned();
    }
}

void NetworkConnection::restartAliveTimer()
{
    // The peer can disconnect in a nested event loop while earlier bytes are still being handled.
    if (isAlive()) {
        m_aliveTimer.start();
    }
}
