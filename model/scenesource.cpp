// SPDX-License-Identifier: GPL-2.0-or-later
#include "scenesource.h"

using namespace Qt::StringLiterals;

SceneSource::SceneSource(obs_sceneitem_t* item, SignalQueue* queue)
    : Source(obs_sceneitem_get_source(item), queue)
    , m_item(item)
    , m_scene(obs_sceneitem_get_scene(item))
{}

bool SceneSource::isVisible() const
{
    return m_item && obs_sceneitem_visible(m_item);
}

bool SceneSource::isLocked() const
{
    return m_item && obs_sceneitem_locked(m_item);
}

void SceneSource::setVisible(bool visible)
{
    changeInScene([visible](obs_sceneitem_t* item) { obs_sceneitem_set_visible(item, visible); });
}

void SceneSource::setLocked(bool locked)
{
    changeInScene([locked](obs_sceneitem_t* item) { obs_sceneitem_set_locked(item, locked); });
}

// Changes the item with its scene locked: OBS crashes if another thread removes the item from the scene at that moment.
// Every other atomic update also locks the scene before the signal.
template<typename Change>
void SceneSource::changeInScene(Change change)
{
    struct Update
    {
        obs_sceneitem_t* item;
        Change change;
    } update {m_item, change};

    obs_scene_atomic_update(
        m_scene,
        [](void* data, obs_scene_t* scene) {
            const auto* work = static_cast<const Update*>(data);
            if (obs_sceneitem_get_scene(work->item) == scene) {
                work->change(work->item);
            }
        },
        &update);
}

QJsonObject SceneSource::toJson() const
{
    QJsonObject json = Source::toJson();
    json["isVisible"_L1] = isVisible();
    json["isLocked"_L1] = isLocked();
    return json;
}

QString SceneSource::typeName() const
{
    return u"Scene Item"_s;
}
