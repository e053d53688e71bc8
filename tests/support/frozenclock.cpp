// SPDX-License-Identifier: GPL-2.0-or-later
#include "frozenclock.h"

#include <QtGlobal>

#include <atomic>

#ifdef Q_OS_WIN
#include <cstring>

#include <windows.h>
#else
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>
#endif

using namespace std::chrono;

namespace {

std::atomic<nanoseconds> frozenTime {0ns}; // 0: the clock runs
std::atomic<nanoseconds> offset {0ns};     // of the running clock, so that it never goes back

nanoseconds shownTime(nanoseconds systemTime)
{
    const nanoseconds frozen = frozenTime;
    return frozen > 0ns ? frozen : systemTime + offset.load();
}

} // namespace

#ifdef Q_OS_WIN

namespace {

constexpr qint64 second_ns = 1'000'000'000;

qint64 counterFrequency()
{
    static const qint64 frequency = [] {
        LARGE_INTEGER perSecond {};
        QueryPerformanceFrequency(&perSecond);
        return perSecond.QuadPart;
    }();
    return frequency;
}

nanoseconds systemTime()
{
    using Query = LONG(WINAPI*)(LARGE_INTEGER*, LARGE_INTEGER*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtQueryPerformanceCounter")));
    LARGE_INTEGER counter {};
    query(&counter, nullptr);
    const qint64 frequency = counterFrequency();
    return nanoseconds(counter.QuadPart / frequency * second_ns + counter.QuadPart % frequency * second_ns / frequency);
}

BOOL WINAPI queryShownTime(LARGE_INTEGER* counter)
{
    const qint64 shown_ns = shownTime(systemTime()).count();
    const qint64 frequency = counterFrequency();
    counter->QuadPart = shown_ns / second_ns * frequency + shown_ns % second_ns * frequency / second_ns;
    return TRUE;
}

// The first instructions of the system's function become a jump to ours, in this process only.
void replaceSystemClock()
{
    unsigned char jump[] {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; // mov rax, address; jmp rax
    BOOL(WINAPI* const replacement)(LARGE_INTEGER*) = queryShownTime;
    std::memcpy(jump + 2, &replacement, sizeof(replacement));
    auto* function = reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "QueryPerformanceCounter"));
    DWORD protection = 0;
    VirtualProtect(function, sizeof(jump), PAGE_EXECUTE_READWRITE, &protection);
    std::memcpy(function, jump, sizeof(jump));
    VirtualProtect(function, sizeof(jump), protection, &protection);
    FlushInstructionCache(GetCurrentProcess(), function, sizeof(jump));
}

} // namespace

#else

static void replaceSystemClock() {}

static nanoseconds systemTime()
{
    timespec time {};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// Exported from the executable, and so found before the one of the C library.
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

#endif

FrozenClock::FrozenClock()
{
    [[maybe_unused]] static const bool isReplaced = (replaceSystemClock(), true);
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
