// SPDX-License-Identifier: GPL-2.0-or-later
#include "scenesource.h"

using namespace Qt::StringLiterals;

SceneSource::SceneSource(obs_sceneitem_t* item, SignalQueue* queue)
    : Source(obs_sceneitem_get_source(item), queue)
    , m_item(item)
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
    if (m_item) {
        obs_sceneitem_set_visible(m_item, visible);
    }
}

void SceneSource::setLocked(bool locked)
{
    if (m_item) {
        obs_sceneitem_set_locked(m_item, locked);
    }
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
