// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QTcpServer>

#include <functional>

// Answers whatever arrives, as cheaply as Qt can: no frames, no supervision, no limits. Lives on the thread that made
// it, and listens on a free loopback port.
class EchoServer : public QTcpServer
{
    Q_OBJECT

public:
    using Answer = std::function<QByteArray(const QByteArray& input)>;

    // Echoes unless told what to answer.
    explicit EchoServer(Answer answer = {});

private:
    void accept();

    Answer m_answer;
};
