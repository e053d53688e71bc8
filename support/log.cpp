// SPDX-License-Identifier: GPL-2.0-or-later
#include "log.h"

#include <cstdarg>
#include <string>

#include <util/base.h>

void logInfo(const char* format, ...)
{
    const std::string prefixed = std::string("[kestrelbridge] ") + format;
    va_list arguments;
    va_start(arguments, format);
    blogva(LOG_INFO, prefixed.c_str(), arguments);
    va_end(arguments);
}
