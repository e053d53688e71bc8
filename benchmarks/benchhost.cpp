// SPDX-License-Identifier: GPL-2.0-or-later
//
// A module for benchmarks only, loaded beside the plug-in: an echo in the host's own event loop, the scene list made
// with nothing in between, and changes told the same way. The ports are told in the host's log. Main thread.
#include "changeteller.h"
#include "echoserver.h"
#include "scenefloor.h"

#include <ctime>
#include <memory>

#include <obs-module.h>

namespace {

constexpr uint32_t declaredApiVersion = 0x1B020004; // as the plug-in

struct Servers
{
    EchoServer echo;
    EchoServer floor;
    ChangeTeller changes;
};

std::unique_ptr<Servers> servers;

qint64 threadTime_ns()
{
    timespec time {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

// A long frame: this thread's time for it in nanoseconds, a blank, the message.
QByteArray floorFrame(const QByteArray& /*input*/)
{
    const qint64 begin_ns = threadTime_ns();
    const std::string message = sceneListMessage();
    const qint64 time_ns = threadTime_ns() - begin_ns;
    QByteArray body = QByteArray::number(time_ns) + ' ';
    body.append(message.data(), static_cast<qsizetype>(message.size()));
    return "####" + QByteArray::number(body.size()).rightJustified(8, '0') + body;
}

} // namespace

MODULE_EXPORT bool obs_module_load()
{
    servers.reset(new Servers {EchoServer(), EchoServer(floorFrame), {}});
    blog(LOG_INFO, "[benchhost] echo on port %d, floor on port %d, changes on port %d", servers->echo.serverPort(),
         servers->floor.serverPort(), servers->changes.serverPort());
    return true;
}

MODULE_EXPORT void obs_module_unload()
{
    servers.reset();
}

MODULE_EXPORT void obs_module_set_pointer(obs_module_t* /*module*/) {}

MODULE_EXPORT uint32_t obs_module_ver()
{
    return declaredApiVersion;
}
