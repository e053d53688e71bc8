// SPDX-License-Identifier: GPL-2.0-or-later
#include "console.h"

#include <QStringList>

#include <cstdio>

#include <fmt/color.h>
#include <fmt/format.h>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

// Longer than any name: the filling that is left tells the columns that a text takes.
constexpr qsizetype measure_columns = 4096;

void print(std::FILE* stream, const QString& text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

bool hasColours()
{
    return Console::isTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

fmt::text_style textStyle(Console::Style style)
{
    switch (style) {
    case Console::Style::Strong:
        return fmt::emphasis::bold;
    case Console::Style::Faint:
        return fmt::emphasis::faint;
    case Console::Style::Live:
        return fmt::emphasis::bold | fmt::fg(fmt::terminal_color::red);
    case Console::Style::Next:
        return fmt::fg(fmt::terminal_color::green);
    case Console::Style::Alert:
        return fmt::fg(fmt::terminal_color::yellow);
    case Console::Style::Plain:
        break;
    }
    return {};
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

void redraw(const QStringList& lines)
{
    QString text = QString::fromStdString(fmt::format("\x1b[{}A", lines.size()));
    // A line that the terminal would break takes two, and the next drawing would begin too low: no breaking meanwhile.
    text += "\x1b[?7l"_L1;
    for (const QString& line : lines) {
        text += line + "\x1b[K\n"_L1;
    }
    text += "\x1b[?7h"_L1;
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

QString styled(const QString& text, Style style)
{
    if (style == Style::Plain || text.isEmpty() || !hasColours()) {
        return text;
    }
    return QString::fromStdString(fmt::format(textStyle(style), "{}", text.toStdString()));
}

QString padded(const QString& text, qsizetype columns)
{
    return QString::fromStdString(fmt::format("{:<{}}", text.toStdString(), columns));
}

qsizetype columnsOf(const QString& text)
{
    return measure_columns - (padded(text, measure_columns).size() - text.size());
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

bool isTerminal()
{
#ifdef Q_OS_UNIX
    return isatty(STDOUT_FILENO) != 0;
#else
    return false;
#endif
}

bool close()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    std::perror("the output could not be written");
    return false;
}

} // namespace Console
