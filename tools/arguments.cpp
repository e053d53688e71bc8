// SPDX-License-Identifier: GPL-2.0-or-later
#include "arguments.h"

#include "format.h"

#include <QMap>
#include <QRegularExpression>

using namespace std::chrono_literals;

namespace {

// A person waits for the candidates.
constexpr std::chrono::milliseconds connectTimeout = 1s;

constexpr double minimumTimeout_s = 0.001;
constexpr double maximumTimeout_s = 1e6;

constexpr auto introduction = R"(Reads and changes a running OBS Studio through the KestrelBridge plug-in.

Usage: kestrelctl [OPTION]... COMMAND [ARGUMENT]...

Options:)";

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

// The words and options of a command line, finished or not.
struct Split
{
    QStringList words {}; // the command, then its arguments
    QMap<QString, QString> options {};
    const Option* open = nullptr; // the last argument is an option that lacks its value
    bool isAfterDashes = false;   // "--" was among them: no option follows
    QString error {};
};

// One word of Command::arguments.
struct Placeholder
{
    QString name;
    QStringList choices; // empty: any text
    bool isOptional = false;
};

Split split(const QStringList& arguments)
{
    Split split;
    for (const QString& argument : arguments) {
        const bool isOption = argument.size() > 1 && argument.startsWith(u'-') && !argument[1].isDigit();
        if (split.open != nullptr) {
            split.options[split.open->name] = argument;
            split.open = nullptr;
        } else if (split.isAfterDashes || !isOption) {
            split.words.append(argument);
        } else if (argument == "--"_L1) {
            split.isAfterDashes = true;
        } else {
            const QString name = argument == "-h"_L1 ? u"--help"_s : argument.section(u'=', 0, 0);
            const Option* const option = findRow(options, name);
            if (option == nullptr || (option->arguments.isEmpty() && argument.contains(u'='))) {
                split.error = u"unknown option %1"_s.arg(argument);
            } else if (option->arguments.isEmpty() || argument.contains(u'=')) {
                split.options[name] = argument.section(u'=', 1);
            } else {
                split.open = option;
            }
        }
    }
    return split;
}

// What stands for the argument at an index; null when there is none.
std::optional<Placeholder> placeholderAt(const QString& notation, qsizetype index)
{
    const QStringList words = notation.split(u' ', Qt::SkipEmptyParts);
    const bool isRepetition = index >= words.size();
    if (words.isEmpty() || (isRepetition && !words.last().endsWith("..."_L1))) {
        return std::nullopt;
    }
    QString name = isRepetition ? words.last() : words[index];
    const bool isOptional = isRepetition || name.startsWith(u'[');
    name.remove(QRegularExpression(u"[\\[\\].]"_s));
    return Placeholder {name, name.contains(u'|') ? name.split(u'|') : QStringList(), isOptional};
}

// Whether as many letters inserted, removed or replaced can make one word of the other.
bool isSimilar(QStringView word, QStringView other, int errors)
{
    while (!word.isEmpty() && !other.isEmpty() && word.front() == other.front()) {
        word = word.sliced(1);
        other = other.sliced(1);
    }
    if (word.isEmpty() || other.isEmpty()) {
        return word.size() + other.size() <= errors;
    }
    return errors > 0
        && (isSimilar(word.sliced(1), other, errors - 1) || isSimilar(word, other.sliced(1), errors - 1)
            || isSimilar(word.sliced(1), other.sliced(1), errors - 1));
}

Result unknownCommand(const QString& name)
{
    const QString error = u"unknown command \"%1\""_s.arg(name);
    for (const int errors : {1, 2}) {
        for (const Command& command : Commands::all) {
            if (command.group != hidden && isSimilar(name, QString(command.name), errors)) {
                return Result::usageError(error, u"Did you mean \"%1\"? See kestrelctl --help."_s.arg(command.name));
            }
        }
    }
    return Result::usageError(error);
}

// The rows of a table that belong to a group.
template<typename Row, std::size_t size>
QStringList lines(const Row (&table)[size], QLatin1StringView group)
{
    QList<QList<Format::Cell>> cells;
    for (const Row& row : table) {
        if (row.group == group) {
            const QString shortForm = row.name == "--help"_L1 ? u"-h, "_s : QString();
            cells.append({{u"  %1%2 %3"_s.arg(shortForm, row.name, row.arguments)}, {row.summary}});
        }
    }
    return Format::table(cells);
}

Result help()
{
    QStringList text {QString::fromLatin1(introduction)};
    text += lines(options, {});
    for (const QLatin1StringView group : {reading, changing, other}) {
        text += QStringList {{}, group + u':'} + lines(Commands::all, group);
    }
    return {.lines = text + QStringList {{}, QString::fromLatin1(examples)}};
}

Result help(const Command& command)
{
    QStringList text {
        command.summary + u'.', {}, u"Usage: kestrelctl %1 %2"_s.arg(command.name, command.arguments).trimmed()};
    if (const QStringList own = lines(options, command.name); !own.isEmpty()) {
        text += QStringList {{}, u"Options:"_s} + own;
    }
    if (command.arguments.contains("ITEM"_L1)) {
        text += {{}, u"An item is given by its name, or by its position: 1 is the top-most."_s};
    }
    return {.lines
            = text + QStringList {{}, u"All commands take --port, --timeout and --json: see kestrelctl --help."_s}};
}

// Throws unless the words are what the command takes.
void checkWords(const Command& command, const QStringList& words)
{
    std::optional<Placeholder> expected;
    for (qsizetype i = 0; i < words.size(); ++i) {
        expected = placeholderAt(command.arguments, i);
        if (!expected) {
            throw Result::usageError(u"unexpected argument \"%1\""_s.arg(words[i]));
        }
        if (!expected->choices.isEmpty() && !expected->choices.contains(words[i])) {
            throw Result::usageError(
                u"%1 takes %2, not \"%3\""_s.arg(command.name, expected->choices.join(", "_L1), words[i]));
        }
    }
    expected = placeholderAt(command.arguments, words.size());
    if (expected && !expected->isOptional) {
        throw Result::usageError(u"%1 needs %2"_s.arg(command.name, expected->name));
    }
}

// The names of what a placeholder stands for.
QStringList candidates(KestrelSession& session, quint16 port, const QString& placeholder)
{
    if (placeholder == "PROPERTY"_L1) {
        return Commands::propertyNames();
    }
    const bool isFromObs = QStringList {u"SCENE"_s, u"ITEM"_s, u"TRANSITION"_s}.contains(placeholder);
    if (!isFromObs || !session.open(port, connectTimeout)) {
        return {};
    }
    const StudioState state = session.state();
    return placeholder == "SCENE"_L1 ? state.sceneNames()
        : placeholder == "ITEM"_L1   ? state.programItemNames()
                                     : state.transitionNames();
}

QStringList argumentCandidates(KestrelSession& session, quint16 port, const QStringList& words)
{
    const Command* const command = findRow(Commands::all, words.first());
    if (command == nullptr || command->group == hidden) {
        return {};
    }
    const bool isSet = command->name == "set"_L1;
    if (isSet && words.size() == 1) {
        return Commands::writablePropertyNames();
    }
    const auto placeholder = isSet && words.size() == 2 ? placeholderAt(Commands::valueNotation(words[1]), 0)
                                                        : placeholderAt(command->arguments, words.size() - 1);
    if (!placeholder) {
        return {};
    }
    return placeholder->choices.isEmpty() ? candidates(session, port, placeholder->name) : placeholder->choices;
}

// The rows of a table that belong to one of the groups.
template<typename Row, std::size_t size>
QStringList described(const Row (&table)[size], const QStringList& groups)
{
    QStringList lines;
    for (const Row& row : table) {
        if (groups.contains(row.group)) {
            lines.append(row.name + u'\t' + row.summary);
        }
    }
    return lines;
}

} // namespace

Invocation parseArguments(const QStringList& arguments)
{
    const Split given = split(arguments);
    Invocation invocation {.words = given.words.mid(1),
                           .with = given.options.value(u"--with"_s),
                           .isRepeated = given.options.contains(u"--watch"_s),
                           .isJson = given.options.contains(u"--json"_s)};
    if (!given.error.isEmpty()) {
        throw Result::usageError(given.error);
    }
    if (given.open != nullptr) {
        throw Result::usageError(u"%1 needs %2"_s.arg(given.open->name, given.open->arguments));
    }
    if (given.options.contains(u"--version"_s)) {
        return {.command = findRow(Commands::all, u"version"), .isJson = invocation.isJson};
    }
    const bool isHelp = given.options.contains(u"--help"_s);
    if (given.words.isEmpty()) {
        throw isHelp ? help() : Result::usageError(u"which command?"_s);
    }
    const Command* const command = findRow(Commands::all, given.words.first());
    if (command == nullptr) {
        throw unknownCommand(given.words.first());
    }
    if (isHelp) {
        throw help(*command);
    }
    for (const QString& name : given.options.keys()) {
        const QLatin1StringView owner = findRow(options, name)->group;
        if (!owner.isEmpty() && owner != command->name) {
            throw Result::usageError(u"%1 takes no option %2"_s.arg(command->name, name));
        }
    }
    checkWords(*command, invocation.words);
    invocation.command = command;

    const bool isPortGiven = given.options.contains(u"--port"_s);
    const QString source = isPortGiven ? u"--port"_s : u"KESTREL_PORT"_s;
    const QString port = isPortGiven ? given.options[source] : qEnvironmentVariable("KESTREL_PORT");
    invocation.port = KestrelClient::configuredPort();
    if (isPortGiven || !port.isEmpty()) {
        const quint16 lowest = KestrelClient::minimumPort;
        const quint16 highest = KestrelClient::maximumPort;
        const QString range = u"%1 takes a number from %2 to %3"_s.arg(source).arg(lowest).arg(highest);
        invocation.port = static_cast<quint16>(Commands::number(port, lowest, highest, range));
    }
    if (given.options.contains(u"--timeout"_s)) {
        bool isNumber = false;
        const double timeout_s = given.options[u"--timeout"_s].toDouble(&isNumber);
        if (!isNumber || !(timeout_s >= minimumTimeout_s && timeout_s <= maximumTimeout_s)) {
            throw Result::usageError(
                u"--timeout takes %1 to %2 seconds"_s.arg(minimumTimeout_s).arg(maximumTimeout_s, 0, 'f', 0));
        }
        invocation.timeout = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(timeout_s));
    }
    if (given.options.contains(u"--duration"_s)) {
        invocation.duration_ms = Commands::duration_ms(given.options[u"--duration"_s]);
    }
    return invocation;
}

Result Commands::complete(KestrelSession& session, const Invocation& invocation)
{
    const Split given = split(invocation.words.first(invocation.words.size() - 1));
    if (given.open == nullptr && !given.isAfterDashes && invocation.words.last().startsWith(u'-')) {
        const QStringList dashes {u"--\tnames that begin with a dash follow"_s};
        return {.lines = dashes + described(options, {QString(), given.words.value(0)})};
    }
    if (given.open == nullptr && given.words.isEmpty()) {
        return {.lines = described(Commands::all, {reading, changing, other})};
    }
    const quint16 givenPort = given.options.value(u"--port"_s).toUShort();
    const quint16 port = givenPort != 0 ? givenPort : invocation.port;
    const QStringList names = given.open != nullptr ? candidates(session, port, given.open->arguments)
                                                    : argumentCandidates(session, port, given.words);
    Result result;
    for (const QString& name : names) {
        // Elsewhere it would be taken for an option.
        if (given.open != nullptr || given.isAfterDashes || !name.startsWith(u'-')) {
            result.lines.append(Terminal::printable(name));
        }
    }
    return result;
}
