#include "HOPR/HOPR/hopr-main.hpp"
#include "Shared/src/Util/shared.util-system.hpp"

int main(int argc, char** argv) {
    Shared::Util::RaiseOpenFileLimit();
    return HOPR::Main(argc, argv);
}
