// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/transition.h"
#include "protocol/propertynames.h"
#include "tests/support/protocolfixture.h"
#include "tests/support/table.h"

#include <QJsonDocument>

#include <functional>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Removal = std::function<void(FakeFrontEnd&)>;

// OBS without scenes, transitions, a profile or a window; OBS that exits, changes its scene collection or works on
// another thread at any time.
class FailureInjectionTest : public ProtocolFixture
{
    Q_OBJECT

private slots:

    void fallsBackWhenObsLacks_data()
    {
        QTest::addColumn<Removal>("remove");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QByteArray>("fallback"); // as JSON
        const auto row = [](const char* name, const QString& property, const QByteArray& fallback,
                            const Removal& remove) { QTest::newRow(name) << remove << property << fallback; };
        row("scene on air", u"sourceVisibles"_s, "\"\"", [](auto& obs) { obs.currentScene = nullptr; });
        row("scenes", u"sceneList"_s, "[]", [](auto& obs) { obs.clearCollection(); });
        row("one of the scenes", u"sceneList"_s,
            R"([{"isCurrent":false,"name":"Größe","sortIndex":0,"sourceList":[]}])", [](auto& obs) {
                obs_source_remove(obs.scenes[0]);
                obs.scenes[0] = nullptr;
            });
        row("one of the transitions", u"transitionsList"_s, R"([{"isCurrent":false,"name":"Fade","sortIndex":0}])",
            [](auto& obs) { obs.transitions[0] = nullptr; });
        row("transition", u"currentTransition"_s, "\"\"", [](auto& obs) { obs.currentTransition = nullptr; });
        row("preview in studio mode", u"previewScene"_s, "\"\"", [](auto& obs) { obs.isStudioMode = true; });
        row("profile", u"freeDisk"_s, "\"Error\"",
            [](auto& obs) { config_close(std::exchange(obs.profile, nullptr)); });
        row("window", u"transitionDuration"_s, "300", [this](auto& obs) {
            obs.durationBox->setParent(&m_otherWindow); // goes on answering the host's calls
            obs.window.reset();
        });
        row("widgets in the window", u"transitionDuration"_s, "300", [this](auto& obs) {
            obs.durationBox->setParent(&m_otherWindow);
            delete obs.sceneList;
        });
    }

    void fallsBackWhenObsLacks()
    {
        QFETCH(const Removal, remove);
        QFETCH(const QString, property);
        startWith(remove);
        QFETCH(const QByteArray, fallback);
        QCOMPARE(m_controller->value(property), QJsonDocument::fromJson('[' + fallback + ']')[0]);
        for (int event = 0; event <= OBS_FRONTEND_EVENT_SCREENSHOT_TAKEN; ++event) {
            if (event != OBS_FRONTEND_EVENT_EXIT) {
                host().raise(event);
            }
        }
        for (const QLatin1StringView name : statePropertyNames) {
            m_controller->set(name, 1);
            m_controller->set(name, u"Main"_s);
        }
        QVERIFY(!m_controller->pushesUntilAnswer().contains("(no answer)"_L1));
    }

    void keepsScenesUntilTheirRowsAreDeleted()
    {
        host().perform(u"studio mode on, preview scene Größe"_s);
        auto* row = new QObject; // would disconnect from the signals of the scenes
        long sourcesWithRow = 0;
        connect(row, &QObject::destroyed, this, [&] { sourcesWithRow = ObsRuntime::countSources(); });
        row->deleteLater();
        host().clearCollection();
        host().raise(OBS_FRONTEND_EVENT_SCENE_COLLECTION_CLEANUP);
        QCOMPARE(sourcesWithRow, 5); // the scenes and the items
        QCOMPARE(ObsRuntime::countSources(), 0);
    }

    void survivesExitInsideADialog()
    {
        for (const QString& command : {u"stream off"_s, u"stream on"_s, u"record off"_s, u"record on"_s}) {
            init();
            host().dialog = [this] {
                m_server->stop();
                host().raise(OBS_FRONTEND_EVENT_EXIT);
                QCoreApplication::processEvents(); // the dialog's event loop
                m_adapter.reset();
                m_server.reset();
            };
            const QJsonObject set = setEntry(command.section(u' ', 0, 0) + "ing"_L1, int {command.endsWith("on"_L1)});
            m_controller->sendEntries({set, getEntry(u"sceneList"_s), set});
            QTRY_VERIFY(!m_controller->isConnected());
            QVERIFY(!m_server);
            QCOMPARE(host().commands, QStringList {command}); // what follows the first is not handled
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
                QStringList changed = steps;
                changed.insert(position, end);
                for (const QString& step : changed) {
                    host().perform(step);
                    m_controller->set(u"sourceVisibles"_s, 5);
                    QVERIFY(m_controller->read(u"sceneList"_s).isArray());
                }
                if (host().callbacks.empty()) {
                    continue; // the host raises no event after its exit
                }
                QVERIFY(end != "event EXIT"_L1);
                // After any steps the next cleanup releases everything.
                host().clearCollection();
                host().perform(end);
                QCOMPARE(ObsRuntime::countSources(), 0);
            }
        }
    }

    void fallsBackWithoutSource()
    {
        QVERIFY(Scene(nullptr).sceneSources().isEmpty());
        QCOMPARE(Transition(nullptr).name(), u"NULL"_s);
        SceneSource item(nullptr);
        item.setVisible(true);
        item.setLocked(true);
        QVERIFY(!item.isVisible() && !item.isLocked());
    }

    void survivesChangesOnAnotherThread()
    {
        // Both threads want the scene's lock and the signal's: a callback that reads the scene would freeze the two.
        // And wrappers come and go under a stream of signals.
        const std::jthread worker([this](const std::stop_token& end) {
            const auto toggle = [](void* item, obs_scene_t*) {
                auto* toggled = static_cast<obs_sceneitem_t*>(item);
                obs_sceneitem_set_visible(toggled, !obs_sceneitem_visible(toggled));
            };
            while (!end.stop_requested()) {
                obs_scene_atomic_update(obs_scene_from_source(host().scenes[0]), toggle, host().items[0]);
                std::this_thread::sleep_for(10us); // otherwise the main thread hardly ever gets the lock
            }
        });
        for (int i = 0; i < 1000; ++i) {
            obs_sceneitem_set_visible(host().items[1], i % 2 != 0);
            host().raise(OBS_FRONTEND_EVENT_SCENE_CHANGED); // which replaces the wrapper
            QVERIFY(m_controller->pushesUntilAnswer().contains(u"sourceVisibles"_s));
            QCOMPARE(m_controller->value(u"sourceVisibles"_s).toInt() >> 1 & 1, i % 2);
        }
    }

private:
    QWidget m_otherWindow;
};

QTEST_MAIN(FailureInjectionTest)
#include "failureinjectiontest.moc"
