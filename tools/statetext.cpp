// SPDX-License-Identifier: GPL-2.0-or-later
#include "statetext.h"

#include "console.h"
#include "hoststate.h"
#include "kestrelclient.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

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

// The items of the program scene whose bit is set, by name as far as the scene list tells.
QString mask(const KestrelClient& client, qint32 mask)
{
    const HostState host(client);
    const QList<HostItem> items = host.items(host.program());
    QStringList set;
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (HostState::isSet(mask, i)) {
            set.append(Console::printable(items[i].name));
        }
    }
    return withMarks(QString::number(mask), set);
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
    return text.isEmpty() ? u"-"_s : Console::printable(text);
}

} // namespace StateText
