// SPDX-License-Identifier: GPL-2.0-or-later
#include "remote.h"

#include "hostclock.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <stdexcept>

using namespace Qt::StringLiterals;

Channel remoteSession(uint16_t port, int eventSubscriptions)
{
    Channel channel(Channel::Kind::WebSocket, port);
    channel.receive(); // its greeting
    channel.send(channel.encode(R"({"op":1,"d":{"rpcVersion":1,"eventSubscriptions":)"
                                + std::to_string(eventSubscriptions) + "}}"));
    channel.receive();
    return channel;
}

std::string remoteRequest(std::string_view type, std::string_view dataJson)
{
    return R"({"op":6,"d":{"requestId":"1","requestType":")" + std::string(type) + R"(","requestData":)"
        + std::string(dataJson) + "}}";
}

QJsonObject Remote::ask(std::string_view type, const QJsonObject& data)
{
    const QByteArray json = QJsonDocument(data).toJson(QJsonDocument::Compact);
    const std::string request = m_channel.encode(remoteRequest(type, json.toStdString()));
    const Clock::time_point begin = Clock::now();
    m_channel.send(request);
    const std::string_view answer = m_channel.receive();
    m_wire_us += microseconds(Clock::now() - begin);
    const auto bytes = QByteArray::fromRawData(answer.data(), static_cast<qsizetype>(answer.size()));
    const QJsonObject content = QJsonDocument::fromJson(bytes).object()["d"_L1].toObject();
    if (!content["requestStatus"_L1]["result"_L1].toBool()) {
        throw std::runtime_error("the remote refused: " + std::string(answer.substr(0, 200)));
    }
    return content["responseData"_L1].toObject();
}

// A line of the facts that both have to tell alike.
static QString itemFacts(const QString& name, bool isVisible, bool isLocked)
{
    return name + (isVisible ? " visible"_L1 : ""_L1) + (isLocked ? " locked\n"_L1 : "\n"_L1);
}

static QString factsOf(std::string_view sceneListMessage)
{
    const auto bytes
        = QByteArray::fromRawData(sceneListMessage.data(), static_cast<qsizetype>(sceneListMessage.size()));
    const QJsonArray scenes = QJsonDocument::fromJson(bytes)["values"_L1][0]["value"_L1].toArray();
    QString facts;
    for (const QJsonValue scene : scenes) {
        facts += scene["name"_L1].toString() + '\n'_L1;
        const QJsonArray items = scene["sourceList"_L1].toArray();
        for (const QJsonValue item : items) {
            facts += itemFacts(item["name"_L1].toString(), item["isVisible"_L1].toBool(), item["isLocked"_L1].toBool());
        }
    }
    return facts;
}

int Remote::readSceneFacts(std::string_view sceneListMessage)
{
    // The remote tells scenes from the last and items from the bottom.
    const QJsonArray scenes = ask("GetSceneList")["scenes"_L1].toArray();
    int requests = 1;
    QString facts;
    for (qsizetype i = scenes.size() - 1; i >= 0; --i) {
        const QJsonValue scene = scenes[i]["sceneName"_L1];
        const QJsonArray items = ask("GetSceneItemList", {{"sceneName"_L1, scene}})["sceneItems"_L1].toArray();
        facts += scene.toString() + '\n'_L1;
        for (qsizetype k = items.size() - 1; k >= 0; --k) {
            const QJsonObject lock
                = ask("GetSceneItemLocked", {{"sceneName"_L1, scene}, {"sceneItemId"_L1, items[k]["sceneItemId"_L1]}});
            facts += itemFacts(items[k]["sourceName"_L1].toString(), items[k]["sceneItemEnabled"_L1].toBool(),
                               lock["sceneItemLocked"_L1].toBool());
        }
        requests += 1 + static_cast<int>(items.size());
    }
    if (facts != factsOf(sceneListMessage)) {
        throw std::runtime_error("the remote tells other facts than the plug-in");
    }
    return requests;
}
