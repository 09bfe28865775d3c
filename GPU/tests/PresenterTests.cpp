// Frames in a real window of an X server; skipped where no display is set.
#define VK_USE_PLATFORM_XCB_KHR
#include "GPU/Presenter.h"
#include "GPU/Testing.h"
#include "GPU/tests/GlslLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vulkan/vulkan.h>
#include <xcb/xcb.h>

namespace gpu {
namespace {

using namespace gpu::testing;

// A window, its surface, and a look at its pixels.
class TestWindow {
  public:
    TestWindow(std::uint16_t width, std::uint16_t height) : connection_(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        window_ = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, width, height, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_map_window(connection_, window_);
        sync();
        const VkXcbSurfaceCreateInfoKHR info{.sType = VK_STRUCTURE_TYPE_XCB_SURFACE_CREATE_INFO_KHR,
                                             .pNext = nullptr,
                                             .flags = 0,
                                             .connection = connection_,
                                             .window = window_};
        vkCreateXcbSurfaceKHR(instance(), &info, nullptr, &surface_);
    }

    ~TestWindow() {
        vkDestroySurfaceKHR(instance(), surface_, nullptr);
        xcb_disconnect(connection_);
    }

    NativeSurface surface() const { return {reinterpret_cast<std::uint64_t>(surface_)}; }

    void resize(std::uint32_t width, std::uint32_t height) {
        const std::uint32_t values[] = {width, height};
        xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
        sync();
    }

    // 0xRRGGBB as the server shows it.
    std::uint32_t shown(std::int16_t x, std::int16_t y) {
        xcb_get_image_reply_t* reply = xcb_get_image_reply(
            connection_, xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window_, x, y, 1, 1, ~0U), nullptr);
        if (reply == nullptr) return ~0U;
        std::uint32_t value = 0;
        std::copy_n(xcb_get_image_data(reply), 3, reinterpret_cast<std::uint8_t*>(&value));
        free(reply);
        return value;
    }

  private:
    static VkInstance instance() { return static_cast<VkInstance>(*nativeInstance()); }
    void sync() { free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)); }

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
    VkSurfaceKHR surface_ = VK_NULL_HANDLE;
};

class Presenting : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("DISPLAY") == nullptr) GTEST_SKIP() << "No display is set.";
        const auto made = Device::systemDefault();
        ASSERT_TRUE(made) << made.error().text;
        device = *made;
        queue = *device->makeCommandQueue();
    }

    // Clears the next drawable to a grey of `level`, and waits until it is shown. False when none came in time.
    bool showFrame(Presenter& presenter, std::uint32_t width, std::uint32_t height, int level) {
        const std::uint64_t before = presenter.presentedFrames();
        for (int attempt = 0; attempt < 2000; ++attempt, std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
            const auto drawable = presenter.nextDrawable(width, height);
            if (drawable == nullptr || drawable->width() != width) continue;
            const auto commands = queue->commandBuffer();
            auto pass = passOn(drawable->texture(), LoadAction::clear);
            pass.colorAttachments[0].clearColor = {level / 255.0, level / 255.0, level / 255.0, 1};
            commands->makeRenderCommandEncoder(pass)->endEncoding();
            commands->presentDrawable(drawable);
            commands->commit();
            break;
        }
        for (int i = 0; i < 2000 && presenter.presentedFrames() == before && !presenter.surfaceLost(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return presenter.presentedFrames() == before + 1;
    }

    std::shared_ptr<Device> device;
    std::shared_ptr<CommandQueue> queue;
};

TEST_F(Presenting, FramesReachTheWindowInOrderAndFollowItsSize) {
    TestWindow window(320, 200);
    auto made = Presenter::make(device, window.surface());
    ASSERT_TRUE(made) << made.error().text;
    Presenter& presenter = **made;
    std::mutex mutex;
    std::vector<std::uint64_t> numbers;
    presenter.setPresentedHandler([&](const PresentedFrame& frame) {
        const std::lock_guard lock(mutex);
        numbers.push_back(frame.number);
        EXPECT_LE(frame.drawn, frame.presented);
    });
    for (int level = 10; level < 60; level += 10)
        ASSERT_TRUE(showFrame(presenter, 320, 200, level));
    EXPECT_EQ(window.shown(319, 199), 0x323232U);
    window.resize(200, 300);
    ASSERT_TRUE(showFrame(presenter, 200, 300, 100));
    EXPECT_EQ(window.shown(199, 299), 0x646464U);
    presenter.close();
    EXPECT_THAT(numbers, ::testing::ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(presenter.nextDrawable(200, 300), nullptr);
}

TEST_F(Presenting, NoMoreThanTwoAreHandedOutAndUnusedOnesComeBack) {
    TestWindow window(64, 64);
    auto made = Presenter::make(device, window.surface());
    ASSERT_TRUE(made);
    Presenter& presenter = **made;
    ASSERT_TRUE(showFrame(presenter, 64, 64, 1));
    const auto take = [&] {
        std::shared_ptr<Drawable> drawable;
        for (int i = 0; i < 500 && drawable == nullptr; ++i) {
            drawable = presenter.nextDrawable(64, 64);
            if (drawable == nullptr) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return drawable;
    };
    EXPECT_EQ(presenter.nextDrawable(0, 64), nullptr);
    auto first = take();
    auto second = take();
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_NE(first->texture(), second->texture());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(presenter.nextDrawable(64, 64), nullptr);
    first.reset();
    EXPECT_NE(take(), nullptr);

    // One that outlives the presenter cannot be drawn to any more.
    presenter.close();
    EXPECT_EQ(queue->commandBuffer()->makeRenderCommandEncoder(passOn(second->texture())), nullptr);
}

TEST_F(Presenting, ALostSurfaceGivesNoDrawables) {
    TestWindow window(64, 64);
    EXPECT_FALSE(Presenter::make(device, {}));
    auto made = Presenter::make(device, window.surface());
    ASSERT_TRUE(made);
    {
        const InjectedFault fault("showing a frame", ErrorKind::surfaceLost);
        showFrame(**made, 64, 64, 1);
        for (int i = 0; i < 2000 && !(*made)->surfaceLost(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE((*made)->surfaceLost());
    EXPECT_EQ((*made)->nextDrawable(64, 64), nullptr);
}

} // namespace
} // namespace gpu
