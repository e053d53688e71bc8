// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <chrono>
#include <string>

#include <time.h>

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

// Processor time of the host, which the kernel counts in nanoseconds. That of the main thread is exact while it sleeps,
// and it does most of the time after an answer.
class HostClock
{
public:
    explicit HostClock(int pid);

    double mainThread_us() const;
    double allThreads_us() const;

private:
    clockid_t m_clock = 0;
    std::string m_path;
};
