// SPDX-License-Identifier: GPL-2.0-or-later
#include "waitcommand.h"

#include "exitstatus.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds defaultTimeout = 60s;
constexpr std::chrono::milliseconds retryInterval = 100ms;

} // namespace

WaitCommand::WaitCommand(const Options& options)
    : Command(options)
    , m_lastReason(u"the full state did not arrive"_s)
{
    m_deadlineTimer.setSingleShot(true);
    m_retryTimer.setSingleShot(true);
    connect(&m_deadlineTimer, &QTimer::timeout, this, [this] {
        m_retryTimer.stop();
        finishUnconnected(m_lastReason);
    });
    connect(&m_retryTimer, &QTimer::timeout, this, [this] { m_client.connectToPlugin(m_options.port); });
    connect(&m_client, &KestrelClient::connected, this, [this] { m_lastReason = u"the full state did not arrive"_s; });
    connect(&m_client, &KestrelClient::synchronized, this, [this] { emit finished(ExitStatus::done); });
    connect(&m_client, &KestrelClient::failed, this, &WaitCommand::retryLater);
    connect(&m_client, &KestrelClient::disconnected, this, [this] { retryLater(u"it closed the connection"_s); });
}

void WaitCommand::start()
{
    m_deadlineTimer.start(m_options.timeout.value_or(defaultTimeout));
    m_client.connectToPlugin(m_options.port);
}

void WaitCommand::retryLater(const QString& reason)
{
    m_lastReason = reason;
    m_retryTimer.start(retryInterval);
}
