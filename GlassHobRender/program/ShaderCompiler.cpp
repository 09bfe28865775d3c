#include "GlassHobRender/program/ShaderCompiler.h"

#include "GlassHobRender/program/LibraryFromMSL.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>

namespace glasshob::ShaderCompiler {
namespace {

std::atomic<std::uint64_t> compiles = 0;

// Where the user's text lies in the assembled source: behind the first line that numbers it. The prelude before it
// holds no such text of the user's.
std::size_t userTextBegin(std::string_view assembled) {
    const std::string marker = "#line 1 \"" + std::string(ShaderAssembler::userFileName) + "\"\n";
    const std::size_t at = assembled.find(marker);
    return at == std::string_view::npos ? assembled.size() : at + marker.size();
}

bool isHostError(const Diagnostic& diagnostic) {
    return diagnostic.severity == Diagnostic::Severity::error && diagnostic.line == 0;
}

// What the compiler says of a text as a whole, a limit or a fault of its own, stands at the very first byte.
bool isAboutTheWhole(const msl::Diagnostic& record) {
    return record.severity == msl::Severity::error && record.file == msl::CompileOptions().fileName &&
           record.line == 1 && record.column == 1;
}

void addNote(ShaderError& error, std::string text) {
    error.raw += "\nnote: " + text;
    error.diagnostics.push_back({Diagnostic::Severity::note, 0, 0, std::move(text)});
}

// The host calls these functions where a line begins to define them. One that the compiler does not see there is told,
// because the message alone is about text that nobody wrote.
void explainUnseenFunctions(std::string_view source, ShaderError& error) {
    for (const auto& [type, name] : {std::pair{"float2", "sound"}, {"float4", "fade"}, {"float4", "background"}}) {
        const std::string unknown = "use of undeclared identifier '" + std::string(name) + "'";
        const bool isUnseen = std::ranges::any_of(error.diagnostics, [&](const Diagnostic& diagnostic) {
            return isHostError(diagnostic) && diagnostic.message.starts_with(unknown);
        });
        const auto line = isUnseen ? ShaderAssembler::definitionLine(source, type, name) : std::nullopt;
        if (line)
            addNote(error, "line " + std::to_string(*line) + " begins with '" + type + " " + name +
                               "(', so the host calls " + name +
                               "(), but no function of that name can be called from there: it stands in a comment, "
                               "between #if and #endif, or inside something else");
    }
}

ShaderError makeError(std::string_view source, const AssembledShader& assembled, msl::CompileError failure) {
    ShaderError error(fromCompiler(failure.diagnostics), std::move(failure.text));
    const bool hostCodeFailed = std::ranges::count_if(error.diagnostics, isHostError) >
                                std::ranges::count_if(failure.diagnostics, isAboutTheWhole);
    if (!hostCodeFailed) return error;
    explainUnseenFunctions(source, error);
    switch (assembled.kind()) {
    case ShaderKind::fragment: break;
    case ShaderKind::particles:
        addNote(error, "a particle episode defines:\n" + std::string(ShaderAssembler::particleHelp));
        break;
    case ShaderKind::grid:
        addNote(error, "a vertex episode defines:\n" + std::string(ShaderAssembler::gridHelp));
        break;
    }
    return error;
}

// ---- What the host asks of a library that compiled ------------------------------------------------------------------

// Whether the entry point that a look-up by this name finds is the host's. An author's may bear the same name.
bool has(const msl::Reflection& reflection, std::string_view name, msl::Stage stage) {
    const auto found = std::ranges::find_if(reflection.entryPoints, [&](const msl::EntryPoint& entry) {
        return entry.name == name && fitsTheLayer(entry);
    });
    return found != reflection.entryPoints.end() && found->stage == stage;
}

// The size of what the first buffer of gh_spawn is made of, as the compiler laid it out; 0 when it has none.
std::int64_t particleStride(const msl::Reflection& reflection) {
    const msl::EntryPoint* spawn = reflection.entryPoint(ShaderAssembler::spawnEntry);
    if (spawn == nullptr) return 0;
    for (const msl::Binding& binding : spawn->bindings)
        if (binding.kind == msl::BindingKind::storageBuffer && binding.metalIndex == 0 && binding.isArray)
            return binding.byteSize;
    return 0;
}

// The sentence about the first thing that is missing; empty when all is there. Macros can take an entry point away from
// a text that compiles.
std::string missing(const CompiledShader& shader) {
    const msl::Reflection& reflection = shader.library.reflection;
    const AssembledShader& assembled = shader.assembled;
    if (!has(reflection, ShaderAssembler::vertexEntry, msl::Stage::vertex) ||
        !has(reflection, ShaderAssembler::fragmentEntry, msl::Stage::fragment))
        return "The host entry points are missing from the compiled library.";
    if (assembled.hasSound && !has(reflection, ShaderAssembler::soundEntry, msl::Stage::kernel))
        return "The host's sound entry point is missing from the compiled library.";
    std::vector<std::pair<std::string_view, msl::Stage>> wanted;
    switch (assembled.kind()) {
    case ShaderKind::fragment: break;
    case ShaderKind::particles:
        wanted = {{ShaderAssembler::particleSizeEntry, msl::Stage::kernel},
                  {ShaderAssembler::fadeEntry, msl::Stage::fragment},
                  {ShaderAssembler::dotVertexEntry, msl::Stage::vertex},
                  {ShaderAssembler::dotFragmentEntry, msl::Stage::fragment},
                  {ShaderAssembler::spawnEntry, msl::Stage::kernel},
                  {ShaderAssembler::updateEntry, msl::Stage::kernel}};
        break;
    case ShaderKind::grid:
        wanted = {{ShaderAssembler::gridVertexEntry, msl::Stage::vertex},
                  {ShaderAssembler::gridFragmentEntry, msl::Stage::fragment}};
        if (assembled.hasBackground) wanted.emplace_back(ShaderAssembler::backgroundEntry, msl::Stage::fragment);
        break;
    }
    for (const auto& [name, stage] : wanted)
        if (!has(reflection, name, stage))
            return "The host's " + std::string(name) + " entry point is missing from the compiled library.";
    if (assembled.kind() == ShaderKind::particles && particleStride(reflection) == 0)
        return "Could not measure struct Particle.";
    return {};
}

// ---- The compile ----------------------------------------------------------------------------------------------------

class Compile {
  public:
    Compile(std::string_view source, std::chrono::milliseconds timeLimit, CutLoops cutLoops) : source_(source) {
        shader_.assembled = ShaderAssembler::assemble(source);
        const std::string& text = shader_.assembled.source;
        options_.timeLimit = timeLimit;
        options_.marksCutLoops = cutLoops == CutLoops::noticed;
        options_.userTextBegin = userTextBegin(text);
        options_.userTextEnd = std::min(options_.userTextBegin + source.size(), text.size());
    }

    std::expected<CompiledShader, ShaderError> run(std::uint64_t largestBuffer) {
        const bool hasParticles = shader_.assembled.kind() == ShaderKind::particles;
        auto library = hasParticles ? withDots(false) : msl::compile(shader_.assembled.source, options_);
        // The messages are those of the text that the user's functions are told by, once each.
        if (!library && hasParticles && std::ranges::none_of(library.error().diagnostics, isAboutTheWhole)) {
            auto plain = msl::compile(shader_.assembled.source, options_);
            if (!plain) library = std::move(plain);
        }
        if (!library) return failed(std::move(library.error()));
        shader_.library = std::move(*library);
        if (std::string sentence = missing(shader_); !sentence.empty())
            return std::unexpected(ShaderError({}, std::move(sentence)));
        if (!hasParticles) return std::move(shader_);

        shader_.stride = particleStride(shader_.library.reflection);
        shader_.particlesInPiece = shader_.assembled.particles;
        if (largestBuffer / std::uint64_t(shader_.stride) >= std::uint64_t(shader_.assembled.particles))
            return std::move(shader_);
        shader_.particlesInPiece = std::max<std::int64_t>(std::int64_t(largestBuffer) / shader_.stride, 1);
        library = withDots(true);
        if (!library) return failed(std::move(library.error()));
        shader_.library = std::move(*library);
        return std::move(shader_);
    }

  private:
    std::expected<msl::CompiledLibrary, msl::CompileError> withDots(bool inPieces) {
        shader_.dots = dotFunctions(shader_.assembled.source, inPieces);
        return msl::compile(shader_.assembled.source + shader_.dots.text, options_);
    }
    std::unexpected<ShaderError> failed(msl::CompileError error) const {
        return std::unexpected(makeError(source_, shader_.assembled, std::move(error)));
    }

    std::string_view source_;
    CompiledShader shader_;
    msl::CompileOptions options_;
};

} // namespace

std::expected<CompiledShader, ShaderError> compile(std::string_view source, std::chrono::milliseconds timeLimit,
                                                   std::uint64_t largestBuffer, CutLoops cutLoops) {
    ++compiles;
    return Compile(source, timeLimit, cutLoops).run(largestBuffer);
}

std::uint64_t count() {
    return compiles;
}

} // namespace glasshob::ShaderCompiler
