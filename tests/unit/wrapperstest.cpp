// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/scene.h"
#include "model/signalqueue.h"
#include "model/transition.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/obsruntime.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;

// Wrappers around sources, scenes and items of the real libobs. protocoltest covers what controllers receive.
class WrappersTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?"); }

    void cleanupTestCase() { QCOMPARE(ObsRuntime::stop(), 0); }

    void init()
    {
        m_received = 0;
        m_host = std::make_unique<FakeFrontEnd>();
        m_wrapper = std::make_unique<Scene>(source(), &m_queue);
        listenTo(*m_wrapper);
    }

    void cleanup()
    {
        m_wrapper.reset();
        m_host.reset();
    }

    void ignoresOthers()
    {
        // Signals with another scene as their argument, and signals without arguments.
        obs_source_t* other = m_host->scenes[1];
        for (const char* signal : {"remove", "rename", "item_add", "item_remove", "reorder"}) {
            ObsRuntime::raise(source(), signal, [&](calldata_t* arguments) {
                calldata_set_ptr(arguments, "source", other);
                calldata_set_ptr(arguments, "scene", obs_scene_from_source(other));
                calldata_set_ptr(arguments, "item", m_host->items[0]);
            });
        }
        m_host->perform(u"signal enable, signal item_add, signal item_remove, signal item_visible"_s);
        m_queue.deliver();
        QCOMPARE(m_received, 0);
    }

    void fallsBackWithoutSource()
    {
        const Scene scene(nullptr, &m_queue);
        QVERIFY(scene.sceneSources().isEmpty());
        QCOMPARE(Transition(nullptr, &m_queue).toJson(), (QJsonObject {{"name"_L1, "NULL"_L1}}));
        SceneSource item(nullptr);
        item.setVisible(true);
        item.setLocked(true);
        QVERIFY(!item.isVisible() && !item.isLocked());
        SceneSource removed(m_host->items[0]);
        m_host->perform(u"remove item A"_s);
        removed.setLocked(true);
        QVERIFY(!removed.isLocked()); // its scene's lock protects it no more
    }

    void survivesChangesOnAnotherThread()
    {
        // Both threads want the scene's lock and the signal's: a callback that reads the scene would freeze the two.
        // And wrappers come and go under a stream of signals.
        constexpr int changes = 1000;
        std::thread worker([this] {
            const auto toggle = [](void* item, obs_scene_t*) {
                auto* toggled = static_cast<obs_sceneitem_t*>(item);
                obs_sceneitem_set_visible(toggled, !obs_sceneitem_visible(toggled));
            };
            for (int i = 0; i < changes; ++i) {
                obs_scene_atomic_update(obs_scene_from_source(source()), toggle, m_host->items[0]);
            }
        });
        int received = 0; // of the other item, alone or merged with the worker's
        connect(m_wrapper.get(), &Scene::sceneSourceVisibilityChanged, this, [&](auto*, const auto* item) {
            received += (!item || item->item() == m_host->items[1])
                && Scene(source()).sceneSources().constLast()->name() == "C"_L1;
        });
        for (int i = 0; i < changes; ++i) {
            const int before = received;
            obs_sceneitem_set_visible(m_host->items[1], i % 2 != 0);
            m_queue.deliver();
            QVERIFY(received > before);
            Scene other(source(), &m_queue);
            listenTo(other);
        }
        worker.join();
    }

private:
    obs_source_t* source() const { return m_host->scenes.at(0); }

    void listenTo(const Scene& scene)
    {
        const auto count = [&](auto... signal) { (connect(&scene, signal, this, [this] { ++m_received; }), ...); };
        count(&Source::destroyed, &Source::removed, &Source::activated, &Source::shown, &Source::enabled,
              &Source::renamed, &Scene::sceneSourceAdded, &Scene::sceneSourceRemoved, &Scene::sceneSourcesReordered,
              &Scene::sceneSourcesRefreshed, &Scene::sceneSourceVisibilityChanged, &Scene::sceneSourceLockChanged);
    }

    SignalQueue m_queue;
    std::unique_ptr<FakeFrontEnd> m_host;
    std::unique_ptr<Scene> m_wrapper;
    int m_received = 0;
};

QTEST_MAIN(WrappersTest)
#include "wrapperstest.moc"
