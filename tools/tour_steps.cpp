// SPDX-License-Identifier: GPL-2.0-or-later
//
// The steps of the tour.
#include "console.h"
#include "statetext.h"
#include "tour.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// What the host was prepared with.
const QStringList sceneNames {u"Opening"_s, u"Interview"_s, u"Closing"_s};
const QStringList interviewItems {u"Lower third"_s, u"Guest"_s, u"Host"_s, u"Backdrop"_s};
constexpr qsizetype minimumItems = 3;

const QString firstScene = u"Opening"_s;
const QString programScene = u"Interview"_s;
const QString previewScene = u"Closing"_s;
const QString hiddenItem = u"Guest"_s;
constexpr qint32 hiddenItemBit = 1 << 1; // it is the second from the top
const QString recordingGoal = u"00:00:03"_s;

QStringList itemNames(const HostState& host, const QString& scene)
{
    QStringList names;
    for (const HostItem& item : host.items(scene)) {
        names.append(item.name);
    }
    return names;
}

// The visible items of a scene as the mask that "sourceVisibles" reads and takes.
qint32 visibleMask(const HostState& host, const QString& scene)
{
    QList<bool> visible;
    for (const HostItem& item : host.items(scene)) {
        visible.append(item.isVisible);
    }
    return HostState::mask(visible);
}

} // namespace

const QList<Tour::Step>& Tour::steps()
{
    static const QList<Step> steps {
        {"full state"_L1, &Tour::receiveFullState},
        {"scene list"_L1, &Tour::readSceneList},
        {"program scene"_L1, &Tour::switchProgramScene},
        {"item hidden by mask"_L1, &Tour::hideItem},
        {"item shown by mask"_L1, &Tour::showItem},
        {"studio mode on"_L1, &Tour::enterStudioMode},
        {"preview scene"_L1, &Tour::choosePreviewScene},
        {"recording"_L1, &Tour::record},
        {"transition triggered"_L1, &Tour::triggerTransition},
        {"studio mode off"_L1, &Tour::leaveStudioMode},
        {"statistics"_L1, &Tour::readStatistics},
    };
    return steps;
}

bool Tour::receiveFullState()
{
    const QStringList& expected = KestrelClient::statePropertyNames();
    m_client.connectToPlugin(m_session.options().port);
    m_seen = u"%1 values, in their order"_s.arg(expected.size());
    return waitFor(u"the full state"_s, [this] { return m_client.isSynchronized(); })
        && require("the values in their order; what arrived: "_L1 + m_stateOrder.join(", "_L1),
                   m_stateOrder == expected)
        && require(u"a host at rest, on scene "_s + firstScene,
                   m_client.value(u"currentScene"_s) == firstScene && m_client.value(u"studioMode"_s) == false
                       && m_client.value(u"recording"_s) == false);
}

bool Tour::readSceneList()
{
    QStringList texts;
    for (const QString& name : sceneNames) {
        const QStringList items = itemNames(m_session.host(), name);
        if (!require(u"scene %1 with %2 items or more"_s.arg(name).arg(minimumItems), items.size() >= minimumItems)) {
            return false;
        }
        texts.append(u"%1 (%2 items)"_s.arg(name).arg(items.size()));
    }
    m_seen = texts.join(", "_L1);
    return require(u"the items of %1: %2"_s.arg(programScene, interviewItems.join(", "_L1)),
                   itemNames(m_session.host(), programScene) == interviewItems);
}

bool Tour::switchProgramScene()
{
    m_seen = programScene;
    m_client.set(u"currentScene"_s, programScene);
    return waitForRun({{u"sceneList"_s, {}}, {u"currentScene"_s, programScene}})
        && require(u"the scene list marks "_s + programScene, scene(programScene)["isCurrent"_L1].toBool());
}

bool Tour::hideItem()
{
    return setItemVisible(false);
}

bool Tour::showItem()
{
    return setItemVisible(true);
}

bool Tour::setItemVisible(bool isVisible)
{
    const HostState host = m_session.host();
    const qint32 before = visibleMask(host, programScene);
    const QStringList names = itemNames(host, programScene);
    const qint32 mask = isVisible ? before | hiddenItemBit : before & ~hiddenItemBit;
    m_client.set(u"sourceVisibles"_s, mask);
    if (!waitForRun({{u"sceneList"_s, {}}, {u"sourceVisibles"_s, mask}})) {
        return false;
    }
    m_seen = u"%1 (mask %2 to %3)"_s.arg(hiddenItem).arg(before).arg(mask);
    return require(u"the change of exactly that item; the scene now: "_s + StateText::scene(scene(programScene)),
                   before != mask && visibleMask(host, programScene) == mask && itemNames(host, programScene) == names);
}

bool Tour::enterStudioMode()
{
    m_client.set(u"studioMode"_s, 1);
    return waitForRun({{u"studioMode"_s, true},
                       {u"sceneList"_s, {}},
                       {u"currentScene"_s, programScene},
                       {u"previewScene"_s, programScene}});
}

bool Tour::choosePreviewScene()
{
    m_seen = previewScene;
    m_client.set(u"previewScene"_s, previewScene);
    return waitForRun({{u"sceneList"_s, {}}, {u"currentScene"_s, programScene}, {u"previewScene"_s, previewScene}})
        && require(u"the scene list marks "_s + previewScene, scene(previewScene)["isCurrent"_L1].toBool());
}

bool Tour::triggerTransition()
{
    m_seen = u"program scene %1"_s.arg(previewScene);
    m_client.set(u"triggerTransition"_s, true);
    return waitForRun({{u"triggerTransition"_s, false}})
        && waitForRun({{u"sceneList"_s, {}}, {u"currentScene"_s, previewScene}});
}

bool Tour::leaveStudioMode()
{
    m_client.set(u"studioMode"_s, 0);
    return waitForRun(
        {{u"studioMode"_s, false}, {u"sceneList"_s, {}}, {u"currentScene"_s, previewScene}, {u"previewScene"_s, {}}});
}

bool Tour::record()
{
    const QString time = u"recordingTime"_s;
    m_client.set(u"recording"_s, 1);
    if (!waitForRun({{u"recording"_s, true}})) {
        return false;
    }
    // It counts encoded frames, which trail the clock by some seconds: each step forward may take the whole limit.
    for (QString last = u"00:00:00"_s; last < recordingGoal; last = m_client.value(time).toString()) {
        if (!waitFor(
                u"a recording's time beyond "_s + last, [&] { return m_client.value(time).toString() > last; },
                [&] { m_client.get({time}); })) {
            return false;
        }
        if (last == "00:00:00"_L1) {
            // The moment for a picture of the host: an observer waits for this very line.
            Console::printLine(u"  recording; studio mode: preview Closing, program Interview"_s);
        }
    }
    QStringList times;
    for (const QJsonValue& value : m_journal.values(time)) {
        times.append(value.toString());
    }
    m_seen = u"%1, counted from %2"_s.arg(times.last(), times.first());
    m_client.set(u"recording"_s, 0);
    return require(u"a time that advances; it read "_s + times.join(", "_L1),
                   std::is_sorted(times.begin(), times.end()) && times.first() < times.last())
        && waitForRun({{u"recording"_s, false}});
}

bool Tour::readStatistics()
{
    struct Statistic
    {
        QString name;
        QRegularExpression form; // of its value as text
    };

    const QList<Statistic> statistics {
        {u"cpuUsage"_s, QRegularExpression(u"^[0-9.e+]+%$"_s)},
        {u"memoryUsage"_s, QRegularExpression(u"^[0-9]+\\.[0-9] MB$"_s)},
        {u"freeDisk"_s, QRegularExpression(u"^[0-9]+\\.[0-9] [MGT]B$"_s)},
        {u"fps"_s, QRegularExpression(u"^[0-9]+\\.[0-9]{2} fps$"_s)},
        {u"totalFrames"_s, QRegularExpression(u"^[0-9]+$"_s)},
        {u"droppedFrames"_s, QRegularExpression(u"^[0-9]+$"_s)},
        {u"congestion"_s, QRegularExpression(u"^[0-9]+\\.[0-9]{2}%$"_s)},
    };
    QStringList names;
    QList<Journal::Expectation> answer;
    for (const Statistic& statistic : statistics) {
        names.append(statistic.name);
        answer.append({statistic.name, {}});
    }
    m_client.get(names);
    if (!waitForRun(answer)) {
        return false;
    }
    QStringList texts;
    for (const Statistic& statistic : statistics) {
        const QString text = StateText::value(m_client, statistic.name);
        if (!require(u"a proper %1; it read \"%2\""_s.arg(statistic.name, text),
                     statistic.form.match(text).hasMatch())) {
            return false;
        }
        texts.append(statistic.name + ' '_L1 + text);
    }
    m_seen = texts.join(", "_L1);
    return true;
}
