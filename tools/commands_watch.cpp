// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that go on until somebody ends them.
#include "commands.h"
#include "console.h"
#include "exitstatus.h"
#include "interruption.h"
#include "report.h"
#include "statetext.h"
#include "statistics.h"

#include <QTime>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Console::Style;

namespace {

// Statistics are not pushed.
constexpr std::chrono::milliseconds statisticsInterval = 1s;

constexpr qsizetype nameColumns = 20;

// Runs the session until Ctrl-C, or until the plug-in goes, as it does with the host: that is an end like another.
int follow(Session& session, const Session::Poll& poll)
{
    bool isOver = false;
    const Interruption interruption;
    QObject::connect(&interruption, &Interruption::requested, &session, [&] {
        isOver = true;
        session.look();
    });
    if (!session.waitFor([&] { return isOver; }, std::nullopt, poll)) {
        Console::printError(u"kestrelctl: "_s + session.ending());
    }
    return ExitStatus::done;
}

class ChangePrinter
{
public:
    explicit ChangePrinter(Session& session)
        : m_session(session)
        , m_sceneTexts(sceneTexts())
    {
        for (const QString& name : Statistics::names()) {
            m_texts[name] = StateText::value(session.client(), name);
        }
    }

    void print(const QString& name)
    {
        const QString text = name == "sceneList"_L1 ? sceneListChange() : StateText::value(m_session.client(), name);
        if (std::exchange(m_texts[name], text) == text && Statistics::names().contains(name)) {
            return; // asked for again, and still the same
        }
        if (m_session.options().isJson) {
            Report::value(m_session, name);
            return;
        }
        Console::printLine(Console::styled(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s), Style::Faint) + "  "_L1
                           + Console::styled(Console::padded(name, nameColumns), Style::Strong) + text);
    }

private:
    QStringList sceneTexts() const
    {
        QStringList texts;
        const QJsonArray scenes = m_session.host().scenes();
        for (const QJsonValue scene : scenes) {
            texts.append(StateText::scene(scene.toObject()));
        }
        return texts;
    }

    // The scenes that look different now; all of them when only their order or nothing has changed.
    QString sceneListChange()
    {
        const QStringList before = std::exchange(m_sceneTexts, sceneTexts());
        QStringList changed = m_sceneTexts;
        changed.removeIf([&](const QString& text) { return before.contains(text); });
        return changed.isEmpty() ? StateText::value(m_session.client(), u"sceneList"_s) : changed.join("; "_L1);
    }

    Session& m_session;
    QStringList m_sceneTexts;        // the scenes as last printed
    QHash<QString, QString> m_texts; // each property as last printed
};

} // namespace

namespace Commands {

int watch(Session& session, const QStringList& names)
{
    if (const int status = names.isEmpty() ? state(session) : get(session, names); status != ExitStatus::done) {
        return status;
    }
    if (!session.options().isJson) {
        Console::printLine(Console::styled(u"-- changes from here on, Ctrl-C ends"_s, Style::Faint));
    }
    QStringList statistics = Statistics::names();
    statistics.removeIf([&](const QString& name) { return !names.contains(name); });

    ChangePrinter printer(session);
    const QObject context;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context, [&](const QString& name) {
        if (names.isEmpty() || names.contains(name)) {
            printer.print(name);
        }
    });
    return follow(session,
                  {[&] {
                       if (!statistics.isEmpty()) {
                           session.client().get(statistics);
                       }
                   },
                   statisticsInterval});
}

int watchStats(Session& session)
{
    const bool isRedrawn = Console::isTerminal() && !session.options().isJson;
    if (const int status = stats(session); status != ExitStatus::done) {
        return status;
    }
    const QObject context;
    // The figures come in one answer, in their order: it is complete with the last.
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context, [&](const QString& name) {
        if (name != Statistics::names().last()) {
            return;
        }
        if (isRedrawn) {
            Console::redraw(Statistics::lines(session));
            return;
        }
        if (!session.options().isJson) {
            Console::printLine({});
        }
        Statistics::print(session);
    });
    return follow(session, {[&] { session.client().get(Statistics::names()); }, statisticsInterval});
}

} // namespace Commands
