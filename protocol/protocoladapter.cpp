// SPDX-License-Identifier: GPL-2.0-or-later
#include "protocoladapter.h"

#include "jsonwriter.h"
#include "network/networkserver.h"
#include "propertynames.h"

#include <QHash>
#include <QMetaMethod>
#include <QPointer>

#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

// A getter or setter that controllers can call.
struct ProtocolAdapter::Property
{
    QMetaMethod method;
    void (ProtocolAdapter::*write)(JsonWriter& writer) const = nullptr; // writes the value without a tree of values
};

// A request that is being handled.
struct ProtocolAdapter::Request
{
    NetworkConnection* connection; // null: the answer goes to all
    QJsonArray entries;
    MessageBuilder answer;
    qsizetype next = 0;
};

// Finds a getter or setter; other methods are not callable. Controllers choose the names, and an attempt to invoke an
// unknown method by its name would make Qt write a warning to OBS's log.
const ProtocolAdapter::Property* ProtocolAdapter::findProperty(const QString& methodName)
{
    static const QHash<QString, Property> properties = [] {
        QHash<QString, Property> found;
        for (int i = staticMetaObject.methodOffset(); i < staticMetaObject.methodCount(); ++i) {
            const QMetaMethod method = staticMetaObject.method(i);
            const bool isGetter = method.returnMetaType() == QMetaType::fromType<QJsonValue>()
                && method.parameterCount() == 0 && method.name().startsWith("get");
            const bool isSetter = method.returnMetaType() == QMetaType::fromType<void>() && method.parameterCount() == 1
                && method.parameterMetaType(0) == QMetaType::fromType<QVariant>() && method.name().startsWith("set");
            if (isGetter || isSetter) {
                found.insert(QString::fromLatin1(method.name()), {method});
            }
        }
        found[u"getSceneList"_s].write = &ProtocolAdapter::writeSceneList;
        return found;
    }();
    const auto property = properties.constFind(methodName);
    return property == properties.cend() ? nullptr : &*property;
}

ProtocolAdapter::ProtocolAdapter(NetworkServer* server)
    : m_server(server)
{
    connect(m_server, &NetworkServer::receivedJson, this, &ProtocolAdapter::receivedJson);
    connect(m_server, &NetworkServer::connectionAdded, this, &ProtocolAdapter::connectionAdded);
    connect(m_server, &NetworkServer::connectionRemoved, this, &ProtocolAdapter::connectionRemoved);
    connect(m_server, &NetworkServer::drained, this, &ProtocolAdapter::pushMissed);

    connect(&m_frontEnd, &FrontEnd::streamingStateChanged, this, &ProtocolAdapter::streamingStateChanged);
    connect(&m_frontEnd, &FrontEnd::recordingStateChanged, this, &ProtocolAdapter::recordingStateChanged);
    connect(&m_frontEnd, &FrontEnd::studioModeChanged, this, &ProtocolAdapter::studioModeChanged);
    connect(&m_frontEnd, &FrontEnd::transitionChanged, this, &ProtocolAdapter::transitionChanged);
    connect(&m_frontEnd, &FrontEnd::transitionListChanged, this, &ProtocolAdapter::transitionListChanged);
    connect(&m_frontEnd, &FrontEnd::transitionStopped, this, &ProtocolAdapter::transitionStopped);
    connect(&m_frontEnd, &FrontEnd::transitionDurationChanged, this, &ProtocolAdapter::transitionDurationChanged);
    connect(&m_frontEnd, &FrontEnd::sceneChanged, this, &ProtocolAdapter::sceneChanged);
    connect(&m_frontEnd, &FrontEnd::previewSceneChanged, this, &ProtocolAdapter::previewSceneChanged);
    connect(&m_frontEnd, &FrontEnd::sceneListChanged, this, &ProtocolAdapter::sceneListChanged);

    sceneChanged();
}

ProtocolAdapter::~ProtocolAdapter()
{
    for (Scene* scene : {m_frontEnd.currentScene(), m_frontEnd.previewScene()}) {
        if (scene) {
            disconnectScene(scene);
        }
    }
    m_server->disconnect(this);
    m_frontEnd.disconnect(this);
}

QString ProtocolAdapter::methodName(const QString& name, MethodType type)
{
    return (type == Set ? "set"_L1 : "get"_L1) + name.left(1).toUpper() + name.mid(1);
}

QByteArray ProtocolAdapter::valueEntry(const QString& name)
{
    JsonWriter writer;
    writer.beginObject();
    if (const Property* property = findProperty(methodName(name, Get))) {
        writer.key("name").string(name.toUtf8()).key("type").string("set").key("value");
        if (property->write) {
            (this->*property->write)(writer);
        } else {
            QJsonValue value(QJsonValue::Null);
            property->method.invoke(this, Qt::DirectConnection, Q_RETURN_ARG(QJsonValue, value));
            writer.value(value);
        }
    }
    return writer.endObject().take();
}

bool ProtocolAdapter::setValue(const QString& name, const QJsonValue& value)
{
    const Property* property = findProperty(methodName(name, Set));
    return property && property->method.invoke(this, Qt::DirectConnection, Q_ARG(QVariant, QVariant(value)));
}

void ProtocolAdapter::sendValueEntry(const QByteArray& entry, NetworkConnection* connection)
{
    send({MessageBuilder::message(entry)}, connection);
}

void ProtocolAdapter::appendAllValues(MessageBuilder& values, const NetworkConnection* connection)
{
    for (const QLatin1StringView name : statePropertyNames) {
        append(values, valueEntry(name), connection);
    }
}

void ProtocolAdapter::receivedJson(QJsonObject json, NetworkConnection* connection)
{
    m_frontEnd.deliverHostSignals(); // updates the item list, to which masks in the request apply
    constexpr qsizetype unlimited_bytes = std::numeric_limits<qsizetype>::max();
    const auto request = std::make_shared<Request>(
        Request {.connection = connection,
                 .entries = json.value("values"_L1).toArray(),
                 .answer = MessageBuilder(connection ? connection->maximumBody_bytes() : unlimited_bytes)});
    const QPointer<ProtocolAdapter> self(this);
    if (!proceed(*request) && self) {
        connection->continueWith([self, request] { return !self || self->proceed(*request); });
    }
}

// Handles entries until the slice is over or the controller has to read answers first. Returns true when all entries
// are handled.
bool ProtocolAdapter::proceed(Request& request)
{
    const QPointer<ProtocolAdapter> self(this);
    NetworkConnection* connection = request.connection;
    QHash<QString, QByteArray> encoded; // each value is read and encoded once, until a setter runs
    bool isInterrupted = false;
    while (request.next < request.entries.size() && !isInterrupted) {
        const QJsonObject entry = request.entries.at(request.next).toObject();
        const QString name = entry.value("name"_L1).toString();
        if (entry.value("type"_L1).toString().compare("set"_L1, Qt::CaseInsensitive) == 0) {
            if (setValue(name, entry.value("value"_L1))) {
                encoded.clear();
            }
            if (!self) {
                return true; // a setter can open a dialog, and OBS can exit while it is open
            }
        } else if (connection && !connection->mayAnswer(request.answer.size_bytes())) {
            break;
        } else {
            auto known = encoded.constFind(name);
            if (known == encoded.cend()) {
                known = encoded.insert(name, valueEntry(name));
            }
            append(request.answer, *known, connection);
        }
        ++request.next;
        isInterrupted = connection && connection->isSliceOver();
    }
    const bool isFinished = request.next == request.entries.size();
    send(isFinished ? request.answer.takeAll() : request.answer.takeFull(), connection);
    return isFinished;
}

void ProtocolAdapter::connectionAdded(NetworkConnection* connection)
{
    if (!connection) {
        return;
    }
    MessageBuilder state(connection->maximumBody_bytes());
    appendAllValues(state, connection);
    send(state.takeAll(), connection);
}

void ProtocolAdapter::connectionRemoved(NetworkConnection* /*connection*/) {}

void ProtocolAdapter::append(MessageBuilder& message, const QByteArray& entry, const NetworkConnection* connection)
{
    if (const qsizetype refused_bytes = message.append(entry)) {
        connection->logRefusal(refused_bytes);
    }
}

void ProtocolAdapter::send(const QList<QByteArray>& messages, NetworkConnection* connection)
{
    for (const QByteArray& message : messages) {
        if (connection) {
            m_server->write(connection, message);
        } else {
            m_server->writeAll(message);
        }
    }
}
