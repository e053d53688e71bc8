// SPDX-License-Identifier: GPL-2.0-or-later
#include "transition.h"

using namespace Qt::StringLiterals;

Transition::Transition(obs_source_t* source, SignalQueue* queue)
    : Source(source, queue)
{}

QString Transition::typeName() const
{
    return u"Transition"_s;
}
