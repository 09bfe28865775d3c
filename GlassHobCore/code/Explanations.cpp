#include "GlassHobCore/code/Explanations.h"

#include "GlassHobCore/code/DirectiveNotes.h"
#include "GlassHobCore/code/ForeignCode.h"
#include "GlassHobCore/code/LibraryNames.h"
#include "GlassHobCore/code/SymbolIndex.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Text.h"

#include <algorithm>
#include <optional>
#include <string>

namespace glasshob {

namespace {

using Severity = Diagnostic::Severity;

bool isHostMessage(const Diagnostic& message) {
    return message.line == 0 && !message.excerpt.empty();
}

// A limit is reached wherever the compiler happens to be.
bool isAboutTheWhole(const Diagnostic& message) {
    return message.message.starts_with("this text takes too") ||
           message.message.starts_with("the program is too large");
}

std::string utf8(const QString& text) {
    return text.toStdString();
}

ShaderKind assembledKind(std::string_view source) {
    if (ShaderAssembler::gridCells(source) >= 1) return ShaderKind::grid;
    return ShaderAssembler::particleCount(source) >= 1 ? ShaderKind::particles : ShaderKind::fragment;
}

// "spawn(), place() and ink()"
std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
        text += names[i];
    }
    return text;
}

class Explainer {
  public:
    explicit Explainer(std::string_view source) : source_(source), kind_(assembledKind(source)) {}

    std::vector<Diagnostic> take() { return std::move(told_); }

    void read(std::span<const Diagnostic> messages) {
        if (auto foreign = recogniseForeignCode(source_)) told_.push_back(std::move(foreign->row));
        for (std::size_t i = 0; i < messages.size();) {
            std::size_t end = i + 1;
            // The host's help has no column: it follows the messages, and is about none of them.
            while (end < messages.size() && messages[end].severity == Severity::note && messages[end].column > 0)
                ++end;
            readGroup(messages[i], messages.subspan(i + 1, end - i - 1));
            i = end;
        }
        if (!missing_.empty()) tellMissing();
    }

  private:
    void readGroup(const Diagnostic& message, std::span<const Diagnostic> notes) {
        if (isHostMessage(message)) {
            if (message.severity == Severity::error) readHostError(message);
            return;
        }
        Diagnostic& told = told_.emplace_back(message);
        if (auto hint = foreignNameHint(message)) {
            // What the compiler takes for a slip of the pen is another name of another program.
            if (hint->fixIt || message.message.find("texture2d") != std::string::npos) told.fixIt.reset();
            told_.push_back(std::move(*hint));
        }
        for (const Diagnostic& note : notes)
            if (note.line > 0) told_.push_back(note);
    }

    // The function of the author's that a line of the host's code calls.
    const Symbol* calledFunction(const Diagnostic& message) const {
        const std::string_view line = std::string_view(message.excerpt).substr(0, message.excerpt.find('\n'));
        for (const Symbol& function : libraryNames::entryFunctions(kind_))
            if (line.find(utf8(function.name) + "(") != std::string_view::npos) return &function;
        return nullptr;
    }

    void readHostError(const Diagnostic& message) {
        if (isAboutTheWhole(message)) {
            Diagnostic& told = told_.emplace_back(message);
            told.column = told.length = 0;
            told.excerpt.clear();
            return;
        }
        const std::string_view unknown = undeclaredName(message);
        if (unknown == "Particle" || unknown == "Vertex") {
            addMissing("struct " + std::string(unknown));
            return;
        }
        const Symbol* function = calledFunction(message);
        if (!function) {
            tellOtherHostError(message);
            return;
        }
        if (!index_) index_.emplace(asQString(source_));
        const Symbol* defined = index_->find(function->name);
        const bool isUnseen = unknown == utf8(function->name);
        if (isUnseen || !defined) {
            addMissing(utf8(function->name) + "()");
            return;
        }
        if (std::ranges::find(unfit_, function) != unfit_.end()) return;
        unfit_.push_back(function);
        Diagnostic& told = told_.emplace_back();
        told.line = defined->line + 1;
        const QString& text = index_->lines()[std::size_t(defined->line)].text;
        const qsizetype name = std::max<qsizetype>(0, text.indexOf(defined->name, std::max(0, defined->column)));
        told.column = text.left(name).toUtf8().size() + 1;
        told.length = defined->name.toUtf8().size();
        told.message = utf8(function->name) + "() is called as " + utf8(function->declaration) +
                       ", and this one does not fit: " + message.message;
    }

    // An error before the author's text comes from the name of a slider.
    void tellOtherHostError(const Diagnostic& message) {
        for (const Diagnostic& note : directiveNotes(source_)) {
            if (note.message.find("can name no slider") == std::string::npos) continue;
            if (std::ranges::any_of(told_, [&](const Diagnostic& told) { return told.message == note.message; }))
                return;
            told_.push_back(note);
            told_.back().severity = Severity::error;
            return;
        }
        Diagnostic& told = told_.emplace_back(message);
        told.column = told.length = 0;
        told.excerpt.clear();
        told.message = "in the code that Glass Hob puts round the shader: " + message.message;
    }

    void addMissing(std::string name) {
        if (std::ranges::find(missing_, name) != missing_.end()) return;
        if (missing_.empty()) missingPlace_ = told_.size();
        missing_.push_back(std::move(name));
    }

    void tellMissing() {
        Diagnostic error;
        if (kind_ == ShaderKind::fragment) {
            error.message = "no " + listed(missing_) + " that can be called: a shader defines " +
                            (missing_.front() == "sound()" ? "float2 sound(float t, constant Params& p)"
                                                           : "float4 shade(float2 uv, constant Uniforms& u, "
                                                             "constant Params& p)");
        } else {
            error.message = std::string(kind_ == ShaderKind::grid ? "this grid shader" : "this particle shader") +
                            " defines no " + listed(missing_) + " that can be called";
        }
        told_.insert(told_.begin() + std::ptrdiff_t(missingPlace_), std::move(error));
    }

    std::string_view source_;
    ShaderKind kind_;
    std::optional<SymbolIndex> index_;
    std::vector<Diagnostic> told_;
    std::vector<const Symbol*> unfit_;
    std::vector<std::string> missing_;
    std::size_t missingPlace_ = 0;
};

} // namespace

std::vector<Diagnostic> explain(std::span<const Diagnostic> diagnostics, std::string_view source) {
    Explainer explainer(source);
    explainer.read(diagnostics);
    return explainer.take();
}

} // namespace glasshob
