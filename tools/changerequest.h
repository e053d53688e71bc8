// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "client/kestrelsession.h"
#include "result.h"

struct ChangeRequest
{
    QString property;
    QJsonValue value; // as it is set
    QString successMessage;
    std::function<bool()> isDone; // by the values received so far
    QJsonValue newValue {};       // as --json reports it; undefined: as it is set
    QString hint {};              // when OBS does not confirm it
    bool runsTransition = false;  // its duration is added to the timeout
};

// Sends the request and waits for the matching push. The result is an error when it does not arrive in time, otherwise
// the success message.
Result requestAndWait(KestrelSession& session, const ChangeRequest& request);

// The same, unless everything is as requested already: OBS emits nothing then.
Result apply(KestrelSession& session, const ChangeRequest& request);
