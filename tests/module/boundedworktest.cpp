// SPDX-License-Identifier: GPL-2.0-or-later
#include "support/slicedtask.h"
#include "tests/support/protocolfixture.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;

// Requests and changes that cost more than one turn of the event loop, and controllers that do not read.
class BoundedWorkTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?"); }

    void cleanupTestCase() { QCOMPARE(ObsRuntime::stop(), 0); }

    void init() { m_fixture = std::make_unique<ProtocolFixture>(); }

    void cleanup()
    {
        m_fixture.reset();
        ObsRuntime::settle();
    }

    void runsInSlices()
    {
        // Work that never ends takes turns with everything else, and only one run is ever outstanding.
        int runs = 0;
        SlicedTask task([&] {
            ++runs;
            QVERIFY(task.begin());
            while (!task.isSliceOver()) {}
            task.schedule();
            task.schedule();
        });
        task.schedule();
        QVERIFY(!task.begin()); // what is outstanding goes first
        QCOMPARE(runs, 0);
        for (int turn = 1; turn <= 3; ++turn) {
            QCoreApplication::processEvents();
            QCOMPARE(runs, turn);
        }
    }

    void endsInItsOwnWork()
    {
        std::unique_ptr<SlicedTask> task;
        task = std::make_unique<SlicedTask>([&task] { task.reset(); });
        task->schedule();
        QTRY_VERIFY(!task);
    }

    void servesOthersBetweenTheEntriesOfARequest()
    {
        addItems(300, 100);
        const auto asker = longFrameController();
        const auto other = m_fixture->controller();
        // Each set makes the next list be read anew.
        constexpr int pairs = 400;
        QJsonArray entries;
        for (int i = 0; i < pairs; ++i) {
            entries.append(QJsonObject {{"type"_L1, "set"_L1}, {"name"_L1, "triggerTransition"_L1}, {"value"_L1, 1}});
            entries.append(QJsonObject {{"name"_L1, "sceneList"_L1}});
        }
        entries.append(QJsonObject {{"name"_L1, "fps"_L1}});
        asker->send({{"values"_L1, entries}}, true);
        asker->sendEntries({QJsonObject {{"name"_L1, "streaming"_L1}}}); // handled after all of the first
        int answersToOther = 0;
        QStringList received;
        while (!received.endsWith(u"streaming"_s)) {
            answersToOther += other->pushesUntilAnswer().isEmpty();
            while (asker->hasMessage()) {
                received += Controller::namesIn(*asker->next());
            }
        }
        QVERIFY2(answersToOther > 3, "the other controller had to wait for the whole request");
        QCOMPARE(received.size(), pairs + 2);
        QCOMPARE(received.count(u"sceneList"_s), pairs);
    }

    void answersAsFastAsTheControllerReads()
    {
        addItems(50, 2000);
        const auto asker = longFrameController();
        constexpr int lists = 200; // several times what may ever be unsent
        asker->send({{"values"_L1, QJsonArray::fromVariantList(QVariantList(lists, listEntry()))}}, true);
        asker->setReading(false);
        QTest::qWait(100); // the system's buffers fill
        asker->setReading(true);
        for (int i = 0; i < lists; ++i) {
            const std::optional<QJsonObject> message = asker->next();
            QVERIFY2(message, qPrintable(QString::number(i)));
            QCOMPARE(Controller::namesIn(*message), u"sceneList"_s);
        }
    }

    void sendsEverythingToAPeerThatHasFinished()
    {
        addItems(50, 2000);
        const auto asker = longFrameController();
        constexpr int lists = 100;
        asker->send({{"values"_L1, QJsonArray::fromVariantList(QVariantList(lists, listEntry()))}}, true);
        asker->setReading(false);
        asker->shutDownSending();
        QTest::qWait(100);
        asker->setReading(true);
        for (int i = 0; i < lists; ++i) {
            QVERIFY2(asker->next(), qPrintable(QString::number(i)));
        }
        QTRY_VERIFY(!asker->isConnected());
    }

    void sendsTheNewestValuesToASlowReader()
    {
        addItems(50, 2000);
        const auto slow = longFrameController();
        const auto writer = m_fixture->controller(); // sets and never reads
        const auto fast = longFrameController();
        slow->setReading(false);
        writer->setReading(false);
        constexpr int changes = 250; // in bytes, more than the limit that ends a connection
        for (int i = 0; i < changes; ++i) {
            obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
            QCOMPARE(fast->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
        }
        obs_sceneitem_set_locked(m_fixture->host.items[1], true);
        writer->set(u"sourceVisibles"_s, 5);
        QTRY_COMPARE(fast->read(u"sourceVisibles"_s), QJsonValue(5));

        slow->setReading(true);
        // What was unsent, then, once that has been read, the newest values.
        QStringList received = slow->pushesUntilAnswer();
        received += slow->pushesUntilAnswer();
        QVERIFY2(received.size() < changes * 3 / 2, "every value was queued");            // two for each change
        QCOMPARE(received.last(3).join(u' '), u"sourceLocks sceneList sourceVisibles"_s); // by their latest change
        for (const QString& name : {u"sourceVisibles"_s, u"sourceLocks"_s, u"sceneList"_s}) {
            QCOMPARE(slow->value(name), fast->read(name));
        }
        QVERIFY(writer->isConnected());
        obs_sceneitem_set_visible(m_fixture->host.items[1], true); // from then on each change as usual
        QCOMPARE(slow->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
    }

    void pushesTheLastStateOfAFlood()
    {
        const auto controller = m_fixture->controller();
        std::thread worker([this] {
            for (int i = 0; i < 10'000; ++i) {
                obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
                obs_sceneitem_set_locked(m_fixture->host.items[1], i % 2 == 0);
            }
            obs_sceneitem_remove(m_fixture->host.items[2]);
        });
        worker.join();
        const QStringList received = controller->pushesUntilAnswer();
        QVERIFY2(received.size() < 100, "every change was kept");
        const QJsonValue items = controller->value(u"sceneList"_s)[0]["sourceList"_L1];
        QCOMPARE(items.toArray().size(), 2);
        QCOMPARE(items[0]["isVisible"_L1], QJsonValue(true));
        QCOMPARE(controller->value(u"sourceVisibles"_s).toInt() & 3, 3);
        QCOMPARE(controller->value(u"sourceLocks"_s), QJsonValue(0));
        m_fixture->host.items.pop_back();
    }

    void boundsTheChangesOfOneMask()
    {
        addItems(600, 10);
        const auto controller = longFrameController();
        controller->set(u"sourceVisibles"_s, 0);
        const qsizetype pushes = controller->pushesUntilAnswer().size();
        QVERIFY(pushes >= 2);
        QVERIFY2(pushes < 600, "each of hundreds of items was pushed");
        QCOMPARE(controller->read(u"sourceVisibles"_s), QJsonValue(0));
        for (const QJsonValue item : controller->read(u"sceneList"_s)[0]["sourceList"_L1].toArray()) {
            QVERIFY(!item["isVisible"_L1].toBool());
        }
    }

    void releasesAnItemThatMovesIntoAGroup()
    {
        // The item leaves the scene without "item_remove".
        FakeFrontEnd& host = m_fixture->host;
        const auto controller = m_fixture->controller();
        obs_scene_t* scene = obs_scene_from_source(host.scenes[0]);
        obs_sceneitem_t* item = host.items.back();
        const OBSWeakSourceAutoRelease camera = obs_source_get_weak_source(obs_sceneitem_get_source(item));
        OBSSceneItem group = obs_scene_insert_group(scene, "Group", &item, 1);
        controller->pushesUntilAnswer();
        obs_sceneitem_remove(item);
        host.items.pop_back();
        controller->pushesUntilAnswer();
        ObsRuntime::settle();
        QTRY_VERIFY(obs_weak_source_expired(camera));
        obs_sceneitem_remove(group);
    }

    void ignoresNamesThatObsWouldCut()
    {
        const auto controller = m_fixture->controller();
        m_fixture->host.commands.clear();
        for (const QString& property : {u"currentScene"_s, u"previewScene"_s, u"sceneList"_s}) {
            controller->set(property, QString(u"Main"_s + QChar(0) + u"x"_s));
        }
        controller->pushesUntilAnswer();
        QCOMPARE(m_fixture->host.commands, QStringList());
    }

    void reportsARefusedWriteOnce()
    {
        // A controller has gone while its request runs a dialog, and changes go on.
        const auto controller = m_fixture->controller();
        const auto other = m_fixture->controller();
        connect(&m_fixture->server, &NetworkServer::connectionRemoved, this, [this] {
            for (int i = 0; i < 100; ++i) {
                obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
                QCoreApplication::processEvents();
            }
        });
        controller->close();
        QStringList logged;
        QTRY_VERIFY((logged += m_fixture->log.take()).contains(u"Deleting dead connection"_s));
        QCOMPARE(logged.count(u"NetworkConnection::write failed, disconnecting"_s), 1);
    }

private:
    // A controller that understands long frames.
    std::unique_ptr<Controller> longFrameController()
    {
        auto controller = m_fixture->controller();
        controller->send({{"values"_L1, QJsonArray {}}}, true);
        controller->pushesUntilAnswer();
        return controller;
    }

    static QVariant listEntry() { return QJsonObject {{"name"_L1, "sceneList"_L1}}.toVariantMap(); }

    // More items of the program scene, with names that make their list long.
    void addItems(int count, int nameLength)
    {
        for (int i = 0; i < count; ++i) {
            const QByteArray name = QByteArray::number(i).rightJustified(nameLength, 'x');
            m_fixture->host.items.insert(m_fixture->host.items.begin(),
                                         ObsRuntime::addItem(obs_scene_from_source(m_fixture->host.scenes[0]), name));
        }
        QCoreApplication::processEvents();
    }

    std::unique_ptr<ProtocolFixture> m_fixture;
};

QTEST_MAIN(BoundedWorkTest)
#include "boundedworktest.moc"
