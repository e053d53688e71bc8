// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <chrono>
#include <string>

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

// Processor time of the host's main thread, which the kernel counts in nanoseconds. Exact while the thread sleeps, and
// that is what it does most of the time after an answer.
class HostClock
{
public:
    explicit HostClock(int pid);

    double mainThread_us() const;

private:
    std::string m_path;
};
