// What libFuzzer calls: the one target that is linked into the program.
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::targets()->run({bytes, size});
    return 0;
}
