// SPDX-License-Identifier: GPL-2.0-or-later
#include "format.h"

#include "commandtable.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using Terminal::printable;

namespace {

constexpr qsizetype gap_columns = 2;

struct Statistic
{
    QLatin1StringView title;
    QLatin1StringView name;
    QLatin1StringView output {}; // the switch of the output that it belongs to
};

constexpr Statistic shownStatistics[] {
    {"CPU"_L1, "cpuUsage"_L1},
    {"Memory"_L1, "memoryUsage"_L1},
    {"Free disk"_L1, "freeDisk"_L1},
    {"Frame rate"_L1, "fps"_L1},
    {"Recording"_L1, "recordingTime"_L1, "recording"_L1},
    {"Streaming"_L1, "streamingTime"_L1, "streaming"_L1},
    {"Frames sent"_L1, "totalFrames"_L1},
    {"Frames dropped"_L1, "droppedFrames"_L1},
    {"Congestion"_L1, "congestion"_L1},
};

// With the marks that are not empty in parentheses.
QString marked(const QString& text, QStringList marks)
{
    marks.removeAll(QString());
    return printable(marks.isEmpty() ? text : u"%1 (%2)"_s.arg(text, marks.join(", "_L1)));
}

// With the names of the program scene's items whose bit is set.
QString maskText(const KestrelClient& client, qint32 mask)
{
    QStringList names = StudioState(client).programItemNames();
    for (qsizetype i = 0; i < names.size(); ++i) {
        names[i] = StudioState::isSet(mask, i) ? names[i] : QString();
    }
    return marked(QString::number(mask), names);
}

} // namespace

namespace Format {

QStringList table(const QList<QList<Cell>>& rows)
{
    QList<qsizetype> widths;
    for (const QList<Cell>& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Terminal::columnsOf(printable(row[i].text)));
        }
    }
    QStringList lines;
    for (const QList<Cell>& row : rows) {
        QString line;
        qsizetype blanks = 0; // before the next cell that is not empty
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString text = printable(row[i].text);
            if (!text.isEmpty()) {
                line += QString(std::exchange(blanks, 0), u' ') + Terminal::styled(text, row[i].style);
            }
            blanks += widths[i] - Terminal::columnsOf(text) + gap_columns;
        }
        lines.append(line);
    }
    return lines;
}

QStringList scenes(const KestrelClient& client)
{
    QStringList scenes;
    for (const QJsonValue scene : StudioState(client).scenes()) {
        QStringList items;
        for (const QJsonValue item : scene["sourceList"_L1].toArray()) {
            const QString hidden = item["isVisible"_L1].toBool() ? QString() : u"hidden"_s;
            const QString locked = item["isLocked"_L1].toBool() ? u"locked"_s : QString();
            items.append(marked(item["name"_L1].toString(), {hidden, locked}));
        }
        const QString current = scene["isCurrent"_L1].toBool() ? u"current"_s : QString();
        scenes.append(marked(scene["name"_L1].toString(), {current}) + ": "_L1
                      + (items.isEmpty() ? u"no items"_s : items.join(", "_L1)));
    }
    return scenes;
}

QString value(const KestrelClient& client, const QString& name)
{
    const QJsonValue value = client.value(name);
    if (value.isDouble() && (name == "sourceVisibles"_L1 || name == "sourceLocks"_L1)) {
        return maskText(client, static_cast<qint32>(value.toInteger()));
    }
    if (name == "transitionDuration"_L1) {
        return QString::number(value.toInteger()) + " ms"_L1;
    }
    if (value.isArray()) {
        QStringList names;
        for (const QJsonValue element : value.toArray()) {
            const bool isMarked = name == "transitionsList"_L1 && element["isCurrent"_L1].toBool();
            const QString mark = u"current, %1 ms"_s.arg(element["duration"_L1].toInt());
            names.append(marked(element["name"_L1].toString(), {isMarked ? mark : QString()}));
        }
        return names.join(", "_L1);
    }
    if (value.isBool()) {
        return value.toBool() ? u"on"_s : u"off"_s;
    }
    const QString text = value.toVariant().toString();
    return text.isEmpty() ? u"-"_s : printable(text);
}

QJsonObject json(const KestrelClient& client, const QString& name)
{
    return {{"name"_L1, name}, {"value"_L1, client.value(name)}};
}

QStringList statisticNames()
{
    return rowNames(shownStatistics);
}

Result statistics(const KestrelClient& client)
{
    Result result;
    QList<QList<Cell>> rows;
    for (const auto& [title, name, output] : shownStatistics) {
        const QString text = value(client, name);
        const bool isAlert = name == "droppedFrames"_L1 && text != "0"_L1;
        const bool isRunning = StudioState(client).isOn(output);
        const QLatin1StringView style = isAlert ? Style::alert : isRunning ? Style::program : Style::plain;
        rows.append({{title, Style::strong}, {text, style}});
        result.json.append(json(client, name));
    }
    result.lines = table(rows);
    return result;
}

} // namespace Format
