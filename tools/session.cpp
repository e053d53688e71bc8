// SPDX-License-Identifier: GPL-2.0-or-later
#include "session.h"

#include <QEventLoop>

using namespace Qt::StringLiterals;

Session::Session(const Options& options)
    : m_options(options)
{
    connect(&m_client, &KestrelClient::failed, this, [this](const QString& text) {
        m_ending = text;
        look();
    });
    connect(&m_client, &KestrelClient::disconnected, this, [this] {
        m_ending = u"the plug-in closed the connection"_s;
        look();
    });
    // Queued: a condition can depend on what other slots of these signals note down.
    connect(&m_client, &KestrelClient::synchronized, this, &Session::look, Qt::QueuedConnection);
    connect(&m_client, &KestrelClient::valueChanged, this, &Session::look, Qt::QueuedConnection);
}

bool Session::open(std::chrono::milliseconds limit)
{
    m_ending.clear();
    m_client.connectToPlugin(m_options.port);
    if (waitFor([this] { return m_client.isSynchronized(); }, limit)) {
        return true;
    }
    if (m_ending.isEmpty()) {
        m_ending = u"something answers there, but sends no full state"_s;
    }
    return false;
}

bool Session::waitFor(const std::function<bool()>& condition, std::optional<std::chrono::milliseconds> limit,
                      const Poll& poll)
{
    QEventLoop loop;
    QTimer deadlineTimer;
    QTimer pollTimer;
    connect(this, &Session::lookedFor, &loop, [&] {
        if (condition() || !m_ending.isEmpty()) {
            loop.quit();
        }
    });
    if (limit) {
        deadlineTimer.setSingleShot(true);
        connect(&deadlineTimer, &QTimer::timeout, &loop, &QEventLoop::quit);
        deadlineTimer.start(*limit);
    }
    if (poll.act) {
        connect(&pollTimer, &QTimer::timeout, &loop, poll.act);
        pollTimer.start(poll.interval);
    }
    if (!condition() && m_ending.isEmpty()) {
        loop.exec();
    }
    return condition();
}

bool Session::read(const QStringList& names)
{
    // The answer passes over unknown names, so its end is marked by a property that is never told without being asked.
    const QString marker = u"fps"_s;
    qsizetype missing = names.count(marker) + 1;
    const auto counting = connect(&m_client, &KestrelClient::valueChanged, this,
                                  [&](const QString& name) { missing -= name == marker ? 1 : 0; });
    const bool isAsked = m_client.get(names + QStringList {marker});
    const bool isAnswered = isAsked && waitFor([&] { return missing == 0; }, timeout());
    disconnect(counting);
    return isAnswered;
}
