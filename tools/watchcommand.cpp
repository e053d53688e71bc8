// SPDX-License-Identifier: GPL-2.0-or-later
#include "watchcommand.h"

#include "console.h"
#include "exitstatus.h"
#include "statetext.h"

#include <QJsonArray>
#include <QTime>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The state leaves the plug-in in the moment in which it accepts a controller.
constexpr std::chrono::milliseconds defaultTimeout = 5s;
constexpr int nameColumn = 20;

QStringList sceneTexts(const KestrelClient& client)
{
    QStringList texts;
    const QJsonArray scenes = client.value(u"sceneList"_s).toArray();
    for (const QJsonValue scene : scenes) {
        texts.append(StateText::scene(scene.toObject()));
    }
    return texts;
}

} // namespace

WatchCommand::WatchCommand(const Options& options)
    : Command(options)
{
    m_stateTimer.setSingleShot(true);
    connect(&m_stateTimer, &QTimer::timeout, this,
            [this] { finishUnconnected(u"something answers there, but sends no full state"_s); });
    connect(&m_client, &KestrelClient::synchronized, this, &WatchCommand::printState);
    connect(&m_client, &KestrelClient::valueChanged, this, &WatchCommand::printChange);
    connect(&m_client, &KestrelClient::failed, this, [this](const QString& text) {
        if (!m_client.isSynchronized()) {
            finishUnconnected(text);
            return;
        }
        Console::printError(u"kestrelctl: the connection failed: %1"_s.arg(text));
        emit finished(ExitStatus::notSeen);
    });
    connect(&m_client, &KestrelClient::disconnected, this, [this] {
        if (!m_client.isSynchronized()) {
            finishUnconnected(u"it was closed before the full state arrived"_s);
            return;
        }
        Console::printLine(u"The plug-in closed the connection."_s);
        emit finished(ExitStatus::done);
    });
    connect(&m_interruption, &Interruption::requested, this, [this] { emit finished(ExitStatus::done); });
}

void WatchCommand::start()
{
    m_stateTimer.start(m_options.timeout.value_or(defaultTimeout));
    m_client.connectToPlugin(m_options.port);
}

void WatchCommand::printState()
{
    m_stateTimer.stop();
    m_sceneTexts = sceneTexts(m_client);
    for (const QString& name : KestrelClient::statePropertyNames()) {
        if (name != "sceneList"_L1) {
            Console::printLine(name.leftJustified(nameColumn) + StateText::value(m_client, name));
            continue;
        }
        for (qsizetype i = 0; i < m_sceneTexts.size(); ++i) {
            Console::printLine((i == 0 ? name : QString()).leftJustified(nameColumn) + m_sceneTexts[i]);
        }
    }
    Console::printLine(u"-- changes from here on, Ctrl-C ends"_s);
}

void WatchCommand::printChange(const QString& name)
{
    if (!m_client.isSynchronized()) {
        return;
    }
    const QString text = name == "sceneList"_L1 ? sceneListChange() : StateText::value(m_client, name);
    const QString time = QTime::currentTime().toString(u"HH:mm:ss.zzz"_s);
    Console::printLine(time + "  "_L1 + name.leftJustified(nameColumn) + text);
}

// The scenes that look different now; all of them when only their order or nothing has changed.
QString WatchCommand::sceneListChange()
{
    const QStringList before = std::exchange(m_sceneTexts, sceneTexts(m_client));
    QStringList changed;
    for (const QString& text : std::as_const(m_sceneTexts)) {
        if (!before.contains(text)) {
            changed.append(text);
        }
    }
    if (changed.isEmpty()) {
        return StateText::value(m_client, u"sceneList"_s);
    }
    return changed.join("; "_L1);
}
