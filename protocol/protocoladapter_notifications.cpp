// SPDX-License-Identifier: GPL-2.0-or-later
//
// Pushes the changes of OBS to every controller: each property is read again and sent as one message.
#include "network/networkserver.h"
#include "protocoladapter.h"

using namespace Qt::StringLiterals;

namespace {

// Applies an operation to each of the twelve signals of a scene wrapper and the slot that receives it.
template<typename Operation>
void forEachSceneConnection(Operation operation)
{
    operation(&Source::destroyed, &ProtocolAdapter::sceneDestroyed);
    operation(&Source::removed, &ProtocolAdapter::sceneRemoved);
    operation(&Source::activated, &ProtocolAdapter::sceneActivated);
    operation(&Source::shown, &ProtocolAdapter::sceneShown);
    operation(&Source::enabled, &ProtocolAdapter::sceneEnabled);
    operation(&Source::renamed, &ProtocolAdapter::sceneRenamed);
    operation(&Scene::sceneSourceAdded, &ProtocolAdapter::sceneSourceAdded);
    operation(&Scene::sceneSourceRemoved, &ProtocolAdapter::sceneSourceRemoved);
    operation(&Scene::sceneSourcesReordered, &ProtocolAdapter::sceneSourcesReordered);
    operation(&Scene::sceneSourcesRefreshed, &ProtocolAdapter::sceneSourcesRefreshed);
    operation(&Scene::sceneSourceVisibilityChanged, &ProtocolAdapter::sceneSourceVisibilityChanged);
    operation(&Scene::sceneSourceLockChanged, &ProtocolAdapter::sceneSourceLockChanged);
}

} // namespace

void ProtocolAdapter::push(std::initializer_list<QLatin1StringView> names)
{
    for (const QLatin1StringView name : names) {
        m_server->pushAll(name, [&] { return MessageBuilder::message(valueEntry(name)); });
    }
    m_server->flush();
}

void ProtocolAdapter::pushMissed(NetworkConnection* connection)
{
    for (const QString& name : connection->takeMissedPushes()) {
        sendValueEntry(valueEntry(name), connection);
    }
}

void ProtocolAdapter::connectScene(Scene* scene)
{
    forEachSceneConnection([this, scene](auto signal, auto slot) { connect(scene, signal, this, slot); });
}

void ProtocolAdapter::disconnectScene(Source* source)
{
    if (auto* scene = qobject_cast<Scene*>(source)) {
        forEachSceneConnection([this, scene](auto signal, auto slot) { disconnect(scene, signal, this, slot); });
    }
}

void ProtocolAdapter::streamingStateChanged(bool /*isStreaming*/)
{
    push({"streaming"_L1});
}

void ProtocolAdapter::recordingStateChanged(bool /*isRecording*/)
{
    push({"recording"_L1});
}

void ProtocolAdapter::studioModeChanged(bool /*isStudioMode*/)
{
    push({"studioMode"_L1, "sceneList"_L1, "currentScene"_L1, "previewScene"_L1});
}

void ProtocolAdapter::transitionChanged()
{
    push({"transitionsList"_L1});
}

void ProtocolAdapter::transitionDurationChanged()
{
    push({"transitionDuration"_L1, "transitionsList"_L1});
}

void ProtocolAdapter::transitionListChanged()
{
    transitionChanged();
}

void ProtocolAdapter::transitionStopped()
{
    push({"triggerTransition"_L1});
}

void ProtocolAdapter::sceneChanged()
{
    // The bridge has replaced the wrapper; the connections of the previous one ended with it.
    if (Scene* scene = m_frontEnd.currentScene()) {
        connectScene(scene);
    }
    push({"sceneList"_L1, "currentScene"_L1});
}

void ProtocolAdapter::previewSceneChanged()
{
    if (Scene* scene = m_frontEnd.previewScene()) {
        connectScene(scene);
    }
    push({"sceneList"_L1, "currentScene"_L1, "previewScene"_L1});
}

void ProtocolAdapter::sceneListChanged()
{
    push({"sceneList"_L1});
}

void ProtocolAdapter::sceneDestroyed(Source* source)
{
    if (source) {
        disconnectScene(source);
    }
}

void ProtocolAdapter::sceneRemoved(const Source* source)
{
    if (source) {
        sceneListChanged();
    }
}

// No property depends on the next three. They are part of the interface, as connectionRemoved() is.

void ProtocolAdapter::sceneActivated(const Source* /*source*/, bool /*isActive*/) {}

void ProtocolAdapter::sceneShown(const Source* /*source*/, bool /*isVisible*/) {}

void ProtocolAdapter::sceneEnabled(const Source* /*source*/, bool /*isEnabled*/) {}

void ProtocolAdapter::sceneRenamed(const Source* /*source*/)
{
    sceneListChanged();
}

void ProtocolAdapter::sceneSourceAdded(const Scene* /*scene*/, const SceneSource* /*source*/)
{
    sceneListChanged();
}

void ProtocolAdapter::sceneSourceRemoved(const Scene* /*scene*/, const SceneSource* /*source*/)
{
    sceneListChanged();
}

void ProtocolAdapter::sceneSourcesReordered(const Scene* /*scene*/)
{
    sceneListChanged();
}

void ProtocolAdapter::sceneSourcesRefreshed(const Scene* /*scene*/)
{
    sceneListChanged();
}

void ProtocolAdapter::sceneSourceVisibilityChanged(const Scene* /*scene*/, const SceneSource* /*source*/,
                                                   bool /*visible*/)
{
    push({"sceneList"_L1, "sourceVisibles"_L1});
}

void ProtocolAdapter::sceneSourceLockChanged(const Scene* /*scene*/, const SceneSource* /*source*/, bool /*locked*/)
{
    push({"sceneList"_L1, "sourceLocks"_L1});
}
