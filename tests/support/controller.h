// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <QTcpSocket>

#include <functional>
#include <optional>

// Turns the event loop until the condition holds, or gives up after 5 s on a clock that a test cannot stop.
[[nodiscard]] bool turnUntil(const std::function<bool()>& condition);

// Entries of a request.
QJsonObject getEntry(const QString& name);
QJsonObject setEntry(const QString& name, const QJsonValue& value);

// A controller on a real loopback socket, with a decoder of its own. Its waits turn the event loop, and so the server.
class Controller
{
public:
    explicit Controller(quint16 port);

    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }

    // Sent into the kernel at once; the event loop does not turn.
    void sendBytes(const QByteArray& bytes);
    void send(const QJsonObject& json, bool inLongFrame = false);

    void sendEntries(const QJsonArray& entries) { send({{QLatin1StringView("values"), entries}}); }

    // Without a value when it is undefined.
    void set(const QString& name, const QJsonValue& value) { sendEntries({setEntry(name, value)}); }

    void close() { m_socket.abort(); }

    // Takes nothing from the system while off, which then holds the plug-in back.
    void setReading(bool on) { m_socket.setReadBufferSize(on ? 0 : 1); }

    // Sends what the end of a program's output sends; reading goes on.
    void shutDownSending();

    // Whether a message has arrived already.
    bool hasMessage() { return takeMessage(); }

    // Takes what has arrived out of the kernel; the event loop does not turn.
    void readAvailable() { m_socket.waitForReadyRead(0); }

    // What the plug-in's side has not taken yet.
    qint64 unsent_bytes() const { return m_socket.bytesToWrite(); }

    // The next message, waiting for it; nothing when none comes.
    std::optional<QJsonObject> next();

    // Everything that comes before the answer to a read sent now, each message as the names of its entries
    // ("sceneList"). Proves a silence without waiting for it. "fps" is read for this, since it is never pushed.
    QStringList pushesUntilAnswer();

    QJsonValue read(const QString& name);

    // As it was last received.
    QJsonValue value(const QString& name) const { return m_values.value(name); }

    // The names of a message's entries; "{}" for an empty entry, and marked if it is not what we send to controllers.
    static QString namesIn(const QJsonObject& message);

private:
    bool takeMessage();

    QTcpSocket m_socket;
    QByteArray m_input;
    QList<QJsonObject> m_messages;
    QHash<QString, QJsonValue> m_values;
};
