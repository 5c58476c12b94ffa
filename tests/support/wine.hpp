#pragma once
// Wine lacks a few Windows features (receive-all mode, TCP_MAXRT, some message tables); tests
// of those check the documented failure path when they run under it.

#include "Shared/src/Util/shared.util-windows.hpp"

inline bool RunningUnderWine() {
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
