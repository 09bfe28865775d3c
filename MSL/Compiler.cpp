#include "MSL/Compiler.h"

#include "MSL/FrontEnd.h"
#include "MSL/legalize/Legalize.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/WorkLimit.h"
#include "MSL/spirv/SpirvWriter.h"

#include <algorithm>
#include <limits>

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

} // namespace

std::expected<CompiledLibrary, CompileError> compile(std::string_view source, const CompileOptions& options) {
    // Offsets are 32 bits, and no shader is that long.
    constexpr std::size_t largestSource = 64U * 1024 * 1024;
    const bool isTooLong = source.size() > largestSource;
    const std::string_view text = isTooLong ? std::string_view() : source;

    SourceManager sources(text, options.fileName, options.userTextBegin, options.userTextEnd);
    Diagnostics diagnostics(sources, warningLevel(options.warnings));
    WorkLimit limit(options.timeLimit);
    const auto failed = [&] {
        std::vector<Diagnostic> messages = diagnostics.messages();
        std::string printed = toText(messages);
        return std::unexpected(CompileError{std::move(messages), std::move(printed)});
    };
    if (isTooLong) {
        diagnostics.error(SourceLocation::atOffset(0), "the source is longer than 64 MB");
        return failed();
    }

    const std::unique_ptr<ir::Module> module =
        translate(sources, diagnostics, limit, {.allowsAddresses = options.allowAddresses});
    if (module == nullptr) return failed();
    const spirv::Bindings bindings(*module);
    Reflection reflection = spirv::reflect(*module, bindings);

    // What the writer's target lacks, in terms of what it has.
    legalize(*module, spirv::target());
    verifyAfter("legalizing", *module, diagnostics);

    auto words = spirv::write(*module, bindings, {.debugNames = options.debugNames});
    if (!words) diagnostics.internalError(SourceLocation::atOffset(0), words.error());
    if (diagnostics.hasErrors()) return failed();
    return CompiledLibrary{std::move(*words), std::move(reflection), diagnostics.messages()};
}

std::string_view version() {
    return MSL_VERSION;
}

} // namespace msl
