// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/signalqueue.h"

#include "tests/support/hostfixture.h"

#include <QTest>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

// The road from host callbacks to Qt signals.
class SignalQueueTest : public QObject
{
    Q_OBJECT

private slots:

    void init() { m_said.clear(); }

    void deliversInOrderOnTheMainThread()
    {
        for (const bool isAsked : {true, false}) {
            init();
            m_queue.post(&m_one, says(u"1"_s));
            Host::onOtherThread([this] {
                m_queue.post(&m_other, says(u"2"_s));
                m_queue.post(&m_one, says(u"3"_s));
            });
            m_queue.post(&m_other, says(u"4"_s));
            QVERIFY(m_said.isEmpty());
            if (isAsked) {
                m_queue.deliver();
            } else {
                QCoreApplication::processEvents();
            }
            QCOMPARE(m_said, u"1234"_s);
        }
    }

    void stopsAtWhatWasThere()
    {
        m_queue.post(&m_one, [this] {
            m_queue.post(&m_one, says(u"later"_s));
            says(u"1"_s)();
        });
        m_queue.post(&m_one, says(u"2"_s));
        m_queue.deliver();
        QCOMPARE(m_said, u"12"_s);
        QCoreApplication::processEvents();
        QCOMPARE(m_said, u"12later"_s);
    }

    void deliversNested()
    {
        m_queue.post(&m_one, [this] {
            says(u"("_s)();
            m_queue.deliver();
            says(u")"_s)();
        });
        m_queue.post(&m_one, says(u"2"_s));
        m_queue.deliver();
        QCOMPARE(m_said, u"(2)"_s);
    }

    void forgets()
    {
        const auto held = std::make_shared<int>();
        m_queue.post(&m_one, [this, held] { m_queue.forget(&m_one); }); // the wrapper ends in its own signal
        m_queue.post(&m_one, [this, held] { says(u"never"_s)(); });
        m_queue.post(&m_other, says(u"2"_s));
        m_queue.deliver();
        QCOMPARE(m_said, u"2"_s);
        QCOMPARE(held.use_count(), 1);
    }

    void leavesTheEventLoopItsTurn()
    {
        bool hasTimerFired = false;
        SignalQueue::Delivery again = [&] { m_queue.post(&m_one, again); };
        m_queue.post(&m_one, again);
        QTimer::singleShot(0, this, [&hasTimerFired] { hasTimerFired = true; });
        QTRY_VERIFY(hasTimerFired);
        m_queue.forget(&m_one);
    }

private:
    SignalQueue::Delivery says(const QString& text)
    {
        return [this, text] { m_said += QThread::currentThread() == thread() ? text : u"wrong thread"_s; };
    }

    SignalQueue m_queue;
    QObject m_one;
    QObject m_other;
    QString m_said;
};

QTEST_GUILESS_MAIN(SignalQueueTest)
#include "signalqueuetest.moc"
