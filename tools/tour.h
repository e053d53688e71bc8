// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "journal.h"
#include "session.h"

#include <functional>

// A short tour through what a controller can do, on a host that was prepared for it: every step asks for something
// and then waits until the plug-in has told that it happened. Each step is printed in a line of its own.
class Tour : public QObject
{
    Q_OBJECT

public:
    explicit Tour(quint16 port);

    // Runs an event loop of its own where it waits. True when every step was seen; ends at the first that was not.
    bool run();

private:
    struct Step
    {
        QLatin1StringView title;
        bool (Tour::*act)() = nullptr;
    };

    static const QList<Step>& steps();

    bool receiveFullState();
    bool readSceneList();
    bool switchProgramScene();
    bool hideItem();
    bool showItem();
    bool enterStudioMode();
    bool choosePreviewScene();
    bool triggerTransition();
    bool leaveStudioMode();
    bool record();
    bool readStatistics();

    // Waits until the condition holds, looked at whenever something has arrived; "poll" is called again and again
    // meanwhile. False, and "what" is remembered as missing, when time runs out or the connection ends.
    bool waitFor(const QString& what, const std::function<bool()>& condition, const std::function<void()>& poll = {});
    bool waitForRun(const QList<Journal::Expectation>& run);
    bool require(const QString& what, bool holds);

    QJsonObject scene(const QString& name) const { return m_session.host().scene(name); }

    bool setItemVisible(bool isVisible);

    Session m_session;
    KestrelClient& m_client; // of the session
    Journal m_journal;       // of the running step
    QStringList m_stateOrder;
    QString m_seen; // what the running step tells when it has succeeded
    QString m_missing;
};
