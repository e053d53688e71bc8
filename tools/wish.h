// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "session.h"

// A change to ask for.
struct Wish
{
    QString property;
    QJsonValue value;            // as it is set
    QString outcome;             // "Interview is on air"
    std::function<bool()> isMet; // by what the plug-in has told
    QJsonValue reported;         // how the property then reads
    QString advice;              // when it does not happen
};

// Asks, and waits to be told of it, longer when it runs a transition; a message when it does not come. These give the
// status to exit with.
int ask(Session& session, const Wish& wish, bool hasTransition = false);

// The same, but only where all is not as wanted already, since the host tells only of what changes. Prints the outcome.
int fulfil(Session& session, const Wish& wish, bool hasTransition = false);

int report(const Session& session, const Wish& wish, bool isChanged);

// "there is no scene", the name that was asked for, and those that there are.
int noSuch(const QString& what, const QString& name, const QStringList& names);
