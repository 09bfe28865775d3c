// language: metal2.0
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

constant metal::float4 v_f32_one = metal::float4(1.0, 1.0, 1.0, 1.0);
constant metal::float4 v_f32_zero = metal::float4(0.0, 0.0, 0.0, 0.0);
constant metal::int4 v_i32_one = metal::int4(1, 1, 1, 1);

metal::float4 builtins(
    int scale
) {
    int s1_ = true ? 1 : 0;
    metal::float4 s2_ = true ? v_f32_one : v_f32_zero;
    metal::float4 s3_ = metal::select(v_f32_one, v_f32_zero, metal::bool4(false, true, false, true));
    metal::float4 m1_ = metal::mix(v_f32_zero, v_f32_one, v_f32_one);
    metal::float4 m2_ = metal::mix(v_f32_zero, v_f32_one, 0.1);
    float b1_ = as_type<float>(v_i32_one.x);
    metal::float4 b2_ = as_type<metal::float4>(v_i32_one);
    metal::int4 v_i32_zero = static_cast<metal::int4>(v_f32_zero);
    return (((((static_cast<metal::float4>(metal::int4(s1_) + v_i32_zero) + s2_) + s3_) + m1_) + m2_) + metal::float4(b1_)) + b2_;
}

metal::int2 safe_div(metal::int2 lhs, metal::int2 rhs) {
    return lhs / metal::select(rhs, 1, (lhs == (metal::int2)(-2147483647 - 1) & rhs == -1) | (rhs == 0));
}
int safe_mod(int lhs, int rhs) {
    int divisor = metal::select(rhs, 1, (lhs == (-2147483647 - 1) & rhs == -1) | (rhs == 0));
    return lhs - (lhs / divisor) * divisor;
}
uint safe_mod(uint lhs, uint rhs) {
    return lhs % metal::select(rhs, 1u, rhs == 0u);
}

metal::float3 bool_cast(
    metal::float3 x
) {
    metal::bool3 y = static_cast<metal::bool3>(x);
    return static_cast<metal::float3>(y);
}

void logical(
    thread bool& result
) {
    bool neg0_ = !(true);
    metal::bool2 neg1_ = !(metal::bool2(true));
    bool or_ = true || false;
    bool and_ = true && false;
    bool bitwise_or0_ = true | false;
    metal::bool3 bitwise_or1_ = metal::bool3(true) | metal::bool3(false);
    bool bitwise_and0_ = true & false;
    metal::bool4 bitwise_and1_ = metal::bool4(true) & metal::bool4(false);
    result = neg0_ || neg1_.x || or_ || and_ || bitwise_or0_ || bitwise_or1_.y || bitwise_and0_ || bitwise_and1_.z;
}

metal::float2 arithmetic(
    int a,
    uint b
) {
    metal::int2 neg1_ = as_type<metal::int2>(-as_type<metal::uint2>(metal::int2(a)));
    int add0_ = as_type<int>(as_type<uint>(a) + as_type<uint>(1));
    uint add1_ = b + 1u;
    float sub2_ = 2.0 - 1.0;
    metal::int2 mul3_ = as_type<metal::int2>(as_type<metal::uint2>(metal::int2(2)) * as_type<metal::uint2>(metal::int2(a)));
    metal::int2 div3_ = safe_div(mul3_, metal::int2(a));
    int rem0_ = safe_mod(add0_, a);
    uint rem1_ = safe_mod(add1_, b);
    float rem2_ = metal::fmod(2.0, sub2_ + 0.5);
    metal::float2 rem4_ = metal::fmod(metal::float2(2.0), metal::float2(rem2_));
    metal::float3 mul = metal::float4x3(metal::float3(1.0), metal::float3(2.0), metal::float3(3.0), metal::float3(4.0)) * metal::float4(1.0);
    metal::float4 mul2_ = metal::float3(1.0) * metal::float4x3(metal::float3(1.0), metal::float3(2.0), metal::float3(3.0), metal::float3(4.0));
    metal::float3x3 mul3x = metal::float4x3() * metal::float3x4();
    return metal::float2(neg1_ + div3_) + rem4_ + metal::float2(float(rem0_), float(rem1_)) + mul.xy * mul2_.zw + mul3x[0].xy;
}

void bit(
    int a,
    uint b,
    device uint& out
) {
    int flip0_ = ~a;
    metal::uint3 flip3_ = ~metal::uint3(b);
    metal::int2 or2_ = metal::int2(a) | metal::int2(1);
    uint and1_ = b & 3u;
    metal::uint3 xor3_ = metal::uint3(b) ^ flip3_;
    int shl0_ = a << b;
    metal::uint3 shr3_ = xor3_ >> metal::uint3(and1_);
    int extracted = metal::extract_bits(a, 5u, 10u);
    metal::uint2 inserted = metal::insert_bits(metal::uint2(b), metal::uint2(7u), metal::min(2u, 32u), 5u);
    out = as_type<uint>(flip0_ + or2_.x + shl0_ + extracted) + shr3_.z + inserted.y + metal::popcount(b) + metal::clz(b) + metal::ctz(b) + metal::reverse_bits(b);
}

void comparison(
    metal::float2 f,
    thread metal::bool3& result
) {
    metal::bool2 eq = f == metal::float2(1.0);
    metal::bool2 lt = f < metal::float2(1.0);
    result = metal::bool3(metal::all(eq), metal::any(lt), f.x >= f.y);
}

kernel void compute_main(
  metal::uint3 id [[threadgroup_position_in_grid]]
, device metal::float4& sink [[buffer(0)]]
, device uint& bits [[buffer(1)]]
) {
    bool logic = {};
    metal::bool3 compared = {};
    logical(logic);
    comparison(metal::float2(id.xy), compared);
    bit(static_cast<int>(id.x), id.y, bits);
    sink = builtins(static_cast<int>(id.x)) + metal::float4(bool_cast(metal::float3(1.0)), logic ? 1.0 : 0.0) + metal::float4(arithmetic(7, 3u), metal::float2(compared.xy));
    return;
}
