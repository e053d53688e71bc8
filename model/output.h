// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

#include <obs.hpp>

// Holds a reference to one host output, or to none, and reports its statistics as text made for display. Without an
// output the host answers with zeros, and so does this.
class Output
{
public:
    // The output is borrowed, here and in setOutput.
    explicit Output(obs_output_t* output);
    virtual ~Output() = default; // virtual as part of the interface

    void setOutput(obs_output_t* output) { m_output = output; }

    QString congestion() const; // "12.50%"
    int droppedFrames() const;
    int totalFrames() const;
    QString fps() const;         // the host's configured video frame rate, "29.97 fps"
    QString elapsedTime() const; // "00:02:59", counted in frames; "00:00:00" while inactive

    // The length of a number of frames; hours do not wrap.
    static QString elapsedTimeText(quint64 frameTime_ns, int frames);

private:
    OBSOutput m_output;
};
