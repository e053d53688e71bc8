// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

class KestrelClient;

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
    bool isOn(const QString& property) const;

    // Names of scenes; empty when there is none.
    QString programScene() const;
    QString previewScene() const; // outside studio mode it can be an earlier one

    QStringList sceneNames() const;
    QJsonArray scenes() const;
    QList<SceneItem> items(const QString& scene) const; // top-most first

    QString transition() const;
    QStringList transitionNames() const;
    int transitionDuration_ms() const;

    // The mask of "sourceVisibles" or "sourceLocks" for the program scene's items. It has 32 bits: items past the 32nd
    // share the bits of earlier ones, and the last of those that share a bit decides.
    static qint32 itemMask(const QList<bool>& items);
    static bool isSet(qint32 mask, qsizetype position);
    static const int maskWidth_bits;

private:
    const KestrelClient& m_client;
};
