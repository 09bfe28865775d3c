#include "GlassHobRender/ShaderCompiler.h"

#include "GlassHobCore/HostText.h"

#include <algorithm>

namespace glasshob::ShaderCompiler {
namespace {

// Where the user's text lies in the assembled source: behind the first line that numbers it. The prelude before it
// holds no such text of the user's.
std::size_t userTextBegin(std::string_view assembled) {
    const std::string marker = "#line 1 \"" + std::string(ShaderAssembler::userFileName) + "\"\n";
    const std::size_t at = assembled.find(marker);
    return at == std::string_view::npos ? assembled.size() : at + marker.size();
}

ShaderError makeError(const AssembledShader& assembled, msl::CompileError error) {
    std::vector<Diagnostic> diagnostics = fromCompiler(error.diagnostics);
    std::string raw = std::move(error.text);
    const ShaderKind kind = assembled.kind();
    const bool hostCodeFailed = std::ranges::any_of(diagnostics, [](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::Severity::error && diagnostic.line == 0;
    });
    if (kind != ShaderKind::fragment && hostCodeFailed) {
        std::string hint = kind == ShaderKind::grid ? "a vertex episode defines:\n" : "a particle episode defines:\n";
        hint += kind == ShaderKind::grid ? ShaderAssembler::gridHelp : ShaderAssembler::particleHelp;
        raw += "\nnote: " + hint;
        diagnostics.push_back({Diagnostic::Severity::note, 0, 0, std::move(hint)});
    }
    return {std::move(diagnostics), std::move(raw)};
}

} // namespace

std::expected<CompiledShader, ShaderError> compile(std::string_view source, std::chrono::milliseconds timeLimit) {
    CompiledShader shader{ShaderAssembler::assemble(source), {}};
    msl::CompileOptions options;
    options.timeLimit = timeLimit;
    options.userTextBegin = userTextBegin(shader.assembled.source);
    options.userTextEnd = std::min(options.userTextBegin + source.size(), shader.assembled.source.size());
    std::expected<msl::CompiledLibrary, msl::CompileError> library =
        shader.assembled.kind() == ShaderKind::particles
            ? msl::compile(shader.assembled.source + std::string(hostText::dots), options)
            : msl::compile(shader.assembled.source, options);
    // The messages are those of the text that the user's functions are told by, once each.
    if (!library && shader.assembled.kind() == ShaderKind::particles) {
        auto plain = msl::compile(shader.assembled.source, options);
        if (!plain) library = std::move(plain);
    }
    if (!library) return std::unexpected(makeError(shader.assembled, std::move(library.error())));
    shader.library = std::move(*library);
    return shader;
}

} // namespace glasshob::ShaderCompiler
