#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-windows.hpp"

namespace Shared::Concurrency::detail {

// Kernel objects know their own reset mode.
void RegisterAutoReset(NativeHandle) {}
void UnregisterAutoReset(NativeHandle) {}

unsigned long WaitMany(const std::vector<NativeHandle>& handles, bool waitAll,
                       unsigned long timeoutMs, bool alertable, const char* failureText) {
    const DWORD result =
        ::WaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.data(),
                                   waitAll ? TRUE : FALSE, timeoutMs, alertable ? TRUE : FALSE);
    if (result == WAIT_FAILED) {
        const auto error = static_cast<std::uint32_t>(::GetLastError());
        throw Shared::Exception::Win32Exception(failureText, error);
    }
    return result;
}

}  // namespace Shared::Concurrency::detail
