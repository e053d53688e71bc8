// SPDX-License-Identifier: GPL-2.0-or-later
#include "statetext.h"

#include "console.h"
#include "kestrelclient.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

constexpr int maskBits = 32;

QString nameOf(const QJsonValue& object)
{
    return Console::printable(object["name"_L1].toString());
}

QString withMarks(QString text, const QStringList& marks)
{
    if (!marks.isEmpty()) {
        text += " ("_L1 + marks.join(", "_L1) + ')'_L1;
    }
    return text;
}

QStringList names(const QJsonValue& list)
{
    QStringList result;
    const QJsonArray elements = list.toArray();
    for (const QJsonValue element : elements) {
        result.append(nameOf(element));
    }
    return result;
}

QString transitions(const QJsonValue& list)
{
    QStringList texts;
    const QJsonArray elements = list.toArray();
    for (const QJsonValue element : elements) {
        QStringList marks;
        if (element["isCurrent"_L1].toBool()) {
            marks.append(u"current, %1 ms"_s.arg(element["duration"_L1].toInt()));
        }
        texts.append(withMarks(nameOf(element), marks));
    }
    return texts.join(", "_L1);
}

// The items of the program scene whose bit is set, by name as far as the scene list tells.
QString mask(const KestrelClient& client, const QJsonValue& value)
{
    const auto bits = static_cast<quint32>(value.toInteger());
    const QString program = client.value(u"currentScene"_s).toString();
    QStringList set;
    const QJsonArray scenes = client.value(u"sceneList"_s).toArray();
    for (const QJsonValue scene : scenes) {
        if (scene["name"_L1].toString() != program) {
            continue;
        }
        const QStringList items = names(scene["sourceList"_L1]);
        for (qsizetype i = 0; i < items.size(); ++i) {
            if (bits >> (i % maskBits) & 1U) {
                set.append(items[i]);
            }
        }
    }
    return withMarks(QString::number(value.toInteger()), set);
}

} // namespace

namespace StateText {

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
        return mask(client, value);
    }
    if (name == "transitionDuration"_L1) {
        return QString::number(value.toInteger()) + " ms"_L1;
    }
    if (name == "transitionsList"_L1) {
        return transitions(value);
    }
    if (value.isBool()) {
        return value.toBool() ? u"yes"_s : u"no"_s;
    }
    const QString text = value.isArray() ? names(value).join(", "_L1) : value.toVariant().toString();
    return text.isEmpty() ? u"-"_s : Console::printable(text);
}

} // namespace StateText
