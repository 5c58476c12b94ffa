#include "HOPR/HOPR/hopr-main.hpp"

int main(int argc, char** argv) {
    return HOPR::Main(argc, argv);
}
