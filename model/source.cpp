// SPDX-License-Identifier: GPL-2.0-or-later
#include "source.h"

#include "calldata.h"
#include "signalqueue.h"

using namespace Qt::StringLiterals;

// Subscribed in this order.
const Source::HostSignal Source::sourceSignals[] = {
    {"destroy", enqueue<[](Source* source) { emit source->destroyed(source); }>},
    {"remove", enqueue<[](Source* source) { emit source->removed(source); }>},
    {"activate", enqueue<[](Source* source) { emit source->activated(source, true); }>},
    {"deactivate", enqueue<[](Source* source) { emit source->activated(source, false); }>},
    {"show", enqueue<[](Source* source) { emit source->shown(source, true); }>},
    {"hide", enqueue<[](Source* source) { emit source->shown(source, false); }>},
    {"enable", enqueueEnabled},
    {"rename", enqueue<[](Source* source) { emit source->renamed(source); }>},
};

Source::Source(obs_source_t* source, SignalQueue* queue)
    : m_source(source)
    , m_queue(queue)
{}

Source::~Source()
{
    unsubscribe();
}

QString Source::name() const
{
    if (!m_source) {
        return u"NULL"_s;
    }
    const char* name = obs_source_get_name(m_source);
    return name ? QString::fromUtf8(name) : u"Error"_s;
}

QJsonObject Source::toJson() const
{
    return {{"name"_L1, name()}};
}

void Source::connectNotify(const QMetaMethod& /*signal*/)
{
    if (m_isSubscribed) {
        return;
    }
    m_isSubscribed = true;
    for (const HostSignal& signal : sourceSignals) {
        subscribe(signal);
    }
}

void Source::subscribe(const HostSignal& signal)
{
    signal_handler_t* handler = m_queue ? obs_source_get_signal_handler(m_source) : nullptr;
    if (handler) {
        m_subscriptions.emplace_back(handler, signal.name, signal.callback, this);
    }
}

void Source::unsubscribe()
{
    // A wrapper without subscriptions has no records; most wrappers are of this kind.
    if (m_subscriptions.empty()) {
        return;
    }
    m_subscriptions.clear();
    m_queue->removePending(this);
}

bool Source::matchesSource(const calldata_t* arguments) const
{
    const auto* source = calldataPointer<obs_source_t>(arguments, "source");
    return source && source == m_source;
}

template<auto emission>
void Source::enqueue(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Source*>(data);
    if (wrapper->matchesSource(arguments)) {
        wrapper->m_queue->post(wrapper, enqueue<emission>, [wrapper](bool /*isMerged*/) { emission(wrapper); });
    }
}

void Source::enqueueEnabled(void* data, calldata_t* arguments)
{
    auto* wrapper = static_cast<Source*>(data);
    const std::optional<bool> isEnabled = calldataBool(arguments, "enabled");
    if (wrapper->matchesSource(arguments) && isEnabled) {
        wrapper->m_queue->post(wrapper, enqueueEnabled, [wrapper, isEnabled = *isEnabled](bool /*isMerged*/) {
            emit wrapper->enabled(wrapper, isEnabled);
        });
    }
}
