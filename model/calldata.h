// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <optional>

#include <callback/calldata.h>

// Read an argument of an OBS signal. A missing argument gives null or nothing.

template<typename T>
T* calldataPointer(const calldata_t* arguments, const char* name)
{
    void* pointer = nullptr;
    calldata_get_ptr(arguments, name, static_cast<void*>(&pointer));
    return static_cast<T*>(pointer);
}

inline std::optional<bool> calldataBool(const calldata_t* arguments, const char* name)
{
    bool value = false;
    return calldata_get_bool(arguments, name, &value) ? std::optional(value) : std::nullopt;
}
