// The index checks against loops made to deceive them. The input is not a text but the seeds of the texts.
#include "MSL/fuzz/Findings.h"
#include "MSL/fuzz/LoopPrograms.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace msl;
    std::uint64_t seed = 0;
    std::memcpy(&seed, data, size < sizeof seed ? size : sizeof seed);
    const std::string text = fuzz::loopProgram(seed);
    const std::string fault = fuzz::checkProgram(text);
    if (!fault.empty()) fuzz::finding(fault + "\n" + text);
    return 0;
}
