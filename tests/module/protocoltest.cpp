// SPDX-License-Identifier: GPL-2.0-or-later
#include "tests/support/protocolfixture.h"
#include "tests/support/table.h"

#include <QJsonDocument>
#include <QMetaMethod>

#include <thread>

using namespace Qt::StringLiterals;

// Requests, answers and notifications, seen by real controllers.
class ProtocolTest : public ProtocolFixture
{
    Q_OBJECT

private slots:

    void declaresSlotsInOrder()
    {
        QByteArray declared;
        const QMetaObject& meta = ProtocolAdapter::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            QCOMPARE(method.access(), QMetaMethod::Public);
            declared += QByteArray(method.typeName()) + ' ' + method.methodSignature() + '\n';
        }
        QCOMPARE(declared.split('\n'), contents(QFINDTESTDATA("slots.txt")).split('\n'));
    }

    void sendsFullState()
    {
        host().perform(u"hide item A, lock item C"_s);
        obs_output stream {.congestion = 0.125, .totalFrames = 5400, .droppedFrames = 54, .frameTime_ns = 33'333'333};
        host().streamingOutput = &stream;
        Controller controller(m_server->serverPort());
        const QByteArray state = QJsonDocument(controller.next().value_or(QJsonObject())).toJson();
        QByteArray expected = contents(QFINDTESTDATA("state.json"));
        for (const QString& name : {u"cpuUsage"_s, u"memoryUsage"_s}) { // of this process
            expected.replace("<" + name.toUtf8() + ">", controller.value(name).toString().toUtf8());
        }
        QCOMPARE(state.split('\n'), QJsonDocument::fromJson(expected).toJson().split('\n'));
        QVERIFY(controller.read(u"cpuUsage"_s).toString().endsWith(u'%'));
        QVERIFY(controller.read(u"memoryUsage"_s).toString().remove(" MB"_L1).toDouble() > 1);
        QVERIFY(controller.pushesUntilAnswer().isEmpty());               // no pushes for earlier changes
        QCOMPARE(controller.value(u"fps"_s), QJsonValue(u"0.00 fps"_s)); // without video
        host().streamingOutput = nullptr;
        QCOMPARE(controller.read(u"congestion"_s), QJsonValue(u"0.00%"_s));
        QCOMPARE(controller.read(u"streamingTime"_s), QJsonValue(u"00:00:00"_s));
        QCOMPARE(stream.references, 0);
    }

    void showsAnyName()
    {
        const QByteArray name = "a\"b\\\x01\t\xff" + QByteArray(3000, 'x');
        obs_source_set_name(host().scenes[0], ("scene " + name).constData());
        obs_source_set_name(obs_sceneitem_get_source(host().items[0]), name.constData());
        const QJsonValue scene = m_controller->read(u"sceneList"_s)[0];
        QCOMPARE(scene["name"_L1], "scene "_L1 + QString::fromUtf8(name));
        QCOMPARE(scene["sourceList"_L1][0]["name"_L1], QString::fromUtf8(name));
        QCOMPARE(m_controller->read(u"currentScene"_s), scene["name"_L1]);
    }

    void answers_data() { addTable(QFINDTESTDATA("requests.txt"), {"entries", "answer"}); }

    void answers()
    {
        QFETCH(const QString, entries);
        m_controller->send(QJsonDocument::fromJson("{\"values\":" + entries.toUtf8() + '}').object());
        QTEST(m_controller->pushesUntilAnswer().join(u'/'), "answer");
        QCOMPARE(host().commands, QStringList());
    }

    void sets_data() { addTable(QFINDTESTDATA("sets.txt"), {"called", "received"}); }

    void sets()
    {
        const QString tag = QString::fromUtf8(QTest::currentDataTag());
        const QJsonObject set = QJsonDocument::fromJson(tag.first(tag.lastIndexOf(u'}') + 1).toUtf8()).object();
        if (tag.endsWith("in studio mode"_L1)) {
            host().perform(u"in studio mode with preview Main"_s);
        }
        m_controller->set(set["name"_L1].toString(), set.value("value"_L1));
        QTEST(m_controller->pushesUntilAnswer().join(u' '), "received");
        QTEST(host().commands.join(", "_L1), "called");
        for (const QString& name : {u"streaming"_s, u"recording"_s}) {
            const bool isOn = set["name"_L1] == name && set["value"_L1].toDouble() > 0;
            QCOMPARE(m_controller->value(name), QJsonValue(isOn)); // as last pushed
        }
    }

    void ignoresWhatDoesNotConvert_data() { addTable(QFINDTESTDATA("ignored.txt"), {"values"}); }

    void ignoresWhatDoesNotConvert()
    {
        QFETCH(const QString, values);
        for (const QString& name : QString::fromLatin1(QTest::currentDataTag()).split(u' ')) {
            m_controller->set(name, QJsonValue(QJsonValue::Undefined));
            for (const QJsonValue value : QJsonDocument::fromJson('[' + values.toUtf8() + ']').array()) {
                m_controller->set(name, value);
            }
        }
        QCOMPARE(m_controller->pushesUntilAnswer(), QStringList());
        QCOMPARE(host().commands, QStringList());
        QCOMPARE(m_controller->read(u"sourceVisibles"_s), QJsonValue(7));
    }

    void answersTheRequesterOnly()
    {
        const auto listener = connectController();
        const QJsonObject read = getEntry(u"studioMode"_s);
        m_controller->sendEntries({read, setEntry(u"studioMode"_s, 1), read});
        const QStringList pushed {u"studioMode"_s, u"sceneList"_s, u"currentScene"_s, u"previewScene"_s};
        QCOMPARE(m_controller->pushesUntilAnswer(),
                 pushed + QStringList {u"studioMode studioMode"_s});      // the answer comes last
        QCOMPARE(m_controller->value(u"studioMode"_s), QJsonValue(true)); // read behind the set
        QCOMPARE(listener->pushesUntilAnswer(), pushed);
    }

    void masksItems()
    {
        const QStringList pair {u"sceneList"_s, u"sourceVisibles"_s};
        host().perform(u"in studio mode with preview Größe"_s); // the masks are the program scene's all the same
        m_controller->set(u"sourceVisibles"_s, 2);
        QCOMPARE(m_controller->pushesUntilAnswer(), pair + pair); // A and C
        m_controller->set(u"sourceVisibles"_s, 5);
        QCOMPARE(m_controller->pushesUntilAnswer(), pair + pair + pair);
        QCOMPARE(m_controller->value(u"sourceVisibles"_s), QJsonValue(5));
        m_controller->set(u"sourceVisibles"_s, 5);
        QCOMPARE(m_controller->pushesUntilAnswer(), QStringList());

        const std::vector<obs_sceneitem_t*> items = host().items;
        addItems(30, 2); // now 33 items, A, B and C at the bottom
        m_controller->pushesUntilAnswer();
        m_controller->set(u"sourceLocks"_s, 2147483648.0); // bit 31, without a sign: B
        QCOMPARE(m_controller->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceLocks"_s}));
        QVERIFY(obs_sceneitem_locked(items[1]));
        QCOMPARE(m_controller->value(u"sourceLocks"_s), QJsonValue(-2147483648.0));
        m_controller->set(u"sourceLocks"_s, 1); // the top-most and C; B no more
        QCOMPARE(m_controller->pushesUntilAnswer().size(), 6);
        QCOMPARE(m_controller->value(u"sourceLocks"_s), QJsonValue(1));
        QVERIFY(obs_sceneitem_locked(items[2]) && !obs_sceneitem_locked(items[1]));
        obs_sceneitem_set_locked(items[2], false);
        QCOMPARE(m_controller->read(u"sourceLocks"_s), QJsonValue(0)); // the later item decides
    }

    void marksThePreviewScene()
    {
        for (const QString& script : {u"studio mode on"_s, u"preview scene Größe"_s, u"studio mode off"_s}) {
            host().perform(script);
            const QJsonValue list = m_controller->read(u"sceneList"_s);
            QCOMPARE(list[1]["isCurrent"_L1].toBool(), script.endsWith(u"Größe"));
            QCOMPARE(list[0]["isCurrent"_L1].toBool(), !script.endsWith(u"Größe"));
        }
        QCOMPARE(m_controller->value(u"previewScene"_s), QJsonValue(u"Größe"_s)); // kept
        QCOMPARE(m_controller->value(u"currentScene"_s), QJsonValue(u"Main"_s));
    }

    void measuresTheRecordingDisk()
    {
        config_t* profile = host().profile;
        config_set_string(profile, "SimpleOutput", "FilePath", "/nowhere");
        config_set_string(profile, "AdvOut", "RecFilePath", "/");
        config_set_string(profile, "Output", "Mode", "advanced");
        QCOMPARE(m_controller->read(u"freeDisk"_s), QJsonValue(u"0.0 MB"_s));
        config_set_string(profile, "Output", "Mode", "Advanced");
        QVERIFY(m_controller->read(u"freeDisk"_s).toString() != "0.0 MB"_L1);
    }

    void fitsLargeScenesIntoFrames()
    {
        addItems(150, 9);
        Controller controller(m_server->serverPort());
        const QString state = Controller::namesIn(controller.next().value_or(QJsonObject()));
        QVERIFY(state.contains("recording {} currentScene"_L1)); // the list alone is too long
        controller.send({}, true);
        controller.sendEntries({getEntry(u"recording"_s), getEntry(u"sceneList"_s)});
        QCOMPARE(controller.pushesUntilAnswer().mid(0, 2), (QStringList {u"recording"_s, u"sceneList"_s}));
        QCOMPARE(controller.value(u"sceneList"_s)[0]["sourceList"_L1].toArray().size(), 153);
    }

    void pushes_data() { addTable(QFINDTESTDATA("pushes.txt"), {"script", "received"}); }

    void pushes()
    {
        QFETCH(QString, script);
        const int threads = script.endsWith(u'!') ? 2 : 1;
        for (int thread = 0; thread < threads; ++thread) {
            init();
            const auto second = connectController();
            const auto change = [&] { host().perform(script.remove(u'!').trimmed()); };
            thread == 0 ? change() : std::thread(change).join();
            QCoreApplication::processEvents();
            QTEST(m_controller->pushesUntilAnswer().join(u' '), "received"); // a message each
            QTEST(second->pushesUntilAnswer().join(u' '), "received");

            // Bits of the mask are in the order of the list of items.
            int mask = 0;
            for (const QJsonValue item : m_controller->read(u"sceneList"_s)[0]["sourceList"_L1].toArray()) {
                mask |= int {item["isVisible"_L1].toBool()} << item["sortIndex"_L1].toInt();
            }
            const bool isOnAir = host().currentScene == host().scenes[0];
            QCOMPARE(m_controller->read(u"sourceVisibles"_s), QJsonValue(isOnAir ? mask : 0));
        }
    }

    void switchesCollections_data() { addTable(QFINDTESTDATA("collections.txt"), {"script", "received"}); }

    void switchesCollections()
    {
        QFETCH(const QString, script);
        const bool isStudioMode = QByteArrayView(QTest::currentDataTag()).endsWith("in studio mode");
        host().perform(isStudioMode ? u"studio mode on, preview scene Größe"_s : u""_s);
        host().perform(u"hide item A, event SCENE_COLLECTION_CHANGING"_s);
        host().clearCollection();
        m_controller->pushesUntilAnswer();
        host().perform(u"event SCENE_COLLECTION_CLEANUP"_s);
        QCOMPARE(m_controller->pushesUntilAnswer(), QStringList());
        QCOMPARE(ObsRuntime::countSources(), 0);
        for (const char* name : {"currentScene", "currentTransition", "sourceVisibles", "sourceLocks"}) {
            QCOMPARE(m_controller->read(QString::fromLatin1(name)), QJsonValue(u""_s));
        }

        host().items.push_back(ObsRuntime::addItem(host().addScene("Fresh"), "F"));
        host().addTransition("Swipe");
        host().previewScene = host().currentScene;
        host().perform(script);
        host().perform(u"event SCENE_COLLECTION_CHANGED"_s);
        QTEST(m_controller->pushesUntilAnswer().join(u' '), "received");
        QCOMPARE(m_controller->value(u"currentScene"_s), QJsonValue(u"Fresh"_s));
        QCOMPARE(m_controller->value(u"previewScene"_s), QJsonValue(isStudioMode ? u"Fresh"_s : u""_s));
        QCOMPARE(m_controller->value(u"transitionsList"_s)[0]["isCurrent"_L1], QJsonValue(true));
        host().perform(u"hide item F"_s); // of the program scene, and of the preview
        const QStringList pair {u"sceneList"_s, u"sourceVisibles"_s};
        QCOMPARE(m_controller->pushesUntilAnswer(), isStudioMode ? pair + pair : pair);
    }

    void releasesRemovedSources()
    {
        const auto remove = [&](const QString& script, long sourcesLeft) {
            m_controller->pushesUntilAnswer();
            host().perform(script);
            QCOMPARE(m_controller->pushesUntilAnswer(), QStringList {u"sceneList"_s});
            QTRY_COMPARE(ObsRuntime::countSources(), sourcesLeft);
        };
        remove(u"remove item B"_s, 6); // two each of scenes, items and transitions
        host().perform(u"studio mode on, preview scene Größe"_s);
        remove(u"remove scene Größe"_s, 5);
        QCOMPARE(m_controller->read(u"previewScene"_s), QJsonValue(u""_s));

        host().addScene("Next");
        host().perform(u"studio mode off"_s);
        remove(u"remove scene Main"_s, 3); // and its items
        m_controller->set(u"sourceVisibles"_s, 0);
        QCOMPARE(m_controller->read(u"currentScene"_s), QJsonValue(u""_s));
        host().perform(u"event SCENE_CHANGED"_s);
        QCOMPARE(m_controller->read(u"currentScene"_s), QJsonValue(u"Next"_s));
    }

    void releasesAnItemThatMovesIntoAGroup()
    {
        // The item leaves the scene without "item_remove".
        obs_sceneitem_t* item = host().items.back();
        auto listed = std::make_unique<SceneSource>(item);
        const OBSSceneItem group = obs_scene_insert_group(obs_scene_from_source(host().scenes[0]), "Group", &item, 1);
        listed->setVisible(false); // which is for items of the scene only
        QVERIFY(obs_sceneitem_visible(item));
        listed.reset();
        m_controller->pushesUntilAnswer();
        obs_sceneitem_remove(item);
        m_controller->pushesUntilAnswer();
        QTRY_COMPARE(ObsRuntime::countSources(), 7);
        obs_sceneitem_remove(group);
    }

#ifndef Q_OS_WIN // whose clock cannot be stopped
    void sendsAtOnce()
    {
        const FrozenClock clock; // no idle pass runs, which would send what is left
        for (int i = 0; i < 20; ++i) {
            Controller controller(m_server->serverPort());
            QVERIFY(controller.next());
            host().perform(u"event SCENE_LIST_CHANGED"_s);
            QVERIFY(controller.next());
            QCOMPARE(controller.pushesUntilAnswer(), QStringList());
        }
    }
#endif
};

QTEST_MAIN(ProtocolTest)
#include "protocoltest.moc"
