// SPDX-License-Identifier: GPL-2.0-or-later
#include "channel.h"

#include <QByteArray>

#include <array>
#include <stdexcept>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr timeval answerTimeout {20, 0};
constexpr std::size_t readSize_bytes = 262'144;
constexpr std::string_view endOfHeader = "\r\n\r\n";

std::string digits(std::size_t value, int width)
{
    return QByteArray::number(value).rightJustified(width, '0').toStdString();
}

std::size_t bigEndian(std::string_view bytes)
{
    std::size_t value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

} // namespace

Channel::Channel(Kind kind, uint16_t port, int events)
    : m_kind(kind)
    , m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const int on = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &answerTimeout, sizeof answerTimeout);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
    if (kind == Kind::Controller) {
        while (receive().find("transitionDuration") == std::string_view::npos) { // the end of the full state
        }
    } else if (kind == Kind::ObsWebSocket) {
        send("GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port)
             + "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: a2VzdHJlbGtlc3RyZWxrZQ==\r\n"
               "Sec-WebSocket-Version: 13\r\n\r\n");
        while (m_input.find(endOfHeader) == std::string::npos) {
            read();
        }
        m_begin = m_input.find(endOfHeader) + endOfHeader.size();
        receive(); // its greeting
        send(encode(R"({"op":1,"d":{"rpcVersion":1,"eventSubscriptions":)" + std::to_string(events) + "}}"));
        receive();
    }
}

Channel::~Channel()
{
    close(m_socket);
}

std::string Channel::longFrame(std::string_view body)
{
    return "####" + digits(body.size(), 8) + std::string(body);
}

std::string Channel::encode(std::string_view body) const
{
    if (m_kind != Kind::ObsWebSocket) {
        return digits(body.size(), 4) + std::string(body);
    }
    // A final text message. A client has to mask what it sends; a mask of zeros changes nothing.
    const bool isShort = body.size() < 126;
    std::string header = isShort ? "\x81" + std::string(1, static_cast<char>(0x80 | body.size())) : "\x81\xFE";
    if (!isShort) {
        header += static_cast<char>(body.size() >> 8);
        header += static_cast<char>(body.size());
    }
    return header + std::string(4, '\0') + std::string(body);
}

void Channel::send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            throw std::runtime_error("the peer closed the connection");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void Channel::read()
{
    static std::array<char, readSize_bytes> buffer;
    const ssize_t count = recv(m_socket, buffer.data(), buffer.size(), 0);
    if (acknowledgesAtOnce) {
        const int on = 1;
        setsockopt(m_socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
    }
    if (count <= 0) {
        throw std::runtime_error(count == 0 ? "the peer closed the connection" : "no answer in time");
    }
    m_input.erase(0, m_begin);
    m_begin = 0;
    m_input.append(buffer.data(), static_cast<std::size_t>(count));
}

std::optional<std::string_view> Channel::take()
{
    const std::string_view input = std::string_view(m_input).substr(m_begin);
    if (input.size() < 2) {
        return std::nullopt;
    }
    // The header ends with the body's length.
    const bool isWebSocket = m_kind == Kind::ObsWebSocket;
    std::size_t begin = input[0] == '#' ? 4 : 0;
    std::size_t size = input[0] == '#' ? 8 : 4;
    if (isWebSocket) {
        begin = input[1] < 126 ? 1 : 2;
        size = input[1] < 126 ? 1 : (input[1] == 126 ? 2 : 8);
    }
    if (input.size() < begin + size) {
        return std::nullopt;
    }
    const std::string_view length = input.substr(begin, size);
    const std::size_t body = isWebSocket ? bigEndian(length) : std::stoul(std::string(length));
    if (input.size() < begin + size + body) {
        return std::nullopt;
    }
    m_begin += begin + size + body;
    return input.substr(begin + size, body);
}

std::string_view Channel::receive()
{
    while (true) {
        if (const std::optional<std::string_view> body = take()) {
            return *body;
        }
        read();
    }
}
