// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scenesource.h"

#include <QList>

#include <optional>
#include <string>
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
    // The item is null when the signal stands for changes of several items, or when the item has already left the list.
    void sceneSourceAdded(const Scene* scene, const SceneSource* source);
    void sceneSourceRemoved(const Scene* scene, const SceneSource* source); // the wrapper ends after the emission
    void sceneSourcesReordered(const Scene* scene);
    void sceneSourcesRefreshed(const Scene* scene);
    void sceneSourceVisibilityChanged(const Scene* scene, const SceneSource* source, bool visible);
    void sceneSourceLockChanged(const Scene* scene, const SceneSource* source, bool locked);

private:
    // What a record keeps of an item: no reference. Held items cost OBS (each has hotkeys that it saves with every
    // change), so a backlog that holds them makes OBS slower, and so grows. The pointer is only ever compared; the
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

    // OBS's callbacks: they enqueue a signal of this scene. Any thread.
    template<void (Scene::*handle)()>
    static void enqueue(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(const std::optional<ItemKey>&)>
    static void enqueueItem(void* data, calldata_t* arguments);
    template<void (Scene::*handle)(const std::optional<ItemKey>&, bool), const char* argument>
    static void enqueueItemState(void* data, calldata_t* arguments);

    bool matchesScene(const calldata_t* arguments) const;

    // Delivered records. One that has merged with others stands for several items, and has no key.
    void itemAdded(const std::optional<ItemKey>& key);
    void itemRemoved(const std::optional<ItemKey>& key);
    void itemsReordered();
    void itemsRefreshed();
    void itemVisible(const std::optional<ItemKey>& key, bool visible);
    void itemLocked(const std::optional<ItemKey>& key, bool locked);

    template<typename Made>
    std::vector<Made> collectItems(Made (*make)(obs_sceneitem_t*)) const;
    SceneSource* findItem(const std::optional<ItemKey>& key) const;
    bool isKnown(const ItemKey& key) const; // in the list, or its removal is still to be delivered
    QList<SceneSource*> makeSceneSources() const;
    void refreshSceneSources();

    obs_scene_t* m_scene = nullptr; // kept alive by the source
    mutable QList<SceneSource*> m_sceneSources;
    mutable bool m_hasSceneSources = false;
    // Items that the last rebuild no longer found and whose removal is still to be delivered. Nothing of them is held:
    // an item that moves into a group leaves in this way too, and no removal follows.
    std::vector<ItemKey> m_removedItems;
};
