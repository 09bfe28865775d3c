// language: metal2.0
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

struct FooStruct {
    metal::packed_float3 v3_;
    float v1_;
};
struct DynamicArray {
    uint arr[1];
};

void switch_default_break(
    int i
) {
    switch(i) {
        default: {
            break;
        }
    }
}

int switch_case_break_and_fall(
    int x,
    thread int& pos
) {
    switch(x) {
        case 1: {
            pos = 0;
            break;
        }
        case 2: {
            pos = 1;
            break;
        }
        case 3:
        case 4: {
            pos = 2;
            break;
        }
        case 5: {
            pos = 3;
            break;
        }
        case -6:
        default: {
            pos = 4;
            break;
        }
    }
    switch(x & 3) {
        case 0: {
            return pos;
        }
        case 1: {
            return 7;
        }
        default: {
            return 9;
        }
    }
}

void loop_switch_continue(
    int x
) {
    while(true) {
        bool should_continue = false;
        switch(x) {
            case 1: {
                should_continue = true;
                break;
            }
            default: {
                break;
            }
        }
        if (should_continue) {
            break;
        }
        break;
    }
}

void store_through(
    thread metal::float3& p,
    thread float& f,
    thread int& i
) {
    p.x = 2.0;
    f = p.y;
    i = i + 1;
}

float packed_members(
    device FooStruct& alignment
) {
    alignment.v3_ = metal::float3(1.0);
    alignment.v3_[0] = 1.0;
    int idx = 1;
    alignment.v3_[idx] = 3.0;
    FooStruct data = alignment;
    metal::float3 unnamed = data.v3_;
    metal::float2 unnamed_1 = metal::float3(data.v3_).zx;
    return unnamed.x + unnamed_1.y + metal::dot(metal::float3(data.v3_), metal::float3x3() * metal::float3(data.v3_));
}

kernel void main_1(
  metal::uint3 global_id [[thread_position_in_grid]]
, device FooStruct& alignment [[buffer(0)]]
, device DynamicArray& dynamic_array [[buffer(1)]]
, device metal::float2* out [[buffer(2)]]
) {
    int pos = 0;
    int val = 33;
    metal::float3 vector = {};
    float value = {};
    metal::float2x2 mat = metal::float2x2(metal::float2(1.0), metal::float2(2.0));
    switch_default_break(static_cast<int>(global_id.x));
    loop_switch_continue(2);
    int picked = switch_case_break_and_fall(static_cast<int>(global_id.x), pos);
    store_through(vector, value, val);
    uint val_1 = dynamic_array.arr[global_id.x];
    dynamic_array.arr[global_id.x] = val_1 + 2u;
    mat[1] = metal::float2(vector.x, value);
    mat[global_id.x & 1u][0] = 4.0;
    out[global_id.x] = mat * metal::float2(float(picked + val), packed_members(alignment));
    return;
}
