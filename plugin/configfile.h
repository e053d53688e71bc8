// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QFile>
#include <QJsonObject>

#include <optional>

// The plug-in's settings: "config.json" in the user's generic data folder, a JSON object whose key "port" names the
// TCP port. Other keys are left alone.
class ConfigFile
{
public:
    static constexpr int minimumPort = 1;
    static constexpr int maximumPort = 65353;
    static constexpr int defaultPort = 2021;

    static QString defaultPath();

    // The port that the settings name; null when there is none, or none that is valid.
    static std::optional<int> portIn(const QJsonObject& settings);

    // Opens the file, and creates it and its folder when missing. What fails, or is not a regular file of a sane size,
    // ends in the default port.
    ConfigFile();

    // The port to listen on. A missing or invalid one becomes the default, in the file too; a valid one leaves the
    // file's bytes as they are.
    int readPort();

    QString path() const { return m_file.fileName(); }

    void close() { m_file.close(); }

private:
    static constexpr qint64 maximumSize_bytes = 1'048'576;

    QFile m_file;
};
