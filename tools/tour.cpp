// SPDX-License-Identifier: GPL-2.0-or-later
#include "tour.h"

#include "console.h"
#include "pluginport.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds waitLimit = 10s;
constexpr std::chrono::milliseconds pollInterval = 100ms;

} // namespace

Tour::Tour(quint16 port)
    : m_session({port, std::nullopt, false})
    , m_client(m_session.client())
{
    connect(&m_client, &KestrelClient::valueChanged, this,
            [this](const QString& name, const QJsonValue& value) { m_journal.append(name, value); });
    connect(&m_client, &KestrelClient::synchronized, this, [this] { m_stateOrder = m_journal.names(); });
}

bool Tour::run()
{
    for (const Step& step : steps()) {
        m_journal.clear();
        m_seen.clear();
        if (!(this->*step.act)()) {
            Console::printLine(u"✗ %1: not seen: %2"_s.arg(step.title, m_missing));
            if (!m_client.isSynchronized()) {
                Console::printError(PluginPort::advice(m_session.options().port));
            }
            // A host that still records asks before it closes.
            m_client.set(u"recording"_s, 0);
            m_client.disconnectFromPlugin();
            return false;
        }
        Console::printLine(m_seen.isEmpty() ? u"✓ %1"_s.arg(step.title) : u"✓ %1: %2"_s.arg(step.title, m_seen));
    }
    m_client.disconnectFromPlugin();
    return true;
}

bool Tour::waitFor(const QString& what, const std::function<bool()>& condition, const std::function<void()>& poll)
{
    if (poll) {
        poll(); // the first reading is of the beginning, however late the next ones are
    }
    if (m_session.waitFor(condition, waitLimit, {poll, pollInterval})) {
        return true;
    }
    m_missing = what;
    if (!m_session.ending().isEmpty()) {
        m_missing += " ("_L1 + m_session.ending() + ')'_L1;
    }
    return false;
}

bool Tour::waitForRun(const QList<Journal::Expectation>& run)
{
    QStringList parts;
    for (const Journal::Expectation& expected : run) {
        const QByteArray value = expected.value
            ? " = " + QJsonDocument(QJsonArray {*expected.value}).toJson(QJsonDocument::Compact)
            : QByteArray();
        parts.append(expected.name + QString::fromUtf8(value));
    }
    if (waitFor("pushed in this order: "_L1 + parts.join(", "_L1), [&] { return m_journal.hasRun(run); })) {
        return true;
    }
    const QStringList names = m_journal.names();
    m_missing += "; what arrived: "_L1 + (names.isEmpty() ? u"nothing"_s : names.join(", "_L1));
    return false;
}

bool Tour::require(const QString& what, bool holds)
{
    if (!holds) {
        m_missing = what;
    }
    return holds;
}
