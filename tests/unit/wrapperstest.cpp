// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/signalqueue.h"
#include "model/transition.h"
#include "tests/support/protocolfixture.h"

#include <thread>

using namespace Qt::StringLiterals;

// Wrappers around sources, scenes and items of the real libobs. protocoltest covers what controllers receive.
class WrappersTest : public ProtocolFixtureTest
{
    Q_OBJECT

private slots:

    void ignoresOthers()
    {
        SignalQueue queue;
        const Scene scene(host().scenes[0], &queue);
        int received = 0;
        const auto count = [&](auto... signal) { (connect(&scene, signal, this, [&] { ++received; }), ...); };
        count(&Source::destroyed, &Source::removed, &Source::activated, &Source::shown, &Source::enabled,
              &Source::renamed, &Scene::sceneSourceAdded, &Scene::sceneSourceRemoved, &Scene::sceneSourcesReordered,
              &Scene::sceneSourcesRefreshed, &Scene::sceneSourceVisibilityChanged, &Scene::sceneSourceLockChanged);

        // Signals with another scene as their argument, and signals without arguments.
        obs_source_t* other = host().scenes[1];
        for (const char* signal : {"remove", "rename", "item_add", "item_remove", "reorder"}) {
            ObsRuntime::raise(scene.source(), signal, [&](calldata_t* arguments) {
                calldata_set_ptr(arguments, "source", other);
                calldata_set_ptr(arguments, "scene", obs_scene_from_source(other));
                calldata_set_ptr(arguments, "item", host().items[0]);
            });
        }
        host().perform(u"signal enable, signal item_add, signal item_remove, signal item_visible"_s);
        queue.deliver();
        QCOMPARE(received, 0);
    }

    void fallsBackWithoutSource()
    {
        SignalQueue queue;
        QVERIFY(Scene(nullptr, &queue).sceneSources().isEmpty());
        QCOMPARE(Transition(nullptr, &queue).toJson(), (QJsonObject {{"name"_L1, "NULL"_L1}}));
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
            }
        });
        for (int i = 0; i < 1000; ++i) {
            obs_sceneitem_set_visible(host().items[1], i % 2 != 0);
            host().raise(OBS_FRONTEND_EVENT_SCENE_CHANGED); // which replaces the wrapper
            QVERIFY(m_controller->pushesUntilAnswer().contains(u"sourceVisibles"_s));
            QCOMPARE(m_controller->value(u"sourceVisibles"_s).toInt() >> 1 & 1, i % 2);
        }
    }
};

QTEST_MAIN(WrappersTest)
#include "wrapperstest.moc"
