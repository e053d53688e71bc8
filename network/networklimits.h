// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QtGlobal>

#include <chrono>

// Limits and times of the transport.
namespace NetworkLimits {

// A frame is a header of four ASCII decimal digits, filled on the left with 0, then a body of that many bytes.
constexpr int headerLength_bytes = 4;
constexpr int maximumBody_bytes = 9999;

// A long frame has this mark instead of the four digits, then eight digits for the length.
constexpr char longFrameMark[] = "####";
constexpr int longLength_bytes = 8;
constexpr int maximumLongBody_bytes = 99'999'999;

// The largest body that the server accepts.
constexpr int maximumInboundBody_bytes = 1'048'576;

// While more than this is unsent to a controller, it gets no further pushes; afterwards it gets the newest values.
constexpr qint64 maximumUnsentPushes_bytes = 262'144;

// While more than this is unsent to a controller, its next request for a value is delayed.
constexpr qint64 maximumUnsentAnswers_bytes = 786'432;

// A controller to which more than this is unsent is disconnected. The two limits above normally prevent this.
constexpr qint64 maximumUnsent_bytes = 16'777'216;

// Queued output above this size is sent at once, even while further messages are being queued.
constexpr qint64 flushAbove_bytes = 65'536;

// Size of the read buffer of a socket; TCP flow control holds back the rest.
constexpr qint64 readAhead_bytes = 262'144;

// How often accepting is tried again after the process ran out of file descriptors.
constexpr std::chrono::milliseconds acceptRetryInterval {1000};

// A controller that sends no complete object for longer than this is disconnected.
constexpr std::chrono::milliseconds aliveLimit {5000};

// How often the server accepts pending connections, checks its connections and deletes dead ones.
constexpr std::chrono::milliseconds idleInterval {30};

} // namespace NetworkLimits
