// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QtGlobal>

#include <chrono>

// The numbers of the transport, in one place.
namespace NetworkLimits {

// A frame is a header of four ASCII decimal digits, filled on the left with 0, then a body of that many bytes.
constexpr int headerLength_bytes = 4;
constexpr int maximumBody_bytes = 9999;

// A controller that sends no complete object for longer than this is disconnected.
constexpr std::chrono::milliseconds aliveLimit {5000};

// How often the server accepts waiting sockets, checks its connections and deletes dead ones.
constexpr std::chrono::milliseconds idleInterval {30};

} // namespace NetworkLimits
