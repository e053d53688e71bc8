// SPDX-License-Identifier: GPL-2.0-or-later
//
// Scenes, the items of the program scene, and transitions.
#include "jsontext.h"
#include "model/scopedlist.h"
#include "protocoladapter.h"
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

bool isSameSource(const Source* one, const Source* other)
{
    return other && one->source() == other->source();
}

} // namespace

QJsonValue ProtocolAdapter::getTriggerTransition() const
{
    return false;
}

QJsonValue ProtocolAdapter::getSceneList() const
{
    JsonText text;
    writeSceneList(text);
    return QJsonDocument::fromJson(text.take()).array();
}

// By far the largest value, read for nearly every change: written at once as text, keys in alphabetical order as
// everywhere, and without a wrapper for each item.
void ProtocolAdapter::writeSceneList(JsonText& text) const
{
    QList<Scene*> scenes;
    const ScopedSceneList scope(scenes);
    const Scene* current = m_frontEnd.isStudioMode() ? m_frontEnd.previewScene() : m_frontEnd.currentScene();

    text.beginArray();
    for (qsizetype i = 0; i < scenes.size(); ++i) {
        text.beginObject().key("isCurrent").boolean(isSameSource(scenes[i], current));
        text.key("name").string(scenes[i]->name().toUtf8()).key("sortIndex").number(i);
        text.key("sourceList").beginArray();
        const std::vector<Scene::ItemState> items = scenes[i]->itemStates();
        qsizetype position = 0;
        std::for_each(items.crbegin(), items.crend(), [&](const Scene::ItemState& item) {
            text.beginObject().key("isLocked").boolean(item.isLocked).key("isVisible").boolean(item.isVisible);
            text.key("name").string(item.name).key("sortIndex").number(position++).endObject();
        });
        text.endArray().endObject();
    }
    text.endArray();
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
    QList<Transition*> transitions;
    const ScopedTransitionList scope(transitions);
    const Transition* current = m_frontEnd.currentTransition();

    QJsonArray list;
    for (qsizetype i = 0; i < transitions.size(); ++i) {
        QJsonObject json = transitions[i]->toJson();
        const bool isCurrent = isSameSource(transitions[i], current);
        json["sortIndex"_L1] = i;
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
    // Each change is pushed before the next is made, and what is delivered with it may replace the scene's wrappers:
    // the walk goes over wrappers of its own.
    std::vector<std::unique_ptr<SceneSource>> items;
    for (const SceneSource* source : scene->sceneSources()) {
        items.push_back(std::make_unique<SceneSource>(source->item()));
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool wanted = mask->bit(static_cast<qsizetype>(i));
        if ((items[i].get()->*isSet)() != wanted) {
            (items[i].get()->*set)(wanted);
            m_frontEnd.deliverHostSignals();
        }
    }
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
