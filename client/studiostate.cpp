// SPDX-License-Identifier: GPL-2.0-or-later
#include "studiostate.h"

#include "kestrelclient.h"
#include "protocol/itemmask.h"

using namespace Qt::StringLiterals;

namespace {

QStringList names(const QJsonArray& list)
{
    QStringList names;
    for (const QJsonValue element : list) {
        names.append(element["name"_L1].toString());
    }
    return names;
}

} // namespace

const int StudioState::maskWidth_bits = ItemMask::width_bits;

bool StudioState::isOn(const QString& property) const
{
    return m_client.value(property).toBool();
}

QString StudioState::programScene() const
{
    return m_client.value(u"currentScene"_s).toString();
}

QString StudioState::previewScene() const
{
    return m_client.value(u"previewScene"_s).toString();
}

QStringList StudioState::sceneNames() const
{
    return names(scenes());
}

QJsonArray StudioState::scenes() const
{
    return m_client.value(u"sceneList"_s).toArray();
}

QList<SceneItem> StudioState::items(const QString& scene) const
{
    QList<SceneItem> items;
    const QJsonArray list = scenes();
    for (const QJsonValue element : list) {
        if (element["name"_L1].toString() != scene) {
            continue;
        }
        const QJsonArray sources = element["sourceList"_L1].toArray();
        for (const QJsonValue source : sources) {
            items.append(
                {source["name"_L1].toString(), source["isVisible"_L1].toBool(), source["isLocked"_L1].toBool()});
        }
        break;
    }
    return items;
}

QString StudioState::transition() const
{
    // A new choice is pushed in the list, not as "currentTransition".
    const QJsonArray list = m_client.value(u"transitionsList"_s).toArray();
    for (const QJsonValue transition : list) {
        if (transition["isCurrent"_L1].toBool()) {
            return transition["name"_L1].toString();
        }
    }
    return {};
}

QStringList StudioState::transitionNames() const
{
    return names(m_client.value(u"transitionsList"_s).toArray());
}

int StudioState::transitionDuration_ms() const
{
    return m_client.value(u"transitionDuration"_s).toInt();
}

qint32 StudioState::itemMask(const QList<bool>& items)
{
    ItemMask mask;
    for (qsizetype i = 0; i < items.size(); ++i) {
        mask.setBit(i, items[i]);
    }
    return mask.value();
}

bool StudioState::isSet(qint32 mask, qsizetype position)
{
    return ItemMask(mask).bit(position);
}
