// SPDX-License-Identifier: GPL-2.0-or-later
//
// Measures one part and prints its rounds as a JSON array. bench.py starts it and writes the settings to its input.
#include "measurement.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <exception>
#include <map>

using namespace Qt::StringLiterals;

int main()
{
    const std::map<QString, QJsonObject (*)(const QJsonObject&)> parts {
        {u"roundtrip"_s, roundTrips}, {u"pipelined"_s, pipelined}, {u"scenelist"_s, sceneListReads},
        {u"push"_s, pushes},          {u"idle"_s, idle},
    };
    try {
        QFile input;
        if (!input.open(stdin, QIODevice::ReadOnly)) {
            throw std::runtime_error("cannot read the settings");
        }
        const QJsonObject settings = QJsonDocument::fromJson(input.readAll()).object();
        QJsonArray rounds;
        for (int i = 0; i < settings["rounds"_L1].toInt(); ++i) {
            rounds.append(parts.at(settings["part"_L1].toString())(settings));
        }
        std::puts(QJsonDocument(rounds).toJson(QJsonDocument::Compact).constData());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
