// SPDX-License-Identifier: GPL-2.0-or-later
#include "interruption.h"

#include <chrono>
#include <csignal>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds lookInterval = 50ms;

volatile std::sig_atomic_t isRequested = 0;

extern "C" void noteRequest(int /*number*/)
{
    isRequested = 1;
}

} // namespace

Interruption::Interruption(QObject* parent)
    : QObject(parent)
{
    isRequested = 0;
    std::signal(SIGINT, noteRequest);
    std::signal(SIGTERM, noteRequest);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (isRequested) {
            m_timer.stop();
            emit requested();
        }
    });
    m_timer.start(lookInterval);
}

Interruption::~Interruption()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}
