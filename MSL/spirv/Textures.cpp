// Textures and samplers: their types, and the instructions that read, write and ask them. Devices sample into 32-bit
// components; half and 16-bit texels are converted on the way.
#include "MSL/spirv/ModuleWriter.h"
#include "MSL/types/TextureTraits.h"

namespace msl::spirv {

using ir::TextureOperand;

namespace {

spv::Dim dimension(TextureShape shape) {
    switch (shape) {
    case TextureShape::texture1d:
    case TextureShape::texture1dArray: return spv::Dim::Dim1D;
    case TextureShape::texture3d: return spv::Dim::Dim3D;
    case TextureShape::cube:
    case TextureShape::cubeArray:
    case TextureShape::depthCube:
    case TextureShape::depthCubeArray: return spv::Dim::Cube;
    case TextureShape::buffer: return spv::Dim::Buffer;
    default: return spv::Dim::Dim2D;
    }
}

ScalarKind componentKind(TypeRef texture) {
    if (isFloating(texture->scalar)) return ScalarKind::float_;
    return isSigned(texture->scalar) ? ScalarKind::int_ : ScalarKind::uint;
}

TypeRef elementOf(const ir::Variable& variable) {
    return variable.type->is(TypeKind::array) ? variable.type->element : variable.type;
}

} // namespace

Id ModuleWriter::imageType(const ir::Variable& variable) {
    const TypeRef texture = elementOf(variable);
    const TextureTraits traits = textureTraits(texture->textureShape);
    const spv::Dim dim = dimension(texture->textureShape);
    const bool storage = isReachedAsMemory(elementOf(variable));
    if (dim == spv::Dim::Dim1D) asm_.capability(storage ? spv::Capability::Image1D : spv::Capability::Sampled1D);
    if (dim == spv::Dim::Buffer)
        asm_.capability(storage ? spv::Capability::ImageBuffer : spv::Capability::SampledBuffer);
    if (dim == spv::Dim::Cube && traits.isArray)
        asm_.capability(storage ? spv::Capability::ImageCubeArray : spv::Capability::SampledCubeArray);
    const spv::ImageFormat format = !variable.isAtomic          ? spv::ImageFormat::Unknown
                                    : isSigned(texture->scalar) ? spv::ImageFormat::R32i
                                                                : spv::ImageFormat::R32ui;
    return asm_.internedType(spv::Op::OpTypeImage,
                             {scalarType(componentKind(texture)), static_cast<std::uint32_t>(dim),
                              traits.isDepth ? 1U : 0U, traits.isArray ? 1U : 0U, traits.isMultisample ? 1U : 0U,
                              storage ? 2U : 1U, static_cast<std::uint32_t>(format)});
}

ModuleWriter::Global ModuleWriter::resourceGlobal(const ir::Variable& variable) {
    const bool isTexture = variable.kind == ir::Variable::Kind::texture;
    Global made;
    made.storage = spv::StorageClass::UniformConstant;
    Id type = isTexture ? imageType(variable) : asm_.internedType(spv::Op::OpTypeSampler, {});
    if (variable.type->is(TypeKind::array)) {
        const std::uint32_t operands[] = {type, uintConstant(static_cast<std::uint32_t>(variable.type->count))};
        type = asm_.newType(spv::Op::OpTypeArray, operands);
    }
    made.id = asm_.globalVariable(pointerType(made.storage, type), made.storage);
    decorateBinding(made.id, variable);
    if (isTexture && isReachedAsMemory(elementOf(variable))) {
        const TextureAccess access = elementOf(variable)->textureAccess;
        if (access == TextureAccess::write) asm_.decorate(made.id, spv::Decoration::NonReadable);
        if (access == TextureAccess::read) asm_.decorate(made.id, spv::Decoration::NonWritable);
        if (access == TextureAccess::readWrite) asm_.decorate(made.id, spv::Decoration::Coherent);
    }
    return made;
}

// A pointer to the texture or sampler, or to element `index` of an array of them.
Id ModuleWriter::texturePointer(const ir::Variable& variable, Id index, bool isConstantIndex) {
    const bool isTexture = variable.kind == ir::Variable::Kind::texture;
    const Id pointer = global(variable).id;
    if (!variable.type->is(TypeKind::array)) return pointer;
    if (!isConstantIndex)
        asm_.capability(isTexture && isReachedAsMemory(elementOf(variable))
                            ? spv::Capability::StorageImageArrayDynamicIndexing
                            : spv::Capability::SampledImageArrayDynamicIndexing);
    const Id type = isTexture ? imageType(variable) : asm_.internedType(spv::Op::OpTypeSampler, {});
    return asm_.result(spv::Op::OpAccessChain, pointerType(spv::StorageClass::UniformConstant, type), {pointer, index});
}

Id ModuleWriter::loadResource(const ir::Variable& variable, Id index, bool isConstantIndex) {
    const bool isTexture = variable.kind == ir::Variable::Kind::texture;
    const Id type = isTexture ? imageType(variable) : asm_.internedType(spv::Op::OpTypeSampler, {});
    return asm_.result(spv::Op::OpLoad, type, {texturePointer(variable, index, isConstantIndex)});
}

// Coordinates of that type with what rides along in them: the array index, the face.
Id ModuleWriter::texelCoordinate(TypeRef type, Id coordinate, Id arrayIndex, Id face, bool isSampled) {
    Id last = arrayIndex;
    if (face != 0) {
        if (last != 0) {
            last = asm_.result(spv::Op::OpIMul, uintType(), {last, uintConstant(6)});
            last = asm_.result(spv::Op::OpIAdd, uintType(), {last, face});
        } else {
            last = face;
        }
    }
    if (last == 0) return coordinate;
    if (isSampled) last = asm_.result(spv::Op::OpConvertUToF, floatType(), {last});
    return asm_.result(spv::Op::OpCompositeConstruct,
                       vectorType(isSampled ? ScalarKind::float_ : ScalarKind::uint, type->columns + 1),
                       {coordinate, last});
}

Id ModuleWriter::attachmentType(const ir::Variable& variable) {
    asm_.capability(spv::Capability::InputAttachment);
    return asm_.internedType(spv::Op::OpTypeImage,
                             {scalarType(variable.type->scalar), static_cast<std::uint32_t>(spv::Dim::SubpassData), 0,
                              0, 0, 2, static_cast<std::uint32_t>(spv::ImageFormat::Unknown)});
}

ModuleWriter::Global ModuleWriter::attachmentGlobal(const ir::Variable& variable) {
    Global made;
    made.storage = spv::StorageClass::UniformConstant;
    made.id = asm_.globalVariable(pointerType(made.storage, attachmentType(variable)), made.storage);
    decorateBinding(made.id, variable);
    asm_.decorate(made.id, spv::Decoration::InputAttachmentIndex, {variable.metalIndex});
    return made;
}

// The coordinate counts from the fragment's own pixel.
Id ModuleWriter::readAttachment(const ir::Variable& variable) {
    const Id image = asm_.result(spv::Op::OpLoad, attachmentType(variable), {global(variable).id});
    return asm_.result(spv::Op::OpImageRead, logicalType(variable.type),
                       {image, intConstant(module_.types.vector(ScalarKind::int_, 2), 0)});
}

Id ModuleWriter::textureBuiltin(const ir::Instruction& instruction) {
    const ir::Variable& variable = *instruction.place->root;
    const TypeRef texture = elementOf(variable);
    const TextureTraits traits = textureTraits(texture->textureShape);
    const BuiltinId id = instruction.builtinId;
    const ScalarKind component = componentKind(texture);
    const TypeRef raw = module_.types.vector(component, 4);

    Id operands[16] = {};
    TypeRef types[16] = {};
    for (std::size_t i = 0; i < instruction.operands.size(); ++i) {
        operands[instruction.indices[i]] = value(*instruction.operands[i]);
        types[instruction.indices[i]] = instruction.operands[i]->type;
    }
    const auto operand = [&](TextureOperand role) { return operands[static_cast<std::size_t>(role)]; };
    const auto isConstantOperand = [&](TextureOperand role) {
        for (std::size_t i = 0; i < instruction.operands.size(); ++i)
            if (instruction.indices[i] == static_cast<std::uint32_t>(role))
                return instruction.operands[i]->isConstant();
        return true;
    };
    const auto typeOf = [&](TextureOperand role) { return types[static_cast<std::size_t>(role)]; };

    Id index = uintConstant(0);
    bool isConstantIndex = true;
    if (!instruction.place->steps.empty()) {
        const ir::Step& step = instruction.place->steps[0];
        isConstantIndex = step.value == nullptr || step.value->isConstant();
        index = step.value != nullptr ? value(*step.value) : uintConstant(step.number);
    }
    if (id == BuiltinId::textureFence) {
        const auto semantics = spv::MemorySemanticsMask::AcquireRelease | spv::MemorySemanticsMask::ImageMemory;
        asm_.code(spv::Op::OpMemoryBarrier, {groupScope(), uintConstant(static_cast<std::uint32_t>(semantics))});
        return 0;
    }
    const Id image = loadResource(variable, index, isConstantIndex);

    const auto coordinate = [&](bool isSampled) {
        return texelCoordinate(typeOf(TextureOperand::coordinate), operand(TextureOperand::coordinate),
                               operand(TextureOperand::arrayIndex), operand(TextureOperand::face), isSampled);
    };
    Words extra; // image operands in the order of their bits, behind the mask
    std::uint32_t mask = 0;
    const auto addOperand = [&](std::uint32_t bit, TextureOperand role) {
        if (operand(role) == 0) return;
        mask |= bit;
        extra.push_back(operand(role));
    };
    const auto withExtra = [&](Words words) {
        if (mask != 0) {
            words.push_back(mask);
            words.insert(words.end(), extra.begin(), extra.end());
        }
        return words;
    };
    const auto texel = [&](Id vector) {
        const TypeRef wanted = instruction.result->type;
        const TypeRef have = wanted->isScalar() ? module_.types.scalar(component) : raw;
        if (wanted->isScalar()) vector = asm_.result(spv::Op::OpCompositeExtract, logicalType(have), {vector, 0});
        return have == wanted ? vector : convert(have, wanted, vector);
    };
    const auto sampledImage = [&] {
        const ir::Variable& sampler = *instruction.variables[0];
        const Id samplerIndex = operand(TextureOperand::samplerIndex);
        bool isConstant = true;
        for (std::size_t i = 0; i < instruction.operands.size(); ++i)
            if (instruction.indices[i] == static_cast<std::uint32_t>(TextureOperand::samplerIndex))
                isConstant = instruction.operands[i]->isConstant();
        const Id loaded = loadResource(sampler, samplerIndex, isConstant);
        const Id type = asm_.internedType(spv::Op::OpTypeSampledImage, {imageType(variable)});
        return asm_.result(spv::Op::OpSampledImage, type, {image, loaded});
    };

    switch (id) {
    case BuiltinId::textureSample:
    case BuiltinId::textureSampleCompare: {
        addOperand(0x1, TextureOperand::bias);
        addOperand(0x2, TextureOperand::level);
        addOperand(0x4, TextureOperand::gradientX);
        if (operand(TextureOperand::gradientY) != 0) extra.push_back(operand(TextureOperand::gradientY));
        addOperand(0x8, TextureOperand::offset);
        const bool isExplicit = (mask & 0x6U) != 0;
        Words words = {sampledImage(), coordinate(true)};
        if (id == BuiltinId::textureSample) {
            const spv::Op op = isExplicit ? spv::Op::OpImageSampleExplicitLod : spv::Op::OpImageSampleImplicitLod;
            return texel(asm_.result(op, logicalType(raw), withExtra(std::move(words))));
        }
        words.push_back(operand(TextureOperand::compare));
        const spv::Op op = isExplicit ? spv::Op::OpImageSampleDrefExplicitLod : spv::Op::OpImageSampleDrefImplicitLod;
        const Id result = asm_.result(op, floatType(), withExtra(std::move(words)));
        const TypeRef wanted = instruction.result->type;
        return wanted == module_.types.float_() ? result : convert(module_.types.float_(), wanted, result);
    }
    case BuiltinId::textureGather:
    case BuiltinId::textureGatherCompare: {
        if (isConstantOperand(TextureOperand::offset)) {
            addOperand(0x8, TextureOperand::offset);
        } else {
            asm_.capability(spv::Capability::ImageGatherExtended);
            addOperand(0x10, TextureOperand::offset);
        }
        Words words = {sampledImage(), coordinate(true)};
        const bool isCompare = id == BuiltinId::textureGatherCompare;
        const Id chosen = operand(TextureOperand::component);
        words.push_back(isCompare ? operand(TextureOperand::compare) : chosen != 0 ? chosen : uintConstant(0));
        return texel(asm_.result(isCompare ? spv::Op::OpImageDrefGather : spv::Op::OpImageGather, logicalType(raw),
                                 withExtra(std::move(words))));
    }
    case BuiltinId::textureRead: {
        if (isReachedAsMemory(elementOf(variable))) {
            if (!variable.isAtomic) asm_.capability(spv::Capability::StorageImageReadWithoutFormat);
            return texel(asm_.result(spv::Op::OpImageRead, logicalType(raw), {image, coordinate(false)}));
        }
        addOperand(0x2, TextureOperand::level);
        addOperand(0x40, TextureOperand::sample);
        return texel(asm_.result(spv::Op::OpImageFetch, logicalType(raw), withExtra({image, coordinate(false)})));
    }
    case BuiltinId::textureWrite: {
        if (!variable.isAtomic) asm_.capability(spv::Capability::StorageImageWriteWithoutFormat);
        const TypeRef given = typeOf(TextureOperand::texel);
        Id written = operand(TextureOperand::texel);
        if (given != raw) written = convert(given, raw, written);
        asm_.code(spv::Op::OpImageWrite, {image, coordinate(false), written});
        return 0;
    }
    case BuiltinId::textureCalculateLod:
    case BuiltinId::textureCalculateUnclampedLod: {
        asm_.capability(spv::Capability::ImageQuery);
        const Id both = asm_.result(spv::Op::OpImageQueryLod, vectorType(ScalarKind::float_, 2),
                                    {sampledImage(), operand(TextureOperand::coordinate)});
        return asm_.result(spv::Op::OpCompositeExtract, floatType(),
                           {both, id == BuiltinId::textureCalculateLod ? 0U : 1U});
    }
    case BuiltinId::textureMipLevels:
    case BuiltinId::textureSamples:
        asm_.capability(spv::Capability::ImageQuery);
        return asm_.result(id == BuiltinId::textureSamples ? spv::Op::OpImageQuerySamples : spv::Op::OpImageQueryLevels,
                           uintType(), {image});
    case BuiltinId::textureWidth:
    case BuiltinId::textureHeight:
    case BuiltinId::textureDepth:
    case BuiltinId::textureArraySize: {
        asm_.capability(spv::Capability::ImageQuery);
        const unsigned count = traits.readDimensions + (traits.isArray ? 1 : 0);
        const Id type = vectorType(ScalarKind::uint, count);
        const bool hasLevels =
            !isReachedAsMemory(elementOf(variable)) && !traits.isMultisample && traits.sampleDimensions > 0;
        const Id level = operand(TextureOperand::level);
        const Id size =
            hasLevels ? asm_.result(spv::Op::OpImageQuerySizeLod, type, {image, level != 0 ? level : uintConstant(0)})
                      : asm_.result(spv::Op::OpImageQuerySize, type, {image});
        if (count == 1) return size;
        const unsigned wanted = id == BuiltinId::textureWidth    ? 0
                                : id == BuiltinId::textureHeight ? 1
                                : id == BuiltinId::textureDepth  ? 2
                                                                 : count - 1;
        return asm_.result(spv::Op::OpCompositeExtract, uintType(), {size, std::min(wanted, count - 1)});
    }
    default: return fail("a texture function that the writer does not know");
    }
}

} // namespace msl::spirv
