// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>
#include <QList>
#include <QStringList>

namespace ExitStatus {

constexpr int done = 0;
constexpr int failed = 1; // refused, or not confirmed in time
constexpr int usage = 2;
constexpr int noConnection = 3;

} // namespace ExitStatus

// What a command returns, or throws to end early; printed by Terminal::print().
struct Result
{
    int status = ExitStatus::done;
    QStringList lines {};       // for a person
    QList<QJsonObject> json {}; // the same for a program
    QString error {};
    QString hint {}; // what to do about the error

    static Result failure(const QString& error, const QString& hint = {}, int status = ExitStatus::failed)
    {
        return {.status = status, .error = error, .hint = hint};
    }

    static Result usageError(const QString& error, const QString& hint = QStringLiteral("See kestrelctl --help."))
    {
        return failure(error, hint, ExitStatus::usage);
    }
};

// The ANSI sequences that begin a style.
namespace Style {

constexpr QLatin1StringView plain;
constexpr QLatin1StringView strong {"\x1b[1m"};     // a name at the start of a line
constexpr QLatin1StringView faint {"\x1b[2m"};      // less important
constexpr QLatin1StringView program {"\x1b[1;31m"}; // the program scene, a running output
constexpr QLatin1StringView preview {"\x1b[32m"};
constexpr QLatin1StringView alert {"\x1b[33m"};

} // namespace Style

// Standard output and standard error. Each line is written at once. When the reader of standard output has gone (as
// with "| head -1"), the program ends by SIGPIPE, as other filters do, on Windows with a failure.
namespace Terminal {

// The result's lines or its JSON values, one per line; its error on standard error. Ends the program with a failure
// when standard output cannot be written.
void print(const Result& result, bool isJson);

// Replaces as many lines as were printed last.
void redraw(const QStringList& lines);

// Adds the style, if there is one, when standard output is a terminal and NO_COLOR is unset.
QString styled(const QString& text, QLatin1StringView style);

// How many terminal columns the text takes.
qsizetype columnsOf(const QString& text);

// Control characters, which names from OBS can contain, become visible and harmless.
QString printable(QString text);

bool isTerminal();

// Ends the program when the reader of standard output has gone, although nothing is written.
void endWithoutReader();

} // namespace Terminal
