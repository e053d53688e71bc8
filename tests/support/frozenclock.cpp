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

nanoseconds shownTime()
{
    timespec time {};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    const nanoseconds frozen = frozenTime;
    return frozen > 0ns ? frozen : seconds(time.tv_sec) + nanoseconds(time.tv_nsec) + offset.load();
}

} // namespace

// Exported from the executable, and so found before the one of the C library.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (clock != CLOCK_MONOTONIC) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    const nanoseconds shown = shownTime();
    time->tv_sec = duration_cast<seconds>(shown).count();
    time->tv_nsec = (shown % 1s).count();
    return 0;
}

FrozenClock::FrozenClock()
{
    frozenTime = shownTime();
}

FrozenClock::~FrozenClock()
{
    const nanoseconds end = frozenTime.exchange(0ns);
    offset = offset.load() + end - shownTime();
}

void FrozenClock::advance(milliseconds duration)
{
    frozenTime = frozenTime.load() + duration;
}
