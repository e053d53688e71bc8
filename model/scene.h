// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scenesource.h"

#include <QList>

#include <memory>
#include <string>
#include <utility>
#include <vector>

// A host scene with the wrappers of its items.
//
// With a queue it keeps the item list in step with the host: each rebuild replaces every item wrapper, on the main
// thread and only while the queue delivers. Without one the list is made when it is first asked for, and stays.
class Scene : public Source
{
    Q_OBJECT

public:
    // The scene, given as its source, is borrowed.
    explicit Scene(obs_source_t* source, SignalQueue* queue = nullptr);
    ~Scene() override;

    // Top-most item first. Owned by the scene; invalid after the next rebuild.
    const QList<SceneSource*>& sceneSources() const;

    // What the host says of its items now, without wrappers and, as the host goes, from the bottom-most upwards. The
    // name is in UTF-8.
    struct ItemState
    {
        std::string name;
        bool isVisible;
        bool isLocked;
    };

    std::vector<ItemState> itemStates() const;

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
    // What a record keeps of an item: no reference. Held items cost the host (each has hotkeys that it saves with every
    // change), so a backlog that holds them makes the host slower, and so grows. The pointer is only ever compared; the
    // number, unique within a scene, tells an item from a later one at the same address.
    struct ItemKey
    {
        explicit ItemKey(obs_sceneitem_t* sceneItem)
            : item(sceneItem)
            , id(obs_sceneitem_get_id(sceneItem))
        {}

        bool operator==(const ItemKey&) const = default;

        obs_sceneitem_t* item;
        int64_t id;
    };

    static const HostSignal sceneSignals[];
    static constexpr char visibleArgument[] = "visible";
    static constexpr char lockedArgument[] = "locked";

    // The host's callbacks: they record a signal that concerns this scene. Any thread.
    template<void (Scene::*handle)()>
    static void record(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(ItemKey)>
    static void recordItem(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(ItemKey, bool), const char* argument>
    static void recordItemState(void* data, calldata_t* arguments);

    bool isConcerned(const calldata_t* arguments) const;

    // What was recorded, delivered.
    void itemAdded(ItemKey key);
    void itemRemoved(ItemKey key);
    void itemsReordered();
    void itemsRefreshed();
    void itemVisible(ItemKey key, bool visible);
    void itemLocked(ItemKey key, bool locked);

    template<typename Made>
    std::vector<Made> collectItems(Made (*make)(obs_sceneitem_t*)) const;
    SceneSource* findKnown(ItemKey key) const; // in the list or leaving
    QList<SceneSource*> makeSceneSources() const;
    void refreshSceneSources();

    obs_scene_t* m_scene = nullptr; // kept alive by the source
    mutable QList<SceneSource*> m_sceneSources;
    mutable bool m_hasSceneSources = false;
    // Wrappers, without their items, of what a rebuild did not find any more, until the removal is delivered and told.
    std::vector<std::pair<ItemKey, std::unique_ptr<SceneSource>>> m_leavingSources;
};
