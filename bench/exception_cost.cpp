// Cost of an exception that is thrown and caught: CPU time per throw (the machine may be busy)
// and the process's peak resident memory, with or without rendering each exception's text.
//
//   exception_cost [count] [--render]

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace {

long PeakResidentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return -1;
}

std::int64_t CpuNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

[[gnu::noinline]] void Fail(int depth) {
    if (depth == 0) {
        throw Shared::Exception::RuntimeError("bench failure");
    }
    Fail(depth - 1);
}

std::size_t ThrowAndCatch(bool render) {
    try {
        Fail(8);
    } catch (const std::exception& e) {
        return render ? std::string_view(e.what()).size() : 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const int count = std::max(argc > 1 ? std::atoi(argv[1]) : 1000, 1);
    const bool render = argc > 2 && std::string_view(argv[2]) == "--render";
    const long before = PeakResidentKilobytes();
    std::size_t characters = 0;
    const auto start = CpuNanoseconds();
    for (int i = 0; i < count; ++i) {
        characters += ThrowAndCatch(render);
    }
    const auto elapsed = CpuNanoseconds() - start;
    std::printf("throws %d render %s CPU ns/throw %lld peak RSS %ld kB (before %ld kB) chars %zu\n",
                count, render ? "yes" : "no", static_cast<long long>(elapsed / count),
                PeakResidentKilobytes(), before, characters);
}
