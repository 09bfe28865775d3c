#include <metal_stdlib>
#include <simd/simd.h>

using namespace metal;

struct foo
{
    int a[128];
    uint b;
    float2 c;
};

struct bar
{
    int d;
};

kernel void main0(device foo& buf [[buffer(0)]], constant bar& cb [[buffer(1)]], uint3 gl_LocalInvocationID [[thread_position_in_threadgroup]])
{
    device int* _46 = &buf.a[0];
    device int* _47 = &buf.a[0];
    while (true)
    {
        int _52 = *_46;
        int _54 = *_47;
        if (_52 != _54)
        {
            int _59 = (_52 + _54) + cb.d;
            *_46 = _59;
            *_47 = _59;
            _46 = &_46[1u];
            _47 = &_47[2u];
            if (_59 > 100) break;
            continue;
        }
        else
        {
            break;
        }
    }
    device int* picked = gl_LocalInvocationID.x > 3u ? &buf.a[4] : &buf.a[8];
    *picked = 7;
    picked += 2;
    picked[1] = int(picked - &buf.a[0]);
}
