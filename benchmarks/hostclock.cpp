// SPDX-License-Identifier: GPL-2.0-or-later
#include "hostclock.h"

#include <fstream>
#include <stdexcept>

HostClock::HostClock(int pid)
    : m_path("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/schedstat")
{}

double HostClock::mainThread_us() const
{
    std::ifstream file(m_path);
    double time_ns = 0;
    if (!(file >> time_ns)) {
        throw std::runtime_error("the kernel tells no thread times in " + m_path);
    }
    return time_ns / 1000;
}
