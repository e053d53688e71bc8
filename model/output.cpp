// SPDX-License-Identifier: GPL-2.0-or-later
#include "output.h"

Output::Output(obs_output_t* output)
    : m_output(output)
{}

QString Output::congestion() const
{
    return QString::asprintf("%.02f%%", static_cast<double>(obs_output_get_congestion(m_output)) * 100.0);
}

int Output::droppedFrames() const
{
    return obs_output_get_frames_dropped(m_output);
}

int Output::totalFrames() const
{
    return obs_output_get_total_frames(m_output);
}

QString Output::fps() const
{
    obs_video_info info {}; // stays zero when OBS has no video
    obs_get_video_info(&info);
    const double denominator = info.fps_den;
    return QString::asprintf("%.02f fps", denominator > 0.0 ? info.fps_num / denominator : 0.0);
}

QString Output::elapsedTime() const
{
    const video_t* video = obs_output_active(m_output) ? obs_output_video(m_output) : nullptr;
    return elapsedTimeText(video ? video_output_get_frame_time(video) : 0, video ? totalFrames() : 0);
}

QString Output::elapsedTimeText(quint64 frameTime_ns, int frames)
{
    constexpr quint64 nanosecondsPerSecond = 1'000'000'000;
    const quint64 seconds = frameTime_ns * static_cast<quint64>(static_cast<qint64>(frames)) / nanosecondsPerSecond;
    const quint64 minutes = seconds / 60;
    const auto hours = static_cast<int>(minutes / 60);
    return QString::asprintf("%02d:%02d:%02d", hours, static_cast<int>(minutes - 60 * static_cast<quint64>(hours)),
                             static_cast<int>(seconds % 60));
}
