// SPDX-License-Identifier: GPL-2.0-or-later
#include "kestrelsession.h"

#include <QEventLoop>

using namespace Qt::StringLiterals;

KestrelSession::KestrelSession(std::chrono::milliseconds timeout)
    : m_timeout(timeout)
{
    const auto end = [this](const QString& text) {
        m_errorString = text;
        emit stateChanged();
    };
    connect(&m_client, &KestrelClient::failed, this, end);
    connect(&m_client, &KestrelClient::disconnected, this, [end] { end(u"the plug-in closed the connection"_s); });
    // Queued: conditions can depend on what other slots of these signals store.
    connect(&m_client, &KestrelClient::synchronized, this, &KestrelSession::stateChanged, Qt::QueuedConnection);
    connect(&m_client, &KestrelClient::valueChanged, this, &KestrelSession::stateChanged, Qt::QueuedConnection);
}

bool KestrelSession::open(quint16 port, std::optional<std::chrono::milliseconds> limit)
{
    m_errorString.clear();
    m_client.connectToPlugin(port);
    if (waitFor([this] { return m_client.isSynchronized(); }, limit.value_or(m_timeout))) {
        return true;
    }
    if (m_errorString.isEmpty()) {
        m_errorString = u"a server answered on this port but did not send the initial state; is it KestrelBridge?"_s;
    }
    return false;
}

bool KestrelSession::waitFor(const std::function<bool()>& condition, std::optional<std::chrono::milliseconds> limit)
{
    QEventLoop loop;
    const auto quitWhenDone = [&] {
        if (condition() || !m_errorString.isEmpty()) {
            loop.quit();
        }
    };
    connect(this, &KestrelSession::stateChanged, &loop, quitWhenDone);
    if (limit) {
        QTimer::singleShot(*limit, &loop, &QEventLoop::quit);
    }
    if (!condition() && m_errorString.isEmpty()) {
        loop.exec();
    }
    return condition();
}

bool KestrelSession::read(const QStringList& names)
{
    // The answer omits unknown names. "fps" is never pushed, so requested last it marks the answer's end.
    const QString marker = u"fps"_s;
    qsizetype missing = names.count(marker) + 1;
    const auto counting = connect(&m_client, &KestrelClient::valueChanged, this,
                                  [&](const QString& name) { missing -= name == marker ? 1 : 0; });
    const bool isAnswered
        = m_client.get(names + QStringList {marker}) && waitFor([&] { return missing == 0; }, m_timeout);
    disconnect(counting);
    return isAnswered;
}
