// The second process: everything that reads what a stranger sent.

#include "GlassHobGallery/check/Pictures.h"
#include "GlassHobGallery/check/Sandbox.h"
#include "GlassHobGallery/check/UploadCheck.h"

#include "GlassHobCore/code/Diagnostics.h"
#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Text.h"
#include "MSL/Compiler.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace glasshob::gallery {

namespace {

std::optional<std::string_view> mapped(int file) {
    struct stat status{};
    if (fstat(file, &status) != 0) return {};
    if (status.st_size == 0) return std::string_view();
    void* bytes = mmap(nullptr, std::size_t(status.st_size), PROT_READ, MAP_PRIVATE, file, 0);
    if (bytes == MAP_FAILED) return {};
    return std::string_view(static_cast<const char*>(bytes), std::size_t(status.st_size));
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written <= 0) return false;
        bytes.remove_prefix(std::size_t(written));
    }
    return true;
}

// What keeps it from compiling; empty when it does.
std::string compileProblem(std::string_view source, const AssembledShader& assembled) {
    msl::CompileOptions options;
    options.timeLimit = std::chrono::seconds(10);
    options.warnings = msl::CompileOptions::Warnings::ignored;
    options.userTextBegin = std::min(assembled.source.find(source), assembled.source.size());
    options.userTextEnd = std::min(options.userTextBegin + source.size(), assembled.source.size());
    const auto library = msl::compile(assembled.source, options);
    if (library) {
        const bool isComplete = library->reflection.entryPoint(ShaderAssembler::vertexEntry) &&
                                library->reflection.entryPoint(ShaderAssembler::fragmentEntry);
        return isComplete ? "" : "The shader does not compile: the host's entry points are missing from it.";
    }
    std::string problem = "The shader does not compile.";
    for (const Diagnostic& message : fromCompiler(library.error().diagnostics)) {
        if (message.severity != Diagnostic::Severity::error) continue;
        const std::string place = message.line > 0 ? "line " + std::to_string(message.line) + ": " : "";
        problem = "The shader does not compile: " + place + message.message + ".";
        break;
    }
    return problem;
}

// At the commas, in small letters; what no tag may have is left out.
QJsonArray tagsOf(std::string_view line) {
    constexpr int most = 8;
    constexpr std::size_t longest = 24;
    QJsonArray tags;
    while (!line.empty() && tags.size() < most) {
        const std::size_t end = std::min(line.find(','), line.size());
        std::string tag;
        for (char c : trimmed(line.substr(0, end))) {
            if (c >= 'A' && c <= 'Z') c = char(c + 32);
            if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || (c == ' ' && !tag.ends_with(' ')))
                tag += c;
        }
        line.remove_prefix(std::min(end + 1, line.size()));
        const QString text = asQString(trimmed(tag));
        if (!text.isEmpty() && std::size_t(text.size()) <= longest && !tags.contains(text)) tags.append(text);
    }
    return tags;
}

QString oneLine(const std::string& sentence) {
    QString text = asQString(sentence).simplified();
    if (text.size() > 300) text = text.first(299) + "…";
    return text;
}

QJsonObject examine(std::string_view source, std::string_view loop, std::string_view thumb) {
    const auto problem = [](const std::string& sentence) { return QJsonObject{{"problem", oneLine(sentence)}}; };
    if (!isValidUtf8(source) || source.contains('\0')) return problem("The source is not UTF-8 text.");
    if (trimmed(source).empty()) return problem("The source is empty.");
    const AssembledShader assembled = ShaderAssembler::assemble(source);
    if (std::string sentence = compileProblem(source, assembled); !sentence.empty()) return problem(sentence);
    const auto picture = readPicture(thumb);
    if (!picture) return problem(picture.error());
    const auto movie = readMovie(loop);
    if (!movie) return problem(movie.error());
    if (!writeAll(6, movie->small) || !writeAll(7, picture->small)) _exit(uploadCheckWithoutRoom);

    ShareUpload told;
    told.source = std::string(source);
    told.params = assembled.params;
    const QJsonObject meta = QJsonDocument::fromJson(told.meta()).object();
    QJsonObject facts{{"kind", meta["kind"]},
                      {"sound", assembled.hasSound},
                      {"params", meta["params"]},
                      {"tags", tagsOf(EpisodeMeta::parse(source).tags)}};
    if (const auto item = ForkedFrom::parse(source)) facts["forkedFrom"] = asQString(*item);
    return facts;
}

} // namespace

int runUploadCheck() {
    const auto source = mapped(3), loop = mapped(4), thumb = mapped(5);
    // Made before the rights go: some libraries look around when they first do something.
    (void)ShaderAssembler::assemble("");
    if (!source || !loop || !thumb || !giveUpRights()) return 3;
    const QByteArray answer = QJsonDocument(examine(*source, *loop, *thumb)).toJson(QJsonDocument::Compact);
    if (!writeAll(1, {answer.data(), std::size_t(answer.size())})) return 3;
    // Without the ends of the libraries, which may want a right.
    _exit(0);
}

} // namespace glasshob::gallery
