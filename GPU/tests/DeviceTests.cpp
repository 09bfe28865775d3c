// The choice of the device, and what is told about devices.
#include "GPU/Device.h"
#include "GPU/Presenter.h"
#include "GPU/Vulkan/Features.h"
#include "GPU/tests/GlslLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace gpu {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class ChosenDevice {
  public:
    explicit ChosenDevice(const char* name) { setenv("GLASSHOB_DEVICE", name, 1); }
    ~ChosenDevice() { unsetenv("GLASSHOB_DEVICE"); }
};

TEST(Devices, TheListHasTheDefaultFirst) {
    const auto all = Device::all();
    ASSERT_TRUE(all) << all.error().text;
    ASSERT_FALSE(all->empty());
    const auto device = Device::systemDefault();
    ASSERT_TRUE(device) << device.error().text;
    EXPECT_EQ(all->front().name, (*device)->name());
    EXPECT_TRUE(all->front().isUsable);
    for (const DeviceInfo& info : *all) {
        EXPECT_EQ(info.isUsable, info.problem.empty());
        EXPECT_THAT(info.vulkanVersion, HasSubstr("."));
        EXPECT_FALSE(description(info.kind).empty());
    }
}

TEST(Devices, DevicesApartShareNoInstanceAndInstancesServeAgain) {
    const auto first = Device::systemDefault();
    ASSERT_TRUE(first);
    if (!(*first)->isCPU()) GTEST_SKIP() << "devices of this driver share no threads";
    auto apart = Device::makeIsolated();
    ASSERT_TRUE(apart) << apart.error().description();
    void* const instance = nativeInstance(**apart);
    EXPECT_NE(instance, nativeInstance(**first));
    const auto third = Device::makeIsolated();
    ASSERT_TRUE(third);
    EXPECT_NE(nativeInstance(**third), instance);
    apart->reset();
    const auto next = Device::makeIsolated();
    ASSERT_TRUE(next);
    EXPECT_EQ(nativeInstance(**next), instance);
    EXPECT_TRUE((*next)->makeCommandQueue());
}

TEST(Devices, TheDefaultIsSharedUntilItIsLost) {
    const auto first = Device::systemDefault();
    const auto second = Device::systemDefault();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(*first, *second);
    const auto separate = Device::makeSeparate();
    ASSERT_TRUE(separate);
    EXPECT_NE(*separate, *first);
    (*first)->injectLoss();
    const auto third = Device::systemDefault();
    ASSERT_TRUE(third);
    EXPECT_NE(*third, *first);
    EXPECT_GT((*third)->generation(), (*first)->generation());
}

TEST(Devices, TheEnvironmentChoosesByAPartOfTheName) {
    const auto all = Device::all();
    ASSERT_TRUE(all);
    const std::string name = all->back().name;
    std::string part = name.substr(1, 4);
    for (char& c : part)
        c = char(std::toupper(c));
    {
        const ChosenDevice chosen(part.c_str());
        const auto device = Device::makeSeparate();
        ASSERT_TRUE(device) << device.error().text;
        EXPECT_EQ((*device)->name(), name);
    }
    const ChosenDevice chosen("no such device");
    const auto device = Device::makeSeparate();
    ASSERT_FALSE(device);
    EXPECT_EQ(device.error().kind, ErrorKind::noDriver);
    EXPECT_THAT(device.error().text, HasSubstr("no such device"));
    EXPECT_THAT(device.error().text, HasSubstr(name));
}

TEST(Devices, WithoutADriverThereIsOneSentence) {
    // The loader looks for drivers when the instance is made, so this needs a process of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv("VK_DRIVER_FILES", "/nonexistent", 1);
    setenv("VK_ICD_FILENAMES", "/nonexistent", 1);
    const auto tell = [] {
        const auto device = Device::systemDefault();
        const auto list = Device::all();
        std::fprintf(stderr, "<%s>", device ? "a device" : device.error().text.c_str());
        std::exit(!device && !list && device.error().kind == ErrorKind::noDriver ? 0 : 1);
    };
    EXPECT_EXIT(tell(), ::testing::ExitedWithCode(0), "<No Vulkan driver was found: install .*\\.>");
    unsetenv("VK_DRIVER_FILES");
    unsetenv("VK_ICD_FILENAMES");
}

TEST(Devices, AnOlderOneIsToldWhatItLacks) {
    const vulkan::FeatureSet nothing;
    EXPECT_THAT(nothing.missing("Old Card"), HasSubstr("Old Card cannot be used: "));
    EXPECT_THAT(nothing.missing("Old Card"), EndsWith("."));
    const std::uint32_t header[] = {0x07230203, 0x00010600, 0, 1, 0};
    std::vector<std::uint32_t> module(std::begin(header), std::end(header));
    constexpr std::uint32_t capability = 2U << 16 | 17;
    module.insert(module.end(), {capability, 1, capability, 11}); // Shader, Int64
    EXPECT_THAT(nothing.missingFor(module), HasSubstr("64-bit integers"));
    module.resize(7);
    EXPECT_EQ(nothing.missingFor(module), "");
    for (const FeatureLine& line : Device::featureTable())
        EXPECT_FALSE(line.sentence.empty()) << line.name;
}

} // namespace
} // namespace gpu
