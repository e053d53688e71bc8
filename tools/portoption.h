// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QCommandLineOption>

#include <optional>

class QCommandLineParser;

// Which port the plug-in listens on: the option --port, else what its configuration file says, else its default.
class PortOption
{
public:
    explicit PortOption(QCommandLineParser& parser);

    // Null when --port was given and names no port.
    std::optional<quint16> port(const QCommandLineParser& parser) const;

    // What to try when nobody answers on the port.
    static QString advice(quint16 port);

private:
    QCommandLineOption m_option;
};
