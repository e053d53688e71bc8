// SPDX-License-Identifier: GPL-2.0-or-later
#include "frozenclock.h"

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

using namespace std::chrono;

namespace {

std::atomic<nanoseconds> frozenTime {0ns}; // 0: the clock runs
std::atomic<nanoseconds> offset {0ns};     // of the running clock, so that it never goes back

nanoseconds shownTime(nanoseconds systemTime)
{
    const nanoseconds frozen = frozenTime;
    return frozen > 0ns ? frozen : systemTime + offset.load();
}

nanoseconds systemTime()
{
    timespec time {};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

} // namespace

// Exported from the executable, and so found before the one of the C library.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const auto status = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (clock == CLOCK_MONOTONIC && status == 0) {
        const nanoseconds shown = shownTime(seconds(time->tv_sec) + nanoseconds(time->tv_nsec));
        time->tv_sec = duration_cast<seconds>(shown).count();
        time->tv_nsec = (shown % 1s).count();
    }
    return status;
}

FrozenClock::FrozenClock()
{
    frozenTime = shownTime(systemTime());
}

FrozenClock::~FrozenClock()
{
    offset = frozenTime.exchange(0ns) - systemTime();
}

void FrozenClock::advance(milliseconds duration)
{
    frozenTime = frozenTime.load() + duration;
}
