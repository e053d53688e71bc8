// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

// Lines to a person or a script, each passed on at once.
namespace Console {

enum class Style {
    Plain,
    Strong, // a name that leads a line
    Faint,  // beside the point
    Live,   // on air, recording
    Next,   // about to be
    Alert,
};

void printLine(const QString& text);
void printError(const QString& text);

// Puts lines in the place of as many that were printed last.
void redraw(const QStringList& lines);

// With colours only where a person looks at a terminal, and has not asked for none (NO_COLOR).
QString styled(const QString& text, Style style);

// Filled with blanks to a number of columns, as a terminal counts them.
QString padded(const QString& text, qsizetype columns);
qsizetype columnsOf(const QString& text);

// Every colour and control sequence that a name from the host could hold becomes visible and harmless.
QString printable(QString text);

// Lines can be drawn anew in their place.
bool isTerminal();

// False, after a message, when something that was printed did not get through.
bool close();

} // namespace Console
