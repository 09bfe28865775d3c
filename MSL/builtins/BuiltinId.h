// The functions of metal_stdlib as the compiler knows them after overload resolution. A name of the library maps to one
// id whatever the argument types; the node's types say the rest. Functions that are only other functions in disguise
// (fabs, fmin, mad ...) share an id with them in the name table.
#pragma once

#include <cstdint>

namespace msl {

enum class Precision : std::uint8_t { standard, fast, precise };

// clang-format off
enum class BuiltinId : std::uint16_t {
    none,
    // math: T is half, bfloat or float, scalar or vector
    acos, acosh, asin, asinh, atan, atan2, atanh, ceil, copysign, cos, cosh, cospi, divide, exp, exp2, exp10, fabs, fdim,
    floor, fma, fmax, fmin, fmax3, fmin3, fmedian3, fmod, fract, frexp, ilogb, ldexp, log, log2, log10, modf, nextafter,
    pow, powr, remainder, rint, round, rsqrt, sin, sincos, sinh, sinpi, sqrt, tan, tanh, tanpi, trunc,
    // common
    clamp, mix, saturate, sign, smoothstep, step, degrees, radians,
    // any arithmetic type
    abs, absdiff, max, min, max3, min3, median3,
    // integer
    addsat, subsat, clz, ctz, popcount, extractBits, insertBits, hadd, rhadd, madhi, madsat, mad24, mul24, mulhi,
    reverseBits, rotate,
    // relational
    all, any, isfinite, isinf, isnan, isnormal, isordered, isunordered, notFn, select, signbit,
    // geometric and matrix
    cross, distance, distanceSquared, dot, faceforward, length, lengthSquared, normalize, reflect, refract,
    determinant, transpose,
    // derivatives and fragment control
    dfdx, dfdy, fwidth, discardFragment,
    // pack and unpack
    packFloatToSnorm4x8, packFloatToUnorm4x8, packFloatToSrgbUnorm4x8, packFloatToSnorm2x16, packFloatToUnorm2x16,
    packHalfToSnorm4x8, packHalfToUnorm4x8, packHalfToSrgbUnorm4x8, packHalfToSnorm2x16, packHalfToUnorm2x16,
    packFloatToUnorm10a2, packHalfToUnorm10a2, packFloatToUnorm565, packHalfToUnorm565,
    unpackSnorm4x8ToFloat, unpackUnorm4x8ToFloat, unpackUnorm4x8SrgbToFloat, unpackSnorm2x16ToFloat,
    unpackUnorm2x16ToFloat, unpackSnorm4x8ToHalf, unpackUnorm4x8ToHalf, unpackUnorm4x8SrgbToHalf,
    unpackSnorm2x16ToHalf, unpackUnorm2x16ToHalf, unpackUnorm10a2ToFloat, unpackUnorm10a2ToHalf,
    unpackUnorm565ToFloat, unpackUnorm565ToHalf,
    // textures (methods; the call's object is the texture)
    textureSample, textureSampleCompare, textureGather, textureGatherCompare, textureRead, textureWrite, textureWidth,
    textureHeight, textureDepth, textureArraySize, textureMipLevels, textureSamples, textureCalculateLod,
    textureCalculateUnclampedLod, textureFence,
    // sample options: level(x), bias(x), gradient2d(x, y) ... as values of their own
    optionLevel, optionBias, optionGradient2d, optionGradient3d, optionGradientCube, optionMinLodClamp,
    // atomics (first argument a pointer to an atomic)
    atomicLoad, atomicStore, atomicExchange, atomicCompareExchangeWeak, atomicFetchAdd, atomicFetchSub, atomicFetchAnd,
    atomicFetchOr, atomicFetchXor, atomicFetchMax, atomicFetchMin, atomicMax, atomicMin, atomicFence,
    // threads
    threadgroupBarrier, simdgroupBarrier,
    simdSum, simdProduct, simdMin, simdMax, simdAnd, simdOr, simdXor, simdAll, simdAny, simdBallot, simdBroadcast,
    simdBroadcastFirst, simdShuffle, simdShuffleDown, simdShuffleUp, simdShuffleXor, simdPrefixInclusiveSum,
    simdPrefixExclusiveSum, simdPrefixInclusiveProduct, simdPrefixExclusiveProduct, simdIsFirst, simdIsHelperThread,
    quadSum, quadProduct, quadMin, quadMax, quadAnd, quadOr, quadXor, quadAll, quadAny, quadBroadcast, quadShuffle,
    quadShuffleDown, quadShuffleUp, quadShuffleXor,
    simdActiveThreadsMask, simdShuffleRotateDown, simdShuffleRotateUp, simdShuffleAndFillDown, simdShuffleAndFillUp,
    quadActiveThreadsMask, quadBallot, quadBroadcastFirst, quadIsFirst, quadIsHelperThread, quadPrefixInclusiveSum,
    quadPrefixExclusiveSum, quadPrefixInclusiveProduct, quadPrefixExclusiveProduct, quadShuffleRotateDown,
    quadShuffleRotateUp, quadShuffleAndFillDown, quadShuffleAndFillUp,
    // is_function_constant_defined(name): the call's argument is the constant's name
    functionConstantDefined,
    // the number of elements that an array_ref refers to (the call's object)
    arrayRefSize,
    // samples of a fragment
    sampleCount, samplePosition,
    // methods of interpolants (the call's object is the interpolant)
    interpolateAtCenter, interpolateAtCentroid, interpolateAtOffset, interpolateAtSample,
    count_,
};
// clang-format on

} // namespace msl
