// From the start of the process to its first picture, with the driver's cache warm.
//
// Each run is a process of its own. Ours starts as the application does and ends with the first frame on the screen;
// the other makes a bare Qt window, a Vulkan device, and draws the same picture once at the same size. Judged is the
// median of the ratios of pairs. The goal for the absolute figure on the CPU driver is one second, and is printed.
#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogQuestions.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/window/MainWindow.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "benchmarks/BareVulkan.h"
#include "benchmarks/Common.h"
#include "benchmarks/Glsl.h"

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

namespace {

constexpr int runs = 45;
constexpr int warmRuns = 2;
constexpr double target = 1.5;
constexpr QSize windowSize{1280, 720};
constexpr QSize pictureSize{728, 400}; // what such a window has for it

double nowMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) * 1e-6;
}

int ours(QApplication& application, const QString& shader) {
    gpu::Device::prepare();
    glasshob::Theme::instance().install();
    glasshob::DialogQuestions questions;
    glasshob::AppModel model({.questions = &questions});
    glasshob::MainWindow window(model);
    questions.setWindow(&window);
    std::atomic<bool> isDone = false;
    window.canvas()->setFrameHandler([&](auto) {
        if (isDone.exchange(true)) return;
        std::printf("%.3f\n", nowMilliseconds());
        std::fflush(stdout);
        QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    window.resize(windowSize);
    window.show();
    model.start({QStringLiteral("glasshob"), QStringLiteral("--shader"), shader});
    QTimer::singleShot(30'000, &application, [] { QCoreApplication::exit(3); });
    return QApplication::exec();
}

int bare(const char* deviceName, const std::string& vertexFile, const std::string& fragmentFile) {
    const auto words = [](const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        std::vector<std::uint32_t> made(bytes.size() / 4);
        std::memcpy(made.data(), bytes.data(), made.size() * 4);
        return made;
    };
    QWidget window;
    window.resize(windowSize);
    window.show();
    QApplication::processEvents();
    bench::BareVulkan vulkan(deviceName, std::uint32_t(pictureSize.width()), std::uint32_t(pictureSize.height()));
    vulkan.setShader(words(vertexFile), words(fragmentFile));
    glasshob::GHUniforms uniforms;
    uniforms.resolution[0] = float(pictureSize.width());
    uniforms.resolution[1] = float(pictureSize.height());
    const std::vector<float> parameters(16, 1.0F);
    vulkan.draw(&uniforms, sizeof uniforms, parameters.data(), parameters.size() * sizeof(float));
    std::printf("%.3f\n", nowMilliseconds());
    return 0;
}

double startOf(const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const double start = nowMilliseconds();
    process.start(QCoreApplication::applicationFilePath(), arguments);
    process.waitForFinished(60'000);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "The process '%s' showed no picture.\n", qPrintable(arguments.first()));
        std::exit(2);
    }
    return process.readAllStandardOutput().trimmed().toDouble() - start;
}

void writeWords(const std::string& path, const std::vector<std::uint32_t>& words) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(words.data()), std::streamsize(words.size() * 4));
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        QApplication application(argc, argv);
        QApplication::setOrganizationName(QStringLiteral("GlassHobBench"));
        if (argv[1] == std::string("ours")) return ours(application, QString::fromUtf8(argv[2]));
        return bare(argv[2], argv[3], argv[4]);
    }
    const QTemporaryDir folder;
    const std::string base = folder.path().toStdString();
    unsetenv("MESA_SHADER_CACHE_DISABLE");
    setenv("MESA_SHADER_CACHE_DIR", base.c_str(), 1);
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
        setenv(name, base.c_str(), 1);
    const QCoreApplication application(argc, argv);
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        std::fprintf(stderr, "%s\n", device.error().text.c_str());
        return 2;
    }
    const bench::ShaderPair shader = bench::shaderPairs().front();
    std::ofstream(base + "/first.metal") << shader.metal;
    writeWords(base + "/vertex.spv", bench::compileGlsl(bench::GlslStage::vertex, bench::wholeVertex()));
    writeWords(base + "/fragment.spv",
               bench::compileGlsl(bench::GlslStage::fragment, bench::wholeFragment(shader.glsl, 1e-6F)));
    const auto path = [&](const char* name) { return QString::fromStdString(base + "/" + name); };
    const QStringList own{QStringLiteral("ours"), path("first.metal")};
    const QStringList other{QStringLiteral("bare"), QString::fromStdString((*device)->name()), path("vertex.spv"),
                            path("fragment.spv")};
    const auto ourStart = [&] { return startOf(own); };
    const auto bareStart = [&] { return startOf(other); };
    bench::inPairs(warmRuns, ourStart, bareStart);
    const bench::Pairs pairs = bench::inPairs(runs, ourStart, bareStart);
    const double ratio = bench::median(pairs.ratios);
    const bool isGood = ratio <= target;
    std::printf("start    to the first picture %.0f ms (goal 1000), bare window and one draw %.0f ms: %.2f times, the "
                "median of %d pairs (at most %.1f): %s\n",
                bench::median(pairs.ours), bench::median(pairs.theirs), ratio, runs, target,
                isGood ? "reached" : "MISSED");
    return isGood ? 0 : 1;
}
