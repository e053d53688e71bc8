// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "controller.h"
#include "fakefrontend.h"
#include "frozenclock.h"
#include "logcapture.h"
#include "network/networkserver.h"
#include "obsruntime.h"
#include "protocol/protocoladapter.h"

#include <QRegularExpression>
#include <QTest>

// Server and protocol with the fake front end. libobs has been started. Warnings of Qt, which OBS would log, fail the
// test.
class ProtocolFixture
{
public:
    explicit ProtocolFixture(const std::function<void(FakeFrontEnd&)>& prepare)
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        prepare(host);
        adapter = std::make_unique<ProtocolAdapter>(server.get());
        server->start(0);
    }

    ~ProtocolFixture() { host.raise(OBS_FRONTEND_EVENT_EXIT); }

    Q_DISABLE_COPY_MOVE(ProtocolFixture)

    // Connected, and its full state received.
    std::unique_ptr<Controller> controller() const
    {
        auto connected = std::make_unique<Controller>(server->serverPort());
        connected->next();
        return connected;
    }

    // Understands long frames too.
    std::unique_ptr<Controller> longFrameController() const
    {
        auto connected = controller();
        connected->send({}, true);
        connected->pushesUntilAnswer();
        return connected;
    }

    // More items at the top of the program scene, with names of that length.
    void addItems(int count, int nameLength)
    {
        for (int i = 0; i < count; ++i) {
            const QByteArray name = QByteArray::number(i).rightJustified(nameLength, 'x');
            host.items.insert(host.items.begin(),
                              ObsRuntime::addItem(obs_scene_from_source(host.scenes.at(0)), name.constData()));
        }
        QCoreApplication::processEvents();
    }

    LogCapture log;
    FakeFrontEnd host;
    std::unique_ptr<NetworkServer> server = std::make_unique<NetworkServer>(nullptr);
    std::unique_ptr<ProtocolAdapter> adapter;
};

// A test whose functions each have a new fixture with one controller; init() replaces both.
class ProtocolFixtureTest : public QObject
{
    Q_OBJECT

protected slots:

    void initTestCase() { QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?"); }

    void cleanupTestCase() { QCOMPARE(ObsRuntime::stop(), 0); }

    void init()
    {
        startWith([](FakeFrontEnd&) {});
    }

    void cleanup()
    {
        m_controller.reset();
        m_fixture.reset();
    }

protected:
    FakeFrontEnd& host() const { return m_fixture->host; }

    void startWith(const std::function<void(FakeFrontEnd&)>& prepare)
    {
        cleanup(); // one fake front end at a time
        m_fixture = std::make_unique<ProtocolFixture>(prepare);
        m_controller = m_fixture->controller();
    }

    std::unique_ptr<ProtocolFixture> m_fixture;
    std::unique_ptr<Controller> m_controller;
};
