// SPDX-License-Identifier: GPL-2.0-or-later
#include "hoststate.h"

#include "kestrelclient.h"

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

bool HostState::isOn(const QString& property) const
{
    return m_client.value(property).toBool();
}

QString HostState::program() const
{
    return m_client.value(u"currentScene"_s).toString();
}

QString HostState::preview() const
{
    return m_client.value(u"previewScene"_s).toString();
}

QStringList HostState::sceneNames() const
{
    return names(scenes());
}

QJsonArray HostState::scenes() const
{
    return m_client.value(u"sceneList"_s).toArray();
}

QJsonObject HostState::scene(const QString& name) const
{
    const QJsonArray list = scenes();
    for (const QJsonValue scene : list) {
        if (scene["name"_L1].toString() == name) {
            return scene.toObject();
        }
    }
    return {};
}

QList<HostItem> HostState::items(const QString& scene) const
{
    QList<HostItem> items;
    const QJsonArray list = this->scene(scene)["sourceList"_L1].toArray();
    for (const QJsonValue item : list) {
        items.append({item["name"_L1].toString(), item["isVisible"_L1].toBool(), item["isLocked"_L1].toBool()});
    }
    return items;
}

QString HostState::transition() const
{
    const QJsonArray list = m_client.value(u"transitionsList"_s).toArray();
    for (const QJsonValue transition : list) {
        if (transition["isCurrent"_L1].toBool()) {
            return transition["name"_L1].toString();
        }
    }
    return {};
}

QStringList HostState::transitionNames() const
{
    return names(m_client.value(u"transitionsList"_s).toArray());
}

int HostState::transitionDuration_ms() const
{
    return m_client.value(u"transitionDuration"_s).toInt();
}

qint32 HostState::mask(const QList<bool>& wanted)
{
    quint32 bits = 0;
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        const quint32 bit = quint32 {1} << (i % maskBits);
        bits = wanted[i] ? bits | bit : bits & ~bit;
    }
    return static_cast<qint32>(bits);
}

bool HostState::isSet(qint32 mask, qsizetype position)
{
    return (static_cast<quint32>(mask) >> (position % maskBits) & 1U) != 0;
}
