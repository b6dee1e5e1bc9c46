#include "fuzz/Invariants.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    libDrive2::fuzz::check({data, size});
    return 0;
}
