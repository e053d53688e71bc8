// SPDX-License-Identifier: GPL-2.0-or-later
#include "arguments.h"

#include "format.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace {

constexpr double minimumTimeout_s = 0.001;
constexpr double maximumTimeout_s = 1e6;

constexpr qsizetype maximumTypingErrors = 2;

constexpr auto examples = R"(Examples:
  kestrelctl scenes                      list every scene with its items
  kestrelctl scene Interview             switch to a scene
  kestrelctl hide Guest                  hide an item of the program scene
  kestrelctl toggle 2 3                  the second and the third from the top
  kestrelctl studio on
  kestrelctl preview Closing
  kestrelctl go                          run the transition to the preview scene
  kestrelctl transition Fade --duration 500
  kestrelctl record toggle
  kestrelctl get currentScene --json     one JSON value per line, for scripts
  kestrelctl watch recording streaming   print changes until Ctrl-C

Commands return once OBS has confirmed the change. Exit status: 0 done,
1 refused or not confirmed in time, 2 wrong usage, 3 no connection. The port
is that of --port, KESTREL_PORT or the plug-in's configuration file. A name that
begins with a dash follows "--".)";

bool isOption(const QString& argument)
{
    return argument.size() > 1 && argument.startsWith(u'-') && !argument[1].isDigit();
}

const Option* findOption(const QString& name)
{
    const Option* const found
        = std::find_if(std::begin(options), std::end(options), [&](const Option& o) { return o.name == name; });
    return found == std::end(options) ? nullptr : found;
}

// How many letters have to be inserted, removed or replaced to make one word of the other.
qsizetype distance(const QString& from, const QString& to)
{
    QList<qsizetype> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 1; i <= from.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i;
        for (qsizetype j = 1; j <= to.size(); ++j) {
            const qsizetype replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[to.size()];
}

Result unknownCommand(const QString& name)
{
    Result result = Result::usageError(u"unknown command \"%1\""_s.arg(name));
    qsizetype least = maximumTypingErrors + 1;
    for (const Command& command : commands) {
        const qsizetype errors = distance(name, command.name);
        if (command.group != Command::Group::Hidden && errors < least) {
            least = errors;
            result.hint = u"Did you mean \"%1\"? See kestrelctl --help."_s.arg(command.name);
        }
    }
    return result;
}

QStringList optionLines(const QString& command)
{
    QList<QList<Format::Cell>> rows;
    for (const Option& option : options) {
        if (option.command == command) {
            const QString shortForm = option.name == "--help"_L1 ? u"-h, "_s : u""_s;
            rows.append({{u"  "_s + shortForm + option.name + u' ' + option.value}, {option.summary}});
        }
    }
    return Format::table(rows);
}

Result help()
{
    QStringList lines {u"Reads and changes a running OBS Studio through the KestrelBridge plug-in."_s,
                       {},
                       u"Usage: kestrelctl [OPTION]... COMMAND [ARGUMENT]..."_s,
                       {},
                       u"Options:"_s};
    lines += optionLines({});
    for (const auto& [title, group] :
         {std::pair {u"Read:"_s, Command::Group::Read}, std::pair {u"Change:"_s, Command::Group::Change},
          std::pair {u"Other:"_s, Command::Group::Other}}) {
        QList<QList<Format::Cell>> rows;
        for (const Command& command : commands) {
            if (command.group == group) {
                rows.append({{u"  "_s + command.name + u' ' + command.arguments}, {command.summary}});
            }
        }
        lines += QStringList {{}, title} + Format::table(rows);
    }
    return {.lines = lines + QStringList {{}, QString::fromLatin1(examples)}};
}

Result help(const Command& command)
{
    QStringList lines {
        command.summary + u'.', {}, u"Usage: kestrelctl %1 %2"_s.arg(command.name, command.arguments).trimmed()};
    if (const QStringList own = optionLines(command.name); !own.isEmpty()) {
        lines += QStringList {{}, u"Options:"_s} + own;
    }
    if (command.arguments.contains("ITEM"_L1)) {
        lines += {{}, u"An item is given by its name, or by its position: 1 is the top-most."_s};
    }
    return {.lines
            = lines + QStringList {{}, u"All commands take --port, --timeout and --json: see kestrelctl --help."_s}};
}

// Empty when the words are what the command takes.
QString wordsError(const Command& command, const QStringList& words)
{
    const QList<Arguments::Placeholder> expected = Arguments::placeholders(command.arguments);
    for (qsizetype i = 0; i < std::max(words.size(), expected.size()); ++i) {
        const bool isRepetition = i >= expected.size() && !expected.isEmpty() && expected.last().isRepeated;
        if (i >= expected.size() && !isRepetition) {
            return u"unexpected argument \"%1\""_s.arg(words[i]);
        }
        const Arguments::Placeholder& placeholder = expected[std::min(i, expected.size() - 1)];
        if (i >= words.size()) {
            return placeholder.isOptional ? QString() : u"%1 needs %2"_s.arg(command.name, placeholder.name);
        }
        if (!placeholder.choices.isEmpty() && !placeholder.choices.contains(words[i])) {
            return u"%1 takes %2, not \"%3\""_s.arg(command.name, placeholder.choices.join(", "_L1), words[i]);
        }
    }
    return {};
}

} // namespace

namespace Arguments {

const Command* findCommand(const QString& name)
{
    const Command* const found
        = std::find_if(std::begin(commands), std::end(commands), [&](const Command& c) { return c.name == name; });
    return found == std::end(commands) ? nullptr : found;
}

QList<Placeholder> placeholders(const QString& notation)
{
    QList<Placeholder> placeholders;
    const QStringList words = notation.split(u' ', Qt::SkipEmptyParts);
    for (QString word : words) {
        const bool isRepeated = word.endsWith("..."_L1);
        const bool isOptional = word.startsWith(u'[');
        const QString name = word.remove(u'[').remove(u']').remove("..."_L1);
        placeholders.append({name, name.contains(u'|') ? name.split(u'|') : QStringList(), isOptional, isRepeated});
    }
    return placeholders;
}

Split split(const QStringList& arguments)
{
    Split split;
    for (const QString& argument : arguments) {
        if (split.open != nullptr) {
            split.options[split.open->name] = argument;
            split.open = nullptr;
        } else if (split.isAfterDashes || !isOption(argument)) {
            split.words.append(argument);
        } else if (argument == "--"_L1) {
            split.isAfterDashes = true;
        } else {
            const QString name = argument == "-h"_L1 ? u"--help"_s : argument.section(u'=', 0, 0);
            const Option* const option = findOption(name);
            if (option == nullptr || (option->value.isEmpty() && argument.contains(u'='))) {
                split.error = u"unknown option %1"_s.arg(argument);
            } else if (option->value.isEmpty() || argument.contains(u'=')) {
                split.options[name] = argument.section(u'=', 1);
            } else {
                split.open = option;
            }
        }
    }
    return split;
}

QString durationError()
{
    return u"a transition takes %1 to %2 ms"_s.arg(minimumDuration_ms).arg(maximumDuration_ms);
}

std::variant<Invocation, Result> parse(const QStringList& arguments)
{
    const Split given = split(arguments);
    Invocation invocation {.words = given.words.mid(1), .isJson = given.options.contains(u"--json"_s)};
    if (!given.error.isEmpty()) {
        return Result::usageError(given.error);
    }
    if (given.open != nullptr) {
        return Result::usageError(u"%1 needs %2"_s.arg(given.open->name, given.open->value));
    }
    if (given.options.contains(u"--version"_s)) {
        return Invocation {.command = findCommand(u"version"_s), .isJson = invocation.isJson};
    }
    if (given.words.isEmpty()) {
        return given.options.contains(u"--help"_s) ? help() : Result::usageError(u"which command?"_s);
    }
    invocation.command = findCommand(given.words.first());
    if (invocation.command == nullptr) {
        return unknownCommand(given.words.first());
    }
    if (given.options.contains(u"--help"_s)) {
        return help(*invocation.command);
    }
    for (const QString& name : given.options.keys()) {
        const QLatin1StringView owner = findOption(name)->command;
        if (!owner.isEmpty() && owner != invocation.command->name) {
            return Result::usageError(u"%1 takes no option %2"_s.arg(invocation.command->name, name));
        }
    }
    if (const QString error = wordsError(*invocation.command, invocation.words); !error.isEmpty()) {
        return Result::usageError(error);
    }

    bool isNumber = true;
    invocation.port = KestrelClient::configuredPort();
    const bool isPortGiven = given.options.contains(u"--port"_s);
    const QString source = isPortGiven ? u"--port"_s : u"KESTREL_PORT"_s;
    const QString port = isPortGiven ? given.options[source] : qEnvironmentVariable("KESTREL_PORT");
    if (isPortGiven || !port.isEmpty()) {
        invocation.port = port.toUShort(&isNumber);
        if (!isNumber || invocation.port < KestrelClient::minimumPort || invocation.port > KestrelClient::maximumPort) {
            return Result::usageError(u"%1 takes a number from %2 to %3"_s.arg(source)
                                          .arg(KestrelClient::minimumPort)
                                          .arg(KestrelClient::maximumPort));
        }
    }
    if (given.options.contains(u"--timeout"_s)) {
        const double timeout_s = given.options[u"--timeout"_s].toDouble(&isNumber);
        if (!isNumber || !(timeout_s >= minimumTimeout_s && timeout_s <= maximumTimeout_s)) {
            return Result::usageError(
                u"--timeout takes %1 to %2 seconds"_s.arg(minimumTimeout_s).arg(maximumTimeout_s, 0, 'f', 0));
        }
        invocation.timeout = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(timeout_s));
    }
    if (given.options.contains(u"--duration"_s)) {
        invocation.duration_ms = given.options[u"--duration"_s].toInt(&isNumber);
        if (!isNumber || invocation.duration_ms < minimumDuration_ms || invocation.duration_ms > maximumDuration_ms) {
            return Result::usageError(durationError());
        }
    }
    invocation.with = given.options.value(u"--with"_s);
    invocation.isRepeated = given.options.contains(u"--watch"_s);
    return invocation;
}

} // namespace Arguments
