// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "result.h"

// Standard output and standard error. Each line is written at once. When the reader of standard output has gone (as
// with "| head -1"), the program ends by SIGPIPE, as other filters do.
namespace Terminal {

enum class Style {
    Plain,
    Strong,  // a name at the start of a line
    Faint,   // less important
    Program, // the program scene, a running output
    Preview,
    Alert,
};

// The result's lines or its JSON values, one per line; its error on standard error.
void print(const Result& result, bool isJson);

// Replaces as many lines as were printed last.
void redraw(const QStringList& lines);

// Adds ANSI colours if standard output is a terminal and NO_COLOR is unset.
QString styled(const QString& text, Style style);

// With spaces up to a number of terminal columns.
QString padded(const QString& text, qsizetype columns);
qsizetype columnsOf(const QString& text);

// Control characters, which names from OBS can contain, become visible and harmless.
QString printable(QString text);

bool isTerminal();

#ifndef Q_OS_WIN
// Whether standard output is read by another program, which can end before this one.
bool isPipe();
#endif

// Ends the program by SIGPIPE, on Windows with a failure.
[[noreturn]] void endWithoutReader();

// False, after a message, when something could not be written.
bool close();

} // namespace Terminal
