// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that run until they are interrupted.
#include "commandtable.h"
#include "format.h"

#include <QTime>

#include <csignal>
#include <utility>

#ifdef Q_OS_WIN
#include <atomic>
#else
#include <QSocketNotifier>

#include <unistd.h>
#endif

using namespace std::chrono_literals;
using Terminal::Style;

namespace {

// Statistics are not pushed.
constexpr std::chrono::milliseconds statisticsInterval = 1s;

constexpr qsizetype nameColumns = 20;

// runUntilInterrupted() runs until Ctrl-C, or until the connection ends, as it does with OBS; both are success.
#ifdef Q_OS_WIN
std::atomic<KestrelSession*> interruptedSession = nullptr;
std::atomic<bool> isInterrupted = false;

// Windows runs it on a thread of its own.
extern "C" void reportSignal(int /*number*/)
{
    isInterrupted = true;
    QMetaObject::invokeMethod(interruptedSession, &KestrelSession::recheck, Qt::QueuedConnection);
}

Result runUntilInterrupted(KestrelSession& session)
{
    interruptedSession = &session;
    std::signal(SIGINT, reportSignal);
    return session.waitFor([] { return isInterrupted.load(); }, std::nullopt) ? Result()
                                                                              : Result {.error = session.errorString()};
}
#else
int signalPipe[2] = {};

extern "C" void writeSignal(int /*number*/)
{
    static_cast<void>(!write(signalPipe[1], "", 1));
}

Result runUntilInterrupted(KestrelSession& session)
{
    bool isInterrupted = false;
    if (pipe(signalPipe) != 0) {
        return Result::failure(u"no pipe for signals: %1"_s.arg(qt_error_string()));
    }
    std::signal(SIGINT, writeSignal);
    std::signal(SIGTERM, writeSignal);
    const QSocketNotifier signalNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &session, [&] {
        isInterrupted = true;
        session.recheck();
    });
    // A pipe reports the end of its reader as an error.
    QSocketNotifier readerNotifier(STDOUT_FILENO, QSocketNotifier::Exception);
    readerNotifier.setEnabled(Terminal::isPipe());
    QObject::connect(&readerNotifier, &QSocketNotifier::activated, &session, &Terminal::endWithoutReader);
    return session.waitFor([&] { return isInterrupted; }, std::nullopt) ? Result()
                                                                        : Result {.error = session.errorString()};
}
#endif

// Requests the statistics again and again for as long as the timer lives.
void poll(QTimer& timer, KestrelClient& client, const QStringList& statistics)
{
    QObject::connect(&timer, &QTimer::timeout, &client,
                     [&client, statistics] { static_cast<void>(client.get(statistics)); });
    if (!statistics.isEmpty()) {
        timer.start(statisticsInterval);
    }
}

class ChangePrinter
{
public:
    ChangePrinter(KestrelSession& session, bool isJson)
        : m_session(session)
        , m_isJson(isJson)
        , m_sceneTexts(sceneTexts())
    {
        for (const QString& name : Format::statisticNames()) {
            m_texts[name] = Format::value(m_session.client(), name);
        }
    }

    void print(const QString& name)
    {
        const KestrelClient& client = m_session.client();
        const QString text = name == "sceneList"_L1 ? sceneListChange() : Format::value(client, name);
        if (std::exchange(m_texts[name], text) == text && Format::statisticNames().contains(name)) {
            return; // the answer to a poll, with the value that was printed before
        }
        const QString time = Terminal::styled(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s), Style::Faint);
        const QString title = Terminal::styled(Terminal::padded(name, nameColumns), Style::Strong);
        Terminal::print({.lines = {time + "  "_L1 + title + text}, .json = {Format::json(client, name)}}, m_isJson);
    }

private:
    QStringList sceneTexts() const
    {
        QStringList texts;
        const QJsonArray scenes = m_session.state().scenes();
        for (const QJsonValue scene : scenes) {
            texts.append(Format::scene(scene.toObject()));
        }
        return texts;
    }

    // The scenes whose text has changed; the names of all scenes if only their order or nothing has changed.
    QString sceneListChange()
    {
        const QStringList before = std::exchange(m_sceneTexts, sceneTexts());
        QStringList changed = m_sceneTexts;
        changed.removeIf([&](const QString& text) { return before.contains(text); });
        return changed.isEmpty() ? Format::value(m_session.client(), u"sceneList"_s) : changed.join("; "_L1);
    }

    KestrelSession& m_session;
    const bool m_isJson;
    QStringList m_sceneTexts;        // as last printed
    QHash<QString, QString> m_texts; // of each property, as last printed
};

} // namespace

namespace Commands {

Result watch(KestrelSession& session, const Invocation& invocation)
{
    const QStringList& names = invocation.words;
    Result before = names.isEmpty() ? state(session, invocation) : get(session, invocation);
    if (before.status != ExitStatus::done) {
        return before;
    }
    before.lines.append(Terminal::styled(u"-- printing changes until Ctrl-C"_s, Style::Faint));
    Terminal::print(before, invocation.isJson);

    ChangePrinter printer(session, invocation.isJson);
    QStringList statistics = Format::statisticNames();
    statistics.removeIf([&](const QString& name) { return !names.contains(name); });
    QTimer timer;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &timer, [&](const QString& name) {
        if (names.isEmpty() || names.contains(name)) {
            printer.print(name);
        }
    });
    poll(timer, session.client(), statistics);
    return runUntilInterrupted(session);
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
    QTimer timer;
    QObject::connect(&client, &KestrelClient::valueChanged, &timer, [&](const QString& name) {
        // The statistics arrive in one answer, in their order: it ends with the last.
        if (name != Format::statisticNames().last()) {
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
    poll(timer, session.client(), Format::statisticNames());
    return runUntilInterrupted(session);
}

} // namespace Commands
