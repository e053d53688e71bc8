// SPDX-License-Identifier: GPL-2.0-or-later
#include "channel.h"

#include <charconv>
#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr timeval answerLimit {20, 0};
constexpr std::size_t readSize_bytes = 256 * 1024;

std::size_t number(std::string_view digits)
{
    std::size_t value = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), value).ptr != digits.data() + digits.size()) {
        throw std::runtime_error("not a length: " + std::string(digits));
    }
    return value;
}

std::string digits(std::size_t value, std::size_t width)
{
    const std::string text = std::to_string(value);
    return std::string(width - text.size(), '0') + text;
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

Channel::Channel(Kind kind, uint16_t port)
    : m_kind(kind)
    , m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    , m_input(2 * readSize_bytes, '\0')
{
    const int on = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &answerLimit, sizeof answerLimit);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
    if (kind == Kind::WebSocket) {
        openWebSocket(port);
    }
}

Channel::~Channel()
{
    if (m_socket >= 0) {
        close(m_socket);
    }
}

Channel::Channel(Channel&& other) noexcept
    : m_kind(other.m_kind)
    , m_socket(std::exchange(other.m_socket, -1))
    , m_input(std::move(other.m_input))
    , m_begin(other.m_begin)
    , m_end(other.m_end)
    , m_acknowledgesAtOnce(other.m_acknowledgesAtOnce)
{}

void Channel::openWebSocket(uint16_t port)
{
    send("GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port)
         + "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: a2VzdHJlbGtlc3RyZWxrZQ==\r\n"
           "Sec-WebSocket-Version: 13\r\n\r\n");
    constexpr std::string_view endOfHeader = "\r\n\r\n";
    std::size_t end = std::string::npos;
    while (end == std::string::npos) {
        read();
        end = std::string_view(m_input).substr(0, m_end).find(endOfHeader);
    }
    m_begin = end + endOfHeader.size();
}

std::string Channel::longFrame(std::string_view body)
{
    return "####" + digits(body.size(), 8) + std::string(body);
}

std::string Channel::encode(std::string_view body) const
{
    if (m_kind == Kind::Frames) {
        return digits(body.size(), 4) + std::string(body);
    }
    // A final text message. Clients have to mask what they send; a mask of zeros leaves it as it is.
    const bool isShort = body.size() < 126;
    std::string header = isShort ? "\x81" + std::string(1, static_cast<char>(0x80 | body.size())) : "\x81\xFE";
    if (!isShort) {
        header += static_cast<char>(body.size() >> 8);
        header += static_cast<char>(body.size());
    }
    return header + std::string(4, '\0') + std::string(body);
}

void Channel::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            throw std::runtime_error("the connection is gone");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void Channel::read()
{
    if (m_begin == m_end) {
        m_begin = m_end = 0;
    }
    if (m_input.size() - m_end < readSize_bytes) {
        m_input.erase(0, m_begin);
        m_end -= std::exchange(m_begin, 0);
        m_input.resize(m_end + 2 * readSize_bytes);
    }
    const ssize_t got = recv(m_socket, m_input.data() + m_end, readSize_bytes, 0);
    if (m_acknowledgesAtOnce) {
        const int on = 1;
        setsockopt(m_socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
    }
    if (got <= 0) {
        throw std::runtime_error(got == 0 ? "the connection was closed" : "no answer in time");
    }
    m_end += static_cast<std::size_t>(got);
}

std::optional<Channel::Extent> Channel::nextExtent() const
{
    const std::string_view input = std::string_view(m_input).substr(m_begin, m_end - m_begin);
    if (input.size() < 2) {
        return std::nullopt;
    }
    if (m_kind == Kind::WebSocket) {
        const auto length = static_cast<std::size_t>(input[1] & 0x7F);
        const std::size_t extra = length == 126 ? 2 : length == 127 ? 8 : 0;
        if (input.size() < 2 + extra) {
            return std::nullopt;
        }
        return Extent {2 + extra, extra ? bigEndian(input.substr(2, extra)) : length};
    }
    const bool isLong = input.starts_with('#');
    const std::size_t header = isLong ? 12 : 4;
    if (input.size() < header) {
        return std::nullopt;
    }
    return Extent {header, number(isLong ? input.substr(4, 8) : input.substr(0, 4))};
}

std::optional<std::string_view> Channel::take()
{
    const std::optional<Extent> extent = nextExtent();
    if (!extent || m_end - m_begin < extent->header + extent->body) {
        return std::nullopt;
    }
    const std::string_view body = std::string_view(m_input).substr(m_begin + extent->header, extent->body);
    m_begin += extent->header + extent->body;
    return body;
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

std::string_view Channel::receiveUntil(std::string_view text)
{
    while (true) {
        const std::string_view body = receive();
        if (body.find(text) != std::string_view::npos) {
            return body;
        }
    }
}

Channel controller(uint16_t port)
{
    Channel channel(Channel::Kind::Frames, port);
    channel.receiveUntil("transitionDuration"); // the end of the full state
    return channel;
}
