// SPDX-License-Identifier: GPL-2.0-or-later
#include "protocol/propertynames.h"
#include "tests/support/protocolfixture.h"
#include "tests/support/table.h"

#include <QJsonDocument>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;
using Removal = std::function<void(FakeFrontEnd&)>;

// OBS without scenes, transitions, a profile or a window, and OBS that exits or changes its scene collection at any
// time.
class FailureInjectionTest : public ProtocolFixtureTest
{
    Q_OBJECT

private slots:

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
        row("window", u"transitionDuration"_s, 300, [this](auto& host) {
            host.durationBox->setParent(&m_otherWindow); // goes on answering the host's calls
            host.window.reset();
        });
        row("widgets in the window", u"transitionDuration"_s, 300, [this](auto& host) {
            host.durationBox->setParent(&m_otherWindow);
            delete host.sceneList;
        });
    }

    void fallsBackWhenObsLacks()
    {
        QFETCH(const Removal, remove);
        QFETCH(const QString, property);
        cleanup();
        m_fixture = std::make_unique<ProtocolFixture>(remove);
        const auto controller = m_fixture->controller();
        QTEST(controller->value(property), "fallback");
        for (int event = 0; event <= OBS_FRONTEND_EVENT_SCREENSHOT_TAKEN; ++event) {
            if (event != OBS_FRONTEND_EVENT_EXIT) {
                m_fixture->host.raise(event);
            }
        }
        for (const QLatin1StringView name : statePropertyNames) {
            controller->set(name, 1);
            controller->set(name, u"Main"_s);
        }
        QVERIFY(!controller->pushesUntilAnswer().contains("(no answer)"_L1));
    }

    void keepsScenesUntilTheirRowsAreDeleted()
    {
        FakeFrontEnd& host = m_fixture->host;
        host.perform(u"studio mode on, preview scene Größe"_s);
        const OBSWeakSourceAutoRelease program = obs_source_get_weak_source(host.scenes[0]);
        const OBSWeakSourceAutoRelease preview = obs_source_get_weak_source(host.scenes[1]);
        auto* row = new QObject; // would disconnect from the signals of the scenes
        bool isInTime = false;
        connect(row, &QObject::destroyed, this, [&] {
            ObsRuntime::settle();
            isInTime = !obs_weak_source_expired(program) && !obs_weak_source_expired(preview);
        });
        row->deleteLater();
        host.clearCollection();
        host.raise(OBS_FRONTEND_EVENT_SCENE_COLLECTION_CLEANUP);
        ObsRuntime::settle();
        QVERIFY(isInTime && obs_weak_source_expired(program) && obs_weak_source_expired(preview));
    }

    void survivesExitInsideADialog()
    {
        for (const QString& command : {u"stream off"_s, u"stream on"_s, u"record off"_s, u"record on"_s}) {
            init();
            const auto controller = m_fixture->controller();
            m_fixture->host.dialog = [this] {
                m_fixture->server->stop();
                m_fixture->host.raise(OBS_FRONTEND_EVENT_EXIT);
                QCoreApplication::processEvents(); // the dialog's event loop
                m_fixture->adapter.reset();
                m_fixture->server.reset();
            };
            const QJsonObject set {{"type"_L1, "set"_L1},
                                   {"name"_L1, QString(command.section(u' ', 0, 0) + "ing"_L1)},
                                   {"value"_L1, int {command.endsWith("on"_L1)}}};
            controller->sendEntries({set, QJsonObject {{"name"_L1, "sceneList"_L1}}, set});
            QTRY_VERIFY(!controller->isConnected());
            QVERIFY(!m_fixture->server);
            QCOMPARE(m_fixture->host.commands, QStringList {command}); // what follows the first is not handled
        }
    }

    void survivesExitAndCleanupAtAnyStep_data() { addTable(QFINDTESTDATA("pushes.txt"), {"script", "received"}); }

    void survivesExitAndCleanupAtAnyStep()
    {
        QFETCH(QString, script);
        const QStringList steps = script.remove(u'!').trimmed().split(", "_L1).mid(0, 2);
        for (qsizetype position = 0; position <= steps.size(); ++position) {
            for (const QString& end : {u"event SCENE_COLLECTION_CLEANUP"_s, u"event EXIT"_s}) {
                init();
                FakeFrontEnd& host = m_fixture->host;
                const auto controller = m_fixture->controller();
                const OBSWeakSourceAutoRelease scene = obs_source_get_weak_source(host.scenes[0]);
                const OBSWeakSourceAutoRelease transition = obs_source_get_weak_source(host.transitions[0]);
                QStringList changed = steps;
                changed.insert(position, end);
                for (const QString& step : changed) {
                    host.perform(step);
                    controller->set(u"sourceVisibles"_s, 5);
                    QVERIFY(controller->read(u"sceneList"_s).isArray());
                }
                if (host.callbacks.empty()) {
                    continue; // the host raises no event after its exit
                }
                QVERIFY(end != "event EXIT"_L1);
                // After any steps the next cleanup releases everything.
                host.clearCollection();
                host.perform(end);
                ObsRuntime::settle();
                QVERIFY(obs_weak_source_expired(scene) && obs_weak_source_expired(transition));
            }
        }
    }

private:
    QWidget m_otherWindow;
};

QTEST_MAIN(FailureInjectionTest)
#include "failureinjectiontest.moc"
