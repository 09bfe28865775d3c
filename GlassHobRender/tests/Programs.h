// What the tests of this folder share: the device, and programs from a few lines of shader.
#pragma once

#include "GPU/Device.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace glasshob::testing {

inline std::shared_ptr<gpu::Device> device() {
    const auto made = gpu::Device::systemDefault();
    EXPECT_TRUE(made) << (made ? "" : made.error().text);
    return made ? *made : nullptr;
}

inline std::shared_ptr<const ShaderProgram> program(const std::string& source, const std::shared_ptr<gpu::Device>& on) {
    try {
        return std::make_shared<const ShaderProgram>(source, on);
    } catch (const ShaderError& error) {
        ADD_FAILURE() << error.raw;
        return nullptr;
    }
}

// A shader whose picture is one expression.
inline std::string picture(const std::string& expression) {
    return "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return " + expression + "; }\n";
}

// The error of a program that cannot be made.
inline ShaderError errorOf(const std::string& source, const std::shared_ptr<gpu::Device>& on) {
    try {
        const ShaderProgram made(source, on);
    } catch (const ShaderError& error) {
        return error;
    }
    ADD_FAILURE() << "This compiled: " << source;
    return {{}, ""};
}

} // namespace glasshob::testing
