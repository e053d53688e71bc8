// SPDX-License-Identifier: GPL-2.0-or-later
//
// Measures one part a run and prints its rounds as a JSON array. Started by bench.py, which has the host.
#include "measurement.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <exception>
#include <map>

#include <CLI/CLI.hpp>

int main(int argc, char** argv)
{
    const std::map<std::string, QJsonObject (*)(const Setting&)> parts {
        {"roundtrip", roundTrips}, {"pipelined", pipelined}, {"scenelist", sceneListReads},
        {"push", pushes},          {"idle", idle},
    };
    Setting setting;
    std::string name;
    CLI::App application("Measures the plug-in in a running host.");
    application.add_option("part", name)->required()->check(CLI::IsMember(parts));
    application.add_option("--plugin", setting.plugin)->required();
    application.add_option("--host-echo", setting.hostEcho);
    application.add_option("--bare-echo", setting.bareEcho);
    application.add_option("--floor", setting.floor);
    application.add_option("--changes", setting.changes);
    application.add_option("--remote", setting.remote);
    application.add_option("--pid", setting.pid)->required();
    application.add_option("--scene", setting.scene);
    application.add_option("--rounds", setting.rounds);
    application.add_option("--count", setting.count)->required();
    application.add_option("--controllers", setting.controllers);
    application.add_flag("--long-frames", setting.areLong);
    application.add_flag("--eager", setting.isEager);
    application.add_flag("--alone", setting.isAlone);
    application.add_flag("--pushes-floor", setting.isFloor);
    CLI11_PARSE(application, argc, argv);
    try {
        QJsonArray rounds;
        for (int i = 0; i < setting.rounds; ++i) {
            rounds.append(parts.at(name)(setting));
        }
        std::puts(QJsonDocument(rounds).toJson(QJsonDocument::Compact).constData());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
