// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that run until they are interrupted.
#include "commandtable.h"
#include "format.h"

#include <QTime>

#include <atomic>
#include <csignal>
#include <utility>

using namespace std::chrono_literals;

namespace {

// Statistics are not pushed.
constexpr std::chrono::milliseconds statisticsInterval = 1s;

// How often the program looks for a signal, and whether its output still has a reader.
constexpr std::chrono::milliseconds endInterval = 100ms;

constexpr qsizetype nameColumns = 20;

std::atomic<bool> isInterrupted = false;

// Windows runs it on a thread of its own.
extern "C" void interrupt(int /*number*/)
{
    isInterrupted = true;
}

// Requests the statistics again and again until Ctrl-C, or until the connection ends, as it does with OBS; both are
// success.
Result runUntilInterrupted(KestrelSession& session, const QStringList& statistics)
{
    std::signal(SIGINT, interrupt);
    std::signal(SIGTERM, interrupt);
    QTimer endTimer;
    QObject::connect(&endTimer, &QTimer::timeout, &session, &Terminal::endWithoutReader);
    QObject::connect(&endTimer, &QTimer::timeout, &session, &KestrelSession::stateChanged);
    endTimer.start(endInterval);
    QTimer statisticsTimer;
    QObject::connect(&statisticsTimer, &QTimer::timeout, &session,
                     [&] { static_cast<void>(session.client().get(statistics)); });
    if (!statistics.isEmpty()) {
        statisticsTimer.start(statisticsInterval);
    }
    session.waitFor([] { return isInterrupted.load(); }, std::nullopt);
    return {.error = session.errorString()};
}

} // namespace

namespace Commands {

Result watch(KestrelSession& session, const Invocation& invocation)
{
    const QStringList& names = invocation.words;
    Result before = names.isEmpty() ? state(session, invocation) : get(session, invocation);
    if (before.status != ExitStatus::done) {
        return before;
    }
    before.lines.append(Terminal::styled(u"-- printing changes until Ctrl-C"_s, Style::faint));
    Terminal::print(before, invocation.isJson);

    const KestrelClient& client = session.client();
    QStringList statistics = Format::statisticNames();
    statistics.removeIf([&](const QString& name) { return !names.contains(name); });
    QStringList scenes = Format::scenes(client);
    QHash<QString, QString> texts; // of the statistics, as last printed
    for (const QString& name : std::as_const(statistics)) {
        texts[name] = Format::value(client, name);
    }
    const QObject context;
    QObject::connect(&client, &KestrelClient::valueChanged, &context, [&](const QString& name) {
        QString text = Format::value(client, name);
        const bool isUnchanged = statistics.contains(name) && std::exchange(texts[name], text) == text;
        if (isUnchanged || !(names.isEmpty() || names.contains(name))) {
            return;
        }
        if (name == "sceneList"_L1) {
            // The scenes whose text has changed; the names of all scenes if only their order or nothing has changed.
            const QStringList previous = std::exchange(scenes, Format::scenes(client));
            QStringList changed = scenes;
            changed.removeIf([&](const QString& scene) { return previous.contains(scene); });
            text = changed.isEmpty() ? text : changed.join("; "_L1);
        }
        const QString time = Terminal::styled(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s), Style::faint);
        const QString title = Terminal::styled(name.leftJustified(nameColumns), Style::strong);
        Terminal::print({.lines = {time + "  "_L1 + title + text}, .json = {Format::json(client, name)}},
                        invocation.isJson);
    });
    return runUntilInterrupted(session, statistics);
}

Result stats(KestrelSession& session, const Invocation& invocation)
{
    const KestrelClient& client = session.client();
    if (!session.read({})) {
        return connectionLost(session);
    }
    if (!invocation.isRepeated) {
        return Format::statistics(client);
    }
    Terminal::print(Format::statistics(client), invocation.isJson);
    const QStringList names = Format::statisticNames();
    const QObject context;
    QObject::connect(&client, &KestrelClient::valueChanged, &context, [&](const QString& name) {
        // The statistics arrive in one answer, in their order: it ends with the last.
        if (name != names.last()) {
            return;
        }
        Result result = Format::statistics(client);
        if (Terminal::isTerminal() && !invocation.isJson) {
            Terminal::redraw(result.lines);
        } else {
            result.lines.prepend({});
            Terminal::print(result, invocation.isJson);
        }
    });
    return runUntilInterrupted(session, names);
}

} // namespace Commands
