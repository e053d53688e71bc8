// SPDX-License-Identifier: GPL-2.0-or-later
//
// What kestrelctl offers. Parsing, help and completion follow from these tables.
#pragma once

#include "commands.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

// The groups of commands, as titles in the help. The session is not open when those of the last two are called.
constexpr auto reading = "Read"_L1;
constexpr auto changing = "Change"_L1;
constexpr auto other = "Other"_L1;
constexpr auto hidden = ""_L1;

struct Command
{
    QLatin1StringView name;
    // Words separated by spaces, each a placeholder (SCENE, ITEM, TRANSITION, PROPERTY, VALUE, WORD) or a choice
    // (on|off); in brackets when it can be omitted, with "..." when it can be repeated.
    QLatin1StringView arguments;
    QLatin1StringView summary;
    QLatin1StringView group;
    Result (*run)(KestrelSession&, const Invocation&) = nullptr;
    QLatin1StringView property {}; // that the command reads or sets, if it is always the same
};

namespace Commands {

inline constexpr Command all[] {
    {"state"_L1, ""_L1, "Show every property with its value"_L1, reading, state},
    {"scenes"_L1, ""_L1, "List every scene with its items"_L1, reading, scenes},
    {"current"_L1, ""_L1, "Print the name of the program scene"_L1, reading, get, "currentScene"_L1},
    {"get"_L1, "PROPERTY..."_L1, "Print the values of properties"_L1, reading, get},
    {"watch"_L1, "[PROPERTY]..."_L1, "Print the state, then every change, until Ctrl-C"_L1, reading, watch},
    {"stats"_L1, ""_L1, "Show the load of OBS and the statistics of its outputs"_L1, reading, stats},
    {"scene"_L1, "SCENE"_L1, "Switch to a scene"_L1, changing, set, "currentScene"_L1},
    {"preview"_L1, "SCENE"_L1, "Choose the preview scene of studio mode"_L1, changing, set, "previewScene"_L1},
    {"show"_L1, "ITEM..."_L1, "Show items of the program scene"_L1, changing, items},
    {"hide"_L1, "ITEM..."_L1, "Hide items of the program scene"_L1, changing, items},
    {"toggle"_L1, "ITEM..."_L1, "Hide the visible and show the hidden of some items"_L1, changing, items},
    {"lock"_L1, "ITEM..."_L1, "Lock items of the program scene"_L1, changing, items},
    {"unlock"_L1, "ITEM..."_L1, "Unlock items of the program scene"_L1, changing, items},
    {"transition"_L1, "[TRANSITION]"_L1, "Choose the transition, or list all"_L1, changing, transition},
    {"go"_L1, ""_L1, "Run the transition of studio mode"_L1, changing, go},
    {"cut"_L1, ""_L1, R"(Run the transition "Cut", for this once)"_L1, changing, go},
    {"record"_L1, "[start|stop|toggle|status]"_L1, "Start or stop recording, or show its status"_L1, changing,
     changeSwitch, "recording"_L1},
    {"stream"_L1, "[start|stop|toggle|status]"_L1, "Start or stop streaming, or show its status"_L1, changing,
     changeSwitch, "streaming"_L1},
    {"studio"_L1, "[on|off|toggle|status]"_L1, "Turn studio mode on or off, or show its status"_L1, changing,
     changeSwitch, "studioMode"_L1},
    {"set"_L1, "PROPERTY VALUE"_L1, "Set a property"_L1, changing, set},
    {"wait"_L1, ""_L1, "Wait until the plug-in answers"_L1, other, wait},
    {"version"_L1, ""_L1, "Print the version of this program"_L1, other, version},
    {"complete"_L1, "WORD..."_L1, "Print candidates for a shell"_L1, hidden, complete},
};

} // namespace Commands

struct Option
{
    QLatin1StringView name;
    QLatin1StringView arguments; // a placeholder; empty: takes none
    QLatin1StringView summary;
    QLatin1StringView group {}; // the only command that takes it; empty: all do
};

inline constexpr Option options[] {
    {"--port"_L1, "NUMBER"_L1, "Port of the plug-in"_L1},
    {"--timeout"_L1, "SECONDS"_L1, "How long to wait for OBS (5; wait: 60)"_L1},
    {"--json"_L1, {}, "Print one JSON value per line"_L1},
    {"--help"_L1, {}, "Show this help, or that of a command"_L1},
    {"--version"_L1, {}, "Print the version of this program"_L1},
    {"--watch"_L1, {}, "Update once a second until Ctrl-C"_L1, "stats"_L1},
    {"--duration"_L1, "MS"_L1, "How long transitions take (50 to 20000)"_L1, "transition"_L1},
    {"--with"_L1, "TRANSITION"_L1, "Use this transition for this once"_L1, "go"_L1},
};

// The row of a table that has the name; null if there is none.
template<typename Row, std::size_t size>
constexpr const Row* findRow(const Row (&table)[size], QStringView name)
{
    const Row* const row = std::find_if(table, table + size, [name](const Row& each) { return each.name == name; });
    return row == table + size ? nullptr : row;
}

template<typename Row, std::size_t size>
QStringList rowNames(const Row (&table)[size])
{
    QStringList names;
    std::transform(table, table + size, std::back_inserter(names), [](const Row& row) { return row.name; });
    return names;
}
