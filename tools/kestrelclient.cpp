// SPDX-License-Identifier: GPL-2.0-or-later
#include "kestrelclient.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// A frame is four ASCII decimal digits, filled on the left with 0, then an object of that many bytes.
constexpr qsizetype headerLength_bytes = 4;

// Values that are too long for a frame come in a long one, with eight digits behind a mark, once the client has sent
// such a frame itself.
constexpr char longFrameMark[] = "####";
constexpr qsizetype longLength_bytes = 8;
constexpr char longFrameAgreement[] = "####00000013{\"values\":[]}";

// The plug-in disconnects a controller that is silent for five seconds.
constexpr std::chrono::milliseconds keepAliveInterval = 1500ms;

} // namespace

KestrelClient::KestrelClient(QObject* parent)
    : QObject(parent)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_keepAliveTimer.setInterval(keepAliveInterval);
    connect(&m_socket, &QTcpSocket::connected, this, &KestrelClient::socketConnected);
    connect(&m_socket, &QTcpSocket::disconnected, this, &KestrelClient::socketDisconnected);
    connect(&m_socket, &QTcpSocket::errorOccurred, this, &KestrelClient::socketFailed);
    connect(&m_socket, &QTcpSocket::readyRead, this, &KestrelClient::readFrames);
    // An object without entries changes nothing and gets no answer.
    connect(&m_keepAliveTimer, &QTimer::timeout, this, [this] { send({}); });
}

KestrelClient::~KestrelClient()
{
    // The socket closes while this object is half gone: nothing of it may arrive here any more.
    m_socket.disconnect(this);
}

const QStringList& KestrelClient::statePropertyNames()
{
    static const QStringList names {
        u"cpuUsage"_s,    u"memoryUsage"_s,    u"freeDisk"_s,        u"recordingTime"_s,     u"streamingTime"_s,
        u"totalFrames"_s, u"droppedFrames"_s,  u"congestion"_s,      u"studioMode"_s,        u"triggerTransition"_s,
        u"streaming"_s,   u"recording"_s,      u"sceneList"_s,       u"currentScene"_s,      u"previewScene"_s,
        u"sourceLocks"_s, u"sourceVisibles"_s, u"transitionsList"_s, u"currentTransition"_s, u"transitionDuration"_s,
    };
    return names;
}

void KestrelClient::connectToPlugin(quint16 port)
{
    dropConnection();
    ++m_generation;
    m_received.clear();
    m_values.clear();
    m_isSynchronized = false;
    m_state = State::Connecting;
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

void KestrelClient::disconnectFromPlugin()
{
    if (m_state == State::Idle) {
        return;
    }
    if (isConnected()) {
        m_state = State::Idle;
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

bool KestrelClient::send(const QJsonArray& values)
{
    const QByteArray body = QJsonDocument(QJsonObject {{"values"_L1, values}}).toJson(QJsonDocument::Compact);
    if (!isConnected() || body.size() > maximumBody_bytes) {
        return false;
    }
    const QByteArray header = QByteArray::number(body.size()).rightJustified(headerLength_bytes, '0');
    m_keepAliveTimer.start();
    return m_socket.write(header + body) == header.size() + body.size();
}

void KestrelClient::socketConnected()
{
    m_state = State::Connected;
    m_keepAliveTimer.start();
    m_socket.write(longFrameAgreement);
    emit connected();
}

void KestrelClient::socketDisconnected()
{
    if (m_state == State::Connected) {
        dropConnection();
        emit disconnected();
    }
}

void KestrelClient::socketFailed(QAbstractSocket::SocketError error)
{
    // The peer's closing is no failure of an established connection; socketDisconnected() follows.
    if (m_state == State::Idle || (m_state == State::Connected && error == QAbstractSocket::RemoteHostClosedError)) {
        return;
    }
    fail(m_socket.errorString());
}

void KestrelClient::readFrames()
{
    const quint64 generation = m_generation;
    QByteArray body;
    // Each message runs slots of others, in which this connection can end.
    while (m_generation == generation && isConnected()) {
        m_received += m_socket.readAll();
        if (!takeFrame(body)) {
            return;
        }
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(body, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            fail(u"received a message that is not a JSON object"_s);
            return;
        }
        receive(document.object());
    }
}

// False when the next frame is not complete yet, or after a malformed header.
bool KestrelClient::takeFrame(QByteArray& body)
{
    const bool isLong = m_received.startsWith(longFrameMark);
    const qsizetype digitsBegin = isLong ? qsizetype(sizeof(longFrameMark)) - 1 : 0;
    const qsizetype digitsLength_bytes = isLong ? longLength_bytes : headerLength_bytes;
    const QByteArray digits = m_received.mid(digitsBegin, digitsLength_bytes);
    if (!QByteArrayView(longFrameMark).startsWith(digits)
        && !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        fail(u"received a frame whose length is not a number"_s);
        return false;
    }
    const qsizetype bodyBegin = digitsBegin + digitsLength_bytes;
    const qsizetype length_bytes = digits.toInt();
    if (digits.size() < digitsLength_bytes || m_received.size() < bodyBegin + length_bytes) {
        return false;
    }
    body = m_received.mid(bodyBegin, length_bytes);
    m_received.remove(0, bodyBegin + length_bytes);
    return true;
}

void KestrelClient::receive(const QJsonObject& message)
{
    const quint64 generation = m_generation;
    const QJsonArray entries = message.value("values"_L1).toArray();
    for (const QJsonValue entry : entries) {
        const QString name = entry["name"_L1].toString();
        if (name.isEmpty()) {
            continue; // the answer to a read of an unknown name
        }
        const QJsonValue value = entry["value"_L1];
        m_values.insert(name, value);
        emit valueChanged(name, value);
        if (m_generation != generation || !isConnected()) {
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
        // The full state was sent before the plug-in knew of long frames, and left out what did not fit.
        get(missing);
    }
}

void KestrelClient::fail(const QString& text)
{
    dropConnection();
    emit failed(text);
}

// Ends the connection at once and silently: the socket's own signals find the state idle.
void KestrelClient::dropConnection()
{
    m_state = State::Idle;
    m_keepAliveTimer.stop();
    m_socket.abort();
}
