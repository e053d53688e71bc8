// SPDX-License-Identifier: GPL-2.0-or-later
//
// What kestrelctl offers. Parsing, help and completion follow from these tables.
#pragma once

#include "commands.h"

using namespace Qt::StringLiterals;

struct Command
{
    enum class Group {
        Read,
        Change,
        Other,  // called before the session is open
        Hidden, // likewise
    };

    QLatin1StringView name;
    // Words separated by spaces, each a placeholder (SCENE, ITEM, TRANSITION, PROPERTY, VALUE, WORD) or a choice
    // (on|off); in brackets when it can be omitted, with "..." when it can be repeated.
    QLatin1StringView arguments;
    QLatin1StringView summary;
    Group group = Group::Read;
    Result (*run)(KestrelSession&, const Invocation&) = nullptr;
    QLatin1StringView property {}; // that the command reads or sets, if it is always the same

    bool isOffline() const { return group == Group::Other || group == Group::Hidden; }
};

inline constexpr Command commands[] {
    {"state"_L1, ""_L1, "Show every property with its value"_L1, Command::Group::Read, Commands::state},
    {"scenes"_L1, ""_L1, "List every scene with its items"_L1, Command::Group::Read, Commands::scenes},
    {"current"_L1, ""_L1, "Print the name of the program scene"_L1, Command::Group::Read, Commands::current,
     "currentScene"_L1},
    {"get"_L1, "PROPERTY..."_L1, "Print the values of properties"_L1, Command::Group::Read, Commands::get},
    {"watch"_L1, "[PROPERTY]..."_L1, "Print the state, then every change, until Ctrl-C"_L1, Command::Group::Read,
     Commands::watch},
    {"stats"_L1, ""_L1, "Show the load of OBS and the statistics of its outputs"_L1, Command::Group::Read,
     Commands::stats},
    {"scene"_L1, "SCENE"_L1, "Switch to a scene"_L1, Command::Group::Change, Commands::setOne, "currentScene"_L1},
    {"preview"_L1, "SCENE"_L1, "Choose the preview scene of studio mode"_L1, Command::Group::Change, Commands::setOne,
     "previewScene"_L1},
    {"show"_L1, "ITEM..."_L1, "Show items of the program scene"_L1, Command::Group::Change, Commands::items},
    {"hide"_L1, "ITEM..."_L1, "Hide items of the program scene"_L1, Command::Group::Change, Commands::items},
    {"toggle"_L1, "ITEM..."_L1, "Hide the visible and show the hidden of some items"_L1, Command::Group::Change,
     Commands::items},
    {"lock"_L1, "ITEM..."_L1, "Lock items of the program scene"_L1, Command::Group::Change, Commands::items},
    {"unlock"_L1, "ITEM..."_L1, "Unlock items of the program scene"_L1, Command::Group::Change, Commands::items},
    {"transition"_L1, "[TRANSITION]"_L1, "Choose the transition, or list all"_L1, Command::Group::Change,
     Commands::transition},
    {"go"_L1, ""_L1, "Run the transition of studio mode"_L1, Command::Group::Change, Commands::go},
    {"cut"_L1, ""_L1, R"(Run the transition "Cut", for this once)"_L1, Command::Group::Change, Commands::cut},
    {"record"_L1, "[start|stop|toggle|status]"_L1, "Start or stop recording, or show its status"_L1,
     Command::Group::Change, Commands::changeSwitch, "recording"_L1},
    {"stream"_L1, "[start|stop|toggle|status]"_L1, "Start or stop streaming, or show its status"_L1,
     Command::Group::Change, Commands::changeSwitch, "streaming"_L1},
    {"studio"_L1, "[on|off|toggle|status]"_L1, "Turn studio mode on or off, or show its status"_L1,
     Command::Group::Change, Commands::changeSwitch, "studioMode"_L1},
    {"set"_L1, "PROPERTY VALUE"_L1, "Set a property"_L1, Command::Group::Change, Commands::set},
    {"wait"_L1, ""_L1, "Wait until the plug-in answers"_L1, Command::Group::Other, Commands::wait},
    {"version"_L1, ""_L1, "Print the version of this program"_L1, Command::Group::Other, Commands::version},
    {"complete"_L1, "WORD..."_L1, "Print candidates for a shell"_L1, Command::Group::Hidden, Commands::complete},
};

struct Option
{
    QLatin1StringView name;
    QLatin1StringView value; // a placeholder; empty: takes none
    QLatin1StringView summary;
    QLatin1StringView command; // the only one that takes it; empty: all do
};

inline constexpr Option options[] {
    {"--port"_L1, "NUMBER"_L1, "Port of the plug-in"_L1, {}},
    {"--timeout"_L1, "SECONDS"_L1, "How long to wait for OBS (5; wait: 60)"_L1, {}},
    {"--json"_L1, {}, "Print one JSON value per line"_L1, {}},
    {"--help"_L1, {}, "Show this help, or that of a command"_L1, {}},
    {"--version"_L1, {}, "Print the version of this program"_L1, {}},
    {"--watch"_L1, {}, "Update once a second until Ctrl-C"_L1, "stats"_L1},
    {"--duration"_L1, "MS"_L1, "How long transitions take (50 to 20000)"_L1, "transition"_L1},
    {"--with"_L1, "TRANSITION"_L1, "Use this transition for this once"_L1, "go"_L1},
};
