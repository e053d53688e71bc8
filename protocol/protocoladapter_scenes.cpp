// SPDX-License-Identifier: GPL-2.0-or-later
//
// Scenes, the items of the program scene, and transitions.
#include "jsonwriter.h"
#include "model/scopedlist.h"
#include "protocoladapter.h"
#include "support/slicedtask.h"
#include "wholenumber.h"

#include <QJsonDocument>

#include <algorithm>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

QString nameOf(const Source* source)
{
    return source ? source->name() : QString(""_L1);
}

bool isSameSource(const Source& one, const Source* other)
{
    return other && one.source() == other->source();
}

} // namespace

QJsonValue ProtocolAdapter::getTriggerTransition() const
{
    return false;
}

// Part of the interface; requests and pushes call writeSceneList() instead.
QJsonValue ProtocolAdapter::getSceneList() const
{
    JsonWriter writer;
    writeSceneList(writer);
    return QJsonDocument::fromJson(writer.take()).array();
}

// By far the largest value, and read for nearly every change: it is written without a wrapper for each item. Keys are
// in alphabetical order, as in all messages.
void ProtocolAdapter::writeSceneList(JsonWriter& writer) const
{
    const Scene* current = m_frontEnd.isStudioMode() ? m_frontEnd.previewScene() : m_frontEnd.currentScene();

    writer.beginArray();
    int sceneIndex = 0;
    for (const ScopedSceneList scenes; const Scene& scene : scenes) {
        writer.beginObject().key("isCurrent").boolean(isSameSource(scene, current));
        writer.key("name").string(scene.name().toUtf8()).key("sortIndex").number(sceneIndex++);
        writer.key("sourceList").beginArray();
        const std::vector<Scene::ItemState> items = scene.itemStates();
        int itemIndex = 0;
        std::for_each(items.crbegin(), items.crend(), [&](const Scene::ItemState& item) {
            writer.beginObject().key("isLocked").boolean(item.isLocked).key("isVisible").boolean(item.isVisible);
            writer.key("name").string(item.name).key("sortIndex").number(itemIndex++).endObject();
        });
        writer.endArray().endObject();
    }
    writer.endArray();
}

QJsonValue ProtocolAdapter::getSourceVisibles() const
{
    return itemMask(&SceneSource::isVisible);
}

QJsonValue ProtocolAdapter::getSourceLocks() const
{
    return itemMask(&SceneSource::isLocked);
}

QJsonValue ProtocolAdapter::itemMask(bool (SceneSource::*isSet)() const) const
{
    const Scene* scene = m_frontEnd.currentScene();
    if (!scene) {
        return QString(""_L1);
    }
    ItemMask mask;
    const QList<SceneSource*>& items = scene->sceneSources();
    for (qsizetype i = 0; i < items.size(); ++i) {
        mask.setBit(i, (items[i]->*isSet)());
    }
    return mask.value();
}

QJsonValue ProtocolAdapter::getCurrentScene() const
{
    return nameOf(m_frontEnd.currentScene());
}

QJsonValue ProtocolAdapter::getPreviewScene() const
{
    return nameOf(m_frontEnd.previewScene());
}

QJsonValue ProtocolAdapter::getTransitionsList() const
{
    const Transition* current = m_frontEnd.currentTransition();
    QJsonArray list;
    for (const ScopedTransitionList transitions; const Transition& transition : transitions) {
        QJsonObject json = transition.toJson();
        const bool isCurrent = isSameSource(transition, current);
        json["sortIndex"_L1] = list.size();
        json["isCurrent"_L1] = isCurrent;
        if (isCurrent) {
            json["duration"_L1] = m_frontEnd.transitionDuration();
        }
        list.append(json);
    }
    return list;
}

QJsonValue ProtocolAdapter::getCurrentTransition() const
{
    return nameOf(m_frontEnd.currentTransition());
}

QJsonValue ProtocolAdapter::getTransitionDuration() const
{
    return m_frontEnd.transitionDuration();
}

void ProtocolAdapter::setSceneList(QVariant value)
{
    if (m_frontEnd.isStudioMode()) {
        m_frontEnd.setPreviewScene(value.toString());
    } else {
        m_frontEnd.setCurrentScene(value.toString());
    }
}

void ProtocolAdapter::setCurrentScene(QVariant value)
{
    m_frontEnd.setCurrentScene(value.toString());
}

void ProtocolAdapter::setPreviewScene(QVariant value)
{
    m_frontEnd.setPreviewScene(value.toString());
}

void ProtocolAdapter::setSourceLocks(QVariant value)
{
    applyItemMask(value, &SceneSource::isLocked, &SceneSource::setLocked);
}

void ProtocolAdapter::setSourceVisibles(QVariant value)
{
    applyItemMask(value, &SceneSource::isVisible, &SceneSource::setVisible);
}

void ProtocolAdapter::applyItemMask(const QVariant& value, bool (SceneSource::*isSet)() const,
                                    void (SceneSource::*set)(bool))
{
    const std::optional<ItemMask> mask = ItemMask::fromVariant(value);
    const Scene* scene = m_frontEnd.currentScene();
    if (!mask || !scene) {
        return;
    }
    // Each change is pushed before the next one is made. This may replace the scene's wrappers, so the loop uses its
    // own. When a large scene takes longer than a slice, the remaining changes are pushed together at the end.
    const QDeadlineTimer deadline(SlicedTask::sliceLength);
    std::vector<std::unique_ptr<SceneSource>> items;
    for (const SceneSource* source : scene->sceneSources()) {
        items.push_back(std::make_unique<SceneSource>(source->item()));
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool wanted = mask->bit(static_cast<qsizetype>(i));
        if ((items[i].get()->*isSet)() != wanted) {
            (items[i].get()->*set)(wanted);
            if (!deadline.hasExpired()) {
                m_frontEnd.deliverHostSignals();
            }
        }
    }
    m_frontEnd.deliverHostSignals();
}

void ProtocolAdapter::setTransitionsList(QVariant value)
{
    m_frontEnd.setCurrentTransition(value.toString());
}

void ProtocolAdapter::setTriggerTransition(QVariant /*value*/)
{
    m_frontEnd.triggerTransition();
}

void ProtocolAdapter::setCurrentTransition(QVariant value)
{
    m_frontEnd.setCurrentTransition(value.toString());
}

void ProtocolAdapter::setTransitionDuration(QVariant value)
{
    if (const std::optional<qint64> duration_ms
        = wholeNumber(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())) {
        m_frontEnd.setTransitionDuration(static_cast<int>(*duration_ms));
    }
}
