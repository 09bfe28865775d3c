#include "GlassHobRender/program/ParameterArgument.h"

#include "GPU/Buffer.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"

#include <cstring>
#include <utility>

namespace glasshob {

ParameterArgument::ParameterArgument(gpu::Device& device, std::vector<float> values) : values_(std::move(values)) {
    if (length() <= gpu::maxInlineBytes) return;
    const auto made = device.makeBuffer(length(), gpu::StorageMode::shared);
    if (!made) return;
    buffer_ = *made;
    std::memcpy(buffer_->contents(), values_.data(), length());
}

ParameterArgument::~ParameterArgument() = default;

void ParameterArgument::setVertex(gpu::RenderCommandEncoder& encoder, std::uint32_t index) const {
    if (buffer_ != nullptr)
        encoder.setVertexBuffer(buffer_, 0, index);
    else
        encoder.setVertexBytes(values_.data(), length(), index);
}

void ParameterArgument::setFragment(gpu::RenderCommandEncoder& encoder, std::uint32_t index) const {
    if (buffer_ != nullptr)
        encoder.setFragmentBuffer(buffer_, 0, index);
    else
        encoder.setFragmentBytes(values_.data(), length(), index);
}

void ParameterArgument::setKernel(gpu::ComputeCommandEncoder& encoder, std::uint32_t index) const {
    if (buffer_ != nullptr)
        encoder.setBuffer(buffer_, 0, index);
    else
        encoder.setBytes(values_.data(), length(), index);
}

} // namespace glasshob
