#include "MSL/FrontEnd.h"
#include "MSL/fuzz/LoopPrograms.h"
#include "MSL/interpret/Interpreter.h"
#include "MSL/legalize/Legalize.h"
#include "MSL/spirv/SpirvWriter.h"

#include <cstring>
#include <initializer_list>

namespace msl::fuzz {

namespace {

std::vector<std::byte> bytesOf(std::size_t size, std::int32_t first) {
    std::vector<std::byte> bytes(size);
    for (std::size_t at = 0; at + 4 <= size; at += 4) {
        std::memcpy(bytes.data() + at, &first, 4);
        first = first > 0 && at % 8 == 0 ? -first : first / 2 + 3;
    }
    return bytes;
}

std::string runOnce(const ir::Module& module, std::size_t openSize, std::int32_t number) {
    constexpr std::size_t fixedSize = 4 * 12; // more than any of the structs
    std::vector<std::byte> open = bytesOf(openSize, number);
    std::vector<std::byte> fixed = bytesOf(fixedSize, number);
    std::vector<std::byte> given = bytesOf(fixedSize, number);
    std::vector<std::byte> rows = bytesOf(openSize * 3, number);
    interpret::Launch launch;
    launch.buffers = {{0, open}, {1, fixed}, {2, given}, {3, rows}};
    launch.mostSteps = 6000;
    const interpret::Result result = interpret::run(module, *module.entries.front(), launch);
    using Outcome = interpret::Result::Outcome;
    if (result.outcome == Outcome::finished || result.outcome == Outcome::tooLong) return {};
    return result.message + " (open buffers of " + std::to_string(openSize) + " bytes, numbers from " +
           std::to_string(number) + ")";
}

} // namespace

std::string checkProgram(const std::string& text) {
    SourceManager sources(text, "loops.metal", 0, 0);
    Diagnostics diagnostics(sources, WarningLevel::ignored);
    WorkLimit limit(std::chrono::milliseconds(0));
    const std::unique_ptr<ir::Module> module = translate(sources, diagnostics, limit);
    if (module == nullptr) return toText(diagnostics.messages());
    for (const std::size_t size : {std::size_t{0}, std::size_t{7}, std::size_t{40}})
        for (const std::int32_t number : {3, 0x7FFFFFFF, -2}) {
            std::string fault = runOnce(*module, size, number);
            if (!fault.empty()) return fault;
        }
    if (const std::string fault = ir::verify(*module); !fault.empty()) return fault;
    legalize(*module, spirv::target());
    std::string fault = runOnce(*module, 40, 3);
    return fault.empty() ? fault : "after legalizing: " + fault;
}

} // namespace msl::fuzz
