// SPDX-License-Identifier: GPL-2.0-or-later
#include "controller.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QHostAddress>
#include <QJsonDocument>

#include <chrono>
#include <thread>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#endif

using namespace Qt::StringLiterals;

bool turnUntil(const std::function<bool()>& condition)
{
    using namespace std::chrono;
    const auto limit = system_clock::now() + 5s;
    while (!condition() && system_clock::now() < limit) {
        if (!QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
            std::this_thread::sleep_for(1ms);
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return condition();
}

QJsonObject getEntry(const QString& name)
{
    return {{"name"_L1, name}};
}

QJsonObject setEntry(const QString& name, const QJsonValue& value)
{
    return {{"type"_L1, "set"_L1}, {"name"_L1, name}, {"value"_L1, value}}; // takes no undefined value
}

Controller::Controller(quint16 port)
{
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    m_socket.waitForConnected();
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1); // a request does not wait for an acknowledgement
}

void Controller::sendBytes(const QByteArray& bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

void Controller::send(const QJsonObject& json, bool inLongFrame)
{
    const QByteArray body = QJsonDocument(json).toJson(QJsonDocument::Compact);
    const QByteArray length = QByteArray::number(body.size());
    sendBytes((inLongFrame ? "####" + length.rightJustified(8, '0') : length.rightJustified(4, '0')) + body);
}

void Controller::shutDownSending()
{
    constexpr int sendingSide = 1; // SHUT_WR, or SD_SEND on Windows
    shutdown(static_cast<int>(m_socket.socketDescriptor()), sendingSide);
}

std::optional<QJsonObject> Controller::next()
{
    return turnUntil([this] { return takeMessage(); }) ? std::optional(m_messages.takeFirst()) : std::nullopt;
}

bool Controller::takeMessage()
{
    m_input += m_socket.readAll();
    while (m_messages.isEmpty()) {
        const qsizetype header = m_input.startsWith("####") ? 12 : 4;
        const qsizetype length = m_input.first(std::min(header, m_input.size())).replace('#', "").toInt();
        if (m_input.size() < header || m_input.size() < header + length) {
            return false;
        }
        m_messages.append(QJsonDocument::fromJson(m_input.mid(header, length)).object());
        m_input.remove(0, header + length);
        for (const QJsonValue entry : m_messages.constLast().value("values"_L1).toArray()) {
            m_values.insert(entry["name"_L1].toString(), entry["value"_L1]);
        }
    }
    return true;
}

QStringList Controller::pushesUntilAnswer()
{
    sendEntries({getEntry(u"fps"_s)});
    QStringList received;
    while (const std::optional<QJsonObject> message = next()) {
        if (namesIn(*message) == "fps"_L1) {
            return received;
        }
        received << namesIn(*message);
    }
    return received << u"(no answer)"_s;
}

QJsonValue Controller::read(const QString& name)
{
    m_values.remove(name);
    sendEntries({getEntry(name)});
    pushesUntilAnswer();
    return value(name);
}

QString Controller::namesIn(const QJsonObject& message)
{
    bool isWellFormed = message.keys() == QStringList {u"values"_s};
    QStringList names;
    for (const QJsonValue element : message.value("values"_L1).toArray()) {
        const QJsonObject entry = element.toObject();
        names.append(entry.isEmpty() ? u"{}"_s : entry.value("name"_L1).toString());
        isWellFormed &= entry.isEmpty()
            || (entry.keys() == QStringList {u"name"_s, u"type"_s, u"value"_s} && entry["type"_L1] == "set"_L1);
    }
    return names.join(' '_L1) + (isWellFormed ? u""_s : u" (malformed)"_s);
}
