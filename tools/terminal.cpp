// SPDX-License-Identifier: GPL-2.0-or-later
#include "terminal.h"

#include <QJsonDocument>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

void write(std::FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    const bool isWritten = std::fputs(bytes.constData(), stream) >= 0 && std::fflush(stream) == 0;
    if (!isWritten && errno == EPIPE) {
        Terminal::endWithoutReader();
    }
}

bool hasColours()
{
    return Terminal::isTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

QLatin1StringView escapeSequence(Terminal::Style style)
{
    switch (style) {
    case Terminal::Style::Strong:
        return "\x1b[1m"_L1;
    case Terminal::Style::Faint:
        return "\x1b[2m"_L1;
    case Terminal::Style::Program:
        return "\x1b[1;31m"_L1;
    case Terminal::Style::Preview:
        return "\x1b[32m"_L1;
    case Terminal::Style::Alert:
        return "\x1b[33m"_L1;
    case Terminal::Style::Plain:
        break;
    }
    return {};
}

} // namespace

namespace Terminal {

void print(const Result& result, bool isJson)
{
    if (isJson) {
        for (const QJsonObject& object : result.json) {
            write(stdout, QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) + u'\n');
        }
    } else {
        for (const QString& line : result.lines) {
            write(stdout, line + u'\n');
        }
    }
    if (!result.error.isEmpty()) {
        write(stderr, "kestrelctl: "_L1 + printable(result.error) + u'\n');
    }
    if (!result.hint.isEmpty()) {
        write(stderr, printable(result.hint) + u'\n');
    }
}

void redraw(const QStringList& lines)
{
    // Without line wrap: a wrapped line would take two, and the next drawing would begin too low.
    QString text = u"\x1b[%1A\x1b[?7l"_s.arg(lines.size());
    for (const QString& line : lines) {
        text += line + "\x1b[K\n"_L1;
    }
    write(stdout, text + "\x1b[?7h"_L1);
}

QString styled(const QString& text, Style style)
{
    return style == Style::Plain || text.isEmpty() || !hasColours() ? text
                                                                    : escapeSequence(style) + text + "\x1b[0m"_L1;
}

QString padded(const QString& text, qsizetype columns)
{
    return text + QString(std::max<qsizetype>(columns - columnsOf(text), 0), u' ');
}

qsizetype columnsOf(const QString& text)
{
    qsizetype columns = 0;
    for (const char32_t character : text.toUcs4()) {
        columns += std::max(wcwidth(static_cast<wchar_t>(character)), 0);
    }
    return columns;
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
    return isatty(STDOUT_FILENO) != 0;
}

bool isPipe()
{
    struct stat status = {};
    return fstat(STDOUT_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

void endWithoutReader()
{
    std::signal(SIGPIPE, SIG_DFL); // QTcpSocket ignores it
    std::raise(SIGPIPE);
    std::_Exit(ExitStatus::failed);
}

bool close()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    std::perror("kestrelctl: the output could not be written");
    return false;
}

} // namespace Terminal
