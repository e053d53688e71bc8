// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

#include <obs.hpp>

// Holds a reference to one output of OBS, or to none, and returns its statistics, most of them as text for display.
// Without an output all figures are 0.
class Output
{
public:
    // The wrapper takes its own reference, here and in setOutput().
    explicit Output(obs_output_t* output);
    virtual ~Output() = default; // virtual as part of the interface

    void setOutput(obs_output_t* output) { m_output = output; }

    QString congestion() const; // "12.50%"
    int droppedFrames() const;
    int totalFrames() const;
    QString fps() const;         // the configured video frame rate of OBS, "29.97 fps"
    QString elapsedTime() const; // "00:02:59", counted in frames; "00:00:00" while inactive

    // The duration of a number of frames. Hours do not wrap.
    static QString elapsedTimeText(quint64 frameTime_ns, int frames);

private:
    OBSOutput m_output;
};
