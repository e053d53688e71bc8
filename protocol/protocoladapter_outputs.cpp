// SPDX-License-Identifier: GPL-2.0-or-later
//
// Streaming, recording, studio mode and statistics.
#include "displaytext.h"
#include "protocoladapter.h"

#include <optional>

#include <util/config-file.h>

using namespace Qt::StringLiterals;

namespace {

// A switch is a number, on above 0; nothing else converts.
std::optional<bool> switchState(const QVariant& value)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    return ok ? std::optional(number > 0.0) : std::nullopt;
}

} // namespace

QJsonValue ProtocolAdapter::getCpuUsage() const
{
    return DisplayText::cpuUsage(os_cpu_usage_info_query(m_cpuUsageInfo));
}

QJsonValue ProtocolAdapter::getMemoryUsage() const
{
    return DisplayText::memory(os_get_proc_resident_size());
}

QJsonValue ProtocolAdapter::getFreeDisk() const
{
    // The host's, never kept: it is another object after each change of the profile.
    config_t* config = obs_frontend_get_profile_config();
    if (!config) {
        return u"Error"_s;
    }
    const bool isAdvanced = QByteArrayView(config_get_string(config, "Output", "Mode")) == "Advanced";
    const char* path = isAdvanced ? config_get_string(config, "AdvOut", "RecFilePath")
                                  : config_get_string(config, "SimpleOutput", "FilePath");
    return DisplayText::freeDisk(os_get_free_disk_space(path));
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
