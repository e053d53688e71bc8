// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/signalqueue.h"

#include <QTest>
#include <QThread>
#include <QTimer>

#include <thread>

using namespace Qt::StringLiterals;

class SignalQueueTest : public QObject
{
    Q_OBJECT

private slots:

    void init() { m_delivered.clear(); }

    void deliversInOrderOnTheMainThread()
    {
        post(&m_one, u"1"_s);
        std::thread([this] {
            post(&m_other, u"2"_s);
            post(&m_one, u"3"_s);
        }).join();
        post(&m_other, u"4"_s);
        QVERIFY(m_delivered.isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(m_delivered, u"1234"_s);
    }

    void endsWhileDeliveriesPostMore()
    {
        // deliver() stops at what was there; the event loop delivers the rest, with turns for everything else.
        SignalQueue::Delivery again = [&](bool) {
            m_delivered += '.'_L1;
            m_queue.post(&m_one, shown, again);
        };
        m_queue.post(&m_one, shown, again);
        post(&m_one, u"2"_s);
        m_queue.deliver();
        QCOMPARE(m_delivered, u".2"_s);
        bool hasTimerFired = false;
        QTimer::singleShot(0, this, [&hasTimerFired] { hasTimerFired = true; });
        QTRY_VERIFY(hasTimerFired && m_delivered.size() > 2);
        m_queue.removePending(&m_one);
    }

    void deliversNested()
    {
        m_queue.post(&m_one, shown, [this](bool) {
            m_queue.deliver();
            m_delivered += "end"_L1;
        });
        post(&m_one, u"2"_s);
        m_queue.deliver();
        QCOMPARE(m_delivered, u"2end"_s);
    }

    void dropsTheRecordsOfAWrapperThatEnds()
    {
        m_queue.post(&m_one, shown, [this](bool) { m_queue.removePending(&m_one); }); // in its own signal
        post(&m_one, u"1"_s);
        post(&m_other, u"2"_s);
        m_queue.deliver();
        QCOMPARE(m_delivered, u"2"_s);
    }

    void mergesAboveTheLimit()
    {
        // The limit itself is reached unmerged.
        post(&m_one, QString(20, u'.'));
        m_queue.deliver();
        QCOMPARE(m_delivered, QString(20, u'.'));

        // One more: the latest of each wrapper and kind stays, at its place.
        init();
        post(&m_other, u"a"_s, moved);
        post(&m_one, QString(18, u'.'));
        post(&m_one, u"b"_s, moved);
        post(&m_one, u"c"_s);
        m_queue.deliver();
        QCOMPARE(m_delivered, u"abC"_s);
    }

private:
    // Two kinds of change.
    static constexpr SignalQueue::Kind shown = [](void*, calldata*) {};
    static constexpr SignalQueue::Kind moved = [](void*, calldata*) {};

    // A record for each letter, which is delivered as a capital when it stands for several.
    void post(const QObject* wrapper, const QString& letters, SignalQueue::Kind kind = shown)
    {
        for (const QChar letter : letters) {
            m_queue.post(wrapper, kind, [this, letter](bool isMerged) {
                QCOMPARE(QThread::currentThread(), thread());
                m_delivered += isMerged ? letter.toUpper() : letter;
            });
        }
    }

    SignalQueue m_queue;
    QObject m_one;
    QObject m_other;
    QString m_delivered;
};

QTEST_GUILESS_MAIN(SignalQueueTest)
#include "signalqueuetest.moc"
