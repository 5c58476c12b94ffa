#include "Shared/src/Concurrency/shared.concurrency-event.hpp"

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"
#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Concurrency {

Event::Event(bool manualReset, bool openExisting, std::wstring name, unsigned long access)
    : manualReset_(manualReset), name_(std::move(name)) {
    try {
        InternalCreate(openExisting, access, {});
    } catch (const Shared::Exception::Win32Exception& e) {
        throw Shared::Exception::Win32Exception(
            fmt::format("Failed to create or open event {}",
                        Shared::Util::ConvertErrorString(name_))
                .c_str(),
            e.Code());
    }
}

Event::Event(const Event& other)
    : manualReset_(other.manualReset_), name_(other.name_) {
    Adopt(Shared::Raii::Win32Handle::DuplicatePassedHandle(other.Handle(), false));
}

Event& Event::operator=(const Event& other) {
    if (this != &other) {
        detail::UnregisterAutoReset(handle_.Get());
        handle_.Close();
        manualReset_ = other.manualReset_;
        name_ = other.name_;
        Adopt(Shared::Raii::Win32Handle::DuplicatePassedHandle(other.Handle(), false));
    }
    return *this;
}

void Event::Adopt(Shared::Raii::NativeHandle handle) {
    handle_ = Shared::Raii::Win32Handle(handle);
    if (!manualReset_ && handle_.IsValid()) {
        detail::RegisterAutoReset(handle);
    }
}

void Event::WaitOnEvent() {
    WaitOnEvent(kInfinite, false);
}

bool Event::WaitOnEvent(unsigned long timeoutMs, bool alertable) {
    if (!handle_.IsValid()) {
        throw Shared::Exception::RuntimeError("No Event to wait on");
    }
    const auto result = detail::WaitMany({handle_.Get()}, false, timeoutMs, alertable,
                                         "WaitForSingleObject failed");
    if (result == kWaitAbandoned0) {
        throw Shared::Exception::RuntimeError("The wait was abandoned");
    }
    return result == kWaitObject0;
}

}  // namespace Shared::Concurrency
