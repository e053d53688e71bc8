// SPDX-License-Identifier: GPL-2.0-or-later
#include "kestrelclient.h"

#include "network/networkreader.h"
#include "network/networkwriter.h"
#include "plugin/configfile.h"
#include "protocol/propertynames.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>

#include <chrono>

using namespace Qt::StringLiterals;

constexpr std::chrono::milliseconds keepAliveInterval = NetworkLimits::aliveLimit * 3 / 10;

const quint16 KestrelClient::minimumPort = ConfigFile::minimumPort;
const quint16 KestrelClient::maximumPort = ConfigFile::maximumPort;

quint16 KestrelClient::configuredPort()
{
    QFile file(configurationPath());
    const QByteArray content = file.open(QIODevice::ReadOnly | QIODevice::Text) ? file.readAll() : QByteArray();
    const QJsonObject settings = QJsonDocument::fromJson(content).object();
    return static_cast<quint16>(ConfigFile::portIn(settings).value_or(ConfigFile::defaultPort));
}

QString KestrelClient::configurationPath()
{
    return ConfigFile::defaultPath();
}

const QStringList& KestrelClient::statePropertyNames()
{
    static const QStringList names(::statePropertyNames.begin(), ::statePropertyNames.end());
    return names;
}

KestrelClient::KestrelClient(QObject* parent)
    : QObject(parent)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_keepAliveTimer.setInterval(keepAliveInterval);
    connect(&m_socket, &QTcpSocket::connected, this, [this] { deviceConnected(&m_socket); });
    connect(&m_socket, &QTcpSocket::disconnected, this, [this] {
        if (isConnected()) {
            dropConnection();
            emit disconnected();
        }
    });
    connect(&m_socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        // When the peer closes an established connection, disconnected() follows.
        if (m_isConnecting || (isConnected() && error != QAbstractSocket::RemoteHostClosedError)) {
            fail(m_socket.errorString());
        }
    });
    // A message without entries changes nothing and gets no answer.
    connect(&m_keepAliveTimer, &QTimer::timeout, this, [this] { send({}); });
}

KestrelClient::~KestrelClient()
{
    // The socket emits signals while it closes, when this object is partly destroyed.
    m_socket.disconnect(this);
}

void KestrelClient::connectToPlugin(quint16 port)
{
    dropConnection();
    m_values.clear();
    m_isSynchronized = false;
    m_isConnecting = true;
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

void KestrelClient::connectThrough(QIODevice* device)
{
    dropConnection();
    m_values.clear();
    m_isSynchronized = false;
    deviceConnected(device);
    readFrames();
}

void KestrelClient::disconnectFromPlugin()
{
    if (!isConnected() && !m_isConnecting) {
        return;
    }
    if (m_device == &m_socket) {
        m_device = nullptr;
        m_keepAliveTimer.stop();
        m_socket.flush();
        m_socket.disconnectFromHost();
    } else {
        dropConnection();
    }
    emit disconnected();
}

bool KestrelClient::get(const QStringList& names)
{
    QJsonArray entries;
    for (const QString& name : names) {
        entries.append(QJsonObject {{"type"_L1, "get"_L1}, {"name"_L1, name}});
    }
    return send(entries);
}

bool KestrelClient::set(const QString& name, const QJsonValue& value)
{
    return send({QJsonObject {{"type"_L1, "set"_L1}, {"name"_L1, name}, {"value"_L1, value}}});
}

QJsonValue KestrelClient::value(const QString& name) const
{
    return m_values.value(name, QJsonValue(QJsonValue::Undefined));
}

bool KestrelClient::send(const QJsonArray& entries)
{
    const QByteArray body = NetworkWriter::encode({{"values"_L1, entries}});
    if (!isConnected() || body.size() > m_writer->maximumBody_bytes()) {
        return false;
    }
    m_keepAliveTimer.start();
    return m_writer->write(body);
}

void KestrelClient::deviceConnected(QIODevice* device)
{
    m_device = device;
    m_reader = std::make_unique<NetworkReader>(device, NetworkLimits::maximumLongBody_bytes);
    m_writer = std::make_unique<NetworkWriter>(device);
    connect(device, &QIODevice::readyRead, this, &KestrelClient::readFrames, Qt::UniqueConnection);
    connect(m_reader.get(), &NetworkReader::receivedJson, this, &KestrelClient::receive);
    m_isConnecting = false;
    m_keepAliveTimer.start();
    // The plug-in sends long frames to those that have sent one.
    m_writer->writeLongFrame(NetworkWriter::encode({{"values"_L1, QJsonArray()}}));
    emit connected();
}

void KestrelClient::readFrames()
{
    // Slots run inside: they can end this connection and begin another.
    const QPointer<NetworkReader> reader(m_reader.get());
    if (!isConnected() || reader->readFrames([this] { return isConnected(); }) || !reader) {
        return;
    }
    fail(reader->error() == NetworkReader::Error::MalformedJson ? u"received a message that is not a JSON object"_s
                                                                : u"received a frame whose length is not a number"_s);
}

void KestrelClient::receive(const QJsonObject& message)
{
    const QPointer<NetworkReader> reader(m_reader.get());
    const QJsonArray entries = message.value("values"_L1).toArray();
    for (const QJsonValue entry : entries) {
        const QString name = entry["name"_L1].toString();
        if (name.isEmpty()) {
            continue; // the answer to a get of an unknown name
        }
        const QJsonValue value = entry["value"_L1];
        m_values.insert(name, value);
        emit valueChanged(name, value);
        if (!reader || !isConnected()) {
            return;
        }
    }
    if (m_isSynchronized) {
        return;
    }
    QStringList missing = statePropertyNames();
    missing.removeIf([this](const QString& name) { return m_values.contains(name); });
    if (missing.isEmpty()) {
        m_isSynchronized = true;
        emit synchronized();
    } else if (!missing.contains(statePropertyNames().last())) {
        // The plug-in sends the full state before it receives our long frame, and leaves out what does not fit.
        static_cast<void>(get(missing));
    }
}

void KestrelClient::fail(const QString& text)
{
    dropConnection();
    emit failed(text);
}

// Ends the connection at once and without a signal: the socket's own signals are ignored without one.
void KestrelClient::dropConnection()
{
    m_isConnecting = false;
    m_keepAliveTimer.stop();
    if (m_device) {
        disconnect(m_device, &QIODevice::readyRead, this, &KestrelClient::readFrames);
        m_device = nullptr;
    }
    m_socket.abort();
}
