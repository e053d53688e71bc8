// SPDX-License-Identifier: GPL-2.0-or-later
#include "protocol/propertynames.h"
#include "tests/support/protocolfixture.h"
#include "tests/support/table.h"

#include <QJsonDocument>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;
using Removal = std::function<void(FakeFrontEnd&)>;
Q_DECLARE_METATYPE(Removal)

// OBS without scenes, transitions, a profile or a window, and OBS that exits or changes its scene collection at any
// time.
class FailureInjectionTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?"); }

    void cleanupTestCase() { QCOMPARE(ObsRuntime::stop(), 0); }

    void fallsBackWhenObsLacks_data()
    {
        QTest::addColumn<Removal>("remove");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QJsonValue>("fallback");
        const QJsonValue none(u""_s);
        const auto array = [](const char* json) { return QJsonDocument::fromJson(json).array(); };
        const auto row = [](const char* name, const QString& property, const QJsonValue& fallback,
                            const Removal& remove) { QTest::newRow(name) << remove << property << fallback; };
        row("scene on air", u"sourceVisibles"_s, none, [](auto& host) { host.currentScene = nullptr; });
        row("scenes", u"sceneList"_s, QJsonArray(), [](auto& host) { host.clearCollection(); });
        row("one of the scenes", u"sceneList"_s,
            array(R"([{"isCurrent":false,"name":"Größe","sortIndex":0,"sourceList":[]}])"), [](auto& host) {
                obs_source_remove(host.scenes[0]);
                host.scenes[0] = nullptr;
            });
        row("one of the transitions", u"transitionsList"_s,
            array(R"([{"isCurrent":false,"name":"Fade","sortIndex":0}])"),
            [](auto& host) { host.transitions[0] = nullptr; });
        row("transition", u"currentTransition"_s, none, [](auto& host) { host.currentTransition = nullptr; });
        row("preview in studio mode", u"previewScene"_s, none, [](auto& host) { host.isStudioMode = true; });
        row("profile", u"freeDisk"_s, u"Error"_s,
            [](auto& host) { config_close(std::exchange(host.profile, nullptr)); });
        row("window", u"transitionDuration"_s, 300, [](auto& host) {
            host.durationBox->setParent(nullptr); // goes on answering the host's calls
            host.window.reset();
        });
        row("widgets in the window", u"transitionDuration"_s, 300, [](auto& host) {
            host.durationBox->setParent(nullptr);
            delete host.sceneList;
        });
    }

    void fallsBackWhenObsLacks()
    {
        QFETCH(const Removal, remove);
        QFETCH(const QString, property);
        FakeFrontEnd host;
        remove(host);
        const std::unique_ptr<QWidget> orphan(host.window && host.durationBox->parent() ? nullptr : host.durationBox);
        NetworkServer server(nullptr);
        ProtocolAdapter adapter(&server);
        server.start(0);
        Controller controller(server.serverPort());
        QVERIFY(controller.next());
        QTEST(controller.value(property), "fallback");
        for (int event = 0; event <= OBS_FRONTEND_EVENT_SCREENSHOT_TAKEN; ++event) {
            if (event != OBS_FRONTEND_EVENT_EXIT) {
                host.raise(event);
            }
        }
        for (const QLatin1StringView name : statePropertyNames) {
            controller.set(name, 1);
            controller.set(name, u"Main"_s);
        }
        QVERIFY(!controller.pushesUntilAnswer().contains("(no answer)"_L1));
        host.raise(OBS_FRONTEND_EVENT_EXIT);
    }

    void keepsScenesUntilTheirRowsAreDeleted()
    {
        ProtocolFixture fixture;
        fixture.host.perform(u"studio mode on, preview scene Größe"_s);
        const OBSWeakSourceAutoRelease program = obs_source_get_weak_source(fixture.host.scenes[0]);
        const OBSWeakSourceAutoRelease preview = obs_source_get_weak_source(fixture.host.scenes[1]);
        auto* row = new QObject; // would disconnect from the signals of the scenes
        bool isInTime = false;
        connect(row, &QObject::destroyed, this, [&] {
            ObsRuntime::settle();
            isInTime = !obs_weak_source_expired(program) && !obs_weak_source_expired(preview);
        });
        row->deleteLater();
        fixture.host.clearCollection();
        fixture.host.raise(OBS_FRONTEND_EVENT_SCENE_COLLECTION_CLEANUP);
        ObsRuntime::settle();
        QVERIFY(isInTime && obs_weak_source_expired(program) && obs_weak_source_expired(preview));
    }

    void survivesExitInsideADialog()
    {
        for (const QString& set : {u"streaming 0"_s, u"streaming 1"_s, u"recording 0"_s, u"recording 1"_s}) {
            FakeFrontEnd host;
            auto server = std::make_unique<NetworkServer>(nullptr);
            auto adapter = std::make_unique<ProtocolAdapter>(server.get());
            server->start(0);
            Controller controller(server->serverPort());
            QVERIFY(controller.next());
            host.dialog = [&] {
                server->stop();
                host.raise(OBS_FRONTEND_EVENT_EXIT);
                QCoreApplication::processEvents(); // the dialog's event loop
                adapter.reset();
                server.reset();
            };
            QJsonArray entries;
            for (int i = 0; i < 3; ++i) { // what follows the first is not handled
                entries.append(QJsonObject {{"type"_L1, "set"_L1},
                                            {"name"_L1, set.section(u' ', 0, 0)},
                                            {"value"_L1, set.section(u' ', 1).toInt()}});
                entries.append(QJsonObject {{"name"_L1, "sceneList"_L1}});
            }
            controller.sendEntries(entries);
            QTRY_VERIFY(!controller.isConnected());
            QVERIFY(!server);
            QCOMPARE(host.commands.size(), 1);
        }
    }

    void survivesExitAndCleanupAtAnyStep_data() { addTable(QFINDTESTDATA("pushes.txt"), {"script", "received"}); }

    void survivesExitAndCleanupAtAnyStep()
    {
        QFETCH(QString, script);
        const QStringList steps = script.remove(u'!').trimmed().split(", "_L1).mid(0, 2);
        for (qsizetype position = 0; position <= steps.size(); ++position) {
            for (const QString& end : {u"event SCENE_COLLECTION_CLEANUP"_s, u"event EXIT"_s}) {
                ProtocolFixture fixture;
                const auto controller = fixture.controller();
                const OBSWeakSourceAutoRelease scene = obs_source_get_weak_source(fixture.host.scenes[0]);
                const OBSWeakSourceAutoRelease transition = obs_source_get_weak_source(fixture.host.transitions[0]);
                QStringList changed = steps;
                changed.insert(position, end);
                for (const QString& step : changed) {
                    fixture.host.perform(step);
                    controller->set(u"sourceVisibles"_s, 5);
                    QVERIFY(controller->read(u"sceneList"_s).isArray());
                }
                if (fixture.host.callbacks.empty()) {
                    continue; // the host raises no event after its exit
                }
                QVERIFY(end != "event EXIT"_L1);
                // After any steps the next cleanup releases everything.
                fixture.host.clearCollection();
                fixture.host.perform(end);
                ObsRuntime::settle();
                QVERIFY(obs_weak_source_expired(scene) && obs_weak_source_expired(transition));
            }
        }
    }
};

QTEST_MAIN(FailureInjectionTest)
#include "failureinjectiontest.moc"
