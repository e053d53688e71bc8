// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scenesource.h"

#include <QList>

#include <optional>
#include <string>
#include <vector>

// A scene of OBS with wrappers of its items.
//
// With a queue, the item list follows the scene: each rebuild replaces all item wrappers, on the main thread and only
// while the queue delivers. Without a queue, the list is built on first use and does not change.
class Scene : public Source
{
    Q_OBJECT

public:
    // Takes the scene as its source.
    explicit Scene(obs_source_t* source, SignalQueue* queue = nullptr);
    ~Scene() override;

    // Top-most item first. The scene owns the wrappers; the next rebuild deletes them.
    const QList<SceneSource*>& sceneSources() const;

    struct ItemState
    {
        std::string name; // UTF-8
        bool isVisible;
        bool isLocked;
    };

    // The current state of all items, bottom-most first (the order of libobs). Creates no wrappers.
    std::vector<ItemState> itemStates() const;

    // The wrapper of an item, or null.
    SceneSource* findSceneSource(obs_sceneitem_t* item) const;

    QString typeName() const override;

signals:
    // The item is null when the signal stands for several merged changes, or when the item is no longer in the list.
    void sceneSourceAdded(const Scene* scene, const SceneSource* source);
    void sceneSourceRemoved(const Scene* scene, const SceneSource* source); // the wrapper is deleted after the emission
    void sceneSourcesReordered(const Scene* scene);
    void sceneSourcesRefreshed(const Scene* scene);
    void sceneSourceVisibilityChanged(const Scene* scene, const SceneSource* source, bool visible);
    void sceneSourceLockChanged(const Scene* scene, const SceneSource* source, bool locked);

private:
    // Identifies an item in a record. It is not a reference: references would keep removed items alive, each with
    // hotkeys that OBS saves on every change, so that a backlog would slow OBS down and grow. The pointer is only
    // compared. The id is unique within a scene and distinguishes an item from a later one at the same address.
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

    // Callbacks of the scene's signals: each enqueues a record. Any thread.
    template<void (Scene::*handle)()>
    static void enqueue(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(const std::optional<ItemKey>&)>
    static void enqueueItem(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(const std::optional<ItemKey>&, bool), const char* argument>
    static void enqueueItemState(void* data, calldata_t* arguments);

    bool matchesScene(const calldata_t* arguments) const;

    // Handlers of delivered records. A merged record stands for several items and has no key.
    void itemAdded(const std::optional<ItemKey>& key);
    void itemRemoved(const std::optional<ItemKey>& key);
    void itemsReordered();
    void itemsRefreshed();
    void itemVisible(const std::optional<ItemKey>& key, bool visible);
    void itemLocked(const std::optional<ItemKey>& key, bool locked);

    template<typename Made>
    std::vector<Made> collectItems(Made (*make)(obs_sceneitem_t*)) const;
    SceneSource* findItem(const std::optional<ItemKey>& key) const;
    bool isKnown(const ItemKey& key) const; // in the list, or with a pending removal
    QList<SceneSource*> makeSceneSources() const;
    void refreshSceneSources();

    obs_scene_t* m_scene = nullptr; // kept alive by the source
    mutable QList<SceneSource*> m_sceneSources;
    mutable bool m_hasSceneSources = false;
    // Items that are missing since a rebuild and whose removal is pending. Keys only: an item that moves into a group
    // also disappears from the list, and no removal follows.
    std::vector<ItemKey> m_removedItems;
};
