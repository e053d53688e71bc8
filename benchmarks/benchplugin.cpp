// SPDX-License-Identifier: GPL-2.0-or-later
//
// A module of OBS for benchmarks only: servers in OBS's own event loop that do the least work. OBS's log has their
// ports. Main thread.
#include <QCoreApplication>
#include <QEvent>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <obs-frontend-api.h>
#include <obs-module.h>
#include <obs.hpp>
#include <sys/socket.h>

OBS_DECLARE_MODULE()

namespace {

// What a client takes for the end of the full state, and for a push of a change.
constexpr char stateFrame[] = R"(0029{"name":"transitionDuration"})";
constexpr std::string_view changedFrame = R"(0025{"name":"sourceVisibles"})";

// Answers all input, on a free loopback port, without frames, supervision or limits.
class AnsweringServer : public QTcpServer
{
public:
    explicit AnsweringServer(const std::function<QByteArray(const QByteArray& input)>& answer)
    {
        connect(this, &QTcpServer::newConnection, this, [this, answer] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [=] { socket->write(answer(socket->readAll())); });
        });
        listen(QHostAddress(QHostAddress::LocalHost));
    }
};

// Replaces the plug-in for pushes, with the least work: a fixed frame for every item of the program scene that is
// hidden or shown, from the first event that the main thread can handle. One client at a time.
class ChangeNotifier : public QTcpServer
{
public:
    ChangeNotifier()
    {
        connect(this, &QTcpServer::newConnection, this, &ChangeNotifier::accept);
        listen(QHostAddress(QHostAddress::LocalHost));
    }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QTcpServer::event(event);
        }
        if (m_client) {
            send(static_cast<int>(m_client->socketDescriptor()), changedFrame.data(), changedFrame.size(),
                 MSG_NOSIGNAL);
        }
        return true;
    }

private:
    void accept()
    {
        QTcpSocket* socket = nextPendingConnection();
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            socket->deleteLater();
            if (m_client == socket) {
                m_client = nullptr;
                m_itemVisible.Disconnect();
            }
        });
        m_client = socket;
        const OBSSourceAutoRelease scene = obs_frontend_get_current_scene();
        m_itemVisible.Connect(obs_source_get_signal_handler(scene), "item_visible", postEvent, this);
        socket->write(stateFrame);
    }

    static void postEvent(void* self, calldata_t* /*data*/)
    {
        QCoreApplication::postEvent(static_cast<ChangeNotifier*>(self), new QEvent(QEvent::User),
                                    Qt::HighEventPriority);
    }

    QTcpSocket* m_client = nullptr;
    OBSSignal m_itemVisible;
};

// Valid for a moment: OBS owns the name.
struct ItemFacts
{
    const char* name;
    bool isVisible;
    bool isLocked;
};

void appendText(std::string& text, std::string_view value)
{
    text += '"';
    for (const char character : value) {
        if (character == '"' || character == '\\') {
            text += '\\';
        }
        text += character;
    }
    text += '"';
}

bool appendFacts(obs_scene_t* /*scene*/, obs_sceneitem_t* item, void* facts)
{
    static_cast<std::vector<ItemFacts>*>(facts)->push_back(
        {obs_source_get_name(obs_sceneitem_get_source(item)), obs_sceneitem_visible(item), obs_sceneitem_locked(item)});
    return true;
}

// OBS enumerates the items from the bottom-most up, the list has the top-most first.
void appendItems(std::string& text, obs_source_t* scene, std::vector<ItemFacts>& items)
{
    items.clear();
    obs_scene_enum_items(obs_scene_from_source(scene), appendFacts, &items);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const ItemFacts& item = items[items.size() - 1 - i];
        text += i ? R"(,{"isLocked":)" : R"({"isLocked":)";
        text += item.isLocked ? "true" : "false";
        text += item.isVisible ? R"(,"isVisible":true,"name":)" : R"(,"isVisible":false,"name":)";
        appendText(text, item.name);
        text += R"(,"sortIndex":)" + std::to_string(i) + '}';
    }
}

// The plug-in's message with the scene list, made with the least work: one walk through the scenes and items of OBS
// that writes the text directly. For names without control characters.
std::string sceneListMessage()
{
    const OBSSourceAutoRelease current = obs_frontend_preview_program_mode_active()
        ? obs_frontend_get_current_preview_scene()
        : obs_frontend_get_current_scene();
    obs_frontend_source_list scenes {};
    obs_frontend_get_scenes(&scenes);

    std::string text = R"({"values":[{"name":"sceneList","type":"set","value":[)";
    std::vector<ItemFacts> items;
    for (std::size_t i = 0; i < scenes.sources.num; ++i) {
        obs_source_t* scene = scenes.sources.array[i];
        text += i ? R"(,{"isCurrent":)" : R"({"isCurrent":)";
        text += scene == current.Get() ? R"(true,"name":)" : R"(false,"name":)";
        appendText(text, obs_source_get_name(scene));
        text += R"(,"sortIndex":)" + std::to_string(i) + R"(,"sourceList":[)";
        appendItems(text, scene, items);
        text += "]}";
    }
    obs_frontend_source_list_free(&scenes);
    return text + "]}]}";
}

qint64 threadTime_ns()
{
    timespec time {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

// A long frame: this thread's time for the message in nanoseconds, a blank, the message.
QByteArray baselineFrame(const QByteArray& /*input*/)
{
    const qint64 begin_ns = threadTime_ns();
    const std::string message = sceneListMessage();
    const qint64 time_ns = threadTime_ns() - begin_ns;
    QByteArray body = QByteArray::number(time_ns) + ' ';
    body.append(message.data(), static_cast<qsizetype>(message.size()));
    return "####" + QByteArray::number(body.size()).rightJustified(8, '0') + body;
}

struct Servers
{
    AnsweringServer echo {[](const QByteArray& input) { return input; }};
    AnsweringServer baseline {baselineFrame};
    ChangeNotifier changes;
};

std::unique_ptr<Servers> servers;

} // namespace

MODULE_EXPORT bool obs_module_load()
{
    servers = std::make_unique<Servers>();
    blog(LOG_INFO, "[benchplugin] echo on port %d, baseline on port %d, changes on port %d", servers->echo.serverPort(),
         servers->baseline.serverPort(), servers->changes.serverPort());
    return true;
}

MODULE_EXPORT void obs_module_unload()
{
    servers.reset();
}
