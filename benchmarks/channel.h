// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QtGlobal>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// One loopback connection, as cheap as a client can be: a blocking socket without an event loop. All peers are measured
// with the same code; only the few bytes before a body differ. Throws std::runtime_error.
class Channel
{
public:
    enum class Kind {
        Frames,
        Controller,   // of the plug-in: frames after the full state
        ObsWebSocket, // text messages, after the handshakes, and the events of a subscription
    };

    Channel(Kind kind, uint16_t port, int events = 0);
    ~Channel();
    Q_DISABLE_COPY_MOVE(Channel)

    // The bytes of a message.
    std::string encode(std::string_view body) const;
    static std::string longFrame(std::string_view body);

    // Whether received bytes are acknowledged without the system's delay. A peer that collects small writes until the
    // last one is acknowledged waits for that delay.
    bool acknowledgesAtOnce = false;

    void send(std::string_view bytes) const;

    // Waits for the next message. Valid until the next call, as with take().
    std::string_view receive();

    // Waits for more bytes.
    void read();

    // The next message, if it has been read completely.
    std::optional<std::string_view> take();

    int descriptor() const { return m_socket; }

private:
    Kind m_kind;
    int m_socket;
    std::string m_input;
    std::size_t m_begin = 0; // of what has not been taken
};
