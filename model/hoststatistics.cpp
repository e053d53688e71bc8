// SPDX-License-Identifier: GPL-2.0-or-later
#include "hoststatistics.h"

#include <QByteArrayView>

#include <obs-frontend-api.h>
#include <util/config-file.h>

std::optional<quint64> HostStatistics::freeRecordingSpace_bytes()
{
    // OBS owns the configuration and replaces it when the profile changes.
    config_t* config = obs_frontend_get_profile_config();
    if (!config) {
        return std::nullopt;
    }
    const bool isAdvanced = QByteArrayView(config_get_string(config, "Output", "Mode")) == "Advanced";
    const char* path = isAdvanced ? config_get_string(config, "AdvOut", "RecFilePath")
                                  : config_get_string(config, "SimpleOutput", "FilePath");
    return os_get_free_disk_space(path);
}
