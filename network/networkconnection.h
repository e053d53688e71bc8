// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "bufferedsocket.h"
#include "networkreader.h"
#include "networkwriter.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <utility>

class SlicedTask;

// One controller: its socket, the frames on it in both directions, and the check that it is alive.
//
// Created, checked and deleted by NetworkServer, on the main thread. All other code knows a connection as a handle,
// valid from NetworkServer::connectionAdded until the idle pass that deletes it. Handlers of receivedJson run inside
// the handling of the socket's input and may enter a nested event loop (a modal dialog of OBS): then no further frame
// of this connection is handled until they return. So may those of disconnectedFromClient.
//
// Requests are handled in the slices of a task that all connections share. A connection whose request or input goes on
// after the slice emits turnNeeded() and is called with takeTurn().
class NetworkConnection : public QObject
{
    Q_OBJECT

public:
    // The rest of a request: does some of it, until isSliceOver() or !mayAnswer(), and returns true when nothing is
    // left.
    using Continuation = std::function<bool()>;

    // The body of a push, made only when it is sent.
    using MakeBody = std::function<QByteArray()>;

    NetworkConnection(SlicedTask* requests, QObject* parent);
    ~NetworkConnection() override;

    // Takes over an accepted native socket.
    bool setSocketDescriptor(qintptr descriptor);

    // Queues one message, encoded or not, until flush() or the end of the handler that runs; never blocks. False when
    // the socket refused it, or too much is unsent, which ends the connection.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(NetworkWriter::encode(json)); }

    // Queues the new value of a property, or, while the controller does not read, the property's name only.
    void push(const QString& property, const MakeBody& body);

    // The properties whose pushes the controller has missed, in the order of their latest change.
    QStringList takeMissedPushes() { return std::exchange(m_missedPushes, {}); }

    // The longest message that can be sent to this controller.
    qsizetype maximumBody_bytes() const { return m_writer.maximumBody_bytes(); }

    // Logs that a message of that length was left out.
    void logRefusal(qsizetype length_bytes) const;

    // Whether the controller has read enough of its earlier answers to get another one, besides so many pending bytes.
    bool mayAnswer(qsizetype pending_bytes = 0) const;

    // Whether the rest of a request has to wait for the next slice.
    bool isSliceOver() const;

    // Called from a handler of receivedJson whose request is not finished. Until the continuation returns true the
    // connection is busy, and nothing else of it is handled.
    void continueWith(Continuation continuation) { m_continuation = std::move(continuation); }

    // Emits turnNeeded(), once until takeTurn() is called. Input is not handled meanwhile.
    void requestTurn();

    // Goes on with the request, then with the input. Handlers may run inside.
    void takeTurn();

    // Sends what is pending, without blocking; handlers may run inside. False once the connection has failed, has
    // expired or is disconnected.
    bool checkAlive();

    // Hands to the system what it takes of the pending bytes, without blocking, unless a handler is running: then the
    // bytes leave when it returns. Nothing is emitted inside.
    void flush();

    // Whether a handler is on the stack, or a request or received frames are still to be handled. A busy connection is
    // not deleted.
    bool isBusy() const { return m_handlerDepth > 0 || (!m_isEnding && (m_continuation || m_isTurnNeeded)); }

    // Ends the connection without the server that owned it: at once, or when the handler on the stack returns.
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

    QPointer<SlicedTask> m_requests; // of the server
    BufferedSocket m_socket;
    NetworkReader m_reader;
    NetworkWriter m_writer;
    QElapsedTimer m_aliveTimer; // valid while the connection is alive; once invalid it stays so
    Continuation m_continuation;
    QStringList m_missedPushes;
    int m_handlerDepth = 0;
    bool m_isTurnNeeded = false;
    bool m_hasWriteFailed = false;
    bool m_isEnding = false; // nothing more of it is handled
    bool m_isAbandoned = false;
};
