// The agent's side of the exit event: signals a named event that another process made, as the
// agent does to stop a serialised run. The lab runs use it against hopr.exe under Wine.
// Usage: hopr_setevent.exe NAME   (exit 0: signalled; 1: no such event or not signalled; 2: usage)

#include <cstdio>
#include <cwchar>

#include <windows.h>

int wmain(int argc, wchar_t** argv) {
    if (argc != 2) {
        std::fputws(L"usage: hopr_setevent.exe NAME\n", stderr);
        return 2;
    }
    const HANDLE event = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[1]);
    if (event == nullptr) {
        std::fwprintf(stderr, L"OpenEventW(%ls) failed: %lu\n", argv[1], ::GetLastError());
        return 1;
    }
    const bool signalled = ::SetEvent(event) != FALSE;
    ::CloseHandle(event);
    return signalled ? 0 : 1;
}
