#include "MSL/builtins/BuiltinTable.h"

#include <algorithm>

namespace msl {
namespace {

using Class = BuiltinClass;
using Shape = BuiltinShape;
using Slot = BuiltinSlot;
using Id = BuiltinId;

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
constexpr BuiltinSignature noArgumentsBool = make(Class::none, V, Slot::bool_, {}, {});

constexpr BuiltinSignature fixed(Slot result, Slot parameter) {
    return make(Class::none, V, result, {parameter}, {"x"});
}
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
    {"abs", Id::abs, &any1, P},
    {"absdiff", Id::absdiff, &intDiff},
    {"acos", Id::acos, &float1, P},
    {"acosh", Id::acosh, &float1, P},
    {"addsat", Id::addsat, &int2},
    {"all", Id::all, &boolReduce},
    {"any", Id::any, &boolReduce},
    {"asin", Id::asin, &float1, P},
    {"asinh", Id::asinh, &float1, P},
    {"atan", Id::atan, &float1, P},
    {"atan2", Id::atan2, &floatYX, P},
    {"atanh", Id::atanh, &float1, P},
    {"atomic_compare_exchange_weak_explicit", Id::atomicCompareExchangeWeak, &atomicCompare},
    {"atomic_exchange_explicit", Id::atomicExchange, &atomicUpdate},
    {"atomic_fetch_add_explicit", Id::atomicFetchAdd, &atomicUpdate},
    {"atomic_fetch_and_explicit", Id::atomicFetchAnd, &atomicUpdate},
    {"atomic_fetch_max_explicit", Id::atomicFetchMax, &atomicUpdate},
    {"atomic_fetch_min_explicit", Id::atomicFetchMin, &atomicUpdate},
    {"atomic_fetch_or_explicit", Id::atomicFetchOr, &atomicUpdate},
    {"atomic_fetch_sub_explicit", Id::atomicFetchSub, &atomicUpdate},
    {"atomic_fetch_xor_explicit", Id::atomicFetchXor, &atomicUpdate},
    {"atomic_load_explicit", Id::atomicLoad, &atomicGet},
    {"atomic_max_explicit", Id::atomicMax, &atomicLimit},
    {"atomic_min_explicit", Id::atomicMin, &atomicLimit},
    {"atomic_store_explicit", Id::atomicStore, &atomicPut},
    {"atomic_thread_fence", Id::atomicFence, &fence},
    {"ceil", Id::ceil, &float1, P},
    {"clamp", Id::clamp, &anyClamp, P},
    {"clz", Id::clz, &int1},
    {"copysign", Id::copysign, &float2args, P},
    {"cos", Id::cos, &float1, P},
    {"cosh", Id::cosh, &float1, P},
    {"cospi", Id::cospi, &float1, P},
    {"cross", Id::cross, &vectorCross, P},
    {"ctz", Id::ctz, &int1},
    {"degrees", Id::degrees, &float1, P},
    {"determinant", Id::determinant, &matrixDeterminant},
    {"dfdx", Id::dfdx, &float1},
    {"dfdy", Id::dfdy, &float1},
    {"discard_fragment", Id::discardFragment, &noArguments},
    {"distance", Id::distance, &vectorsToScalar, P},
    {"distance_squared", Id::distanceSquared, &vectorsToScalar, P},
    {"divide", Id::divide, &float2args, P},
    {"dot", Id::dot, &vectorsToScalar, P},
    {"exp", Id::exp, &float1, P},
    {"exp10", Id::exp10, &float1, P},
    {"exp2", Id::exp2, &float1, P},
    {"extract_bits", Id::extractBits, &intExtract},
    {"fabs", Id::fabs, &float1, P},
    {"faceforward", Id::faceforward, &vectorForward, P},
    {"fdim", Id::fdim, &float2args, P},
    {"floor", Id::floor, &float1, P},
    {"fma", Id::fma, &floatABC, P},
    {"fmax", Id::fmax, &float2args, P},
    {"fmax3", Id::fmax3, &float3args, P},
    {"fmedian3", Id::fmedian3, &float3args, P},
    {"fmin", Id::fmin, &float2args, P},
    {"fmin3", Id::fmin3, &float3args, P},
    {"fmod", Id::fmod, &float2args, P},
    {"fract", Id::fract, &float1, P},
    {"frexp", Id::frexp, &floatFrexp, P},
    {"fwidth", Id::fwidth, &float1},
    {"hadd", Id::hadd, &int2},
    {"ilogb", Id::ilogb, &floatToInt, P},
    {"insert_bits", Id::insertBits, &intInsert},
    {"isfinite", Id::isfinite, &floatTest},
    {"isinf", Id::isinf, &floatTest},
    {"isnan", Id::isnan, &floatTest},
    {"isnormal", Id::isnormal, &floatTest},
    {"isordered", Id::isordered, &floatTest2},
    {"isunordered", Id::isunordered, &floatTest2},
    {"ldexp", Id::ldexp, &floatLdexp, P},
    {"length", Id::length, &vectorToScalar, P},
    {"length_squared", Id::lengthSquared, &vectorToScalar, P},
    {"log", Id::log, &float1, P},
    {"log10", Id::log10, &float1, P},
    {"log2", Id::log2, &float1, P},
    {"mad", Id::fma, &floatABC, P},
    {"mad24", Id::mad24, &int24x3},
    {"madhi", Id::madhi, &int3},
    {"madsat", Id::madsat, &int3},
    {"max", Id::max, &any2, P},
    {"max3", Id::max3, &any3, P},
    {"median3", Id::median3, &any3, P},
    {"min", Id::min, &any2, P},
    {"min3", Id::min3, &any3, P},
    {"mix", Id::mix, &floatMix, P},
    {"modf", Id::modf, &floatPart, P},
    {"mul24", Id::mul24, &int24x2},
    {"mulhi", Id::mulhi, &int2},
    {"nextafter", Id::nextafter, &float2args},
    {"normalize", Id::normalize, &vector1, P},
    {"not", Id::notFn, &boolMap},
    {"pack_float_to_snorm2x16", Id::packFloatToSnorm2x16, &packFloat2},
    {"pack_float_to_snorm4x8", Id::packFloatToSnorm4x8, &packFloat4},
    {"pack_float_to_srgb_unorm4x8", Id::packFloatToSrgbUnorm4x8, &packFloat4},
    {"pack_float_to_unorm10a2", Id::packFloatToUnorm10a2, &packFloat4},
    {"pack_float_to_unorm2x16", Id::packFloatToUnorm2x16, &packFloat2},
    {"pack_float_to_unorm4x8", Id::packFloatToUnorm4x8, &packFloat4},
    {"pack_float_to_unorm565", Id::packFloatToUnorm565, &packFloat3Short},
    {"pack_half_to_snorm2x16", Id::packHalfToSnorm2x16, &packHalf2},
    {"pack_half_to_snorm4x8", Id::packHalfToSnorm4x8, &packHalf4},
    {"pack_half_to_srgb_unorm4x8", Id::packHalfToSrgbUnorm4x8, &packHalf4},
    {"pack_half_to_unorm10a2", Id::packHalfToUnorm10a2, &packHalf4},
    {"pack_half_to_unorm2x16", Id::packHalfToUnorm2x16, &packHalf2},
    {"pack_half_to_unorm4x8", Id::packHalfToUnorm4x8, &packHalf4},
    {"pack_half_to_unorm565", Id::packHalfToUnorm565, &packHalf3Short},
    {"popcount", Id::popcount, &int1},
    {"pow", Id::pow, &float2args, P},
    {"powr", Id::powr, &float2args, P},
    {"quad_active_threads_mask", Id::quadActiveThreadsMask, &groupMask},
    {"quad_all", Id::quadAll, &groupVote},
    {"quad_and", Id::quadAnd, &groupBits},
    {"quad_any", Id::quadAny, &groupVote},
    {"quad_ballot", Id::quadBallot, &groupBallot},
    {"quad_broadcast", Id::quadBroadcast, &groupLane},
    {"quad_broadcast_first", Id::quadBroadcastFirst, &groupReduce},
    {"quad_is_first", Id::quadIsFirst, &noArgumentsBool},
    {"quad_is_helper_thread", Id::quadIsHelperThread, &noArgumentsBool},
    {"quad_max", Id::quadMax, &groupReduce},
    {"quad_min", Id::quadMin, &groupReduce},
    {"quad_or", Id::quadOr, &groupBits},
    {"quad_prefix_exclusive_product", Id::quadPrefixExclusiveProduct, &groupReduce},
    {"quad_prefix_exclusive_sum", Id::quadPrefixExclusiveSum, &groupReduce},
    {"quad_prefix_inclusive_product", Id::quadPrefixInclusiveProduct, &groupReduce},
    {"quad_prefix_inclusive_sum", Id::quadPrefixInclusiveSum, &groupReduce},
    {"quad_product", Id::quadProduct, &groupReduce},
    {"quad_shuffle", Id::quadShuffle, &groupLane},
    {"quad_shuffle_and_fill_down", Id::quadShuffleAndFillDown, &groupFill},
    {"quad_shuffle_and_fill_up", Id::quadShuffleAndFillUp, &groupFill},
    {"quad_shuffle_down", Id::quadShuffleDown, &groupLane},
    {"quad_shuffle_rotate_down", Id::quadShuffleRotateDown, &groupLane},
    {"quad_shuffle_rotate_up", Id::quadShuffleRotateUp, &groupLane},
    {"quad_shuffle_up", Id::quadShuffleUp, &groupLane},
    {"quad_shuffle_xor", Id::quadShuffleXor, &groupLane},
    {"quad_sum", Id::quadSum, &groupReduce},
    {"quad_xor", Id::quadXor, &groupBits},
    {"radians", Id::radians, &float1, P},
    {"reflect", Id::reflect, &vectorReflect, P},
    {"refract", Id::refract, &vectorRefract, P},
    {"remainder", Id::remainder, &float2args},
    {"reverse_bits", Id::reverseBits, &int1},
    {"rhadd", Id::rhadd, &int2},
    {"rint", Id::rint, &float1, P},
    {"rotate", Id::rotate, &intRotate},
    {"round", Id::round, &float1, P},
    {"rsqrt", Id::rsqrt, &float1, P},
    {"saturate", Id::saturate, &float1, P},
    {"select", Id::select, &selectArgs},
    {"sign", Id::sign, &float1, P},
    {"signbit", Id::signbit, &floatTest},
    {"simd_active_threads_mask", Id::simdActiveThreadsMask, &groupMask},
    {"simd_all", Id::simdAll, &groupVote},
    {"simd_and", Id::simdAnd, &groupBits},
    {"simd_any", Id::simdAny, &groupVote},
    {"simd_ballot", Id::simdBallot, &groupBallot},
    {"simd_broadcast", Id::simdBroadcast, &groupLane},
    {"simd_broadcast_first", Id::simdBroadcastFirst, &groupReduce},
    {"simd_is_first", Id::simdIsFirst, &noArgumentsBool},
    {"simd_is_helper_thread", Id::simdIsHelperThread, &noArgumentsBool},
    {"simd_max", Id::simdMax, &groupReduce},
    {"simd_min", Id::simdMin, &groupReduce},
    {"simd_or", Id::simdOr, &groupBits},
    {"simd_prefix_exclusive_product", Id::simdPrefixExclusiveProduct, &groupReduce},
    {"simd_prefix_exclusive_sum", Id::simdPrefixExclusiveSum, &groupReduce},
    {"simd_prefix_inclusive_product", Id::simdPrefixInclusiveProduct, &groupReduce},
    {"simd_prefix_inclusive_sum", Id::simdPrefixInclusiveSum, &groupReduce},
    {"simd_product", Id::simdProduct, &groupReduce},
    {"simd_shuffle", Id::simdShuffle, &groupLane},
    {"simd_shuffle_and_fill_down", Id::simdShuffleAndFillDown, &groupFill},
    {"simd_shuffle_and_fill_up", Id::simdShuffleAndFillUp, &groupFill},
    {"simd_shuffle_down", Id::simdShuffleDown, &groupLane},
    {"simd_shuffle_rotate_down", Id::simdShuffleRotateDown, &groupLane},
    {"simd_shuffle_rotate_up", Id::simdShuffleRotateUp, &groupLane},
    {"simd_shuffle_up", Id::simdShuffleUp, &groupLane},
    {"simd_shuffle_xor", Id::simdShuffleXor, &groupLane},
    {"simd_sum", Id::simdSum, &groupReduce},
    {"simd_xor", Id::simdXor, &groupBits},
    {"simdgroup_barrier", Id::simdgroupBarrier, &barrier},
    {"sin", Id::sin, &float1, P},
    {"sincos", Id::sincos, &floatSincos, P},
    {"sinh", Id::sinh, &float1, P},
    {"sinpi", Id::sinpi, &float1, P},
    {"smoothstep", Id::smoothstep, &floatSmooth, P},
    {"sqrt", Id::sqrt, &float1, P},
    {"step", Id::step, &floatStep, P},
    {"subsat", Id::subsat, &int2},
    {"tan", Id::tan, &float1, P},
    {"tanh", Id::tanh, &float1, P},
    {"tanpi", Id::tanpi, &float1, P},
    {"threadgroup_barrier", Id::threadgroupBarrier, &barrier},
    {"transpose", Id::transpose, &matrixTranspose},
    {"trunc", Id::trunc, &float1, P},
    {"unpack_snorm2x16_to_float", Id::unpackSnorm2x16ToFloat, &unpackFloat2},
    {"unpack_snorm2x16_to_half", Id::unpackSnorm2x16ToHalf, &unpackHalf2},
    {"unpack_snorm4x8_to_float", Id::unpackSnorm4x8ToFloat, &unpackFloat4},
    {"unpack_snorm4x8_to_half", Id::unpackSnorm4x8ToHalf, &unpackHalf4},
    {"unpack_unorm10a2_to_float", Id::unpackUnorm10a2ToFloat, &unpackFloat4},
    {"unpack_unorm10a2_to_half", Id::unpackUnorm10a2ToHalf, &unpackHalf4},
    {"unpack_unorm2x16_to_float", Id::unpackUnorm2x16ToFloat, &unpackFloat2},
    {"unpack_unorm2x16_to_half", Id::unpackUnorm2x16ToHalf, &unpackHalf2},
    {"unpack_unorm4x8_srgb_to_float", Id::unpackUnorm4x8SrgbToFloat, &unpackFloat4},
    {"unpack_unorm4x8_srgb_to_half", Id::unpackUnorm4x8SrgbToHalf, &unpackHalf4},
    {"unpack_unorm4x8_to_float", Id::unpackUnorm4x8ToFloat, &unpackFloat4},
    {"unpack_unorm4x8_to_half", Id::unpackUnorm4x8ToHalf, &unpackHalf4},
    {"unpack_unorm565_to_float", Id::unpackUnorm565ToFloat, &unpackFloat3Short},
    {"unpack_unorm565_to_half", Id::unpackUnorm565ToHalf, &unpackHalf3Short},
};
// clang-format on

static_assert(std::ranges::is_sorted(functions, {}, &BuiltinFunction::name));

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

std::string_view builtinName(BuiltinId id) {
    for (const BuiltinFunction& function : functions)
        if (function.id == id) return function.name;
    return {};
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
    case Class::floating: kinds = "a half or float "; break;
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
