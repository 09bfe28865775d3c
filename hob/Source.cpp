#include "hob/Source.h"

#include "GPU/Device.h"
#include "GlassHobCore/code/DirectiveNotes.h"
#include "GlassHobCore/code/Explanations.h"
#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Memory.h"

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace hob {

using glasshob::Diagnostic;
using glasshob::ShaderError;
using glasshob::ShaderFile::Failure;

namespace {

// Behind the compiler's messages; one that is told as an error already is left out.
void addDirectiveNotes(std::vector<Diagnostic>& told, const Source& source) {
    for (Diagnostic& note : glasshob::directiveNotes(source.text))
        if (std::ranges::none_of(
                told, [&](const Diagnostic& each) { return each.line == note.line && each.message == note.message; }))
            told.push_back(std::move(note));
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
    return glasshob::ShaderCompiler::compile(source.text);
}

void tellCompileError(Console& console, const Source& source, const ShaderError& error) {
    if (error.diagnostics.empty()) {
        // A failure that is not about the text says so in one sentence of its own.
        console.problem(source.name + ": " + error.raw);
        return;
    }
    std::vector<Diagnostic> told = glasshob::explain(error.diagnostics, source.text);
    addDirectiveNotes(told, source);
    console.message(glasshob::toText(told, source.name));
    console.problem(source.name + " did not compile.");
}

void tellWarnings(Console& console, const Source& source, std::span<const Diagnostic> warnings) {
    std::vector<Diagnostic> told;
    for (const Diagnostic& warning : warnings)
        if (warning.line > 0) told.push_back(warning);
    addDirectiveNotes(told, source);
    if (told.empty()) return;
    console.message(glasshob::toText(told, source.name));
    console.message("hob: " + source.name + " compiles, with warnings.");
}

std::expected<ShaderInput, ExitStatus> readShaderInput(Console& console, const Arguments& arguments) {
    const std::string& path = arguments.operands().front();
    auto source = readSource(console, path);
    if (!source) return std::unexpected(ExitStatus::failed);
    auto settings = readSettings(arguments.values("--set"), glasshob::ParamParser::parse(source->text));
    if (!settings) {
        console.problem(settings.error());
        return std::unexpected(ExitStatus::wrongUsage);
    }
    for (const std::string& note : settings->notes)
        console.problem(note);
    return ShaderInput{path, std::move(*source), std::move(*settings)};
}

void tellCutLoops(Console& console, const Source& source, const Program& program) {
    if (!program.program->loopsWereCut()) return;
    console.problem("Parts of the picture are not what " + source.name + " says: its loops go on for so long that " +
                    program.device->name() +
                    " cut them short (after 65535 turns in all for neighbouring pixels). Let them end earlier, or "
                    "choose a GPU, which hob devices lists.");
}

std::optional<Program> openProgram(Console& console, const Source& source, std::int64_t width, std::int64_t height) {
    if (const auto lack = lackOfAddressSpace()) {
        console.problem(*lack);
        return {};
    }
    auto device = gpu::Device::systemDefault();
    if (!device) {
        console.problem(device.error().text);
        return {};
    }
    const std::int64_t most = (*device)->maxTextureSize();
    if (width > most || height > most) {
        console.problem("The device " + (*device)->name() + " draws pictures of at most " + std::to_string(most) +
                        " pixels a side: choose a smaller --size.");
        return {};
    }
    try {
        // The CPU driver ends long loops without a word.
        const auto cutLoops = (*device)->isCPU() ? glasshob::CutLoops::noticed : glasshob::CutLoops::unnoticed;
        auto program = std::make_shared<const glasshob::ShaderProgram>(
            source.text, *device, gpu::PixelFormat::bgra8Unorm, std::chrono::milliseconds(0), cutLoops);
        tellWarnings(console, source, program->warnings());
        return Program{std::move(*device), std::move(program)};
    } catch (const glasshob::ShaderError& error) {
        tellCompileError(console, source, error);
        return {};
    }
}

} // namespace hob
