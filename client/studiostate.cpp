// SPDX-License-Identifier: GPL-2.0-or-later
#include "studiostate.h"

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

QStringList StudioState::sceneNames() const
{
    return names(scenes());
}

QJsonArray StudioState::sources(const QString& scene) const
{
    return scenes().at(sceneNames().indexOf(scene))["sourceList"_L1].toArray(); // no element at -1
}

QList<SceneItem> StudioState::items(const QString& scene) const
{
    QList<SceneItem> items;
    for (const QJsonValue source : sources(scene)) {
        items.append({source["name"_L1].toString(), source["isVisible"_L1].toBool(), source["isLocked"_L1].toBool()});
    }
    return items;
}

QStringList StudioState::programItemNames() const
{
    return names(sources(programScene()));
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
