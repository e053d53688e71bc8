// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scenesource.h"

#include <QList>

// A host scene with the wrappers of its items.
//
// With a queue it keeps the item list in step with the host: each rebuild replaces every item wrapper, on the main
// thread and only while the queue delivers. Without one the list stays as it was at construction.
class Scene : public Source
{
    Q_OBJECT

public:
    // The scene, given as its source, is borrowed.
    explicit Scene(obs_source_t* source, SignalQueue* queue = nullptr);
    ~Scene() override;

    // Top-most item first. Owned by the scene; invalid after the next rebuild.
    const QList<SceneSource*>& sceneSources() const { return m_sceneSources; }

    // The wrapper of a host item, or null.
    SceneSource* findSceneSource(obs_sceneitem_t* item) const;

    QString typeName() const override;

signals:
    void sceneSourceAdded(const Scene* scene, const SceneSource* source);
    void sceneSourceRemoved(const Scene* scene, const SceneSource* source); // the wrapper ends after the emission
    void sceneSourcesReordered(const Scene* scene);
    void sceneSourcesRefreshed(const Scene* scene);
    void sceneSourceVisibilityChanged(const Scene* scene, const SceneSource* source, bool visible);
    void sceneSourceLockChanged(const Scene* scene, const SceneSource* source, bool locked);

private:
    static const HostSignal sceneSignals[];
    static constexpr char visibleArgument[] = "visible";
    static constexpr char lockedArgument[] = "locked";

    // The host's callbacks: they record a signal that concerns this scene. Any thread.
    template<void (Scene::*handle)()>
    static void record(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(obs_sceneitem_t*)>
    static void recordItem(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(obs_sceneitem_t*, bool), const char* argument>
    static void recordItemState(void* data, calldata_t* arguments);

    bool isConcerned(const calldata_t* arguments) const;

    // What was recorded, delivered.
    void itemAdded(obs_sceneitem_t* item);
    void itemRemoved(obs_sceneitem_t* item);
    void itemsReordered();
    void itemsRefreshed();
    void itemVisible(obs_sceneitem_t* item, bool visible);
    void itemLocked(obs_sceneitem_t* item, bool locked);

    void refreshSceneSources();

    obs_scene_t* m_scene = nullptr; // kept alive by the source
    QList<SceneSource*> m_sceneSources;
};
