#include "GlassHobCore/code/FunctionNotes.h"

#include <algorithm>
#include <array>
#include <utility>

namespace glasshob::libraryNames {

namespace {

constexpr FunctionNote angles[] = {
    {"sin", "The sine."},
    {"cos", "The cosine."},
    {"tan", "The tangent."},
    {"asin", "The angle whose sine is x, from -pi/2 to pi/2."},
    {"acos", "The angle whose cosine is x, from 0 to pi."},
    {"atan", "The angle whose tangent is x, from -pi/2 to pi/2."},
    {"atan2", "The angle of the point (x, y) round the origin, from -pi to pi. y comes first."},
    {"sincos", "The sine; the cosine goes to the second argument."},
    {"sinpi", "The sine of x times pi."},
    {"cospi", "The cosine of x times pi."},
    {"tanpi", "The tangent of x times pi."},
    {"sinh", "The hyperbolic sine."},
    {"cosh", "The hyperbolic cosine."},
    {"tanh", "The hyperbolic tangent: a soft step from -1 to 1."},
    {"asinh", "The inverse of sinh."},
    {"acosh", "The inverse of cosh."},
    {"atanh", "The inverse of tanh."},
    {"degrees", "Radians to degrees."},
    {"radians", "Degrees to radians."},
};

constexpr FunctionNote powersAndLogarithms[] = {
    {"pow", "x to the power y; x must not be negative."},
    {"powr", "x to the power y, for x from 0 on."},
    {"sqrt", "The square root."},
    {"rsqrt", "One divided by the square root."},
    {"exp", "e to the power x."},
    {"exp2", "2 to the power x."},
    {"exp10", "10 to the power x."},
    {"log", "The natural logarithm."},
    {"log2", "The logarithm to base 2."},
    {"log10", "The logarithm to base 10."},
};

constexpr FunctionNote partsOfNumbers[] = {
    {"abs", "The value without its sign."},
    {"fabs", "The value without its sign."},
    {"sign", "-1, 0 or 1, as x is negative, zero or positive."},
    {"copysign", "x with the sign of y."},
    {"floor", "The next whole number downwards."},
    {"ceil", "The next whole number upwards."},
    {"round", "The nearest whole number; halves go away from zero."},
    {"rint", "The nearest whole number; halves go to the even one."},
    {"trunc", "The whole part, towards zero."},
    {"fract", "What lies behind the point: x - floor(x)."},
    {"fmod", "What is left of x divided by y, with the sign of x."},
    {"remainder", "What is left when x is divided by y and the quotient rounded to nearest."},
    {"modf", "The part behind the point; the whole part goes to the second argument."},
    {"frexp", "The number between 0.5 and 1 that x is when its power of two is taken out; the power goes to the second "
              "argument."},
    {"ldexp", "x times 2 to the power k."},
    {"ilogb", "The power of two of x, as a whole number."},
    {"nextafter", "The next number that can be written after x in the direction of y."},
};

constexpr FunctionNote choosingAndMixing[] = {
    {"mix", "Between x and y: x where a is 0, y where a is 1."},
    {"clamp", "x, but not below minval and not above maxval."},
    {"saturate", "x, but not below 0 and not above 1."},
    {"step", "0 where x is below the edge, else 1."},
    {"smoothstep", "A soft step from 0 at edge0 to 1 at edge1."},
    {"min", "The smaller one."},
    {"max", "The greater one."},
    {"min3", "The smallest of three."},
    {"max3", "The greatest of three."},
    {"median3", "The middle one of three."},
    {"fmin", "The smaller one; a NaN is passed over."},
    {"fmax", "The greater one; a NaN is passed over."},
    {"fmin3", "The smallest of three; NaNs are passed over."},
    {"fmax3", "The greatest of three; NaNs are passed over."},
    {"fmedian3", "The middle one of three; NaNs are passed over."},
    {"select", "b where c is true, else a, part by part."},
    {"fdim", "x - y where that is positive, else 0."},
    {"fma", "a * b + c, rounded once."},
    {"mad", "a * b + c."},
    {"divide", "x divided by y."},
};

constexpr FunctionNote vectors[] = {
    {"dot", "The scalar product: the sum of the products of the parts."},
    {"cross", "The vector at right angles to both."},
    {"length", "How long the vector is."},
    {"length_squared", "The length times itself, without a root."},
    {"distance", "How far two points are from each other."},
    {"distance_squared", "The distance times itself, without a root."},
    {"normalize", "The vector of length 1 in the same direction."},
    {"reflect", "The direction i, mirrored by a surface with the normal n."},
    {"refract", "The direction i, bent by a surface with the normal n; eta is the ratio of the refractive indices."},
    {"faceforward", "n, turned round if need be so that it faces against i."},
    {"all", "Whether all parts are true."},
    {"any", "Whether some part is true."},
    {"not", "True where the part is false."},
};

constexpr FunctionNote matrices[] = {
    {"transpose", "Rows become columns."},
    {"determinant", "The determinant."},
};

constexpr FunctionNote fromPixelToPixel[] = {
    {"dfdx", "How much x changes across a pixel from left to right."},
    {"dfdy", "How much x changes across a pixel from row to row."},
    {"fwidth", "The sum of both changes without their signs: how wide a pixel is in the measure of x."},
    {"discard_fragment", "Draws nothing at this pixel."},
    {"get_num_samples", "How many samples a pixel has."},
    {"get_sample_position", "Where in the pixel a sample lies."},
};

constexpr FunctionNote askingAboutNumbers[] = {
    {"isnan", "Whether it is no number, as 0.0 / 0.0 is."},
    {"isinf", "Whether it is infinite."},
    {"isfinite", "Whether it is neither infinite nor NaN."},
    {"isnormal", "Whether it is a finite number of full precision, and not zero."},
    {"isordered", "Whether neither is NaN."},
    {"isunordered", "Whether one of them is NaN."},
    {"signbit", "Whether the sign is a minus, that of -0.0 too."},
};

constexpr FunctionNote wholeNumbers[] = {
    {"popcount", "How many bits are 1."},
    {"clz", "How many zeros stand before the first 1."},
    {"ctz", "How many zeros stand behind the last 1."},
    {"reverse_bits", "The bits in the opposite order."},
    {"rotate", "The bits moved left by i; those that fall out come in at the right."},
    {"extract_bits", "So many bits from this place on, as a number."},
    {"insert_bits", "base with so many bits of insert at this place."},
    {"absdiff", "The difference without its sign."},
    {"addsat", "The sum, kept in the type's range."},
    {"subsat", "The difference, kept in the type's range."},
    {"hadd", "Half the sum, rounded down, without overflow."},
    {"rhadd", "Half the sum, rounded up, without overflow."},
    {"mulhi", "The upper half of the product."},
    {"madhi", "The upper half of a times b, plus c."},
    {"madsat", "a * b + c, kept in the type's range."},
    {"mul24", "The product of numbers of 24 bits."},
    {"mad24", "x * y + z for numbers of 24 bits."},
};

constexpr FunctionNote packing[] = {
    {"pack_float_to_snorm2x16", "Packs two numbers of 16 bits from -1 to 1."},
    {"pack_float_to_snorm4x8", "Packs four numbers of 8 bits from -1 to 1."},
    {"pack_float_to_srgb_unorm4x8", "Packs four numbers of 8 bits from 0 to 1, in sRGB."},
    {"pack_float_to_unorm10a2", "Packs three numbers of 10 bits and one of 2 from 0 to 1."},
    {"pack_float_to_unorm2x16", "Packs two numbers of 16 bits from 0 to 1."},
    {"pack_float_to_unorm4x8", "Packs four numbers of 8 bits from 0 to 1."},
    {"pack_float_to_unorm565", "Packs three numbers of 5, 6 and 5 bits from 0 to 1."},
    {"pack_half_to_snorm2x16", "Packs two numbers of 16 bits from -1 to 1."},
    {"pack_half_to_snorm4x8", "Packs four numbers of 8 bits from -1 to 1."},
    {"pack_half_to_srgb_unorm4x8", "Packs four numbers of 8 bits from 0 to 1, in sRGB."},
    {"pack_half_to_unorm10a2", "Packs three numbers of 10 bits and one of 2 from 0 to 1."},
    {"pack_half_to_unorm2x16", "Packs two numbers of 16 bits from 0 to 1."},
    {"pack_half_to_unorm4x8", "Packs four numbers of 8 bits from 0 to 1."},
    {"pack_half_to_unorm565", "Packs three numbers of 5, 6 and 5 bits from 0 to 1."},
    {"unpack_snorm2x16_to_float", "Unpacks two numbers of 16 bits from -1 to 1."},
    {"unpack_snorm2x16_to_half", "Unpacks two numbers of 16 bits from -1 to 1."},
    {"unpack_snorm4x8_to_float", "Unpacks four numbers of 8 bits from -1 to 1."},
    {"unpack_snorm4x8_to_half", "Unpacks four numbers of 8 bits from -1 to 1."},
    {"unpack_unorm10a2_to_float", "Unpacks three numbers of 10 bits and one of 2 from 0 to 1."},
    {"unpack_unorm10a2_to_half", "Unpacks three numbers of 10 bits and one of 2 from 0 to 1."},
    {"unpack_unorm2x16_to_float", "Unpacks two numbers of 16 bits from 0 to 1."},
    {"unpack_unorm2x16_to_half", "Unpacks two numbers of 16 bits from 0 to 1."},
    {"unpack_unorm4x8_srgb_to_float", "Unpacks four numbers of 8 bits from 0 to 1, in sRGB."},
    {"unpack_unorm4x8_srgb_to_half", "Unpacks four numbers of 8 bits from 0 to 1, in sRGB."},
    {"unpack_unorm4x8_to_float", "Unpacks four numbers of 8 bits from 0 to 1."},
    {"unpack_unorm4x8_to_half", "Unpacks four numbers of 8 bits from 0 to 1."},
    {"unpack_unorm565_to_float", "Unpacks three numbers of 5, 6 and 5 bits from 0 to 1."},
    {"unpack_unorm565_to_half", "Unpacks three numbers of 5, 6 and 5 bits from 0 to 1."},
};

constexpr FunctionNote groupsOfThreads[] = {
    {"threadgroup_barrier", "Waits until every thread of the group is here, and makes their writes visible."},
    {"simdgroup_barrier", "Waits for the threads of the SIMD-group."},
    {"quad_active_threads_mask", "A bit for each thread that is active."},
    {"quad_all", "Whether it is true for all."},
    {"quad_and", "The bits that all have."},
    {"quad_any", "Whether it is true for some thread."},
    {"quad_ballot", "A bit for each thread: whether it is true there."},
    {"quad_broadcast", "The value of the thread with that number."},
    {"quad_broadcast_first", "The value of the first active thread."},
    {"quad_is_first", "Whether this is the first active thread."},
    {"quad_is_helper_thread", "Whether this thread only helps to take differences."},
    {"quad_max", "The greatest value of the group."},
    {"quad_min", "The smallest value of the group."},
    {"quad_or", "The bits that some thread has."},
    {"quad_prefix_exclusive_product", "The product up to this thread, without it."},
    {"quad_prefix_exclusive_sum", "The sum up to this thread, without it."},
    {"quad_prefix_inclusive_product", "The product up to this thread, with it."},
    {"quad_prefix_inclusive_sum", "The sum up to this thread, with it."},
    {"quad_product", "The product over the group."},
    {"quad_shuffle", "The value of the thread with that number, which may differ from thread to thread."},
    {"quad_shuffle_and_fill_down", "The value of the thread so many behind; from filling_data where there is none."},
    {"quad_shuffle_and_fill_up", "The value of the thread so many before; from filling_data where there is none."},
    {"quad_shuffle_down", "The value of the thread so many behind."},
    {"quad_shuffle_rotate_down", "The value of the thread so many behind, in a ring."},
    {"quad_shuffle_rotate_up", "The value of the thread so many before, in a ring."},
    {"quad_shuffle_up", "The value of the thread so many before."},
    {"quad_shuffle_xor", "The value of the thread whose number has these bits flipped."},
    {"quad_sum", "The sum over the group."},
    {"quad_xor", "The bits that an odd number of threads have."},
    {"simd_active_threads_mask", "A bit for each thread that is active."},
    {"simd_all", "Whether it is true for all."},
    {"simd_and", "The bits that all have."},
    {"simd_any", "Whether it is true for some thread."},
    {"simd_ballot", "A bit for each thread: whether it is true there."},
    {"simd_broadcast", "The value of the thread with that number."},
    {"simd_broadcast_first", "The value of the first active thread."},
    {"simd_is_first", "Whether this is the first active thread."},
    {"simd_is_helper_thread", "Whether this thread only helps to take differences."},
    {"simd_max", "The greatest value of the group."},
    {"simd_min", "The smallest value of the group."},
    {"simd_or", "The bits that some thread has."},
    {"simd_prefix_exclusive_product", "The product up to this thread, without it."},
    {"simd_prefix_exclusive_sum", "The sum up to this thread, without it."},
    {"simd_prefix_inclusive_product", "The product up to this thread, with it."},
    {"simd_prefix_inclusive_sum", "The sum up to this thread, with it."},
    {"simd_product", "The product over the group."},
    {"simd_shuffle", "The value of the thread with that number, which may differ from thread to thread."},
    {"simd_shuffle_and_fill_down", "The value of the thread so many behind; from filling_data where there is none."},
    {"simd_shuffle_and_fill_up", "The value of the thread so many before; from filling_data where there is none."},
    {"simd_shuffle_down", "The value of the thread so many behind."},
    {"simd_shuffle_rotate_down", "The value of the thread so many behind, in a ring."},
    {"simd_shuffle_rotate_up", "The value of the thread so many before, in a ring."},
    {"simd_shuffle_up", "The value of the thread so many before."},
    {"simd_shuffle_xor", "The value of the thread whose number has these bits flipped."},
    {"simd_sum", "The sum over the group."},
    {"simd_xor", "The bits that an odd number of threads have."},
};

constexpr FunctionNote memoryThatThreadsShare[] = {
    {"atomic_load_explicit", "Reads the value."},
    {"atomic_store_explicit", "Writes a value."},
    {"atomic_exchange_explicit", "Writes a value and gives the old one."},
    {"atomic_compare_exchange_weak_explicit",
     "Writes the wanted value if the expected one is there, and says whether it was."},
    {"atomic_fetch_add_explicit", "Adds."},
    {"atomic_fetch_sub_explicit", "Subtracts."},
    {"atomic_fetch_max_explicit", "Keeps the greater one."},
    {"atomic_fetch_min_explicit", "Keeps the smaller one."},
    {"atomic_fetch_and_explicit", "Keeps the bits that both have."},
    {"atomic_fetch_or_explicit", "Adds bits."},
    {"atomic_fetch_xor_explicit", "Flips bits."},
    {"atomic_max_explicit", "Keeps the greater one, and gives nothing back."},
    {"atomic_min_explicit", "Keeps the smaller one, and gives nothing back."},
    {"atomic_thread_fence", "Orders what this thread reads and writes before and after."},
};

constexpr FunctionGroup groups[] = {
    {"Angles", "Angles are in radians; a full turn is 6.2831853.", angles},
    {"Powers and logarithms", "", powersAndLogarithms},
    {"Parts of numbers", "", partsOfNumbers},
    {"Choosing and mixing", "", choosingAndMixing},
    {"Vectors", "", vectors},
    {"Matrices", "", matrices},
    {"From pixel to pixel",
     "They compare a pixel with its neighbours, so they stand in shade() and ink() only, where all neighbours come by.",
     fromPixelToPixel},
    {"Asking about numbers", "", askingAboutNumbers},
    {"Whole numbers", "", wholeNumbers},
    {"Packing", "Several small numbers in one word, the first in its lowest bits: unorm takes 0 to 1, snorm -1 to 1.",
     packing},
    {"Groups of threads",
     "For kernels of mslc: the shaders of the window have one thread for each pixel and do not meet.", groupsOfThreads},
    {"Memory that threads share", "Atomic: no other thread comes between. Each gives the value that was there before.",
     memoryThatThreadsShare},
};

} // namespace

std::span<const FunctionGroup> functionGroups() {
    return groups;
}

std::string_view onFunction(std::string_view name) {
    for (const FunctionGroup& group : groups) {
        const auto found = std::ranges::find(group.functions, name, &FunctionNote::name);
        if (found != group.functions.end()) return found->text;
    }
    return {};
}

} // namespace glasshob::libraryNames
