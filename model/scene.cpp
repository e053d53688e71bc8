// SPDX-License-Identifier: GPL-2.0-or-later
#include "scene.h"

#include "calldata.h"
#include "signalqueue.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

// Subscribed in this order.
const Source::HostSignal Scene::sceneSignals[] = {
    {"item_add", enqueueItem<&Scene::itemAdded>},
    {"item_remove", enqueueItem<&Scene::itemRemoved>},
    {"reorder", enqueue<&Scene::itemsReordered>},
    {"refresh", enqueue<&Scene::itemsRefreshed>},
    {"item_visible", enqueueItemState<&Scene::itemVisible, visibleArgument>},
    {"item_locked", enqueueItemState<&Scene::itemLocked, lockedArgument>},
};

Scene::Scene(obs_source_t* source, SignalQueue* queue)
    : Source(source, queue)
    , m_scene(obs_scene_from_source(this->source()))
{
    // Subscribe before the list is built, otherwise a change between the two is lost.
    if (obs_source_get_type(this->source()) == OBS_SOURCE_TYPE_SCENE) {
        for (const HostSignal& signal : sceneSignals) {
            subscribe(signal);
        }
    }
    if (queue) {
        refreshSceneSources();
    }
}

Scene::~Scene()
{
    unsubscribe();
    qDeleteAll(m_sceneSources);
}

const QList<SceneSource*>& Scene::sceneSources() const
{
    if (!m_hasSceneSources) {
        m_hasSceneSources = true;
        m_sceneSources = makeSceneSources();
    }
    return m_sceneSources;
}

SceneSource* Scene::findSceneSource(obs_sceneitem_t* item) const
{
    const auto found = std::find_if(m_sceneSources.cbegin(), m_sceneSources.cend(),
                                    [item](const SceneSource* source) { return source->item() == item; });
    return found == m_sceneSources.cend() ? nullptr : *found;
}

SceneSource* Scene::findItem(const std::optional<ItemKey>& key) const
{
    SceneSource* source = key ? findSceneSource(key->item) : nullptr;
    return source && ItemKey(source->item()) == *key ? source : nullptr;
}

bool Scene::isKnown(const ItemKey& key) const
{
    return findItem(key) || std::find(m_removedItems.cbegin(), m_removedItems.cend(), key) != m_removedItems.cend();
}

// Returns the result of make() for each item, bottom-most first (the order of libobs).
template<typename Made>
std::vector<Made> Scene::collectItems(Made (*make)(obs_sceneitem_t*)) const
{
    struct Collection
    {
        std::vector<Made> made;
        Made (*make)(obs_sceneitem_t*);
    } collection {{}, make};

    obs_scene_enum_items(
        m_scene,
        [](obs_scene_t* scene, obs_sceneitem_t* item, void* data) {
            if (!scene || !data) {
                return false;
            }
            auto* target = static_cast<Collection*>(data);
            target->made.push_back(target->make(item));
            return true;
        },
        &collection);
    return std::move(collection.made);
}

std::vector<Scene::ItemState> Scene::itemStates() const
{
    return collectItems<ItemState>([](obs_sceneitem_t* item) {
        const obs_source_t* source = obs_sceneitem_get_source(item);
        const char* name = source ? obs_source_get_name(source) : "NULL";
        return ItemState {name ? name : "Error", obs_sceneitem_visible(item), obs_sceneitem_locked(item)};
    });
}

QString Scene::typeName() const
{
    return u"Scene"_s;
}

bool Scene::matchesScene(const calldata_t* arguments) const
{
    const auto* scene = calldataPointer<obs_scene_t>(arguments, "scene");
    return scene && scene == m_scene;
}

template<void (Scene::*handle)()>
void Scene::enqueue(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    if (wrapper->matchesScene(arguments)) {
        wrapper->queue()->post(wrapper, enqueue<handle>, [wrapper](bool /*isMerged*/) { (wrapper->*handle)(); });
    }
}

template<void (Scene::*handle)(const std::optional<Scene::ItemKey>&)>
void Scene::enqueueItem(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    auto* item = calldataPointer<obs_sceneitem_t>(arguments, "item");
    if (wrapper->matchesScene(arguments) && item) {
        wrapper->queue()->post(wrapper, enqueueItem<handle>, [wrapper, key = ItemKey(item)](bool isMerged) {
            (wrapper->*handle)(isMerged ? std::nullopt : std::optional(key));
        });
    }
}

template<void (Scene::*handle)(const std::optional<Scene::ItemKey>&, bool), const char* argument>
void Scene::enqueueItemState(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    auto* item = calldataPointer<obs_sceneitem_t>(arguments, "item");
    const std::optional<bool> state = calldataBool(arguments, argument);
    if (wrapper->matchesScene(arguments) && item && state) {
        wrapper->queue()->post(wrapper, enqueueItemState<handle, argument>,
                               [wrapper, key = ItemKey(item), state = *state](bool isMerged) {
                                   (wrapper->*handle)(isMerged ? std::nullopt : std::optional(key), state);
                               });
    }
}

void Scene::itemAdded(const std::optional<ItemKey>& key)
{
    refreshSceneSources();
    if (!key || findItem(key)) {
        emit sceneSourceAdded(this, findItem(key));
    }
}

void Scene::itemRemoved(const std::optional<ItemKey>& key)
{
    if (key && !isKnown(*key)) {
        return; // added and removed before its addition was delivered
    }
    const SceneSource* source = findItem(key);
    emit sceneSourceRemoved(this, source);
    if (source || !key) {
        refreshSceneSources();
    }
    std::erase_if(m_removedItems, [&key](const ItemKey& removed) { return !key || removed == *key; });
}

void Scene::itemsReordered()
{
    refreshSceneSources();
    emit sceneSourcesReordered(this);
}

void Scene::itemsRefreshed()
{
    emit sceneSourcesRefreshed(this);
}

void Scene::itemVisible(const std::optional<ItemKey>& key, bool visible)
{
    if (!key || isKnown(*key)) {
        emit sceneSourceVisibilityChanged(this, findItem(key), visible);
    }
}

void Scene::itemLocked(const std::optional<ItemKey>& key, bool locked)
{
    if (!key || isKnown(*key)) {
        emit sceneSourceLockChanged(this, findItem(key), locked);
    }
}

QList<SceneSource*> Scene::makeSceneSources() const
{
    // OBS locks the scene during the enumeration, so only references are taken in it.
    const auto items = collectItems<OBSSceneItem>([](obs_sceneitem_t* item) { return OBSSceneItem(item); });
    QList<SceneSource*> made;
    made.reserve(static_cast<qsizetype>(items.size()));
    std::for_each(items.crbegin(), items.crend(),
                  [&](const OBSSceneItem& item) { made.append(new SceneSource(item, queue())); });
    return made;
}

void Scene::refreshSceneSources()
{
    m_hasSceneSources = true;
    const QList<SceneSource*> previous = std::exchange(m_sceneSources, makeSceneSources());
    for (const SceneSource* source : previous) {
        m_removedItems.emplace_back(source->item());
    }
    std::erase_if(m_removedItems, [this](const ItemKey& key) { return findItem(key) != nullptr; });
    qDeleteAll(previous);
}
