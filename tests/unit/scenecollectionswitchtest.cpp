// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/scenecollectionswitch.h"

#include <QTest>

using Switch = SceneCollectionSwitch;

// Which changes of a scene-collection switch are left to push, for each order of the events of OBS.
class SceneCollectionSwitchTest : public QObject
{
    Q_OBJECT

private slots:

    void returnsPendingChanges_data()
    {
        enum Event {
            Cleanup = 0,
            Scene = Switch::ProgramScene,
            Preview = Switch::PreviewScene,
            List = Switch::Transitions
        };

        constexpr int all = Scene | Preview | List;
        QTest::addColumn<QList<int>>("events"); // up to the end of the switch
        QTest::addColumn<int>("pending");       // -1: no switch
        const auto row
            = [](const char* name, const QList<int>& events, int pending) { QTest::newRow(name) << events << pending; };
        row("no events", {}, -1);
        row("changes without a switch", {Scene, Preview, List}, -1);
        row("no change", {Cleanup}, all);
        row("program scene", {Cleanup, Scene}, Preview | List);
        row("preview scene", {Cleanup, Preview}, Scene | List);
        row("transitions", {Cleanup, List}, Scene | Preview);
        row("all changes", {Cleanup, List, Scene, Preview}, 0);
        row("one change twice", {Cleanup, Scene, Scene}, Preview | List);
        row("changes before the cleanup", {Scene, Preview, List, Cleanup}, all);
        row("a second cleanup", {Cleanup, Scene, List, Cleanup, Preview}, Scene | List);
    }

    void returnsPendingChanges()
    {
        QFETCH(const QList<int>, events);
        QFETCH(const int, pending);
        Switch collection;
        for (const int event : events) {
            if (event == 0) {
                collection.begin();
            } else {
                collection.notified(static_cast<Switch::Change>(event));
            }
        }
        QCOMPARE(collection.isUnderWay(), pending >= 0);
        const auto ended = collection.end();
        QCOMPARE(ended ? ended->toInt() : -1, pending);
        QVERIFY(!collection.isUnderWay());
        collection.notified(Switch::ProgramScene);
        QVERIFY(!collection.end());
    }
};

QTEST_APPLESS_MAIN(SceneCollectionSwitchTest)
#include "scenecollectionswitchtest.moc"
