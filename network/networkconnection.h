// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "bufferedsocket.h"
#include "networkreader.h"
#include "networkwriter.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <utility>

class SlicedTask;

// One controller: its socket, the frames in both directions, and the keep-alive check.
//
// Created, checked and deleted by NetworkServer, on the main thread. All other code uses a connection as a handle,
// which is valid from NetworkServer::connectionAdded until the server deletes it, in an idle pass or its own
// destructor. Handlers of receivedJson run while input is handled and may run a nested event loop (a modal dialog of
// OBS): no further frame of this connection is handled until they return. Handlers of disconnectedFromClient may do the
// same.
//
// Requests are handled in the slices of a task that all connections share. A connection with more to do emits
// turnNeeded(), and the server calls takeTurn() in a run of the task.
class NetworkConnection : public QObject
{
    Q_OBJECT

public:
    // Continues a request until isSliceOver() or !mayAnswer(). Returns true when the request is finished.
    using Continuation = std::function<bool()>;

    // Makes the body of a push. Called only when the push is sent.
    using MakeBody = std::function<QByteArray()>;

    NetworkConnection(SlicedTask* requests, QObject* parent);
    ~NetworkConnection() override;

    // Takes over an accepted native socket.
    bool setSocketDescriptor(qintptr descriptor);

    // Queues one message until flush(), or until the running handler returns. Never blocks. A message longer than
    // maximumBody_bytes() is left out, with a line in the log. If the socket refuses it or too much is unsent, ends the
    // connection and returns false.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(NetworkWriter::encode(json)); }

    // Queues the new value of a property. While too much is unsent, stores only the property's name: a missed push.
    void push(const QString& property, const MakeBody& body);

    // Removes and returns the properties whose pushes were missed, in the order of their latest change.
    QStringList takeMissedPushes() { return std::exchange(m_missedPushes, {}); }

    // The longest message that can be sent to this controller.
    qsizetype maximumBody_bytes() const { return m_writer.maximumBody_bytes(); }

    // Logs that a message of that length was left out.
    void logRefusal(qsizetype length_bytes) const;

    // False while too much is unsent for another answer. Counts pending_bytes, which are not queued yet, as unsent.
    bool mayAnswer(qsizetype pending_bytes = 0) const;

    // Whether the rest of a request has to wait for the next slice.
    bool isSliceOver() const;

    // Call it in a handler of receivedJson whose request is not finished. Until the continuation returns true the
    // connection is busy and handles no further input.
    void continueWith(Continuation continuation) { m_continuation = std::move(continuation); }

    // Emits turnNeeded(), once until takeTurn() is called. No input is handled in between.
    void requestTurn();

    // Continues the unfinished request, then the input. Handlers may run inside.
    void takeTurn();

    // False once the connection has failed, has expired or is disconnected.
    bool isAlive() const { return m_aliveTimer.isValid(); }

    // Sends unsent bytes without blocking, and ends a connection that has expired. Handlers may run inside.
    void checkAlive();

    // Sends unsent bytes without blocking and without emitting a signal. Does nothing while a handler is running: the
    // bytes are sent when it returns.
    void flush();

    // Whether a handler is running, or a request or received frames are pending. A busy connection is not deleted.
    bool isBusy() const { return m_handlerDepth > 0 || (!m_isEnding && (m_continuation || m_isTurnNeeded)); }

    quint16 peerPort() const { return m_socket.peerPort(); }

    QDateTime connectedSince() const { return m_connectedSince; }

    quint64 messagesReceived() const { return m_messagesReceived; }

    quint64 messagesSent() const { return m_writer.frameCount(); }

    // Bytes that the system has not accepted yet.
    qint64 unsent_bytes() const { return m_socket.bytesToWrite(); }

    // Deletes the connection when its server is destroyed: at once, or after the running handler has returned.
    void abandon();

signals:
    void receivedJson(QJsonObject json, NetworkConnection* connection);
    void disconnectedFromClient(NetworkConnection* connection);
    void turnNeeded(NetworkConnection* connection);
    void drained(NetworkConnection* connection); // everything has been sent, and there are missed pushes

public slots:
    void readData();
    void parsedData(QJsonObject json);
    void terminate();
    void disconnectCompleted();

private:
    void handleInput();
    void runContinuation();
    void outputSent();
    void continueWriting();
    void handlerReturned();
    void fail(const char* reason);
    void restartAliveTimer();
    bool isExpired() const;

    QPointer<SlicedTask> m_requests; // owned by the server
    BufferedSocket m_socket;
    NetworkReader m_reader;
    NetworkWriter m_writer;
    QElapsedTimer m_aliveTimer; // invalid once the connection is dead
    Continuation m_continuation;
    QStringList m_missedPushes;
    QDateTime m_connectedSince = QDateTime::currentDateTimeUtc();
    quint64 m_messagesReceived = 0;
    int m_handlerDepth = 0;
    bool m_isTurnNeeded = false;
    bool m_hasWriteFailed = false;
    bool m_isEnding = false; // no further input is handled
    bool m_isAbandoned = false;
};
