#include "GPU/Device.h"
#include "hob/Commands.h"

namespace hob {

namespace {

std::string line(const gpu::DeviceInfo& device, bool isChosen) {
    std::string text = isChosen ? "* " : "  ";
    text += device.name + " (" + std::string(description(device.kind)) + ", Vulkan " + device.vulkanVersion + ", " +
            device.driver + ")";
    if (!device.isUsable) text += ": " + device.problem;
    return text + '\n';
}

ExitStatus run(const Arguments&, Console& console) {
    const auto devices = gpu::Device::all();
    if (!devices) {
        console.problem(devices.error().text);
        return ExitStatus::failed;
    }
    bool isChosen = false;
    std::string text;
    for (const gpu::DeviceInfo& device : *devices) {
        const bool isFirstUsable = device.isUsable && !isChosen;
        isChosen = isChosen || device.isUsable;
        text += line(device, isFirstUsable);
    }
    console.write(text);
    return ExitStatus::done;
}

} // namespace

const Command& devicesCommand() {
    static constexpr Command command = {
        .name = "devices",
        .summary = "List the GPUs that can be used",
        .usage = "",
        .notes =
            "The one with a star is used: a discrete GPU before an integrated one before the CPU. A part of a name in\n"
            "the environment variable GLASSHOB_DEVICE chooses another.\n",
        .operands = Operands::none,
        .options = {},
        .run = run,
    };
    return command;
}

} // namespace hob
