#include "MSL/spirv/Bindings.h"

#include "MSL/types/TextureTraits.h"

namespace msl::spirv {
namespace {

using ir::Variable;

constexpr std::uint64_t maxUniformBytes = 16384; // what every device takes

// References in constant space: uniform loads are the cheaper ones. Pointers, larger objects, memory that goes on
// behind its type and memory that is seen as more than one type are storage.
bool isUniform(const Variable& buffer) {
    const bool isPointer = buffer.type->is(TypeKind::array) && buffer.type->count == 0;
    return buffer.space == AddressSpace::constant && !isPointer && !buffer.isAliased && !buffer.isOpen &&
           layoutOf(buffer.type).size <= maxUniformBytes;
}

BindingKind kindOf(const Variable& variable) {
    if (variable.kind == Variable::Kind::buffer)
        return isUniform(variable) ? BindingKind::uniformBuffer : BindingKind::storageBuffer;
    if (variable.kind == Variable::Kind::attachment) return BindingKind::inputAttachment;
    if (variable.kind == Variable::Kind::sampler)
        return variable.isConstexprSampler ? BindingKind::constexprSampler : BindingKind::sampler;
    const TypeRef texture = variable.type->is(TypeKind::array) ? variable.type->element : variable.type;
    const bool isStorage = isReachedAsMemory(texture);
    if (texture->textureShape == TextureShape::buffer)
        return isStorage ? BindingKind::storageTexelBuffer : BindingKind::texelBuffer;
    return isStorage ? BindingKind::storageTexture : BindingKind::sampledTexture;
}

} // namespace

Bindings::Bindings(const ir::Module& module) : bindings_(module.variableCount() + 1) {
    std::uint32_t constexprSamplers[2] = {}; // of each set
    for (const Variable* variable : module.globals) {
        const bool isBuffer = variable->kind == Variable::Kind::buffer;
        const bool isTexture = variable->kind == Variable::Kind::texture;
        const bool isAttachment = variable->kind == Variable::Kind::attachment;
        if (!isBuffer && !isTexture && !isAttachment && variable->kind != Variable::Kind::sampler) continue;
        ResourceBinding& made = bindings_[variable->id];
        made.kind = kindOf(*variable);
        made.set = variable->stage == Stage::fragment ? 1 : 0;
        if (variable->isConstexprSampler)
            made.binding = constexprSamplerBindingBase + constexprSamplers[made.set]++;
        else if (variable->argumentBuffer >= 0)
            made.binding = argumentBufferBindingBase +
                           static_cast<std::uint32_t>(variable->argumentBuffer) * argumentBufferBindings +
                           variable->metalIndex;
        else
            made.binding = variable->metalIndex + (isBuffer       ? 0
                                                   : isTexture    ? textureBindingBase
                                                   : isAttachment ? inputAttachmentBindingBase
                                                                  : samplerBindingBase);
    }
}

} // namespace msl::spirv
