// SPDX-License-Identifier: GPL-2.0-or-later
//
// Streaming, recording, studio mode and statistics.
#include "displaytext.h"
#include "protocoladapter.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace {

// A switch is a number: above 0 is on. Other types do not convert.
std::optional<bool> switchState(const QVariant& value)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    return ok ? std::optional(number > 0.0) : std::nullopt;
}

} // namespace

QJsonValue ProtocolAdapter::getCpuUsage() const
{
    return DisplayText::cpuUsage(m_statistics.cpuUsage_percent());
}

QJsonValue ProtocolAdapter::getMemoryUsage() const
{
    return DisplayText::memory(HostStatistics::residentMemory_bytes());
}

QJsonValue ProtocolAdapter::getFreeDisk() const
{
    const std::optional<quint64> free_bytes = HostStatistics::freeRecordingSpace_bytes();
    return free_bytes ? DisplayText::freeDisk(*free_bytes) : u"Error"_s;
}

QJsonValue ProtocolAdapter::getRecordingTime() const
{
    return m_frontEnd.recordingOutput()->elapsedTime();
}

QJsonValue ProtocolAdapter::getStreamingTime() const
{
    return m_frontEnd.streamingOutput()->elapsedTime();
}

QJsonValue ProtocolAdapter::getStudioMode() const
{
    return m_frontEnd.isStudioMode();
}

QJsonValue ProtocolAdapter::getStreaming() const
{
    return m_frontEnd.isStreaming();
}

QJsonValue ProtocolAdapter::getRecording() const
{
    return m_frontEnd.isRecording();
}

QJsonValue ProtocolAdapter::getTotalFrames() const
{
    return m_frontEnd.streamingOutput()->totalFrames();
}

QJsonValue ProtocolAdapter::getFps() const
{
    return m_frontEnd.streamingOutput()->fps();
}

QJsonValue ProtocolAdapter::getDroppedFrames() const
{
    return m_frontEnd.streamingOutput()->droppedFrames();
}

QJsonValue ProtocolAdapter::getCongestion() const
{
    return m_frontEnd.streamingOutput()->congestion();
}

void ProtocolAdapter::setStudioMode(QVariant value)
{
    if (const std::optional<bool> on = switchState(value)) {
        m_frontEnd.setStudioMode(*on);
    }
}

void ProtocolAdapter::setStreaming(QVariant value)
{
    if (const std::optional<bool> on = switchState(value)) {
        m_frontEnd.setStreaming(*on);
    }
}

void ProtocolAdapter::setRecording(QVariant value)
{
    if (const std::optional<bool> on = switchState(value)) {
        m_frontEnd.setRecording(*on);
    }
}
