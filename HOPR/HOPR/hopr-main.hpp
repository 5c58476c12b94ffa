#pragma once

namespace HOPR {

// The whole run, from the command line to the JSON on standard output; returns the exit code:
// 0 results written, 16 bad command line, 64 no usable adapter, 80 unreadable JSON input,
// 96 no tests in the input. Any other failure ends the process at once with 255.
int Main(int argc, const char* const* argv);

}  // namespace HOPR
