// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "client/studiostate.h"
#include "terminal.h"

// Values of properties as text for a person. Names from OBS are made printable.
namespace Format {

struct Cell
{
    QString text;
    QLatin1StringView style {};
};

// One line per row, with aligned columns.
QStringList table(const QList<QList<Cell>>& rows);

// "Interview: Lower third, Guest (hidden), Host (locked)" for each scene; the current scene is marked.
QStringList scenes(const KestrelClient& client);

// The latest value of a property in one line; masks show the names of the items too.
QString value(const KestrelClient& client, const QString& name);

// The same with the name, for a program.
QJsonObject json(const KestrelClient& client, const QString& name);

// The statistics, which are sent on request only, and their latest values.
QStringList statisticNames();
Result statistics(const KestrelClient& client);

} // namespace Format
