// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "commandtable.h"

#include <QMap>

#include <variant>

namespace Arguments {

// The words and options of a command line, finished or not.
struct Split
{
    QStringList words {}; // the command, then its arguments
    QMap<QString, QString> options {};
    const Option* open = nullptr; // the last argument is an option that lacks its value
    bool isAfterDashes = false;   // "--" was among them: no option follows
    QString error {};
};

Split split(const QStringList& arguments);

const Command* findCommand(const QString& name);

// One word of Command::arguments.
struct Placeholder
{
    QString name;
    QStringList choices; // empty: any text
    bool isOptional = false;
    bool isRepeated = false;
};

QList<Placeholder> placeholders(const QString& notation);

// OBS's own limits.
constexpr int minimumDuration_ms = 50;
constexpr int maximumDuration_ms = 20000;
QString durationError();

// The command to run, or what to print instead: help, version or an error. Without the program's own name.
std::variant<Invocation, Result> parse(const QStringList& arguments);

} // namespace Arguments
