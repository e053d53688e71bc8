// SPDX-License-Identifier: GPL-2.0-or-later
#include "terminal.h"

#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

#ifdef Q_OS_WIN
// A stream that may lead to a console. A console takes UTF-16, whatever its code page is, and interprets escape
// sequences while the program runs. It keeps its mode beyond the program's end, so the mode is restored.
// These functions fail without effect on what is no console.
class ConsoleStream
{
public:
    explicit ConsoleStream(DWORD number)
        : m_handle(GetStdHandle(number))
        , m_isConsole(GetConsoleMode(m_handle, &m_mode) != 0)
    {
        SetConsoleMode(m_handle, m_mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }

    ~ConsoleStream() { SetConsoleMode(m_handle, m_mode); }

    Q_DISABLE_COPY_MOVE(ConsoleStream)

    bool isConsole() const { return m_isConsole; }

    bool write(const QString& text) const
    {
        return WriteConsoleW(m_handle, text.utf16(), static_cast<DWORD>(text.size()), nullptr, nullptr) != 0;
    }

private:
    HANDLE m_handle;
    DWORD m_mode = 0;
    bool m_isConsole;
};

const ConsoleStream outputStream(STD_OUTPUT_HANDLE);
const ConsoleStream errorStream(STD_ERROR_HANDLE);
#endif

[[noreturn]] void endBySignal()
{
#ifndef Q_OS_WIN
    std::signal(SIGPIPE, SIG_DFL); // QTcpSocket ignores it
    std::raise(SIGPIPE);
#endif
    std::_Exit(ExitStatus::failed);
}

void write(std::FILE* stream, const QString& text)
{
#ifdef Q_OS_WIN
    if ((stream == stdout ? outputStream : errorStream).write(text)) {
        return;
    }
#endif
    if (std::fputs(text.toUtf8().constData(), stream) >= 0 && std::fflush(stream) == 0) {
        return;
    }
    if (errno == EPIPE || errno == EINVAL) { // EINVAL: on Windows
        endBySignal();
    }
    if (stream == stdout) {
        std::perror("kestrelctl: the output could not be written");
        std::_Exit(ExitStatus::failed);
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

} // namespace

namespace Terminal {

void print(const Result& result, bool isJson)
{
    QStringList lines = result.lines;
    if (isJson) {
        lines.clear();
        for (const QJsonObject& object : result.json) {
            lines.append(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
        }
    }
    for (const QString& line : lines) {
        write(stdout, line + u'\n');
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
    write(stdout, u"\x1b[%1A\x1b[?7l"_s.arg(lines.size()) + lines.join("\x1b[K\n"_L1) + "\x1b[K\n\x1b[?7h"_L1);
}

QString styled(const QString& text, QLatin1StringView style)
{
    const bool isPlain = style.isEmpty() || text.isEmpty() || !isTerminal() || !qEnvironmentVariableIsEmpty("NO_COLOR")
        || qgetenv("TERM") == "dumb";
    return isPlain ? text : style + text + "\x1b[0m"_L1;
}

qsizetype columnsOf(const QString& text)
{
    const QList<uint> characters = text.toUcs4();
    return std::accumulate(characters.begin(), characters.end(), qsizetype {0},
                           [](qsizetype sum, char32_t character) { return sum + columnsOfCharacter(character); });
}

QString printable(QString text)
{
    static const QRegularExpression controlCharacter(u"\\p{Cc}"_s);
    return text.replace(controlCharacter, QString(QChar::ReplacementCharacter));
}

bool isTerminal()
{
#ifdef Q_OS_WIN
    return outputStream.isConsole();
#else
    return isatty(STDOUT_FILENO) != 0;
#endif
}

void endWithoutReader()
{
#ifndef Q_OS_WIN
    pollfd output {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    if (poll(&output, 1, 0) > 0 && (output.revents & (POLLERR | POLLHUP)) != 0) {
        endBySignal();
    }
#endif
}

} // namespace Terminal
