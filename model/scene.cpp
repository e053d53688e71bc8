// SPDX-License-Identifier: GPL-2.0-or-later
#include "scene.h"

#include "calldata.h"
#include "signalqueue.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

// In the order of subscription.
const Source::HostSignal Scene::sceneSignals[] = {
    {"item_add", recordItem<&Scene::itemAdded>},
    {"item_remove", recordItem<&Scene::itemRemoved>},
    {"reorder", record<&Scene::itemsReordered>},
    {"refresh", record<&Scene::itemsRefreshed>},
    {"item_visible", recordItemState<&Scene::itemVisible, visibleArgument>},
    {"item_locked", recordItemState<&Scene::itemLocked, lockedArgument>},
};

Scene::Scene(obs_source_t* source, SignalQueue* queue)
    : Source(source, queue)
    , m_scene(obs_scene_from_source(this->source()))
{
    // Before the list is built, so that no change falls between the two.
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

SceneSource* Scene::findKnown(ItemKey key) const
{
    SceneSource* source = findSceneSource(key.item);
    if (source && ItemKey(source->item()) == key) {
        return source;
    }
    const auto leaving = std::find_if(m_leavingSources.cbegin(), m_leavingSources.cend(),
                                      [&key](const auto& candidate) { return candidate.first == key; });
    return leaving == m_leavingSources.cend() ? nullptr : leaving->second.get();
}

// What is made of each item, in the host's order: from the bottom-most upwards.
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

bool Scene::isConcerned(const calldata_t* arguments) const
{
    const auto* scene = calldataPointer<obs_scene_t>(arguments, "scene");
    return scene && scene == m_scene;
}

template<void (Scene::*handle)()>
void Scene::record(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    if (wrapper->isConcerned(arguments)) {
        wrapper->queue()->post(wrapper, [wrapper] { (wrapper->*handle)(); });
    }
}

template<void (Scene::*handle)(Scene::ItemKey)>
void Scene::recordItem(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    auto* item = calldataPointer<obs_sceneitem_t>(arguments, "item");
    if (wrapper->isConcerned(arguments) && item) {
        wrapper->queue()->post(wrapper, [wrapper, key = ItemKey(item)] { (wrapper->*handle)(key); });
    }
}

template<void (Scene::*handle)(Scene::ItemKey, bool), const char* argument>
void Scene::recordItemState(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Scene*>(data);
    auto* item = calldataPointer<obs_sceneitem_t>(arguments, "item");
    const std::optional<bool> state = calldataBool(arguments, argument);
    if (wrapper->isConcerned(arguments) && item && state) {
        wrapper->queue()->post(wrapper,
                               [wrapper, key = ItemKey(item), state = *state] { (wrapper->*handle)(key, state); });
    }
}

void Scene::itemAdded(ItemKey key)
{
    refreshSceneSources();
    if (const SceneSource* source = findKnown(key)) {
        emit sceneSourceAdded(this, source);
    }
}

void Scene::itemRemoved(ItemKey key)
{
    SceneSource* source = findKnown(key);
    if (!source) {
        return;
    }
    emit sceneSourceRemoved(this, source);
    if (m_sceneSources.contains(source)) {
        refreshSceneSources();
    }
    std::erase_if(m_leavingSources, [&key](const auto& leaving) { return leaving.first == key; });
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

void Scene::itemVisible(ItemKey key, bool visible)
{
    if (const SceneSource* source = findKnown(key)) {
        emit sceneSourceVisibilityChanged(this, source, visible);
    }
}

void Scene::itemLocked(ItemKey key, bool locked)
{
    if (const SceneSource* source = findKnown(key)) {
        emit sceneSourceLockChanged(this, source, locked);
    }
}

QList<SceneSource*> Scene::makeSceneSources() const
{
    // The host holds the scene's lock while it enumerates: only references are taken there.
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

    for (SceneSource* source : previous) {
        if (findSceneSource(source->item())) {
            delete source;
        } else {
            const ItemKey key(source->item());
            source->releaseItem();
            m_leavingSources.emplace_back(key, source);
        }
    }
}
