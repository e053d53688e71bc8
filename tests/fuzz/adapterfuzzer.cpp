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

using namespace Qt::StringLiterals;

// The number of entries in all messages before the answer to a request that is sent now.
static qsizetype entriesReceived(Controller& controller)
{
    const QString names = controller.pushesUntilAnswer().join(u' ');
    if (names.contains(u'(')) { // malformed, or no answer
        abort();
    }
    return names.split(u' ', Qt::SkipEmptyParts).size();
}

static qsizetype answersExpected(const QJsonObject& request)
{
    const QJsonArray entries = request.value("values"_L1).toArray();
    return std::count_if(entries.begin(), entries.end(), [](const QJsonValue& entry) {
        return entry["type"_L1].toString().compare("set"_L1, Qt::CaseInsensitive) != 0;
    });
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static const QApplication application(*argc, *argv);
    if (!ObsRuntime::start()) {
        abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QJsonDocument document = QJsonDocument::fromJson(text);
    // A key with U+0000 behind it can be taken by Qt for the one without, as memory happens to be. "fps" is what the
    // controllers request to see the end.
    const QByteArray plain = document.toJson();
    if (!document.isObject() || plain.contains("\\u0000") || plain.contains("fps")) {
        return -1; // not for the corpus
    }

    // The connections stay from one input to the next, the host's state does not.
    static NetworkServer server(nullptr);
    static const bool isListening = server.listen(QHostAddress(QHostAddress::LocalHost));
    static Controller asking(server.serverPort());
    static Controller listening(server.serverPort());

    FakeFrontEnd host;
    ProtocolAdapter adapter(&server);
    // Qt's warnings reach the host's log; no request may cause one, nor an error of libobs.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) { abort(); });
    listening.send({}, true);
    asking.send(document.object(), true);
    const qsizetype received = entriesReceived(asking);
    if (!isListening || received != entriesReceived(listening) + answersExpected(document.object())) {
        abort();
    }
    qInstallMessageHandler(nullptr);
    host.raise(OBS_FRONTEND_EVENT_EXIT);
    return 0;
}
