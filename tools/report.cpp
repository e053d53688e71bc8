// SPDX-License-Identifier: GPL-2.0-or-later
#include "report.h"

#include "console.h"
#include "exitstatus.h"
#include "pluginport.h"
#include "statetext.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

void printObject(const QJsonObject& object)
{
    Console::printLine(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

} // namespace

namespace Report {

void value(Session& session, const QString& name)
{
    if (session.options().isJson) {
        jsonValue(name, session.client().value(name));
    } else {
        Console::printLine(StateText::value(session.client(), name));
    }
}

void jsonValue(const QString& name, const QJsonValue& value)
{
    printObject({{"name"_L1, name}, {"value"_L1, value}});
}

void jsonChange(const QString& name, const QJsonValue& value, bool isChanged)
{
    printObject({{"changed"_L1, isChanged}, {"name"_L1, name}, {"value"_L1, value}});
}

int refused(const QString& text, const QString& advice)
{
    Console::printError("kestrelctl: "_L1 + Console::printable(text));
    if (!advice.isEmpty()) {
        Console::printError(Console::printable(advice));
    }
    return ExitStatus::notSeen;
}

int usageError(const QString& text)
{
    refused(text, u"See kestrelctl --help."_s);
    return ExitStatus::usage;
}

int connectionLost(Session& session)
{
    return refused(session.ending().isEmpty() ? u"the plug-in did not answer"_s
                                              : u"the connection ended: "_s + session.ending());
}

int unconnected(Session& session)
{
    const quint16 port = session.options().port;
    refused(u"no connection to the plug-in on port %1: %2"_s.arg(port).arg(session.ending()), PluginPort::advice(port));
    return ExitStatus::noConnection;
}

QString switchText(const QString& property, bool on)
{
    const QString title = property == "studioMode"_L1 ? u"Studio mode"_s : property.left(1).toUpper() + property.mid(1);
    return title + (on ? " is on"_L1 : " is off"_L1);
}

QString choice(const QStringList& names)
{
    return names.isEmpty() ? u"There are none."_s : u"There are: "_s + names.join(", "_L1);
}

} // namespace Report
