#pragma once
// An exception's text, composed when it is first read rather than at the throw: the stack is
// symbolised only for the exceptions someone reads. Copies of an exception share one text, and
// readers on several threads see it composed once.

#include <functional>
#include <memory>
#include <string>

namespace Shared::Exception {

class DeferredText {
public:
    explicit DeferredText(std::function<std::string()> compose);

    // Empty if the composition failed.
    const char* Read() const noexcept;

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace Shared::Exception
