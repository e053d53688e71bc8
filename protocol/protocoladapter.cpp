// SPDX-License-Identifier: GPL-2.0-or-later
#include "protocoladapter.h"

#include "jsontext.h"
#include "network/networkserver.h"
#include "propertynames.h"

#include <QHash>
#include <QMetaMethod>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

// The slots that controllers can reach: every getter and setter, and nothing else of the class. Looked up before Qt is
// asked to invoke anything, since Qt warns of an unknown name in the host's log, and controllers choose the names.
const QMetaMethod* findProperty(const QString& methodName)
{
    static const QHash<QString, QMetaMethod> methods = [] {
        QHash<QString, QMetaMethod> found;
        const QMetaObject& meta = ProtocolAdapter::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            const bool isGetter = method.returnMetaType() == QMetaType::fromType<QJsonValue>()
                && method.parameterCount() == 0 && method.name().startsWith("get");
            const bool isSetter = method.returnMetaType() == QMetaType::fromType<void>() && method.parameterCount() == 1
                && method.parameterMetaType(0) == QMetaType::fromType<QVariant>() && method.name().startsWith("set");
            if (isGetter || isSetter) {
                found.insert(QString::fromLatin1(method.name()), method);
            }
        }
        return found;
    }();
    const auto method = methods.constFind(methodName);
    return method == methods.cend() ? nullptr : &*method;
}

} // namespace

ProtocolAdapter::ProtocolAdapter(NetworkServer* server)
    : m_server(server)
    , m_cpuUsageInfo(os_cpu_usage_info_start())
{
    connect(m_server, &NetworkServer::receivedJson, this, &ProtocolAdapter::receivedJson);
    connect(m_server, &NetworkServer::connectionAdded, this, &ProtocolAdapter::connectionAdded);
    connect(m_server, &NetworkServer::connectionRemoved, this, &ProtocolAdapter::connectionRemoved);

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
    os_cpu_usage_info_destroy(m_cpuUsageInfo);
}

QString ProtocolAdapter::methodName(const QString& name, MethodType type)
{
    return (type == Set ? "set"_L1 : "get"_L1) + name.left(1).toUpper() + name.mid(1);
}

std::optional<QJsonValue> ProtocolAdapter::invokeGetter(const QString& method)
{
    QJsonValue value(QJsonValue::Null);
    const QMetaMethod* getter = findProperty(method);
    if (!getter || !getter->invoke(this, Qt::DirectConnection, Q_RETURN_ARG(QJsonValue, value))) {
        return std::nullopt;
    }
    return value;
}

// Written without a tree of values in between.
QByteArray ProtocolAdapter::valueEntry(const QString& name)
{
    JsonText text;
    text.beginObject().key("values").beginArray().beginObject();
    const auto beginEntry = [&] { text.key("name").string(name.toUtf8()).key("type").string("set").key("value"); };
    const QString method = methodName(name, Get);
    if (method == "getSceneList"_L1) {
        beginEntry();
        writeSceneList(text);
    } else if (const std::optional<QJsonValue> value = invokeGetter(method)) {
        beginEntry();
        text.value(*value);
    }
    return text.endObject().endArray().endObject().take();
}

void ProtocolAdapter::writeValue(const QString& name, const QJsonValue& value)
{
    if (const QMetaMethod* setter = findProperty(methodName(name, Set))) {
        setter->invoke(this, Qt::DirectConnection, Q_ARG(QVariant, QVariant(value)));
    }
}

void ProtocolAdapter::sendValueEntry(const QByteArray& message, NetworkConnection* connection)
{
    if (connection) {
        m_server->write(connection, message);
    } else {
        m_server->writeAll(message);
    }
}

void ProtocolAdapter::appendAllValues(MessagePacker& values)
{
    for (const QLatin1StringView name : statePropertyNames) {
        values.append(valueEntry(name));
    }
}

void ProtocolAdapter::receivedJson(QJsonObject json, NetworkConnection* connection)
{
    m_frontEnd.deliverHostSignals(); // masks are of the items that the controller has been told of
    const QPointer<ProtocolAdapter> self(this);
    MessagePacker answer = answerTo(connection);
    QHash<QString, QByteArray> encoded; // read and encoded once, as long as nothing is set in between
    const QJsonArray entries = json.value("values"_L1).toArray();
    for (const QJsonValue element : entries) {
        const QJsonObject entry = element.toObject();
        const QString name = entry.value("name"_L1).toString();
        if (entry.value("type"_L1).toString().compare("set"_L1, Qt::CaseInsensitive) == 0) {
            encoded.clear();
            writeValue(name, entry.value("value"_L1));
            if (!self) {
                return; // the host can open a dialog over a set, and end everything meanwhile
            }
            continue;
        }
        auto known = encoded.constFind(name);
        if (known == encoded.cend()) {
            known = encoded.insert(name, valueEntry(name));
        }
        answer.append(*known);
    }
    send(answer, connection);
}

void ProtocolAdapter::connectionAdded(NetworkConnection* connection)
{
    if (!connection) {
        return;
    }
    MessagePacker state = answerTo(connection);
    appendAllValues(state);
    send(state, connection);
}

void ProtocolAdapter::connectionRemoved(NetworkConnection* /*connection*/) {}

MessagePacker ProtocolAdapter::answerTo(NetworkConnection* connection)
{
    return MessagePacker(
        [connection](qsizetype length_bytes) { return !connection || connection->accepts(length_bytes); });
}

void ProtocolAdapter::send(MessagePacker& message, NetworkConnection* connection)
{
    for (const QByteArray& body : message.takeBodies()) {
        sendValueEntry(body, connection);
    }
}
