// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "client/kestrelsession.h"
#include "result.h"

struct Command;

// A command line that was parsed.
struct Invocation
{
    const Command* command = nullptr;
    QStringList words {}; // the command's arguments
    quint16 port = 0;
    std::optional<std::chrono::milliseconds> timeout {};
    std::optional<int> duration_ms {};
    QString with {}; // the transition for this once; empty: the current one
    bool isRepeated = false;
    bool isJson = false;
};

// The commands of kestrelctl. Each runs an event loop until OBS has confirmed what was requested. Those of
// the groups Other and Hidden are called before the session is open.
namespace Commands {

Result state(KestrelSession& session, const Invocation& invocation);
Result scenes(KestrelSession& session, const Invocation& invocation);
Result current(KestrelSession& session, const Invocation& invocation);
Result get(KestrelSession& session, const Invocation& invocation);
Result watch(KestrelSession& session, const Invocation& invocation);
Result stats(KestrelSession& session, const Invocation& invocation);
Result wait(KestrelSession& session, const Invocation& invocation);
Result version(KestrelSession& session, const Invocation& invocation);

Result set(KestrelSession& session, const Invocation& invocation);
Result setOne(KestrelSession& session, const Invocation& invocation);       // the property in the table
Result changeSwitch(KestrelSession& session, const Invocation& invocation); // likewise
Result items(KestrelSession& session, const Invocation& invocation);        // show, hide, toggle, lock, unlock
Result transition(KestrelSession& session, const Invocation& invocation);
Result go(KestrelSession& session, const Invocation& invocation);
Result cut(KestrelSession& session, const Invocation& invocation);

// For the shells: the words are those of an unfinished command line. Returns the candidates for the last one, one per
// line, each with its description behind a tab if it has one.
Result complete(KestrelSession& session, const Invocation& invocation);

// Every property, and the values that "set" takes, in the notation of Command::arguments.
QStringList propertyNames();
QStringList writablePropertyNames();
QString valueNotation(const QString& property);

// Parts that commands share.
Result transitions(KestrelSession& session);
Result setMask(KestrelSession& session, const QString& property, const QString& text);

// Ways to fail that the commands share.
Result unconnected(const KestrelSession& session, quint16 port);
Result connectionLost(const KestrelSession& session);
Result unknownName(const QString& text, const QString& name, const QStringList& known);

} // namespace Commands
