#include "Shared/src/Util/shared.util-system.hpp"

#include <iostream>
#include <limits>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Util {

std::string ReadStdLine() {
    std::string line;
    if (!std::getline(std::cin, line)) {
        std::cin.clear();
        std::cin.ignore(std::numeric_limits<std::streamsize>::max());
        throw Shared::Exception::RuntimeError("Failed reading line from std::cin");
    }
    return line;
}

}  // namespace Shared::Util
