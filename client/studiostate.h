// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "kestrelclient.h"

#include <QJsonArray>
#include <QJsonObject>

// An item of a scene.
struct SceneItem
{
    QString name;
    bool isVisible = false;
    bool isLocked = false;
};

// The latest values of a client, by type. A view: the client is borrowed, and nothing is stored.
class StudioState
{
public:
    explicit StudioState(const KestrelClient& client)
        : m_client(client)
    {}

    // A switch: "streaming", "recording", "studioMode".
    bool isOn(const QString& property) const { return m_client.value(property).toBool(); }

    // Names of scenes; empty when there is none. Outside studio mode the preview scene can be an earlier one.
    QString programScene() const { return m_client.value(QStringLiteral("currentScene")).toString(); }

    QString previewScene() const { return m_client.value(QStringLiteral("previewScene")).toString(); }

    QStringList sceneNames() const;

    QJsonArray scenes() const { return m_client.value(QStringLiteral("sceneList")).toArray(); }

    // Top-most first.
    QList<SceneItem> items(const QString& scene) const;

    QList<SceneItem> programItems() const { return items(programScene()); }

    QStringList programItemNames() const;
    QString transition() const;
    QStringList transitionNames() const;

    int transitionDuration_ms() const { return m_client.value(QStringLiteral("transitionDuration")).toInt(); }

    // The mask of "sourceVisibles" or "sourceLocks" for the program scene's items. It has 32 bits: items past the 32nd
    // share the bits of earlier ones, and the last of those that share a bit decides.
    static qint32 itemMask(const QList<bool>& items);
    static bool isSet(qint32 mask, qsizetype position);
    static const int maskWidth_bits;

private:
    QJsonArray sources(const QString& scene) const;

    const KestrelClient& m_client;
};
