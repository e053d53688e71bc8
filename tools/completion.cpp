// SPDX-License-Identifier: GPL-2.0-or-later
#include "arguments.h"
#include "terminal.h"

using namespace std::chrono_literals;

namespace {

// A person waits for the candidates.
constexpr std::chrono::milliseconds connectTimeout = 1s;

// The names of what a placeholder stands for.
QStringList candidates(KestrelSession& session, quint16 port, const QString& placeholder)
{
    if (placeholder == "PROPERTY"_L1) {
        return Commands::propertyNames();
    }
    const bool isFromObs = placeholder == "SCENE"_L1 || placeholder == "ITEM"_L1 || placeholder == "TRANSITION"_L1;
    if (!isFromObs || !session.open(port, connectTimeout)) {
        return {};
    }
    const StudioState state = session.state();
    if (placeholder == "SCENE"_L1) {
        return state.sceneNames();
    }
    if (placeholder == "TRANSITION"_L1) {
        return state.transitionNames();
    }
    QStringList names;
    const QList<SceneItem> items = state.items(state.programScene());
    for (const SceneItem& item : items) {
        names.append(item.name);
    }
    return names;
}

QStringList argumentCandidates(KestrelSession& session, quint16 port, const QStringList& words)
{
    const Command* const command = Arguments::findCommand(words.first());
    if (command == nullptr || command->group == Command::Group::Hidden) {
        return {};
    }
    QList<Arguments::Placeholder> placeholders = Arguments::placeholders(command->arguments);
    const qsizetype index = words.size() - 1;
    while (!placeholders.isEmpty() && placeholders.last().isRepeated && placeholders.size() <= index) {
        placeholders.append(placeholders.last());
    }
    if (index >= placeholders.size()) {
        return {};
    }
    Arguments::Placeholder placeholder = placeholders[index];
    if (command->run == Commands::set) {
        if (index == 0) {
            return Commands::writablePropertyNames();
        }
        placeholder = Arguments::placeholders(Commands::valueNotation(words[1])).value(0);
    }
    return placeholder.choices.isEmpty() ? candidates(session, port, placeholder.name) : placeholder.choices;
}

QStringList optionCandidates(const QString& command)
{
    QStringList lines {u"--\tnames that begin with a dash follow"_s};
    for (const Option& option : options) {
        if (option.command.isEmpty() || option.command == command) {
            lines.append(option.name + u'\t' + option.summary);
        }
    }
    return lines;
}

} // namespace

namespace Commands {

Result complete(KestrelSession& session, const Invocation& invocation)
{
    const Arguments::Split given = Arguments::split(invocation.words.first(invocation.words.size() - 1));
    bool isNumber = false;
    quint16 port = given.options.value(u"--port"_s).toUShort(&isNumber);
    port = isNumber ? port : invocation.port;

    if (given.open == nullptr && !given.isAfterDashes && invocation.words.last().startsWith(u'-')) {
        return {.lines = optionCandidates(given.words.value(0))};
    }
    Result result;
    if (given.open == nullptr && given.words.isEmpty()) {
        for (const Command& command : commands) {
            if (command.group != Command::Group::Hidden) {
                result.lines.append(command.name + u'\t' + command.summary);
            }
        }
        return result;
    }
    const QStringList names = given.open != nullptr ? candidates(session, port, given.open->value)
                                                    : argumentCandidates(session, port, given.words);
    for (const QString& name : names) {
        // Elsewhere it would be taken for an option.
        if (given.open != nullptr || given.isAfterDashes || !name.startsWith(u'-')) {
            result.lines.append(Terminal::printable(name));
        }
    }
    return result;
}

} // namespace Commands
