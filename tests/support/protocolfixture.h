// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "controller.h"
#include "fakefrontend.h"
#include "frozenclock.h"
#include "network/networkserver.h"
#include "obsruntime.h"
#include "protocol/protocoladapter.h"

#include <QRegularExpression>
#include <QTest>

// A test whose functions each have server and protocol with the fake front end and the real libobs, and one controller;
// init() replaces them all. Warnings of Qt, which OBS would log, and errors of
// libobs fail the test.
class ProtocolFixture : public QObject
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
        if (m_host) {
            m_host->raise(OBS_FRONTEND_EVENT_EXIT);
        }
        m_adapter.reset();
        m_server.reset();
        m_host.reset();
    }

protected:
    FakeFrontEnd& host() const { return *m_host; }

    void startWith(const std::function<void(FakeFrontEnd&)>& prepare)
    {
        cleanup(); // one fake front end at a time
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        m_host = std::make_unique<FakeFrontEnd>();
        prepare(*m_host);
        m_server = std::make_unique<NetworkServer>(nullptr);
        m_adapter = std::make_unique<ProtocolAdapter>(m_server.get());
        m_server->start(0);
        m_controller = connectController();
    }

    // Its full state has been received.
    std::unique_ptr<Controller> connectController() const
    {
        auto connected = std::make_unique<Controller>(m_server->serverPort());
        connected->next();
        return connected;
    }

    // Understands long frames too.
    std::unique_ptr<Controller> connectLongFrameController() const
    {
        auto connected = connectController();
        connected->send({}, true);
        connected->pushesUntilAnswer();
        return connected;
    }

    // More items at the top of the program scene, with names of that length.
    void addItems(int count, int nameLength)
    {
        for (int i = 0; i < count; ++i) {
            const QByteArray name = QByteArray::number(i).rightJustified(nameLength, 'x');
            host().items.insert(host().items.begin(),
                                ObsRuntime::addItem(obs_scene_from_source(host().scenes.at(0)), name.constData()));
        }
        QCoreApplication::processEvents();
    }

    std::unique_ptr<FakeFrontEnd> m_host;
    std::unique_ptr<NetworkServer> m_server;
    std::unique_ptr<ProtocolAdapter> m_adapter;
    std::unique_ptr<Controller> m_controller;
};
