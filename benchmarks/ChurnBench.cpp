// What 2,000 compiles leave behind. A session of live coding compiles a text thousands of times; each makes a program,
// a picture, and goes.
//
// Two processes, one after the other: in the first the model compiles a text 2,000 times, each with a constant that no
// compile had before, and every program draws once; in the other a bare Vulkan program makes, draws with and destroys
// as many pipelines. Judged is how much each heap holds more than after its first 200: ours may grow by no more than
// the bare one's, 5 % and 256 KB. The driver's own growth is in both. An argument gives another number of compiles, for
// a quick look.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "benchmarks/BareVulkan.h"
#include "benchmarks/Common.h"
#include "benchmarks/Glsl.h"

#include <algorithm>
#include <chrono>
#include <bit>
#include <cstdlib>
#include <malloc.h>

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>

namespace {

constexpr int warmCompiles = 200;
int compiles = 2'000;
constexpr int settlingTurns = 20;
constexpr std::uint32_t side = 64;
constexpr double share = 1.05;
constexpr double slack = 256; // kilobytes

// What the heap holds. Not the process's resident memory, which jumps by megabytes with what the allocator keeps.
double heldKilobytes() {
    const auto heap = mallinfo2();
    return double(heap.uordblks + heap.hblkhd) / 1024;
}

float freshNumber(int turn) {
    return float(turn + 1) * 1e-6F;
}

// Prints how much memory the process holds more after all turns than after the first; on the other stream how far it
// is, as it takes minutes.
int report(const char* name, const auto& turn) {
    constexpr int told = 500;
    int next = 0;
    const auto turnOnce = [&](int index) {
        turn(index);
        if ((index + 1) % told == 0) std::fprintf(stderr, "         %s: %d compiles\n", name, index + 1);
    };
    // The least of some turns: the driver lets go of a pipeline a turn or two later.
    const auto heldAfter = [&](int turns) {
        for (; next < turns; ++next)
            turnOnce(next);
        double least = heldKilobytes();
        for (const int end = next + settlingTurns; next < end; ++next) {
            turnOnce(next);
            least = std::min(least, heldKilobytes());
        }
        return least;
    };
    const double before = heldAfter(warmCompiles);
    const double after = heldAfter(warmCompiles + compiles);
    std::printf("%.0f %.0f\n", before, after - before);
    return 0;
}

int ours(const bench::ShaderPair& shader) {
    const auto device = gpu::Device::systemDefault();
    if (!device) return 2;
    const auto queue = (*device)->makeCommandQueue();
    const auto texture =
        (*device)->makeTexture({.width = side, .height = side, .usage = {.shaderRead = false, .renderTarget = true}});
    if (!queue || !texture) return 2;
    glasshob::DialogQuestions questions;
    glasshob::AppModel model(
        {.device = *device, .questions = &questions, .compilePatience = std::chrono::minutes(1)});
    return report("ours", [&](int i) {
        model.compile(bench::withFreshConstant(shader.metal, freshNumber(i)));
        const auto program = model.program();
        if (program == nullptr) std::exit(2);
        glasshob::GHUniforms uniforms;
        uniforms.resolution[0] = uniforms.resolution[1] = float(side);
        const auto commands = (*queue)->commandBuffer();
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = *texture;
        pass.colorAttachments[0].loadAction = program->pictureLoadAction();
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        program->encodePicture(*encoder, uniforms, {}, nullptr);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        QCoreApplication::processEvents();
    });
}

int bare(const bench::ShaderPair& shader) {
    const auto device = gpu::Device::systemDefault(); // only for its name
    if (!device) return 2;
    bench::BareVulkan vulkan((*device)->name().c_str(), side, side);
    const auto vertex = bench::compileGlsl(bench::GlslStage::vertex, bench::wholeVertex());
    // Compiled once; the fresh constant is put into the words.
    constexpr float marker = 1.2345678e-5F;
    auto fragment = bench::compileGlsl(bench::GlslStage::fragment, bench::wholeFragment(shader.glsl, marker));
    const auto word = std::ranges::find(fragment, std::bit_cast<std::uint32_t>(marker));
    if (word == fragment.end()) return 2;
    glasshob::GHUniforms uniforms;
    uniforms.resolution[0] = uniforms.resolution[1] = float(side);
    const std::vector<float> parameters(16);
    return report("bare", [&](int i) {
        *word = std::bit_cast<std::uint32_t>(freshNumber(i));
        vulkan.setShader(vertex, fragment);
        vulkan.draw(&uniforms, sizeof uniforms, parameters.data(), parameters.size() * sizeof(float));
    });
}

struct Growth {
    double before = 0, more = 0;
};

Growth growthOf(const QString& way) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), {way, QString::number(compiles)});
    process.waitForFinished(-1);
    const QList<QByteArray> words = process.readAllStandardOutput().simplified().split(' ');
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || words.size() != 2) {
        std::fprintf(stderr, "The process that measures '%s' failed.\n", qPrintable(way));
        std::exit(2);
    }
    return {words[0].toDouble(), words[1].toDouble()};
}

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    const QTemporaryDir settings;
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
        setenv(name, settings.path().toUtf8().constData(), 1);
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("GlassHobBench"));
    const auto pairs = bench::shaderPairs();
    const auto shader =
        *std::ranges::find_if(pairs, [](const auto& pair) { return pair.name == std::string("rings"); });
    if (argc > 1) compiles = std::max(std::atoi(argv[argc - 1]), 1);
    if (argc > 2) return argv[1] == std::string("ours") ? ours(shader) : bare(shader);
    const Growth own = growthOf(QStringLiteral("ours"));
    const Growth other = growthOf(QStringLiteral("bare"));
    const double allowed = other.more * share + slack;
    const bool isGood = own.more <= allowed;
    std::printf(
        "memory   %d compiles: from %.1f to %.1f MB, %.2f KB each; bare pipelines from %.1f to %.1f MB, %.2f KB "
        "each (at most their growth, 5 %% and 256 KB): %s\n",
        compiles, own.before / 1024, (own.before + own.more) / 1024, own.more / compiles, other.before / 1024,
        (other.before + other.more) / 1024, other.more / compiles, isGood ? "reached" : "MISSED");
    return isGood ? 0 : 1;
}
