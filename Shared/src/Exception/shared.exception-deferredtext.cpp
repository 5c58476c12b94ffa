#include "Shared/src/Exception/shared.exception-deferredtext.hpp"

#include <mutex>

namespace Shared::Exception {

struct DeferredText::State {
    std::function<std::string()> compose;
    std::once_flag composed;
    std::string text;
};

DeferredText::DeferredText(std::function<std::string()> compose)
    : state_(std::make_shared<State>()) {
    state_->compose = std::move(compose);
}

const char* DeferredText::Read() const noexcept {
    std::call_once(state_->composed, [this] {
        try {
            state_->text = state_->compose();
        } catch (...) {
            // Reading an exception must not throw; the text stays empty.
        }
        state_->compose = nullptr;
    });
    return state_->text.c_str();
}

}  // namespace Shared::Exception
