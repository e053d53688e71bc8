// SPDX-License-Identifier: GPL-2.0-or-later
#include "console.h"

#include <cstdio>

namespace {

void print(std::FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", text.toLocal8Bit().constData());
    std::fflush(stream);
}

} // namespace

namespace Console {

void printLine(const QString& text)
{
    print(stdout, text);
}

void printError(const QString& text)
{
    print(stderr, text);
}

QString printable(QString text)
{
    for (QChar& character : text) {
        if (character.category() == QChar::Other_Control) {
            character = QChar::ReplacementCharacter;
        }
    }
    return text;
}

} // namespace Console
