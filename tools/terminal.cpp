// SPDX-License-Identifier: GPL-2.0-or-later
#include "terminal.h"

#include <QJsonDocument>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

#ifdef Q_OS_WIN
// A stream that may lead to a console. A console takes UTF-16, whatever its code page is, and interprets escape
// sequences while the program runs. It keeps its mode beyond the program's end, so the mode is restored.
class ConsoleStream
{
public:
    explicit ConsoleStream(DWORD number)
        : m_handle(GetStdHandle(number))
        , m_isConsole(GetConsoleMode(m_handle, &m_mode) != 0)
    {
        if (m_isConsole) {
            SetConsoleMode(m_handle, m_mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
        }
    }

    ~ConsoleStream()
    {
        if (m_isConsole) {
            SetConsoleMode(m_handle, m_mode);
        }
    }

    Q_DISABLE_COPY_MOVE(ConsoleStream)

    bool isConsole() const { return m_isConsole; }

    void write(const QString& text) const
    {
        DWORD written = 0;
        WriteConsoleW(m_handle, text.utf16(), static_cast<DWORD>(text.size()), &written, nullptr);
    }

private:
    HANDLE m_handle;
    DWORD m_mode = 0;
    bool m_isConsole;
};

const ConsoleStream outputStream(STD_OUTPUT_HANDLE);
const ConsoleStream errorStream(STD_ERROR_HANDLE);
#endif

void write(std::FILE* stream, const QString& text)
{
#ifdef Q_OS_WIN
    const ConsoleStream& console = stream == stdout ? outputStream : errorStream;
    if (console.isConsole()) {
        console.write(text);
        return;
    }
#endif
    const QByteArray bytes = text.toUtf8();
    const bool isWritten = std::fputs(bytes.constData(), stream) >= 0 && std::fflush(stream) == 0;
    if (!isWritten && (errno == EPIPE || errno == EINVAL)) { // EINVAL: on Windows
        Terminal::endWithoutReader();
    }
}

// The terminal columns of a character: 0, 1 or 2.
int columnsOfCharacter(char32_t character)
{
#ifdef Q_OS_WIN
    constexpr std::pair<char32_t, char32_t> wideRanges[] {
        {0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
        {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
    const QChar::Category category = QChar::category(character);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing || category == QChar::Other_Format
        || category == QChar::Other_Control) {
        return 0;
    }
    return std::any_of(std::begin(wideRanges), std::end(wideRanges),
                       [character](const auto& range) { return character >= range.first && character <= range.second; })
        ? 2
        : 1;
#else
    return std::max(wcwidth(static_cast<wchar_t>(character)), 0);
#endif
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
        columns += columnsOfCharacter(character);
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
#ifdef Q_OS_WIN
    return outputStream.isConsole();
#else
    return isatty(STDOUT_FILENO) != 0;
#endif
}

#ifndef Q_OS_WIN
bool isPipe()
{
    struct stat status = {};
    return fstat(STDOUT_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}
#endif

void endWithoutReader()
{
#ifndef Q_OS_WIN
    std::signal(SIGPIPE, SIG_DFL); // QTcpSocket ignores it
    std::raise(SIGPIPE);
#endif
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
