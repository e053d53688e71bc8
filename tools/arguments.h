// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "commandtable.h"

// The command to run. What to print instead is thrown: help or an error. Without the program's own name.
Invocation parseArguments(const QStringList& arguments);
