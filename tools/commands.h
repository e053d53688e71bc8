// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "client/kestrelsession.h"
#include "terminal.h"

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

struct ChangeRequest
{
    QString property;
    QJsonValue value; // as it is set
    QString successMessage;
    std::function<bool()> isDone; // by the values received so far
    QString hint {};              // when OBS does not confirm it
    bool runsTransition = false;  // its duration is added to the timeout
    QJsonObject change {};        // as --json reports it; empty: the property and its value
};

// The commands of kestrelctl. Each runs an event loop until OBS has confirmed what was requested. Those of
// the groups Other and Hidden are called before the session is open. What they refuse is thrown as a Result.
namespace Commands {

Result state(KestrelSession& session, const Invocation& invocation);
Result scenes(KestrelSession& session, const Invocation& invocation);
Result get(KestrelSession& session, const Invocation& invocation); // and current, with the property in the table
Result watch(KestrelSession& session, const Invocation& invocation);
Result stats(KestrelSession& session, const Invocation& invocation);
Result wait(KestrelSession& session, const Invocation& invocation);
Result version(KestrelSession& session, const Invocation& invocation);

Result set(KestrelSession& session, const Invocation& invocation); // scene and preview, with the property in the table
Result changeSwitch(KestrelSession& session, const Invocation& invocation); // record, stream, studio
Result items(KestrelSession& session, const Invocation& invocation);        // show, hide, toggle, lock, unlock
Result transition(KestrelSession& session, const Invocation& invocation);
Result go(KestrelSession& session, const Invocation& invocation); // and cut

// For the shells: the words are those of an unfinished command line. Returns the candidates for the last one, one per
// line, each with its description behind a tab if it has one.
Result complete(KestrelSession& session, const Invocation& invocation);

// Every property, and the values that "set" takes, in the notation of Command::arguments.
QStringList propertyNames();
QStringList writablePropertyNames();
QString valueNotation(const QString& property);

// Parts that commands share.
Result setMask(KestrelSession& session, const QString& property, const QString& text);

// Sends the request, unless everything is as requested already, since OBS emits nothing then, and waits for the
// matching push. Returns an error when it does not arrive in time, otherwise the success message.
Result apply(KestrelSession& session, const ChangeRequest& request);

// The whole number in the text; throws a usage error when there is none or when it is out of range.
qint64 number(const QString& text, qint64 minimum, qint64 maximum, const QString& error);
int duration_ms(const QString& text); // of a transition

// Ways to fail.
Result unknownName(const QString& text, const QString& name, const QStringList& known);
Result unconnected(const KestrelSession& session, quint16 port);
Result connectionLost(const KestrelSession& session);

} // namespace Commands
