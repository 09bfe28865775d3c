#include "hob/Source.h"

#include "GlassHobCore/HostText.h"
#include "GlassHobCore/Lines.h"
#include "GlassHobCore/ShaderFile.h"

#include <algorithm>
#include <unistd.h>

namespace hob {

using glasshob::Diagnostic;
using glasshob::ShaderError;
using glasshob::ShaderFile::Failure;

namespace {

/// The host calls shade(); a text that lacks it is told in the author's terms.
bool lacksShade(const ShaderError& error) {
    return std::ranges::any_of(error.diagnostics, [](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::Severity::error && diagnostic.line == 0 &&
               diagnostic.message.find("undeclared identifier 'shade'") != std::string::npos;
    });
}

/// The assembled source as far as the end of the user's text, with trails that hold no texture.
std::string withoutHostTextures(std::string text) {
    namespace host = glasshob::hostText;
    const std::string emptyTrails = "\nstruct Trails { float4 at(float2) const { return float4(0.0); } };\n";
    if (const std::size_t at = text.find(host::trails); at != std::string::npos) {
        text.replace(at, host::trails.size(), emptyTrails);
    }
    for (const std::string_view tail : {host::particlesBeforeFade, host::gridMesh}) {
        if (const std::size_t at = text.rfind(tail); at != std::string::npos) text.resize(at + 1);
    }
    return text;
}

bool isOnlyWhiteSpace(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return glasshob::leadingWhiteSpace(text) == text.size();
}

} // namespace

std::optional<Source> readSource(Console& console, const std::string& path) {
    const bool fromInput = path == "-";
    Source source;
    source.name = fromInput ? "Standard input" : path;
    auto text =
        fromInput ? glasshob::ShaderFile::readDescriptor(STDIN_FILENO, source.name) : glasshob::ShaderFile::read(path);
    if (!text) {
        console.problem(text.error().sentence);
        return std::nullopt;
    }
    if (isOnlyWhiteSpace(*text)) {
        console.problem(source.name + " is empty: a shader needs at least a shade() function.");
        return std::nullopt;
    }
    source.text = std::move(*text);
    return source;
}

std::expected<glasshob::CompiledShader, ShaderError> compileSource(const Source& source) {
    auto compiled = glasshob::ShaderCompiler::compile(source.text);
    if (compiled || !glasshob::ShaderCompiler::failedOnHostTextures(source.text, compiled.error())) return compiled;
    glasshob::CompiledShader shader;
    shader.assembled = glasshob::ShaderAssembler::assemble(source.text);
    auto library = msl::compile(withoutHostTextures(shader.assembled.source));
    if (!library) return compiled;
    shader.library = std::move(*library);
    return shader;
}

void tellCompileError(Console& console, const Source& source, const ShaderError& error) {
    if (error.diagnostics.empty()) {
        // A failure that is not about the text says so in one sentence of its own.
        console.problem(source.name + ": " + error.raw);
        return;
    }
    console.message(error.raw);
    if (lacksShade(error)) {
        console.problem(source.name + " defines no shade() that can be called: a shader needs a function "
                                      "float4 shade(float2 uv, constant Uniforms& u, constant Params& p).");
    } else {
        console.problem(source.name + " did not compile.");
    }
}

void tellWarnings(Console& console, const Source& source, std::string_view warnings) {
    if (warnings.empty()) return;
    console.message(warnings);
    console.message("hob: " + source.name + " compiles, with warnings.");
}

} // namespace hob
