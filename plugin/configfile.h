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

    // Opens the file, and creates it and its folder when missing. A file that cannot be opened, or is not a regular
    // file of a sane size, counts as empty.
    ConfigFile();

    // The port to listen on. A missing or invalid one becomes the default, in the file too; a valid one leaves the
    // file's bytes as they are. Only the first call of readPort() or writePort() reads the file.
    int readPort();

    // Writes the port, and keeps the other keys. False when the file cannot be written, see errorString().
    bool writePort(int port);

    // What was wrong with the file's content, as a line for the log; empty when nothing was. A file that is not a JSON
    // object is kept beside the new one, as "config.json.invalid".
    QByteArray warning() const { return m_warning; }

    // Why the file could not be opened or written, as the system describes it.
    QString errorString() const { return m_errorString; }

    QString path() const { return m_file.fileName(); }

    void close() { m_file.close(); }

private:
    static constexpr qint64 maximumSize_bytes = 1'048'576;
    static constexpr QLatin1StringView portKey {"port"};

    QJsonObject readSettings();
    void keepInvalidFile();
    bool write(QJsonObject settings, int port);

    QFile m_file;
    QByteArray m_warning;
    QString m_errorString;
};
