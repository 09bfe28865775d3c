#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"
#include "hob/Commands.h"
#include "hob/Source.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cmath>

namespace hob {

using glasshob::AssembledShader;
using glasshob::CompiledShader;
using glasshob::ParamDecl;

namespace {

constexpr Option options[] = {
    {"--json", "", "", "print one JSON object for programs"},
};

struct Info {
    AssembledShader shader;
    // Bytes of one particle in memory; 0 for the other kinds.
    std::int64_t stride = 0;
    double compileMillis = 0;
};

// A float as JSON: its shortest digits; a string where JSON has no number for it.
QJsonValue number(float value) {
    const std::string digits = glasshob::shortestText(value);
    if (!std::isfinite(value)) return glasshob::asQString(digits);
    return glasshob::parseDouble(digits).value_or(0);
}

QByteArray json(const Info& info) {
    QJsonArray params;
    for (const ParamDecl& param : info.shader.params) {
        params.append(QJsonObject{{"name", glasshob::asQString(param.name)},
                                  {"default", number(param.defaultValue)},
                                  {"min", number(param.min)},
                                  {"max", number(param.max)},
                                  {"detail", glasshob::asQString(param.detail)}});
    }
    const QJsonObject object = {
        {"kind", glasshob::asQString(rawValue(info.shader.kind()))},
        {"particles", static_cast<qint64>(info.shader.particles)},
        {"grid", static_cast<qint64>(info.shader.grid)},
        {"hasSound", info.shader.hasSound},
        {"hasFade", info.shader.hasFade},
        {"hasBackground", info.shader.hasBackground},
        {"stride", qint64(info.stride)},
        {"params", params},
        {"compileMillis", info.compileMillis},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

std::string sliderLines(const std::vector<ParamDecl>& params) {
    std::size_t width = 0;
    for (const ParamDecl& param : params)
        width = std::max(width, param.name.size());
    std::string lines;
    for (const ParamDecl& param : params) {
        lines += "  " + param.name + std::string(width - param.name.size() + 2, ' ') +
                 glasshob::shortestText(param.defaultValue) + " in " + glasshob::shortestText(param.min) + " to " +
                 glasshob::shortestText(param.max);
        if (!param.detail.empty()) lines += "  " + param.detail;
        lines += '\n';
    }
    return lines;
}

std::string prose(const Info& info) {
    const AssembledShader& shader = info.shader;
    std::string lines = "kind: " + std::string(rawValue(shader.kind())) + '\n';
    if (shader.particles > 0) {
        lines += "particles: " + std::to_string(shader.particles) + " of " + std::to_string(info.stride) + " bytes" +
                 (shader.hasFade ? ", with trails of its own" : "") + '\n';
    }
    if (shader.grid > 0) {
        lines += "grid: " + std::to_string(shader.grid) + " by " + std::to_string(shader.grid) + " squares" +
                 (shader.hasBackground ? ", with a background" : "") + '\n';
    }
    lines += std::string("sound: ") + (shader.hasSound ? "yes" : "no") + '\n';
    lines += "compiled in: " + glasshob::twoDecimals(static_cast<float>(info.compileMillis)) + " ms\n";
    lines += shader.params.empty() ? "sliders: none\n" : "sliders:\n" + sliderLines(shader.params);
    return lines;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto source = readSource(console, arguments.operands().front());
    if (!source) return ExitStatus::failed;
    const auto start = std::chrono::steady_clock::now();
    const auto compiled = compileSource(*source);
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    if (!compiled) {
        tellCompileError(console, *source, compiled.error());
        return ExitStatus::failed;
    }
    Info info;
    info.shader = compiled->assembled;
    info.compileMillis = std::round(elapsed.count() * 1000) / 1000;
    if (info.shader.particles > 0) {
        info.stride = compiled->stride;
    }
    const QByteArray bytes = arguments.has("--json") ? json(info) : QByteArray::fromStdString(prose(info));
    console.write({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    return ExitStatus::done;
}

} // namespace

const Command& infoCommand() {
    static constexpr Command command = {
        .name = "info",
        .summary = "Tell a shader's kind, sliders and features",
        .usage = "[--json] FILE",
        .notes =
            "With --json the keys are kind, particles, grid, hasSound, hasFade, hasBackground, stride (bytes of one\n"
            "particle), params (name, default, min, max, detail) and compileMillis. A number that is not finite\n"
            "is a string. No GPU and no driver is needed.\n",
        .operands = Operands::one,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
