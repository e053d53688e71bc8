// SPDX-License-Identifier: GPL-2.0-or-later
#include "changerequest.h"

#include "commands.h"
#include "terminal.h"

using namespace Qt::StringLiterals;

namespace {

Result success(const ChangeRequest& request, bool isChanged)
{
    const QJsonValue value = request.newValue.isNull() ? request.value : request.newValue;
    return {.lines = {Terminal::printable(request.successMessage) + (isChanged ? QString() : u" already"_s)},
            .json = {{{"changed"_L1, isChanged}, {"name"_L1, request.property}, {"value"_L1, value}}}};
}

} // namespace

Result requestAndWait(KestrelSession& session, const ChangeRequest& request)
{
    const std::chrono::milliseconds transition(request.runsTransition ? session.state().transitionDuration_ms() : 0);
    const std::chrono::milliseconds limit = session.timeout() + transition;
    if (!session.client().set(request.property, request.value)) {
        return Commands::connectionLost(session);
    }
    if (session.waitFor(request.isDone, limit)) {
        return success(request, true);
    }
    if (!session.errorString().isEmpty()) {
        return Commands::connectionLost(session);
    }
    const double limit_s = std::chrono::duration<double>(limit).count();
    return Result::failure(u"not confirmed within %1 s: %2"_s.arg(limit_s).arg(request.successMessage), request.hint);
}

Result apply(KestrelSession& session, const ChangeRequest& request)
{
    return request.isDone() ? success(request, false) : requestAndWait(session, request);
}
