// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

// Lines to a person or a script, each passed on at once.
namespace Console {

void printLine(const QString& text);
void printError(const QString& text);

// Every colour and control sequence that a name from the host could hold becomes visible and harmless.
QString printable(QString text);

} // namespace Console
