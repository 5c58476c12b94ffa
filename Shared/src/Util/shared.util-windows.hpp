#pragma once
// The one way Windows headers enter the code: sockets first (winsock2 must precede windows.h),
// no min/max macros, no rarely used APIs.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
