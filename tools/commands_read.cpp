// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that read.
#include "commands.h"
#include "console.h"
#include "exitstatus.h"
#include "report.h"
#include "statetext.h"
#include "statistics.h"
#include "table.h"

using namespace Qt::StringLiterals;
using Console::Style;

namespace {

QStringList stateNames()
{
    return KestrelClient::statePropertyNames() + QStringList {u"fps"_s};
}

QList<Table::Cell> itemRow(qsizetype position, const HostItem& item)
{
    return {{"  "_L1 + QString::number(position + 1)},
            {item.name, item.isVisible ? Style::Plain : Style::Faint},
            {item.isVisible ? QString() : u"hidden"_s, Style::Faint},
            {item.isLocked ? u"locked"_s : QString(), Style::Faint}};
}

} // namespace

namespace Commands {

int get(Session& session, const QStringList& names)
{
    // The full state is a moment old. What it holds is not read again: the CPU's use is measured from one reading to
    // the next, and would be nothing.
    QStringList others = names;
    others.removeIf([&](const QString& name) { return !session.client().value(name).isUndefined(); });
    if (!others.isEmpty() && !session.read(others)) {
        return Report::connectionLost(session);
    }
    for (const QString& name : names) {
        if (session.client().value(name).isUndefined()) {
            return Report::refused(u"the plug-in knows no property \"%1\""_s.arg(name), Report::choice(stateNames()));
        }
    }
    Table table;
    for (const QString& name : names) {
        if (session.options().isJson || names.size() == 1) {
            Report::value(session, name);
        } else {
            table.addRow({{name, Style::Strong}, {StateText::value(session.client(), name)}});
        }
    }
    table.print();
    return ExitStatus::done;
}

int state(Session& session)
{
    if (session.options().isJson) {
        return get(session, stateNames());
    }
    if (!session.read({})) {
        return Report::connectionLost(session);
    }
    Table table;
    for (const QString& name : stateNames()) {
        if (name != "sceneList"_L1) {
            table.addRow({{name, Style::Strong}, {StateText::value(session.client(), name)}});
            continue;
        }
        const QJsonArray scenes = session.host().scenes();
        for (qsizetype i = 0; i < scenes.size(); ++i) {
            table.addRow({{i == 0 ? name : QString(), Style::Strong}, {StateText::scene(scenes[i].toObject())}});
        }
    }
    table.print();
    return ExitStatus::done;
}

int scenes(Session& session)
{
    if (session.options().isJson) {
        Report::value(session, u"sceneList"_s);
        return ExitStatus::done;
    }
    const HostState host = session.host();
    for (const QString& name : host.sceneNames()) {
        QString title = Console::styled(Console::printable(name), Style::Strong);
        if (name == host.program()) {
            title += Console::styled(u"  on air"_s, Style::Live);
        }
        if (host.isOn(u"studioMode"_s) && name == host.preview()) {
            title += Console::styled(u"  preview"_s, Style::Next);
        }
        Console::printLine(title);
        const QList<HostItem> items = host.items(name);
        Table table;
        for (qsizetype i = 0; i < items.size(); ++i) {
            table.addRow(itemRow(i, items[i]));
        }
        table.print();
    }
    return ExitStatus::done;
}

int transitions(Session& session)
{
    if (session.options().isJson) {
        Report::value(session, u"transitionsList"_s);
        return ExitStatus::done;
    }
    const HostState host = session.host();
    Table table;
    for (const QString& name : host.transitionNames()) {
        const bool isCurrent = name == host.transition();
        table.addRow({{name, isCurrent ? Style::Strong : Style::Plain},
                      {isCurrent ? u"current, %1 ms"_s.arg(host.transitionDuration_ms()) : QString(), Style::Next}});
    }
    table.print();
    return ExitStatus::done;
}

int isOn(Session& session, const QString& property)
{
    const QString time = property + "Time"_L1;
    const bool hasTime = !session.client().value(time).isUndefined();
    if (!session.options().isJson) {
        const bool isOn = session.host().isOn(property);
        Console::printLine(Report::switchText(property, isOn)
                           + (isOn && hasTime ? ", "_L1 + StateText::value(session.client(), time) : QString()));
        return ExitStatus::done;
    }
    Report::value(session, property);
    if (hasTime) {
        Report::value(session, time);
    }
    return ExitStatus::done;
}

int stats(Session& session)
{
    if (!session.read({})) {
        return Report::connectionLost(session);
    }
    Statistics::print(session);
    return ExitStatus::done;
}

int names(Session& session, const QString& kind)
{
    const HostState host = session.host();
    QStringList names;
    if (kind == "items"_L1) {
        for (const HostItem& item : host.items(host.program())) {
            names.append(item.name);
        }
    } else if (kind == "properties"_L1) {
        names = stateNames();
    } else {
        names = kind == "scenes"_L1 ? host.sceneNames() : host.transitionNames();
    }
    for (const QString& name : names) {
        Console::printLine(Console::printable(name));
    }
    return ExitStatus::done;
}

} // namespace Commands
