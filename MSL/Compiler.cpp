#include "MSL/Compiler.h"

#include "MSL/FrontEnd.h"
#include "MSL/legalize/Legalize.h"
#include "MSL/passes/CutLoops.h"
#include "MSL/passes/LargeZeros.h"
#include "MSL/passes/LoopChains.h"
#include "MSL/passes/PipelineCost.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/WorkLimit.h"
#include "MSL/spirv/SpirvWriter.h"

#include <algorithm>
#include <new>
#include <optional>

namespace msl {

namespace {

WarningLevel warningLevel(CompileOptions::Warnings warnings) {
    switch (warnings) {
    case CompileOptions::Warnings::reported: break;
    case CompileOptions::Warnings::ignored: return WarningLevel::ignored;
    case CompileOptions::Warnings::errors: return WarningLevel::error;
    }
    return WarningLevel::warning;
}

// Nothing when `diagnostics` has errors.
std::optional<CompiledLibrary> build(SourceManager& sources, Diagnostics& diagnostics, WorkLimit& limit,
                                     const CompileOptions& options) {
    const std::unique_ptr<ir::Module> module =
        translate(sources, diagnostics, limit, {.allowsAddresses = options.allowAddresses});
    if (module == nullptr) return {};
    module->arena.countWith(&limit);
    if (options.marksCutLoops) {
        markCutLoops(*module);
        verifyAfter("marking loops that may be cut", *module, diagnostics);
    }
    const spirv::Bindings bindings(*module);
    Reflection reflection = spirv::reflect(*module, bindings);

    // What the writer's target lacks, in terms of what it has.
    legalize(*module, spirv::target());
    verifyAfter("legalizing", *module, diagnostics);
    if (isOver(limit, diagnostics)) return {};

    // What the driver will do with it.
    clearInLoops(*module);
    verifyAfter("clearing in loops", *module, diagnostics);
    const DriverLoops loops(*module);
    breakLoopChains(*module, loops);
    verifyAfter("breaking chains of loops", *module, diagnostics);
    if (const auto excess = findExcessiveCost(*module, loops)) {
        diagnostics.error(*excess, "the program is too large: a driver would take too long to build the pipeline of "
                                   "what stands up to here");
        return {};
    }
    if (isOver(limit, diagnostics)) return {};

    auto words = spirv::write(*module, bindings, {.debugNames = options.debugNames});
    if (!words && words.error().isInternal)
        diagnostics.internalError(words.error().at, words.error().message);
    else if (!words)
        diagnostics.error(words.error().at, words.error().message);
    if (diagnostics.hasErrors()) return {};
    return CompiledLibrary{std::move(*words), std::move(reflection), diagnostics.messages()};
}

} // namespace

std::expected<CompiledLibrary, CompileError> compile(std::string_view source, const CompileOptions& options) {
    // Offsets are 32 bits, and no shader is that long.
    constexpr std::size_t largestSource = 64U * 1024 * 1024;
    const bool isTooLong = source.size() > largestSource;
    const std::string_view text = isTooLong ? std::string_view() : source;

    SourceManager sources(text, options.fileName, options.userTextBegin, options.userTextEnd);
    Diagnostics diagnostics(sources, warningLevel(options.warnings));
    WorkLimit limit(options.timeLimit);
    std::optional<CompiledLibrary> library;
    try {
        if (isTooLong)
            diagnostics.error(SourceLocation::atOffset(0), "the source is longer than 64 MB");
        else
            library = build(sources, diagnostics, limit, options);
    } catch (const std::bad_alloc&) {
        // The arenas' limit, or the system has no more. What the passes made is gone by now.
        if (!isOver(limit, diagnostics) && !diagnostics.hasErrors())
            diagnostics.error(limit.place(), "this text takes too much memory to compile");
    }
    if (library) return std::move(*library);
    std::vector<Diagnostic> messages = diagnostics.messages();
    std::string printed = toText(messages);
    return std::unexpected(CompileError{std::move(messages), std::move(printed)});
}

std::string_view version() {
    return MSL_VERSION;
}

} // namespace msl
