// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "session.h"

#include <optional>

// What kestrelctl does. Each runs on a session that is open, waits until it was seen to happen, prints what came of it,
// and gives the status to exit with.
namespace Commands {

// Which item or items of the program scene, and what is to become of them.
enum class ItemChange {
    Show,
    Hide,
    Lock,
    Unlock,
};

int get(Session& session, const QStringList& names);
int state(Session& session);
int scenes(Session& session);
int transitions(Session& session);
int stats(Session& session);
int isOn(Session& session, const QString& property);

// One name a line, for the completion of a shell: scenes, items, transitions or properties.
int names(Session& session, const QString& kind);

// Until Ctrl-C, or until the plug-in closes the connection. Without names: every change.
int watch(Session& session, const QStringList& names);
int watchStats(Session& session);

// A value as it is typed: the name of a scene or a transition, a number, "on" or "off".
int set(Session& session, const QString& name, const QString& text);
int setMask(Session& session, const QString& property, const QString& text);
int changeItems(Session& session, ItemChange change, const QStringList& names);
int putOnAir(Session& session, const QString& scene);
int choosePreview(Session& session, const QString& scene);
int chooseTransition(Session& session, const QString& transition);
int setTransitionDuration(Session& session, int duration_ms);
int turn(Session& session, const QString& property, bool on);

// Puts the preview on air, with another transition for this once when one is named.
int go(Session& session, const std::optional<QString>& transition);

} // namespace Commands
