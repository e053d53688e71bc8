// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any JSON object as a request of a controller, handled by the protocol in this process. For any request, both
// controllers receive the same pushes, and the requester one more entry for each entry that is not a set.
#include "network/networkserver.h"
#include "protocol/protocoladapter.h"
#include "tests/support/controller.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/obsruntime.h"

#include <QApplication>
#include <QHostAddress>
#include <QJsonDocument>

#include <algorithm>

#include <util/base.h>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView endMark("end");

// The number of entries in all messages before the end mark.
qsizetype entriesReceived(Controller& controller)
{
    qsizetype count = 0;
    while (const std::optional<QJsonObject> message = controller.next()) {
        if (message->contains(endMark)) {
            return count;
        }
        if (Controller::namesIn(*message).contains("malformed"_L1)) {
            break;
        }
        count += message->value("values"_L1).toArray().size();
    }
    abort();
}

qsizetype answersExpected(const QJsonObject& request)
{
    const QJsonArray entries = request.value("values"_L1).toArray();
    return std::count_if(entries.begin(), entries.end(), [](const QJsonValue& entry) {
        return entry["type"_L1].toString().compare("set"_L1, Qt::CaseInsensitive) != 0;
    });
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static const QApplication application(*argc, *argv);
    if (!ObsRuntime::start()) {
        abort();
    }
    base_set_log_handler([](int, const char*, va_list, void*) {}, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QJsonDocument document = QJsonDocument::fromJson(text);
    // A key with U+0000 behind it can be taken by Qt for the one without, as memory happens to be.
    if (!document.isObject() || document.object().contains(endMark) || document.toJson().contains("\\u0000")) {
        return -1; // not for the corpus
    }

    // The connections stay from one input to the next, the host's state does not.
    struct Wire
    {
        NetworkServer server {nullptr};
        bool isListening = server.listen(QHostAddress(QHostAddress::LocalHost));
        Controller asking {server.serverPort()};
        Controller listening {server.serverPort()};
    };

    static Wire wire;
    FakeFrontEnd host;
    ProtocolAdapter adapter(&wire.server);
    const QJsonObject end {{endMark, true}};
    QObject context;
    QObject::connect(&wire.server, &NetworkServer::receivedJson, &context, [&end](const QJsonObject& json) {
        if (json == end) {
            wire.server.writeAll(end); // behind all that the request has caused
        }
    });
    // Qt's warnings reach the host's log; no request may cause one.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) { abort(); });
    wire.listening.send({}, true);
    wire.asking.send(document.object(), true);
    wire.asking.send(end);
    const qsizetype received = entriesReceived(wire.asking);
    if (!wire.isListening || received != entriesReceived(wire.listening) + answersExpected(document.object())) {
        abort();
    }
    qInstallMessageHandler(nullptr);
    host.raise(OBS_FRONTEND_EVENT_EXIT);
    return 0;
}
