// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "itemmask.h"
#include "messagebuilder.h"
#include "model/frontend.h"
#include "model/hoststatistics.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QObject>
#include <QVariant>

class JsonWriter;
class NetworkConnection;
class NetworkServer;

// The protocol: named properties of OBS, which controllers read and write and which are pushed to all controllers when
// they change.
//
// A message is {"values": [entry...]}. A request entry {"type", "name", "value"} of type "set" writes, any other reads.
// Entries from the plug-in always have the type "set", so that a controller can send them back. A property is a pair of
// slots, found by name: "get" or "set" and the property's name with its first letter in upper case. The order of the
// slots is part of the interface.
//
// Main thread only. A request is handled completely, including its answer, within the server's signal, unless it takes
// longer than a slice of the event loop's time or the controller does not read its answers: then the connection
// continues it in later slices. A setter can make OBS raise events at once; their pushes are sent before the answer.
class ProtocolAdapter : public QObject
{
    Q_OBJECT

public:
    enum MethodType {
        Set = 0,
        Get = 1,
    };

    // The server is borrowed and outlives the adapter.
    explicit ProtocolAdapter(NetworkServer* server);
    ~ProtocolAdapter() override;

    // The name of the slot of a property: "getSceneList" reads "sceneList".
    static QString methodName(const QString& name, MethodType type);

    // Reads a property. Returns the entry {"name", "type": "set", "value"} as compact JSON, with the name as given, or
    // the empty object when there is no such property.
    QByteArray valueEntry(const QString& name);

    // Sends an entry as one message to a connection, or to all.
    void sendValueEntry(const QByteArray& entry, NetworkConnection* connection = nullptr);

    // Appends the full state, which every new controller receives.
    void appendAllValues(MessageBuilder& values, const NetworkConnection* connection);

public slots:
    QJsonValue getCpuUsage() const;
    QJsonValue getMemoryUsage() const;
    QJsonValue getFreeDisk() const;
    QJsonValue getRecordingTime() const;
    QJsonValue getStreamingTime() const;
    QJsonValue getStudioMode() const;
    QJsonValue getTriggerTransition() const;
    QJsonValue getStreaming() const;
    QJsonValue getRecording() const;
    QJsonValue getSceneList() const;
    QJsonValue getSourceVisibles() const;
    QJsonValue getSourceLocks() const;
    QJsonValue getCurrentScene() const;
    QJsonValue getPreviewScene() const;
    QJsonValue getTransitionsList() const;
    QJsonValue getCurrentTransition() const;
    QJsonValue getTransitionDuration() const;
    QJsonValue getTotalFrames() const;
    QJsonValue getFps() const;
    QJsonValue getDroppedFrames() const;
    QJsonValue getCongestion() const;

    void setStudioMode(QVariant value);
    void setStreaming(QVariant value);
    void setRecording(QVariant value);
    void setSceneList(QVariant value);
    void setCurrentScene(QVariant value);
    void setPreviewScene(QVariant value);
    void setSourceLocks(QVariant value);
    void setSourceVisibles(QVariant value);
    void setTransitionsList(QVariant value);
    void setTriggerTransition(QVariant value);
    void setCurrentTransition(QVariant value);
    void setTransitionDuration(QVariant value);

    void receivedJson(QJsonObject json, NetworkConnection* connection);
    void connectionAdded(NetworkConnection* connection);
    void connectionRemoved(NetworkConnection* connection);

    void streamingStateChanged(bool isStreaming);
    void recordingStateChanged(bool isRecording);
    void studioModeChanged(bool isStudioMode);
    void transitionChanged();
    void transitionDurationChanged();
    void transitionListChanged();
    void transitionStopped();
    void sceneChanged();
    void previewSceneChanged();
    void sceneListChanged();

    void sceneDestroyed(Source* source);
    void sceneRemoved(const Source* source);
    void sceneActivated(const Source* source, bool isActive);
    void sceneShown(const Source* source, bool isVisible);
    void sceneEnabled(const Source* source, bool isEnabled);
    void sceneRenamed(const Source* source);
    void sceneSourceAdded(const Scene* scene, const SceneSource* source);
    void sceneSourceRemoved(const Scene* scene, const SceneSource* source);
    void sceneSourcesReordered(const Scene* scene);
    void sceneSourcesRefreshed(const Scene* scene);
    void sceneSourceVisibilityChanged(const Scene* scene, const SceneSource* source, bool visible);
    void sceneSourceLockChanged(const Scene* scene, const SceneSource* source, bool locked);

private:
    struct Property;
    struct Request;

    static const Property* findProperty(const QString& methodName);
    bool setValue(const QString& name, const QJsonValue& value); // false when there is no setter
    bool proceed(Request& request);
    static void append(MessageBuilder& message, const QByteArray& entry, const NetworkConnection* connection);
    void send(const QList<QByteArray>& messages, NetworkConnection* connection);
    void push(std::initializer_list<QLatin1StringView> names);
    void pushMissed(NetworkConnection* connection);

    void writeSceneList(JsonWriter& writer) const;
    QJsonValue itemMask(bool (SceneSource::*isSet)() const) const;
    void applyItemMask(const QVariant& value, bool (SceneSource::*isSet)() const, void (SceneSource::*set)(bool));

    void connectScene(Scene* scene);
    void disconnectScene(Source* source);

    NetworkServer* m_server;
    HostStatistics m_statistics; // destroyed after the bridge
    FrontEnd m_frontEnd;
};
