// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QtGlobal>

#include <memory>
#include <optional>

#include <util/platform.h>

// What OBS uses of the machine. Every call measures anew. Main thread.
class HostStatistics
{
public:
    // Of this process since the previous call, or since construction; 100 is all processors.
    double cpuUsage_percent() const { return os_cpu_usage_info_query(m_cpuSampler.get()); }

    // The physical memory of this process.
    static quint64 residentMemory_bytes() { return os_get_proc_resident_size(); }

    // Free space on the disk that the current profile records to. Nothing without a profile; 0 for a folder that does
    // not exist.
    static std::optional<quint64> freeRecordingSpace_bytes();

private:
    struct DestroyCpuSampler
    {
        void operator()(os_cpu_usage_info_t* sampler) const { os_cpu_usage_info_destroy(sampler); }
    };

    std::unique_ptr<os_cpu_usage_info_t, DestroyCpuSampler> m_cpuSampler {os_cpu_usage_info_start()};
};
