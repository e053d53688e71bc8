// SPDX-License-Identifier: GPL-2.0-or-later
#include "hostclock.h"

#include <fstream>
#include <stdexcept>

HostClock::HostClock(int pid)
    : m_path("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/schedstat")
{
    if (clock_getcpuclockid(pid, &m_clock) != 0) {
        throw std::runtime_error("the host is gone");
    }
}

double HostClock::mainThread_us() const
{
    std::ifstream file(m_path);
    double time_ns = 0;
    if (!(file >> time_ns)) {
        throw std::runtime_error("the kernel tells no thread times in " + m_path);
    }
    return time_ns / 1000;
}

double HostClock::allThreads_us() const
{
    timespec time {};
    clock_gettime(m_clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}
