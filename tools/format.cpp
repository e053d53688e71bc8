// SPDX-License-Identifier: GPL-2.0-or-later
#include "format.h"

#include "client/studiostate.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using Terminal::printable;
using Terminal::Style;

namespace {

constexpr qsizetype gap_columns = 2;

struct Statistic
{
    QLatin1StringView title;
    QLatin1StringView name;
};

constexpr std::array<Statistic, 9> shownStatistics {{
    {"CPU"_L1, "cpuUsage"_L1},
    {"Memory"_L1, "memoryUsage"_L1},
    {"Free disk"_L1, "freeDisk"_L1},
    {"Frame rate"_L1, "fps"_L1},
    {"Recording"_L1, "recordingTime"_L1},
    {"Streaming"_L1, "streamingTime"_L1},
    {"Frames sent"_L1, "totalFrames"_L1},
    {"Frames dropped"_L1, "droppedFrames"_L1},
    {"Congestion"_L1, "congestion"_L1},
}};

QString nameOf(const QJsonValue& object)
{
    return printable(object["name"_L1].toString());
}

QString withMarks(QString text, const QStringList& marks)
{
    if (!marks.isEmpty()) {
        text += " ("_L1 + marks.join(", "_L1) + ')'_L1;
    }
    return text;
}

QString transitions(const QJsonArray& list)
{
    QStringList texts;
    for (const QJsonValue element : list) {
        QStringList marks;
        if (element["isCurrent"_L1].toBool()) {
            marks.append(u"current, %1 ms"_s.arg(element["duration"_L1].toInt()));
        }
        texts.append(withMarks(nameOf(element), marks));
    }
    return texts.join(", "_L1);
}

// With the names of the program scene's items whose bit is set.
QString mask(const KestrelClient& client, qint32 mask)
{
    const StudioState state(client);
    const QList<SceneItem> items = state.items(state.programScene());
    QStringList set;
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (StudioState::isSet(mask, i)) {
            set.append(printable(items[i].name));
        }
    }
    return withMarks(QString::number(mask), set);
}

// Highlights running outputs and dropped frames.
Style styleOf(const KestrelClient& client, QLatin1StringView name, const QString& text)
{
    const StudioState state(client);
    if ((name == "recordingTime"_L1 && state.isOn(u"recording"_s))
        || (name == "streamingTime"_L1 && state.isOn(u"streaming"_s))) {
        return Style::Program;
    }
    return name == "droppedFrames"_L1 && text != "0"_L1 ? Style::Alert : Style::Plain;
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
        qsizetype size = row.size();
        while (size > 0 && row[size - 1].text.isEmpty()) {
            --size;
        }
        QString line;
        for (qsizetype i = 0; i < size; ++i) {
            const qsizetype columns = i + 1 < size ? widths[i] + gap_columns : 0;
            line += Terminal::styled(Terminal::padded(printable(row[i].text), columns), row[i].style);
        }
        lines.append(line);
    }
    return lines;
}

QString scene(const QJsonObject& scene)
{
    QStringList items;
    const QJsonArray elements = scene["sourceList"_L1].toArray();
    for (const QJsonValue element : elements) {
        QStringList marks;
        if (!element["isVisible"_L1].toBool()) {
            marks.append(u"hidden"_s);
        }
        if (element["isLocked"_L1].toBool()) {
            marks.append(u"locked"_s);
        }
        items.append(withMarks(nameOf(element), marks));
    }
    const QStringList marks = scene["isCurrent"_L1].toBool() ? QStringList {u"current"_s} : QStringList();
    return withMarks(nameOf(scene), marks) + ": "_L1 + (items.isEmpty() ? u"no items"_s : items.join(", "_L1));
}

QString value(const KestrelClient& client, const QString& name)
{
    const QJsonValue value = client.value(name);
    if (value.isDouble() && (name == "sourceVisibles"_L1 || name == "sourceLocks"_L1)) {
        return mask(client, static_cast<qint32>(value.toInteger()));
    }
    if (name == "transitionDuration"_L1) {
        return QString::number(value.toInteger()) + " ms"_L1;
    }
    if (name == "transitionsList"_L1) {
        return transitions(value.toArray());
    }
    if (value.isArray()) {
        QStringList names;
        const QJsonArray elements = value.toArray();
        for (const QJsonValue element : elements) {
            names.append(nameOf(element));
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
    QStringList names;
    for (const Statistic& statistic : shownStatistics) {
        names.append(statistic.name);
    }
    return names;
}

Result statistics(const KestrelClient& client)
{
    Result result;
    QList<QList<Cell>> rows;
    for (const Statistic& statistic : shownStatistics) {
        const QString text = value(client, statistic.name);
        rows.append({{statistic.title, Style::Strong}, {text, styleOf(client, statistic.name, text)}});
        result.json.append(json(client, statistic.name));
    }
    result.lines = table(rows);
    return result;
}

QString switchText(const QString& property, bool on)
{
    const QString title = property == "studioMode"_L1 ? u"Studio mode"_s : property.left(1).toUpper() + property.mid(1);
    return title + (on ? " is on"_L1 : " is off"_L1);
}

} // namespace Format
