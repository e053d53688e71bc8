// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QHash>
#include <QJsonValue>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

class NetworkReader;
class NetworkWriter;

// A controller's end of the connection to the plug-in. Reads and writes OBS's properties by name, stores the latest
// value of each, keeps the connection alive, and emits every value as it arrives.
//
// Each connection ends with exactly one disconnected() or failed(); the client can then connect again. Needs an event
// loop and lives on one thread. Slots may call any function, but must delete the client with deleteLater(), since its
// device is in use. While a slot runs an event loop of its own, no further message is received.
class KestrelClient : public QObject
{
    Q_OBJECT

public:
    // The ports that the plug-in can be configured to listen on.
    static const quint16 minimumPort;
    static const quint16 maximumPort;

    // The port in the plug-in's configuration file, or the plug-in's default port when the file names no valid one.
    static quint16 configuredPort();
    static QString configurationPath();

    // The properties that the plug-in sends to a new controller, in its order.
    static const QStringList& statePropertyNames();

    explicit KestrelClient(QObject* parent = nullptr);
    ~KestrelClient() override;

    // Clears all values and connects to a port of this computer. An earlier connection is dropped without a signal.
    // failed() can be emitted inside this call, so retry from a timer.
    void connectToPlugin(quint16 port = configuredPort());

    // The same over a device that is open and connected to the plug-in. The device is borrowed until the connection
    // ends.
    void connectThrough(QIODevice* device);

    // Sends what was written before; disconnected() is emitted inside this call.
    void disconnectFromPlugin();

    // Requests values, which arrive with valueChanged(). An unknown name gets no answer. False when not connected, or
    // when the names do not fit into a frame of 9999 bytes.
    [[nodiscard]] bool get(const QStringList& names);

    // Requests a change. There is no answer: the change, once made, arrives with valueChanged(). The switches (such as
    // "recording") take the numbers 1 and 0, not booleans. False as with get().
    [[nodiscard]] bool set(const QString& name, const QJsonValue& value);

    // The latest value; undefined when none has arrived over this connection.
    QJsonValue value(const QString& name) const;

    bool isConnected() const { return !m_device.isNull(); }

    // Every property of the full state has arrived. Stays true after the connection has ended.
    bool isSynchronized() const { return m_isSynchronized; }

signals:
    void connected();
    // The full state is complete. Emitted once per connection, after the valueChanged() of its last message.
    void synchronized();
    void disconnected();
    // The connection was refused, broke, or received data that is not the protocol; the text is for users.
    void failed(const QString& text);
    // A value arrived, in the order of the plug-in's messages; it can be the same as before.
    void valueChanged(const QString& name, const QJsonValue& value);

private:
    void deviceConnected(QIODevice* device);
    void readFrames();
    void receive(const QJsonObject& message);
    void fail(const QString& text);
    void dropConnection();
    bool send(const QJsonArray& entries);

    QTcpSocket m_socket;
    QPointer<QIODevice> m_device; // while connected
    std::unique_ptr<NetworkReader> m_reader;
    std::unique_ptr<NetworkWriter> m_writer;
    QTimer m_keepAliveTimer;
    bool m_isConnecting = false;
    QHash<QString, QJsonValue> m_values;
    bool m_isSynchronized = false;
};
