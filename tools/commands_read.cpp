// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that only read, and what all commands share.
#include "commandtable.h"
#include "format.h"

#include <QDeadlineTimer>
#include <QEventLoop>

using namespace std::chrono_literals;
using Format::Cell;
using Terminal::Style;

namespace {

// For "wait": OBS may be starting.
constexpr std::chrono::milliseconds startTimeout = 60s;
constexpr std::chrono::milliseconds retryInterval = 100ms;

QStringList sceneLines(const StudioState& state, const QString& scene)
{
    QString title = Terminal::styled(Terminal::printable(scene), Style::Strong);
    if (scene == state.programScene()) {
        title += Terminal::styled(u"  program"_s, Style::Program);
    }
    if (state.isOn(u"studioMode"_s) && scene == state.previewScene()) {
        title += Terminal::styled(u"  preview"_s, Style::Preview);
    }
    QList<QList<Cell>> rows;
    const QList<SceneItem> items = state.items(scene);
    for (const SceneItem& item : items) {
        rows.append({{"  "_L1 + QString::number(rows.size() + 1)},
                     {item.name, item.isVisible ? Style::Plain : Style::Faint},
                     {item.isVisible ? QString() : u"hidden"_s, Style::Faint},
                     {item.isLocked ? u"locked"_s : QString(), Style::Faint}});
    }
    return QStringList {title} + Format::table(rows);
}

Result values(KestrelSession& session, const QStringList& names)
{
    // The full state was received just now. What it contains is not read again: OBS measures the CPU usage from one
    // reading to the next, which would be too short.
    const KestrelClient& client = session.client();
    QStringList others = names;
    others.removeIf([&](const QString& name) { return !client.value(name).isUndefined(); });
    if (!others.isEmpty() && !session.read(others)) {
        return Commands::connectionLost(session);
    }
    Result result;
    QList<QList<Cell>> rows;
    for (const QString& name : names) {
        if (client.value(name).isUndefined()) {
            return Commands::unknownName(u"there is no property"_s, name, Commands::propertyNames());
        }
        result.json.append(Format::json(client, name));
        rows.append({{name, Style::Strong}, {Format::value(client, name)}});
    }
    result.lines = names.size() == 1 ? QStringList {rows[0][1].text} : Format::table(rows);
    return result;
}

} // namespace

namespace Commands {

Result unconnected(const KestrelSession& session, quint16 port)
{
    return Result::failure(
        u"no connection to the plug-in on port %1: %2"_s.arg(port).arg(session.errorString()),
        u"Is OBS running, with the plug-in loaded? Its log has a line \"[kestrelbridge]\" with the plug-in's port; "
        "this was port %1 (choose another with --port). The plug-in's configuration file is %2"_s.arg(port)
            .arg(KestrelClient::configurationPath()),
        ExitStatus::noConnection);
}

Result connectionLost(const KestrelSession& session)
{
    return Result::failure(session.errorString().isEmpty() ? u"the plug-in did not answer"_s
                                                           : u"the connection ended: "_s + session.errorString(),
                           u"Is OBS still running?"_s);
}

Result unknownName(const QString& text, const QString& name, const QStringList& known)
{
    return Result::failure(u"%1 \"%2\""_s.arg(text, name),
                           known.isEmpty() ? u"There are none."_s : u"There are: "_s + known.join(", "_L1));
}

QStringList propertyNames()
{
    return KestrelClient::statePropertyNames() + QStringList {u"fps"_s};
}

Result version(KestrelSession& /*session*/, const Invocation& /*invocation*/)
{
    const QString version = QStringLiteral(KESTREL_VERSION);
    return {.lines = {"kestrelctl "_L1 + version}, .json = {{{"name"_L1, "version"_L1}, {"value"_L1, version}}}};
}

Result wait(KestrelSession& session, const Invocation& invocation)
{
    const QDeadlineTimer deadline(invocation.timeout.value_or(startTimeout));
    while (!session.open(invocation.port, std::chrono::milliseconds(deadline.remainingTime()))) {
        QEventLoop pause;
        QTimer::singleShot(std::min(retryInterval, std::chrono::milliseconds(deadline.remainingTime())), &pause,
                           &QEventLoop::quit);
        pause.exec();
        if (deadline.hasExpired()) {
            return unconnected(session, invocation.port);
        }
    }
    return {};
}

Result get(KestrelSession& session, const Invocation& invocation)
{
    return values(session, invocation.words);
}

Result current(KestrelSession& session, const Invocation& invocation)
{
    return values(session, {invocation.command->property});
}

Result state(KestrelSession& session, const Invocation& /*invocation*/)
{
    Result result = values(session, propertyNames());
    if (result.status != ExitStatus::done) {
        return result;
    }
    QList<QList<Cell>> rows;
    for (const QString& name : propertyNames()) {
        if (name != "sceneList"_L1) {
            rows.append({{name, Style::Strong}, {Format::value(session.client(), name)}});
            continue;
        }
        const QJsonArray scenes = session.state().scenes();
        for (qsizetype i = 0; i < scenes.size(); ++i) {
            rows.append({{i == 0 ? name : QString(), Style::Strong}, {Format::scene(scenes[i].toObject())}});
        }
    }
    result.lines = Format::table(rows);
    return result;
}

Result scenes(KestrelSession& session, const Invocation& /*invocation*/)
{
    Result result {.json = {Format::json(session.client(), u"sceneList"_s)}};
    for (const QString& name : session.state().sceneNames()) {
        result.lines += sceneLines(session.state(), name);
    }
    return result;
}

Result transitions(KestrelSession& session)
{
    const StudioState state = session.state();
    QList<QList<Cell>> rows;
    for (const QString& name : state.transitionNames()) {
        const bool isCurrent = name == state.transition();
        rows.append({{name, isCurrent ? Style::Strong : Style::Plain},
                     {isCurrent ? u"current, %1 ms"_s.arg(state.transitionDuration_ms()) : QString(), Style::Preview}});
    }
    return {.lines = Format::table(rows), .json = {Format::json(session.client(), u"transitionsList"_s)}};
}

} // namespace Commands
