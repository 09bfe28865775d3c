// A graphics device that goes away, or is busy without end, stops the picture and nothing else.

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GPU/Testing.h"
#include "GPU/Texture.h"
#include "GlassHob/model/RetiredDevice.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/program/ShaderProgram.h"

namespace glasshob {
namespace {

class DeviceTroubleTest : public AppModelTest {
  protected:
    void SetUp() override {
        AppModelTest::SetUp();
        model->open(file("a.metal", shader("// @param s 1 0 2")));
        model->setValue("s", 2);
        model->tick(1);
        model->tick(2);
        QObject::connect(model.get(), &AppModel::deviceReplaced, [this] {
            log << "replaced";
            EXPECT_EQ(model->program()->device(), model->device());
        });
        QObject::connect(model.get(), &AppModel::compiled, [this] { log << "compiled"; });
        QObject::connect(model.get(), &AppModel::deviceTroubleChanged, [this] { log << "trouble"; });
    }
    QStringList log;
};

TEST_F(DeviceTroubleTest, ALostDeviceIsToldAndTheNextGoodCompileStartsAfresh) {
    const std::weak_ptr<gpu::Device> old = model->device();
    model->device()->injectLoss();
    model->reportDeviceLoss();
    model->reportDeviceLoss();
    EXPECT_EQ(log, (QStringList{"trouble", "compiled"}));
    EXPECT_EQ(model->program(), nullptr);
    EXPECT_EQ(model->errorText(), std::nullopt) << "nothing is wrong with the text";
    EXPECT_TRUE(model->statusText().startsWith("The graphics device was lost"));
    EXPECT_EQ(model->statusText(), model->deviceTrouble());

    log.clear();
    model->textChanged(shader("// @param s 1 0 2", "nowhere"));
    delay_->elapse();
    EXPECT_EQ(log, QStringList{"compiled"});
    EXPECT_FALSE(model->diagnostics().empty());
    EXPECT_FALSE(model->deviceTrouble().isEmpty());
    EXPECT_TRUE(model->device()->lost());

    log.clear();
    model->textChanged(shader("// @param s 1 0 2", "float4(0.5)"));
    delay_->elapse();
    EXPECT_EQ(log, (QStringList{"replaced", "trouble", "compiled"}));
    EXPECT_FALSE(model->device()->lost());
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_TRUE(model->deviceTrouble().isEmpty());
    EXPECT_EQ(model->values().at("s"), 2.0f) << "sliders stay";
    EXPECT_EQ(model->time(), 1.0) << "and so does the clock";
    const QDeadlineTimer deadline(10000);
    while (!old.expired() && !deadline.hasExpired())
        QThread::msleep(5);
    EXPECT_TRUE(old.expired()) << "the old one is let go of";
}

TEST_F(DeviceTroubleTest, ALossThatACompileMeetsIsNoErrorOfTheText) {
    const gpu::testing::InjectedFault fault("pipeline", gpu::ErrorKind::deviceLost);
    model->textChanged(shader("// @param s 1 0 2", "float4(0.25)"));
    delay_->elapse();
    ASSERT_TRUE(fault.happened());
    EXPECT_EQ(model->errorText(), std::nullopt);
    EXPECT_FALSE(model->deviceTrouble().isEmpty());
    model->compileNow();
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_FALSE(model->device()->lost());
}

TEST_F(DeviceTroubleTest, WithoutAnotherDeviceTheWindowLives) {
    ManualDelay* delay = nullptr;
    auto manual = std::make_unique<ManualDelay>();
    delay = manual.get();
    bool there = false;
    AppModel lonely({.device = gpu::Device::makeSeparate().value(),
                     .questions = &questions,
                     .compileDelay = std::move(manual),
                     .presetStore = PresetStore(folder.filePath("presets.json")),
                     .makeDevice = [&]() -> gpu::Result<std::shared_ptr<gpu::Device>> {
                         if (there) return gpu::Device::makeSeparate();
                         return std::unexpected(gpu::Error{gpu::ErrorKind::noDriver, "There is no device any more."});
                     },
                     .compilePatience = compilePatience});
    lonely.open(*model->filePath());
    lonely.device()->injectLoss();
    lonely.reportDeviceLoss();
    lonely.textChanged(shader(""));
    delay->elapse();
    EXPECT_EQ(lonely.errorText(), "There is no device any more.");
    there = true;
    lonely.compileNow();
    EXPECT_EQ(lonely.state(), AppModel::State::live);
}

TEST_F(DeviceTroubleTest, AFrameWithoutEndIsToldAndDoesNotHoldUpTheNextShader) {
    const auto device = model->device();
    model->reportSlowFrame(1.2);
    EXPECT_TRUE(log.isEmpty()) << "nothing to worry about yet";
    model->reportSlowFrame(12.7);
    EXPECT_TRUE(model->deviceTrouble().contains("12 seconds.")) << model->deviceTrouble().toStdString();
    model->reportSlowFrame(12.9);
    EXPECT_EQ(log, QStringList{"trouble"});
    model->textChanged(shader("", "nowhere"));
    delay_->elapse();
    EXPECT_EQ(model->device(), device) << "the picture may still come";
    model->reportSlowFrame(0);
    EXPECT_TRUE(model->deviceTrouble().isEmpty());
    model->textChanged(shader("", "float4(0.5)"));
    delay_->elapse();
    EXPECT_EQ(model->device(), device) << "it has come";

    model->reportSlowFrame(3);
    model->textChanged(shader("", "float4(0.75)"));
    delay_->elapse();
    EXPECT_NE(model->device(), device);
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_TRUE(model->deviceTrouble().isEmpty());
}

TEST_F(DeviceTroubleTest, ACompileDoesNotWaitForABusyDevice) {
    const std::string particles =
        "// @particles 100\n"
        "struct Particle { float2 place; };\n"
        "Particle spawn(uint id, constant Params& p) { return {float2(0.5)}; }\n"
        "void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}\n"
        "float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.place, 1.0); }\n"
        "float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(1.0); }\n"
        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return float4(0.0); }\n";
    model->textChanged(shader("float turns(float a) {\n"
                              "    for (int i = 0; i < 16000; ++i) a = sin(a + float(i));\n"
                              "    return a;\n"
                              "}\n",
                              "float4(turns(uv.x))"));
    delay_->elapse();
    ASSERT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();
    const auto queue = model->device()->makeCommandQueue();
    ASSERT_TRUE(queue);
    const auto draw = [&](std::uint32_t side) {
        const auto texture = model->device()->makeTexture(
            {.width = side, .height = side, .usage = {.shaderRead = false, .renderTarget = true}});
        const auto frame = (*queue)->commandBuffer();
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = *texture;
        gpu::RenderCommandEncoder* encoder = frame->makeRenderCommandEncoder(pass);
        model->program()->encodePicture(*encoder, GHUniforms{}, {}, nullptr);
        encoder->endEncoding();
        frame->commit();
        return frame;
    };
    draw(1)->waitUntilCompleted(); // the driver compiles at the first draw
    const auto frame = draw(256);

    model->reportSlowFrame(1);
    model->textChanged(particles);
    delay_->elapse();
    EXPECT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();
    EXPECT_NE(model->program()->particles(), nullptr);
    frame->waitUntilCompleted();
    model->reportSlowFrame(0);
    EXPECT_TRUE(model->deviceTrouble().isEmpty());
}

TEST(RetiredDevice, OneThatIsLetGoOfTwiceEnds) {
    auto device = gpu::Device::makeSeparate().value();
    const std::weak_ptr<gpu::Device> watched = device;
    retire(device);
    retire(std::move(device));
    const QDeadlineTimer deadline(10000);
    while (!watched.expired() && !deadline.hasExpired())
        QThread::msleep(5);
    EXPECT_TRUE(watched.expired());
}

} // namespace
} // namespace glasshob
