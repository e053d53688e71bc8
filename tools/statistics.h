// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "session.h"

// The host's figures, which are told only when asked for.
namespace Statistics {

QStringList names();

// The latest values as a table for a person.
QStringList lines(Session& session);

void print(Session& session);

} // namespace Statistics
