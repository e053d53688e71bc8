// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/output.h"

#include "tests/support/hostfixture.h"

#include <QTest>

using namespace Qt::StringLiterals;

// A running output of the real libobs, with video.
class OutputTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY2(Host::start(), "libobs did not start; is there a display?"); }

    void cleanupTestCase() { QCOMPARE(Host::stop(), 0); }

    void fallsBackWithoutOutput()
    {
        const Output output(nullptr);
        QCOMPARE(output.congestion(), u"0.00%"_s);
        QCOMPARE(output.droppedFrames() + output.totalFrames(), 0);
        QCOMPARE(output.elapsedTime(), u"00:00:00"_s);
        QCOMPARE(output.fps(), u"0.00 fps"_s); // no video yet
        QVERIFY2(Host::startVideo(), "the host has no video");
        QCOMPARE(output.fps(), u"29.97 fps"_s);
    }

    void reports()
    {
        const OBSOutputAutoRelease host = Host::output("recording");
        const Output output(host);
        QCOMPARE(output.congestion(), u"12.50%"_s);
        QCOMPARE(output.droppedFrames(), 7);
        QVERIFY(obs_output_start(host));
        QTRY_COMPARE(output.elapsedTime(), u"00:00:01"_s);
        obs_output_stop(host);
        QTRY_VERIFY(!obs_output_active(host));
        QVERIFY(output.totalFrames() >= 30);
        QCOMPARE(output.elapsedTime(), u"00:00:00"_s); // whatever its frame count
    }

    void followsTheHostsOutput()
    {
        OBSOutputAutoRelease first = Host::output("first");
        const OBSWeakOutputAutoRelease weak = obs_output_get_weak_output(first);
        const auto isAlive = [&] { return OBSOutputAutoRelease(obs_weak_output_get_output(weak)).Get() != nullptr; };
        Output output(first);
        output.setOutput(first);
        first = nullptr;
        QVERIFY(isAlive());
        output.setOutput(nullptr);
        QVERIFY(!isAlive());
    }
};

QTEST_GUILESS_MAIN(OutputTest)
#include "outputtest.moc"
