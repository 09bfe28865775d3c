// The whole compiler: a module that the validator takes, or an error. The build checks the IR after every pass (see
// Compiler.cpp), and what it finds comes back as an internal compiler error.
#include "MSL/Compiler.h"
#include "MSL/fuzz/Findings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace msl;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::uint32_t variant = fuzz::hashOf(text);
    CompileOptions options;
    options.timeLimit = std::chrono::milliseconds(1000);
    options.debugNames = variant % 5 == 0;
    options.marksCutLoops = variant % 4 == 0;
    if (variant % 3 == 0) {
        options.userTextBegin = size / 4;
        options.userTextEnd = size / 2;
    }
    const auto compiled = compile(text, options);
    if (!compiled) {
        fuzz::checkMessages(compiled.error().diagnostics, text, true);
        return 0;
    }
    fuzz::checkMessages(compiled->warnings, text, false);
    fuzz::checkModule(compiled->spirv);
    if (variant % 7 == 0) {
        options.timeLimit = {}; // which a busy machine may reach the second time only
        const auto again = compile(text, options);
        if (!again) fuzz::finding("a second compile fails: " + again.error().text);
        if (again->spirv != compiled->spirv) fuzz::finding("a second compile gives another module");
    }
    return 0;
}
