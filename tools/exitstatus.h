// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

// What the programs tell the shell that called them.
namespace ExitStatus {

constexpr int done = 0;
constexpr int notSeen = 1; // refused, or what was asked for did not happen
constexpr int usage = 2;
constexpr int noConnection = 3;

} // namespace ExitStatus
