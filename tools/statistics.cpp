// SPDX-License-Identifier: GPL-2.0-or-later
#include "statistics.h"

#include "report.h"
#include "statetext.h"
#include "table.h"

using namespace Qt::StringLiterals;
using Console::Style;

namespace {

struct Statistic
{
    QString title;
    QString name;
};

const QList<Statistic>& statistics()
{
    static const QList<Statistic> statistics {
        {u"CPU"_s, u"cpuUsage"_s},
        {u"Memory"_s, u"memoryUsage"_s},
        {u"Free disk"_s, u"freeDisk"_s},
        {u"Frame rate"_s, u"fps"_s},
        {u"Recording"_s, u"recordingTime"_s},
        {u"Streaming"_s, u"streamingTime"_s},
        {u"Frames sent"_s, u"totalFrames"_s},
        {u"Frames dropped"_s, u"droppedFrames"_s},
        {u"Congestion"_s, u"congestion"_s},
    };
    return statistics;
}

// What a glance should find: something runs, something is lost.
Style styleOf(const HostState& host, const QString& name, const QString& text)
{
    if ((name == "recordingTime"_L1 && host.isOn(u"recording"_s))
        || (name == "streamingTime"_L1 && host.isOn(u"streaming"_s))) {
        return Style::Live;
    }
    return name == "droppedFrames"_L1 && text != "0"_L1 ? Style::Alert : Style::Plain;
}

} // namespace

namespace Statistics {

QStringList names()
{
    QStringList names;
    for (const Statistic& statistic : statistics()) {
        names.append(statistic.name);
    }
    return names;
}

QStringList lines(Session& session)
{
    Table table;
    for (const Statistic& statistic : statistics()) {
        const QString text = StateText::value(session.client(), statistic.name);
        table.addRow({{statistic.title, Style::Strong}, {text, styleOf(session.host(), statistic.name, text)}});
    }
    return table.lines();
}

void print(Session& session)
{
    if (session.options().isJson) {
        for (const QString& name : names()) {
            Report::value(session, name);
        }
        return;
    }
    for (const QString& line : lines(session)) {
        Console::printLine(line);
    }
}

} // namespace Statistics
