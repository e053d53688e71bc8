// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QObject>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

// A controller's end of the connection to the plug-in: reads and writes the host's properties by name, holds the
// latest value of each, keeps the connection alive, and tells of every value as it arrives.
//
// A connection, once asked for, ends with exactly one disconnected() or failed(); the client can then connect again.
// Needs an event loop and lives on one thread. A slot may call any operation, but delete the client only with
// deleteLater(), since its socket is at work; while a slot waits in an event loop of its own, nothing more arrives.
class KestrelClient : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 defaultPort = 2021;

    // The largest object that the client sends; from the plug-in it takes longer ones too.
    static constexpr qsizetype maximumBody_bytes = 9999;

    explicit KestrelClient(QObject* parent = nullptr);
    ~KestrelClient() override;

    // The properties that the plug-in sends to a new controller, in its order.
    static const QStringList& statePropertyNames();

    // Forgets every value and connects to this computer's port. An earlier connection is dropped without a signal. A
    // refusal can be told by failed() inside this call, so try again from a timer.
    void connectToPlugin(quint16 port = defaultPort);

    // What was sent before still leaves; disconnected() is emitted inside this call.
    void disconnectFromPlugin();

    // Asks for values, which arrive by valueChanged(). An unknown name gets no answer. False when not connected, or
    // when the names do not fit a frame.
    bool get(const QStringList& names);

    // Asks the host for a change. There is no answer: what came of it arrives by valueChanged(). The switches (such as
    // "recording") take the numbers 1 and 0, not booleans. False as with get().
    bool set(const QString& name, const QJsonValue& value);

    // The latest value; undefined when none has arrived over this connection.
    QJsonValue value(const QString& name) const;

    bool isConnected() const { return m_state == State::Connected; }

    // Every property of the full state has arrived. Stays so after the connection has ended.
    bool isSynchronized() const { return m_isSynchronized; }

signals:
    void connected();
    // The full state is there; comes after the valueChanged() of its last message. Once a connection.
    void synchronized();
    void disconnected();
    // The connection could not be made, broke, or brought what is not the protocol; the text is for a person.
    void failed(const QString& text);
    // A value arrived, in the order of the plug-in's messages; it can be the same as before.
    void valueChanged(const QString& name, const QJsonValue& value);

private:
    enum class State {
        Idle,
        Connecting,
        Connected,
    };

    void socketConnected();
    void socketDisconnected();
    void socketFailed(QAbstractSocket::SocketError error);
    void readFrames();
    bool takeFrame(QByteArray& body);
    void receive(const QJsonObject& message);
    void fail(const QString& text);
    void dropConnection();
    bool send(const QJsonArray& values);

    QTcpSocket m_socket;
    QTimer m_keepAliveTimer;
    State m_state = State::Idle;
    quint64 m_generation = 0; // counts connections, so that a loop notices that its own has ended
    QByteArray m_received;    // at most a frame that is not complete, and what came behind it
    QHash<QString, QJsonValue> m_values;
    bool m_isSynchronized = false;
};
