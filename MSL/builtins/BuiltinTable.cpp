#include "MSL/builtins/BuiltinTable.h"

#include <algorithm>
#include <array>

namespace msl {
namespace {

using Class = BuiltinClass;
using Shape = BuiltinShape;
using Slot = BuiltinSlot;
using Id = BuiltinId;
using Family = BuiltinFamily;

constexpr BuiltinSignature make(Class typeClass, Shape shape, Slot result, std::initializer_list<Slot> parameters,
                                std::initializer_list<std::string_view> names, unsigned optional = 0) {
    BuiltinSignature signature;
    signature.typeClass = typeClass;
    signature.shape = shape;
    signature.result = result;
    signature.parameterCount = static_cast<std::uint8_t>(parameters.size());
    signature.requiredCount = static_cast<std::uint8_t>(parameters.size() - optional);
    std::copy(parameters.begin(), parameters.end(), signature.parameters);
    std::copy(names.begin(), names.end(), signature.parameterNames);
    return signature;
}

constexpr Class F = Class::floating;
constexpr Class A = Class::arithmetic;
constexpr Class I = Class::integer;
constexpr Shape V = Shape::scalarOrVector;
constexpr Slot T = Slot::t;

constexpr BuiltinSignature float1 = make(F, V, T, {T}, {"x"});
constexpr BuiltinSignature float2args = make(F, V, T, {T, T}, {"x", "y"});
constexpr BuiltinSignature floatYX = make(F, V, T, {T, T}, {"y", "x"});
constexpr BuiltinSignature float3args = make(F, V, T, {T, T, T}, {"x", "y", "z"});
constexpr BuiltinSignature floatABC = make(F, V, T, {T, T, T}, {"a", "b", "c"});
constexpr BuiltinSignature floatMix = make(F, V, T, {T, T, T}, {"x", "y", "a"});
constexpr BuiltinSignature floatStep = make(F, V, T, {T, T}, {"edge", "x"});
constexpr BuiltinSignature floatSmooth = make(F, V, T, {T, T, T}, {"edge0", "edge1", "x"});
constexpr BuiltinSignature floatPart = make(F, V, T, {T, Slot::threadT}, {"x", "intval"});
constexpr BuiltinSignature floatSincos = make(F, V, T, {T, Slot::threadT}, {"x", "cosval"});
constexpr BuiltinSignature floatFrexp = make(F, V, T, {T, Slot::threadIntOfT}, {"x", "exponent"});
constexpr BuiltinSignature floatLdexp = make(F, V, T, {T, Slot::intOfT}, {"x", "k"});
constexpr BuiltinSignature floatToInt = make(F, V, Slot::intOfT, {T}, {"x"});
constexpr BuiltinSignature floatTest = make(F, V, Slot::boolOfT, {T}, {"x"});
constexpr BuiltinSignature floatTest2 = make(F, V, Slot::boolOfT, {T, T}, {"x", "y"});
constexpr BuiltinSignature any1 = make(A, V, T, {T}, {"x"});
constexpr BuiltinSignature any2 = make(A, V, T, {T, T}, {"x", "y"});
constexpr BuiltinSignature any3 = make(A, V, T, {T, T, T}, {"x", "y", "z"});
constexpr BuiltinSignature anyClamp = make(A, V, T, {T, T, T}, {"x", "minval", "maxval"});
constexpr BuiltinSignature int1 = make(I, V, T, {T}, {"x"});
constexpr BuiltinSignature int2 = make(I, V, T, {T, T}, {"x", "y"});
constexpr BuiltinSignature int3 = make(I, V, T, {T, T, T}, {"a", "b", "c"});
constexpr BuiltinSignature intDiff = make(I, V, Slot::unsignedOfT, {T, T}, {"x", "y"});
constexpr BuiltinSignature intRotate = make(I, V, T, {T, T}, {"v", "i"});
constexpr BuiltinSignature int24x2 = make(Class::integer32, V, T, {T, T}, {"x", "y"});
constexpr BuiltinSignature int24x3 = make(Class::integer32, V, T, {T, T, T}, {"x", "y", "z"});
constexpr BuiltinSignature intExtract = make(I, V, T, {T, Slot::uint, Slot::uint}, {"x", "offset", "bits"});
constexpr BuiltinSignature intInsert =
    make(I, V, T, {T, T, Slot::uint, Slot::uint}, {"base", "insert", "offset", "bits"});
constexpr BuiltinSignature boolReduce = make(Class::boolean, V, Slot::bool_, {T}, {"x"});
constexpr BuiltinSignature boolMap = make(Class::boolean, V, T, {T}, {"x"});
constexpr BuiltinSignature selectArgs = make(Class::any, V, T, {T, T, Slot::boolOfT}, {"a", "b", "c"});
constexpr BuiltinSignature vectorCross = make(F, Shape::vector3, T, {T, T}, {"x", "y"});
constexpr BuiltinSignature vectorToScalar = make(F, Shape::vector, Slot::elementOfT, {T}, {"x"});
constexpr BuiltinSignature vectorsToScalar = make(F, Shape::vector, Slot::elementOfT, {T, T}, {"x", "y"});
constexpr BuiltinSignature vector1 = make(F, Shape::vector, T, {T}, {"x"});
constexpr BuiltinSignature vectorReflect = make(F, Shape::vector, T, {T, T}, {"i", "n"});
constexpr BuiltinSignature vectorRefract = make(F, Shape::vector, T, {T, T, Slot::elementOfT}, {"i", "n", "eta"});
constexpr BuiltinSignature vectorForward = make(F, Shape::vector, T, {T, T, T}, {"n", "i", "nref"});
constexpr BuiltinSignature matrixDeterminant = make(F, Shape::squareMatrix, Slot::elementOfT, {T}, {"m"});
constexpr BuiltinSignature matrixTranspose = make(F, Shape::matrix, Slot::transposedT, {T}, {"m"});
constexpr BuiltinSignature noArguments = make(Class::none, V, Slot::void_, {}, {});
constexpr BuiltinSignature noArgumentsUint = make(Class::none, V, Slot::uint, {}, {});
constexpr BuiltinSignature noArgumentsBool = make(Class::none, V, Slot::bool_, {}, {});

constexpr BuiltinSignature fixed(Slot result, Slot parameter) {
    return make(Class::none, V, result, {parameter}, {"x"});
}
constexpr BuiltinSignature samplePosition = fixed(Slot::float2, Slot::uint);
constexpr BuiltinSignature packFloat4 = fixed(Slot::uint, Slot::float4);
constexpr BuiltinSignature packFloat2 = fixed(Slot::uint, Slot::float2);
constexpr BuiltinSignature packFloat3Short = fixed(Slot::ushort, Slot::float3);
constexpr BuiltinSignature packHalf4 = fixed(Slot::uint, Slot::half4);
constexpr BuiltinSignature packHalf2 = fixed(Slot::uint, Slot::half2);
constexpr BuiltinSignature packHalf3Short = fixed(Slot::ushort, Slot::half3);
constexpr BuiltinSignature unpackFloat4 = fixed(Slot::float4, Slot::uint);
constexpr BuiltinSignature unpackFloat2 = fixed(Slot::float2, Slot::uint);
constexpr BuiltinSignature unpackFloat3Short = fixed(Slot::float3, Slot::ushort);
constexpr BuiltinSignature unpackHalf4 = fixed(Slot::half4, Slot::uint);
constexpr BuiltinSignature unpackHalf2 = fixed(Slot::half2, Slot::uint);
constexpr BuiltinSignature unpackHalf3Short = fixed(Slot::half3, Slot::ushort);

constexpr BuiltinSignature barrier = make(Class::none, V, Slot::void_, {Slot::uint, Slot::uint}, {"flags", "scope"}, 1);
constexpr BuiltinSignature atomicGet =
    make(Class::atomic, Shape::scalar, T, {Slot::atomicPointer, Slot::int_}, {"object", "order"});
constexpr BuiltinSignature atomicPut = make(Class::atomic, Shape::scalar, Slot::void_,
                                            {Slot::atomicPointer, T, Slot::int_}, {"object", "desired", "order"});
constexpr BuiltinSignature atomicUpdate =
    make(Class::atomic, Shape::scalar, T, {Slot::atomicPointer, T, Slot::int_}, {"object", "operand", "order"});
constexpr BuiltinSignature atomicCompare =
    make(Class::atomic, Shape::scalar, Slot::bool_, {Slot::atomicPointer, Slot::threadT, T, Slot::int_, Slot::int_},
         {"object", "expected", "desired", "success", "failure"});
constexpr BuiltinSignature atomicLimit = make(Class::atomic, Shape::scalar, Slot::void_,
                                              {Slot::atomicPointer, T, Slot::int_}, {"object", "operand", "order"});
constexpr BuiltinSignature fence =
    make(Class::none, V, Slot::void_, {Slot::uint, Slot::int_, Slot::int_}, {"flags", "order", "scope"}, 1);
constexpr BuiltinSignature groupReduce = make(A, V, T, {T}, {"data"});
constexpr BuiltinSignature groupBits = make(I, V, T, {T}, {"data"});
constexpr BuiltinSignature groupVote = make(Class::none, V, Slot::bool_, {Slot::bool_}, {"expr"});
constexpr BuiltinSignature groupLane = make(A, V, T, {T, Slot::ushort}, {"data", "lane"});

constexpr BuiltinSignature groupFill =
    make(A, V, T, {T, T, Slot::ushort, Slot::ushort}, {"data", "filling_data", "delta", "modulo"}, 1);
constexpr BuiltinSignature groupBallot = make(Class::none, V, Slot::ulong, {Slot::bool_}, {"expr"});
constexpr BuiltinSignature groupMask = make(Class::none, V, Slot::ulong, {}, {});

constexpr bool P = true; // has fast:: and precise:: forms

// clang-format off
constexpr BuiltinFunction functions[] = {
    {"abs", Id::abs, Family::math, &any1, P},
    {"absdiff", Id::absdiff, Family::math, &intDiff},
    {"acos", Id::acos, Family::math, &float1, P},
    {"acosh", Id::acosh, Family::math, &float1, P},
    {"addsat", Id::addsat, Family::integer, &int2},
    {"all", Id::all, Family::relational, &boolReduce},
    {"any", Id::any, Family::relational, &boolReduce},
    {"asin", Id::asin, Family::math, &float1, P},
    {"asinh", Id::asinh, Family::math, &float1, P},
    {"atan", Id::atan, Family::math, &float1, P},
    {"atan2", Id::atan2, Family::math, &floatYX, P},
    {"atanh", Id::atanh, Family::math, &float1, P},
    {"atomic_compare_exchange_weak_explicit", Id::atomicCompareExchangeWeak, Family::atomic, &atomicCompare},
    {"atomic_exchange_explicit", Id::atomicExchange, Family::atomic, &atomicUpdate},
    {"atomic_fetch_add_explicit", Id::atomicFetchAdd, Family::atomic, &atomicUpdate},
    {"atomic_fetch_and_explicit", Id::atomicFetchAnd, Family::atomic, &atomicUpdate},
    {"atomic_fetch_max_explicit", Id::atomicFetchMax, Family::atomic, &atomicUpdate},
    {"atomic_fetch_min_explicit", Id::atomicFetchMin, Family::atomic, &atomicUpdate},
    {"atomic_fetch_or_explicit", Id::atomicFetchOr, Family::atomic, &atomicUpdate},
    {"atomic_fetch_sub_explicit", Id::atomicFetchSub, Family::atomic, &atomicUpdate},
    {"atomic_fetch_xor_explicit", Id::atomicFetchXor, Family::atomic, &atomicUpdate},
    {"atomic_load_explicit", Id::atomicLoad, Family::atomic, &atomicGet},
    {"atomic_max_explicit", Id::atomicMax, Family::atomic, &atomicLimit},
    {"atomic_min_explicit", Id::atomicMin, Family::atomic, &atomicLimit},
    {"atomic_store_explicit", Id::atomicStore, Family::atomic, &atomicPut},
    {"atomic_thread_fence", Id::atomicFence, Family::barrier, &fence},
    {"ceil", Id::ceil, Family::math, &float1, P},
    {"clamp", Id::clamp, Family::math, &anyClamp, P},
    {"clz", Id::clz, Family::integer, &int1},
    {"copysign", Id::copysign, Family::math, &float2args, P},
    {"cos", Id::cos, Family::math, &float1, P},
    {"cosh", Id::cosh, Family::math, &float1, P},
    {"cospi", Id::cospi, Family::math, &float1, P},
    {"cross", Id::cross, Family::geometric, &vectorCross, P},
    {"ctz", Id::ctz, Family::integer, &int1},
    {"degrees", Id::degrees, Family::math, &float1, P},
    {"determinant", Id::determinant, Family::geometric, &matrixDeterminant},
    {"dfdx", Id::dfdx, Family::derivative, &float1},
    {"dfdy", Id::dfdy, Family::derivative, &float1},
    {"discard_fragment", Id::discardFragment, Family::control, &noArguments},
    {"distance", Id::distance, Family::geometric, &vectorsToScalar, P},
    {"distance_squared", Id::distanceSquared, Family::geometric, &vectorsToScalar, P},
    {"divide", Id::divide, Family::math, &float2args, P},
    {"dot", Id::dot, Family::geometric, &vectorsToScalar, P},
    {"exp", Id::exp, Family::math, &float1, P},
    {"exp10", Id::exp10, Family::math, &float1, P},
    {"exp2", Id::exp2, Family::math, &float1, P},
    {"extract_bits", Id::extractBits, Family::integer, &intExtract},
    {"fabs", Id::fabs, Family::math, &float1, P},
    {"faceforward", Id::faceforward, Family::geometric, &vectorForward, P},
    {"fdim", Id::fdim, Family::math, &float2args, P},
    {"floor", Id::floor, Family::math, &float1, P},
    {"fma", Id::fma, Family::math, &floatABC, P},
    {"fmax", Id::fmax, Family::math, &float2args, P},
    {"fmax3", Id::fmax3, Family::math, &float3args, P},
    {"fmedian3", Id::fmedian3, Family::math, &float3args, P},
    {"fmin", Id::fmin, Family::math, &float2args, P},
    {"fmin3", Id::fmin3, Family::math, &float3args, P},
    {"fmod", Id::fmod, Family::math, &float2args, P},
    {"fract", Id::fract, Family::math, &float1, P},
    {"frexp", Id::frexp, Family::math, &floatFrexp, P},
    {"fwidth", Id::fwidth, Family::derivative, &float1},
    {"get_num_samples", Id::sampleCount, Family::control, &noArgumentsUint},
    {"get_sample_position", Id::samplePosition, Family::control, &samplePosition},
    {"hadd", Id::hadd, Family::integer, &int2},
    {"ilogb", Id::ilogb, Family::math, &floatToInt, P},
    {"insert_bits", Id::insertBits, Family::integer, &intInsert},
    {"isfinite", Id::isfinite, Family::relational, &floatTest},
    {"isinf", Id::isinf, Family::relational, &floatTest},
    {"isnan", Id::isnan, Family::relational, &floatTest},
    {"isnormal", Id::isnormal, Family::relational, &floatTest},
    {"isordered", Id::isordered, Family::relational, &floatTest2},
    {"isunordered", Id::isunordered, Family::relational, &floatTest2},
    {"ldexp", Id::ldexp, Family::math, &floatLdexp, P},
    {"length", Id::length, Family::geometric, &vectorToScalar, P},
    {"length_squared", Id::lengthSquared, Family::geometric, &vectorToScalar, P},
    {"log", Id::log, Family::math, &float1, P},
    {"log10", Id::log10, Family::math, &float1, P},
    {"log2", Id::log2, Family::math, &float1, P},
    {"mad", Id::fma, Family::math, &floatABC, P},
    {"mad24", Id::mad24, Family::integer, &int24x3},
    {"madhi", Id::madhi, Family::integer, &int3},
    {"madsat", Id::madsat, Family::integer, &int3},
    {"max", Id::max, Family::math, &any2, P},
    {"max3", Id::max3, Family::math, &any3, P},
    {"median3", Id::median3, Family::math, &any3, P},
    {"min", Id::min, Family::math, &any2, P},
    {"min3", Id::min3, Family::math, &any3, P},
    {"mix", Id::mix, Family::math, &floatMix, P},
    {"modf", Id::modf, Family::math, &floatPart, P},
    {"mul24", Id::mul24, Family::integer, &int24x2},
    {"mulhi", Id::mulhi, Family::integer, &int2},
    {"nextafter", Id::nextafter, Family::math, &float2args},
    {"normalize", Id::normalize, Family::geometric, &vector1, P},
    {"not", Id::notFn, Family::relational, &boolMap},
    {"pack_float_to_snorm2x16", Id::packFloatToSnorm2x16, Family::packing, &packFloat2},
    {"pack_float_to_snorm4x8", Id::packFloatToSnorm4x8, Family::packing, &packFloat4},
    {"pack_float_to_srgb_unorm4x8", Id::packFloatToSrgbUnorm4x8, Family::packing, &packFloat4},
    {"pack_float_to_unorm10a2", Id::packFloatToUnorm10a2, Family::packing, &packFloat4},
    {"pack_float_to_unorm2x16", Id::packFloatToUnorm2x16, Family::packing, &packFloat2},
    {"pack_float_to_unorm4x8", Id::packFloatToUnorm4x8, Family::packing, &packFloat4},
    {"pack_float_to_unorm565", Id::packFloatToUnorm565, Family::packing, &packFloat3Short},
    {"pack_half_to_snorm2x16", Id::packHalfToSnorm2x16, Family::packing, &packHalf2},
    {"pack_half_to_snorm4x8", Id::packHalfToSnorm4x8, Family::packing, &packHalf4},
    {"pack_half_to_srgb_unorm4x8", Id::packHalfToSrgbUnorm4x8, Family::packing, &packHalf4},
    {"pack_half_to_unorm10a2", Id::packHalfToUnorm10a2, Family::packing, &packHalf4},
    {"pack_half_to_unorm2x16", Id::packHalfToUnorm2x16, Family::packing, &packHalf2},
    {"pack_half_to_unorm4x8", Id::packHalfToUnorm4x8, Family::packing, &packHalf4},
    {"pack_half_to_unorm565", Id::packHalfToUnorm565, Family::packing, &packHalf3Short},
    {"popcount", Id::popcount, Family::integer, &int1},
    {"pow", Id::pow, Family::math, &float2args, P},
    {"powr", Id::powr, Family::math, &float2args, P},
    {"quad_active_threads_mask", Id::quadActiveThreadsMask, Family::quadgroup, &groupMask},
    {"quad_all", Id::quadAll, Family::quadgroup, &groupVote},
    {"quad_and", Id::quadAnd, Family::quadgroup, &groupBits},
    {"quad_any", Id::quadAny, Family::quadgroup, &groupVote},
    {"quad_ballot", Id::quadBallot, Family::quadgroup, &groupBallot},
    {"quad_broadcast", Id::quadBroadcast, Family::quadgroup, &groupLane},
    {"quad_broadcast_first", Id::quadBroadcastFirst, Family::quadgroup, &groupReduce},
    {"quad_is_first", Id::quadIsFirst, Family::quadgroup, &noArgumentsBool},
    {"quad_is_helper_thread", Id::quadIsHelperThread, Family::quadgroup, &noArgumentsBool},
    {"quad_max", Id::quadMax, Family::quadgroup, &groupReduce},
    {"quad_min", Id::quadMin, Family::quadgroup, &groupReduce},
    {"quad_or", Id::quadOr, Family::quadgroup, &groupBits},
    {"quad_prefix_exclusive_product", Id::quadPrefixExclusiveProduct, Family::quadgroup, &groupReduce},
    {"quad_prefix_exclusive_sum", Id::quadPrefixExclusiveSum, Family::quadgroup, &groupReduce},
    {"quad_prefix_inclusive_product", Id::quadPrefixInclusiveProduct, Family::quadgroup, &groupReduce},
    {"quad_prefix_inclusive_sum", Id::quadPrefixInclusiveSum, Family::quadgroup, &groupReduce},
    {"quad_product", Id::quadProduct, Family::quadgroup, &groupReduce},
    {"quad_shuffle", Id::quadShuffle, Family::quadgroup, &groupLane},
    {"quad_shuffle_and_fill_down", Id::quadShuffleAndFillDown, Family::quadgroup, &groupFill},
    {"quad_shuffle_and_fill_up", Id::quadShuffleAndFillUp, Family::quadgroup, &groupFill},
    {"quad_shuffle_down", Id::quadShuffleDown, Family::quadgroup, &groupLane},
    {"quad_shuffle_rotate_down", Id::quadShuffleRotateDown, Family::quadgroup, &groupLane},
    {"quad_shuffle_rotate_up", Id::quadShuffleRotateUp, Family::quadgroup, &groupLane},
    {"quad_shuffle_up", Id::quadShuffleUp, Family::quadgroup, &groupLane},
    {"quad_shuffle_xor", Id::quadShuffleXor, Family::quadgroup, &groupLane},
    {"quad_sum", Id::quadSum, Family::quadgroup, &groupReduce},
    {"quad_xor", Id::quadXor, Family::quadgroup, &groupBits},
    {"radians", Id::radians, Family::math, &float1, P},
    {"reflect", Id::reflect, Family::geometric, &vectorReflect, P},
    {"refract", Id::refract, Family::geometric, &vectorRefract, P},
    {"remainder", Id::remainder, Family::math, &float2args},
    {"reverse_bits", Id::reverseBits, Family::integer, &int1},
    {"rhadd", Id::rhadd, Family::integer, &int2},
    {"rint", Id::rint, Family::math, &float1, P},
    {"rotate", Id::rotate, Family::integer, &intRotate},
    {"round", Id::round, Family::math, &float1, P},
    {"rsqrt", Id::rsqrt, Family::math, &float1, P},
    {"saturate", Id::saturate, Family::math, &float1, P},
    {"select", Id::select, Family::relational, &selectArgs},
    {"sign", Id::sign, Family::math, &float1, P},
    {"signbit", Id::signbit, Family::relational, &floatTest},
    {"simd_active_threads_mask", Id::simdActiveThreadsMask, Family::simdgroup, &groupMask},
    {"simd_all", Id::simdAll, Family::simdgroup, &groupVote},
    {"simd_and", Id::simdAnd, Family::simdgroup, &groupBits},
    {"simd_any", Id::simdAny, Family::simdgroup, &groupVote},
    {"simd_ballot", Id::simdBallot, Family::simdgroup, &groupBallot},
    {"simd_broadcast", Id::simdBroadcast, Family::simdgroup, &groupLane},
    {"simd_broadcast_first", Id::simdBroadcastFirst, Family::simdgroup, &groupReduce},
    {"simd_is_first", Id::simdIsFirst, Family::simdgroup, &noArgumentsBool},
    {"simd_is_helper_thread", Id::simdIsHelperThread, Family::simdgroup, &noArgumentsBool},
    {"simd_max", Id::simdMax, Family::simdgroup, &groupReduce},
    {"simd_min", Id::simdMin, Family::simdgroup, &groupReduce},
    {"simd_or", Id::simdOr, Family::simdgroup, &groupBits},
    {"simd_prefix_exclusive_product", Id::simdPrefixExclusiveProduct, Family::simdgroup, &groupReduce},
    {"simd_prefix_exclusive_sum", Id::simdPrefixExclusiveSum, Family::simdgroup, &groupReduce},
    {"simd_prefix_inclusive_product", Id::simdPrefixInclusiveProduct, Family::simdgroup, &groupReduce},
    {"simd_prefix_inclusive_sum", Id::simdPrefixInclusiveSum, Family::simdgroup, &groupReduce},
    {"simd_product", Id::simdProduct, Family::simdgroup, &groupReduce},
    {"simd_shuffle", Id::simdShuffle, Family::simdgroup, &groupLane},
    {"simd_shuffle_and_fill_down", Id::simdShuffleAndFillDown, Family::simdgroup, &groupFill},
    {"simd_shuffle_and_fill_up", Id::simdShuffleAndFillUp, Family::simdgroup, &groupFill},
    {"simd_shuffle_down", Id::simdShuffleDown, Family::simdgroup, &groupLane},
    {"simd_shuffle_rotate_down", Id::simdShuffleRotateDown, Family::simdgroup, &groupLane},
    {"simd_shuffle_rotate_up", Id::simdShuffleRotateUp, Family::simdgroup, &groupLane},
    {"simd_shuffle_up", Id::simdShuffleUp, Family::simdgroup, &groupLane},
    {"simd_shuffle_xor", Id::simdShuffleXor, Family::simdgroup, &groupLane},
    {"simd_sum", Id::simdSum, Family::simdgroup, &groupReduce},
    {"simd_xor", Id::simdXor, Family::simdgroup, &groupBits},
    {"simdgroup_barrier", Id::simdgroupBarrier, Family::barrier, &barrier},
    {"sin", Id::sin, Family::math, &float1, P},
    {"sincos", Id::sincos, Family::math, &floatSincos, P},
    {"sinh", Id::sinh, Family::math, &float1, P},
    {"sinpi", Id::sinpi, Family::math, &float1, P},
    {"smoothstep", Id::smoothstep, Family::math, &floatSmooth, P},
    {"sqrt", Id::sqrt, Family::math, &float1, P},
    {"step", Id::step, Family::math, &floatStep, P},
    {"subsat", Id::subsat, Family::integer, &int2},
    {"tan", Id::tan, Family::math, &float1, P},
    {"tanh", Id::tanh, Family::math, &float1, P},
    {"tanpi", Id::tanpi, Family::math, &float1, P},
    {"threadgroup_barrier", Id::threadgroupBarrier, Family::barrier, &barrier},
    {"transpose", Id::transpose, Family::geometric, &matrixTranspose},
    {"trunc", Id::trunc, Family::math, &float1, P},
    {"unpack_snorm2x16_to_float", Id::unpackSnorm2x16ToFloat, Family::packing, &unpackFloat2},
    {"unpack_snorm2x16_to_half", Id::unpackSnorm2x16ToHalf, Family::packing, &unpackHalf2},
    {"unpack_snorm4x8_to_float", Id::unpackSnorm4x8ToFloat, Family::packing, &unpackFloat4},
    {"unpack_snorm4x8_to_half", Id::unpackSnorm4x8ToHalf, Family::packing, &unpackHalf4},
    {"unpack_unorm10a2_to_float", Id::unpackUnorm10a2ToFloat, Family::packing, &unpackFloat4},
    {"unpack_unorm10a2_to_half", Id::unpackUnorm10a2ToHalf, Family::packing, &unpackHalf4},
    {"unpack_unorm2x16_to_float", Id::unpackUnorm2x16ToFloat, Family::packing, &unpackFloat2},
    {"unpack_unorm2x16_to_half", Id::unpackUnorm2x16ToHalf, Family::packing, &unpackHalf2},
    {"unpack_unorm4x8_srgb_to_float", Id::unpackUnorm4x8SrgbToFloat, Family::packing, &unpackFloat4},
    {"unpack_unorm4x8_srgb_to_half", Id::unpackUnorm4x8SrgbToHalf, Family::packing, &unpackHalf4},
    {"unpack_unorm4x8_to_float", Id::unpackUnorm4x8ToFloat, Family::packing, &unpackFloat4},
    {"unpack_unorm4x8_to_half", Id::unpackUnorm4x8ToHalf, Family::packing, &unpackHalf4},
    {"unpack_unorm565_to_float", Id::unpackUnorm565ToFloat, Family::packing, &unpackFloat3Short},
    {"unpack_unorm565_to_half", Id::unpackUnorm565ToHalf, Family::packing, &unpackHalf3Short},
};
// clang-format on

static_assert(std::ranges::is_sorted(functions, {}, &BuiltinFunction::name));

// By id. Rows that share an id must agree, and every id has a family.
constexpr std::array<Family, static_cast<std::size_t>(Id::count_)> makeFamilies() {
    std::array<Family, static_cast<std::size_t>(Id::count_)> made{};
    const auto set = [&](Id id, Family family) {
        Family& known = made[static_cast<std::size_t>(id)];
        if (known != Family::none && known != family) throw "one function in two families";
        known = family;
    };
    for (const BuiltinFunction& function : functions)
        set(function.id, function.family);
    for (const Id id : {Id::textureSample, Id::textureSampleCompare, Id::textureGather, Id::textureGatherCompare,
                        Id::textureRead, Id::textureWrite, Id::textureWidth, Id::textureHeight, Id::textureDepth,
                        Id::textureArraySize, Id::textureMipLevels, Id::textureSamples, Id::textureCalculateLod,
                        Id::textureCalculateUnclampedLod, Id::textureFence})
        set(id, Family::texture);
    for (const Id id : {Id::optionLevel, Id::optionBias, Id::optionGradient2d, Id::optionGradient3d,
                        Id::optionGradientCube, Id::optionMinLodClamp})
        set(id, Family::sampleOption);
    for (const Id id :
         {Id::interpolateAtCenter, Id::interpolateAtCentroid, Id::interpolateAtOffset, Id::interpolateAtSample})
        set(id, Family::interpolant);
    set(Id::arrayRefSize, Family::arrayRef);
    set(Id::functionConstantDefined, Family::functionConstant);
    return made;
}
constexpr auto families = makeFamilies();
static_assert(std::ranges::count(families, Family::none) == 1, "every id but none has a row here or in TextureMethods");

// The first row of each id.
constexpr auto firstRows = [] {
    std::array<const BuiltinFunction*, static_cast<std::size_t>(Id::count_)> made{};
    for (const BuiltinFunction& function : functions)
        if (made[static_cast<std::size_t>(function.id)] == nullptr)
            made[static_cast<std::size_t>(function.id)] = &function;
    return made;
}();

std::string_view slotPattern(Slot slot) {
    switch (slot) {
    case Slot::none: return "";
    case Slot::void_: return "void";
    case Slot::t: return "T";
    case Slot::elementOfT: return "element of T";
    case Slot::boolOfT: return "bool of T";
    case Slot::intOfT: return "int of T";
    case Slot::unsignedOfT: return "unsigned T";
    case Slot::transposedT: return "transposed T";
    case Slot::threadT: return "thread T &";
    case Slot::threadIntOfT: return "thread int of T &";
    case Slot::atomicPointer: return "device atomic<T> *";
    case Slot::bool_: return "bool";
    case Slot::int_: return "int";
    case Slot::uint: return "uint";
    case Slot::ushort: return "ushort";
    case Slot::ulong: return "ulong";
    case Slot::float2: return "float2";
    case Slot::float3: return "float3";
    case Slot::float4: return "float4";
    case Slot::half2: return "half2";
    case Slot::half3: return "half3";
    case Slot::half4: return "half4";
    }
    return "";
}

} // namespace

std::span<const BuiltinFunction> builtinFunctions() {
    return functions;
}

const BuiltinFunction* findBuiltin(std::string_view name) {
    const auto at = std::ranges::lower_bound(functions, name, {}, &BuiltinFunction::name);
    return at != std::end(functions) && at->name == name ? at : nullptr;
}

BuiltinFamily builtinFamily(BuiltinId id) {
    return families[static_cast<std::size_t>(id)];
}

const BuiltinSignature* builtinSignature(BuiltinId id) {
    return firstRows[static_cast<std::size_t>(id)] != nullptr ? firstRows[static_cast<std::size_t>(id)]->signature
                                                              : nullptr;
}

std::string_view builtinName(BuiltinId id) {
    const BuiltinFunction* row = firstRows[static_cast<std::size_t>(id)];
    return row != nullptr ? row->name : std::string_view();
}

bool admitsKind(BuiltinClass typeClass, ScalarKind kind) {
    switch (typeClass) {
    case Class::none: return false;
    case Class::floating: return isFloating(kind);
    case Class::arithmetic: return kind != ScalarKind::bool_;
    case Class::integer: return isInteger(kind) && kind != ScalarKind::bool_;
    case Class::integer32: return kind == ScalarKind::int_ || kind == ScalarKind::uint;
    case Class::boolean: return kind == ScalarKind::bool_;
    case Class::any:
    case Class::atomic: return true;
    }
    return false;
}

bool admitsShape(BuiltinShape shape, TypeRef type) {
    switch (shape) {
    case Shape::scalarOrVector: return type->isScalar() || type->isVector();
    case Shape::scalar: return type->isScalar();
    case Shape::vector: return type->isVector();
    case Shape::vector3: return type->isVector() && type->columns == 3;
    case Shape::matrix: return type->isMatrix();
    case Shape::squareMatrix: return type->isMatrix() && type->columns == type->rows;
    }
    return false;
}

TypeRef slotType(const TypeTable& types, BuiltinSlot slot, TypeRef t) {
    switch (slot) {
    case Slot::none:
    case Slot::void_: return types.void_();
    case Slot::t:
    case Slot::threadT: return t;
    case Slot::elementOfT: return types.scalar(t->scalar);
    case Slot::boolOfT: return types.withScalar(t, ScalarKind::bool_);
    case Slot::intOfT:
    case Slot::threadIntOfT: return types.withScalar(t, ScalarKind::int_);
    case Slot::unsignedOfT: {
        ScalarKind kind = t->scalar;
        if (isInteger(kind) && isSigned(kind))
            kind = static_cast<ScalarKind>(static_cast<unsigned>(kind) + 1); // each is followed by its unsigned kind
        return types.withScalar(t, kind);
    }
    case Slot::transposedT: return types.matrix(t->scalar, t->rows, t->columns);
    case Slot::atomicPointer: return types.atomic(t->scalar);
    case Slot::bool_: return types.bool_();
    case Slot::int_: return types.int_();
    case Slot::uint: return types.uint();
    case Slot::ushort: return types.scalar(ScalarKind::ushort);
    case Slot::ulong: return types.scalar(ScalarKind::ulong);
    case Slot::float2: return types.vector(ScalarKind::float_, 2);
    case Slot::float3: return types.vector(ScalarKind::float_, 3);
    case Slot::float4: return types.vector(ScalarKind::float_, 4);
    case Slot::half2: return types.vector(ScalarKind::half, 2);
    case Slot::half3: return types.vector(ScalarKind::half, 3);
    case Slot::half4: return types.vector(ScalarKind::half, 4);
    }
    return types.error();
}

std::string signatureText(const TypeTable& types, const BuiltinFunction& function, TypeRef t) {
    const BuiltinSignature& signature = *function.signature;
    const auto slotText = [&](Slot slot) -> std::string {
        if (!t && signature.typeClass != Class::none) return std::string(slotPattern(slot));
        if (isReferenceSlot(slot)) return "thread " + typeName(slotType(types, slot, t)) + " &";
        if (slot == Slot::atomicPointer) return "device " + typeName(slotType(types, slot, t)) + " *";
        return typeName(slotType(types, slot, t));
    };
    std::string text = slotText(signature.result);
    text += ' ';
    text += function.name;
    text += '(';
    for (unsigned i = 0; i < signature.parameterCount; ++i) {
        if (i > 0) text += ", ";
        const std::string type = slotText(signature.parameters[i]);
        text += type;
        if (type.back() != '&' && type.back() != '*') text += ' ';
        text += signature.parameterNames[i];
    }
    text += ')';
    return text;
}

std::string describeTypeParameter(const BuiltinSignature& signature) {
    std::string kinds;
    switch (signature.typeClass) {
    case Class::none: return {};
    case Class::floating: kinds = "a floating-point "; break;
    case Class::arithmetic: kinds = "a numeric "; break;
    case Class::integer: kinds = "an integer "; break;
    case Class::integer32: kinds = "an int or uint "; break;
    case Class::boolean: kinds = "a bool "; break;
    case Class::any: kinds = "a numeric or bool "; break;
    case Class::atomic: return "the type of the atomic's value";
    }
    switch (signature.shape) {
    case Shape::scalarOrVector: return kinds + "scalar or vector";
    case Shape::scalar: return kinds + "scalar";
    case Shape::vector: return kinds + "vector";
    case Shape::vector3: return kinds + "vector of 3";
    case Shape::matrix: return kinds + "matrix";
    case Shape::squareMatrix: return kinds + "square matrix";
    }
    return kinds;
}

} // namespace msl
