// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "source.h"

// A transition of OBS.
class Transition : public Source
{
public:
    explicit Transition(obs_source_t* source, SignalQueue* queue = nullptr);

    QString typeName() const override;
};
