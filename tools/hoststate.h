// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

class KestrelClient;

// An item of a scene.
struct HostItem
{
    QString name;
    bool isVisible = false;
    bool isLocked = false;
};

// The host as the latest values of a client show it. A view: the client is borrowed, and every call looks anew.
class HostState
{
public:
    explicit HostState(const KestrelClient& client)
        : m_client(client)
    {}

    // A switch: "streaming", "recording", "studioMode".
    bool isOn(const QString& property) const;

    // Names of scenes; empty when there is none.
    QString program() const;
    QString preview() const; // outside studio mode it can be an earlier one

    QStringList sceneNames() const;
    QJsonArray scenes() const;
    QJsonObject scene(const QString& name) const;
    QList<HostItem> items(const QString& scene) const; // top-most first

    // Taken from the list of transitions: the host tells of a new choice there.
    QString transition() const;
    QStringList transitionNames() const;
    int transitionDuration_ms() const;

    // A mask of items has 32 bits: past the 32nd item positions share them. The mask in which each item's bit is as
    // wanted, whatever the earlier of those that share one want.
    static qint32 mask(const QList<bool>& wanted);
    static bool isSet(qint32 mask, qsizetype position);
    static constexpr int maskBits = 32;

private:
    const KestrelClient& m_client;
};
