// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// One loopback connection, as cheap as a client can be: a blocking socket, no copies of what arrives. The same code
// speaks to everything that is measured; only the few bytes before a body differ. Throws std::runtime_error.
class Channel
{
public:
    enum class Kind {
        Frames,    // four digits or #### and eight digits, then the body
        WebSocket, // text messages, the opening handshake made by the constructor
    };

    Channel(Kind kind, uint16_t port);
    ~Channel();
    Channel(Channel&& other) noexcept;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    Channel& operator=(Channel&&) = delete;

    // What goes over the wire for a message.
    std::string encode(std::string_view body) const;
    static std::string longFrame(std::string_view body);

    // A peer that collects small writes until the last one is acknowledged waits for an ordinary client, whose system
    // takes its time with that, but not for this one.
    void acknowledgeAtOnce() { m_acknowledgesAtOnce = true; }

    void send(std::string_view bytes);

    // The next message, waiting for it. Good until the next call.
    std::string_view receive();

    // Waits for more bytes, then takes messages out until none is whole.
    void read();
    std::optional<std::string_view> take();

    // Passes over messages until one holds the text.
    std::string_view receiveUntil(std::string_view text);

    int descriptor() const { return m_socket; }

private:
    struct Extent
    {
        std::size_t header;
        std::size_t body;
    };

    void openWebSocket(uint16_t port);
    std::optional<Extent> nextExtent() const;

    Kind m_kind;
    int m_socket;
    std::string m_input;
    std::size_t m_begin = 0; // what is before it has been taken
    std::size_t m_end = 0;
    bool m_acknowledgesAtOnce = false;
};

// A connection to the plug-in that has received the full state.
Channel controller(uint16_t port);
