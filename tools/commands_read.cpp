// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that only read, and what all commands share.
#include "commandtable.h"
#include "format.h"

#include <QDeadlineTimer>

#include <thread>
#include <utility>

using namespace std::chrono_literals;
using Format::Cell;

namespace {

// For "wait": OBS may be starting.
constexpr std::chrono::milliseconds startTimeout = 60s;
constexpr std::chrono::milliseconds retryInterval = 100ms;

constexpr int minimumDuration_ms = 50; // OBS's own limits
constexpr int maximumDuration_ms = 20000;

QStringList sceneLines(const StudioState& state, const QString& scene)
{
    QString title = Terminal::styled(Terminal::printable(scene), Style::strong);
    if (scene == state.programScene()) {
        title += Terminal::styled(u"  program"_s, Style::program);
    }
    if (state.isOn(u"studioMode"_s) && scene == state.previewScene()) {
        title += Terminal::styled(u"  preview"_s, Style::preview);
    }
    QList<QList<Cell>> rows;
    for (const SceneItem& item : state.items(scene)) {
        rows.append({{"  "_L1 + QString::number(rows.size() + 1)},
                     {item.name, item.isVisible ? Style::plain : Style::faint},
                     {item.isVisible ? QString() : u"hidden"_s, Style::faint},
                     {item.isLocked ? u"locked"_s : QString(), Style::faint}});
    }
    return QStringList {title} + Format::table(rows);
}

Result values(KestrelSession& session, const QStringList& names, bool withItems = false)
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
            throw Commands::unknownName(u"there is no property"_s, name, Commands::propertyNames());
        }
        result.json.append(Format::json(client, name));
        QString title = name;
        const bool isInFull = withItems && name == "sceneList"_L1;
        for (const QString& text : isInFull ? Format::scenes(client) : QStringList {Format::value(client, name)}) {
            rows.append({{std::exchange(title, {}), Style::strong}, {text}});
        }
    }
    result.lines = names.size() == 1 ? QStringList {rows[0][1].text} : Format::table(rows);
    return result;
}

} // namespace

namespace Commands {

qint64 number(const QString& text, qint64 minimum, qint64 maximum, const QString& error)
{
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    if (!isNumber || number < minimum || number > maximum) {
        throw Result::usageError(error);
    }
    return number;
}

int duration_ms(const QString& text)
{
    const QString error = u"a transition takes %1 to %2 ms"_s.arg(minimumDuration_ms).arg(maximumDuration_ms);
    return static_cast<int>(number(text, minimumDuration_ms, maximumDuration_ms, error));
}

Result unconnected(const KestrelSession& session, quint16 port)
{
    return Result::failure(
        u"no connection to the plug-in on port %1: %2"_s.arg(port).arg(session.errorString()),
        u"Is OBS running, with the plug-in loaded? Tools, KestrelBridge in OBS shows the plug-in's port; this was port "
        "%1 (choose another with --port or KESTREL_PORT). The plug-in's configuration file is %2"_s.arg(port)
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
    const auto remaining = [&] { return std::chrono::milliseconds(deadline.remainingTime()); };
    while (!session.open(invocation.port, remaining())) {
        std::this_thread::sleep_for(std::min(retryInterval, remaining()));
        if (deadline.hasExpired()) {
            return unconnected(session, invocation.port);
        }
    }
    return {};
}

Result get(KestrelSession& session, const Invocation& invocation)
{
    const QString property = invocation.command->property;
    return values(session, property.isEmpty() ? invocation.words : QStringList {property});
}

Result state(KestrelSession& session, const Invocation& /*invocation*/)
{
    return values(session, propertyNames(), true);
}

Result scenes(KestrelSession& session, const Invocation& /*invocation*/)
{
    Result result {.json = {Format::json(session.client(), u"sceneList"_s)}};
    for (const QString& name : session.state().sceneNames()) {
        result.lines += sceneLines(session.state(), name);
    }
    return result;
}

} // namespace Commands
