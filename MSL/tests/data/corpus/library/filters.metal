//
//  Filters.metal
//  A handful of picture filters that work in place or from one texture to another.
//

#include <metal_stdlib>
using namespace metal;

constant half3 kLuminance = half3(0.2125, 0.7154, 0.0721);

struct BlurUniforms {
    int radius;
    float sigma;
};

kernel void grayscale(texture2d<half, access::read>  inTexture  [[ texture(0) ]],
                      texture2d<half, access::write> outTexture [[ texture(1) ]],
                      uint2                          gid        [[ thread_position_in_grid ]])
{
    // Check if the pixel is within the bounds of the output texture
    if((gid.x >= outTexture.get_width()) || (gid.y >= outTexture.get_height())) { return; }

    half4 inColor  = inTexture.read(gid);
    half  gray     = dot(inColor.rgb, kLuminance);
    outTexture.write(half4(gray, gray, gray, 1.0), gid);
}

kernel void pixellate(texture2d<float, access::sample> source [[texture(0)]],
                      texture2d<float, access::write> target [[texture(1)]],
                      constant float &cell [[buffer(0)]],
                      uint2 gid [[thread_position_in_grid]],
                      uint2 tpg [[threads_per_threadgroup]])
{
    if (gid.x >= target.get_width() || gid.y >= target.get_height()) return;
    const float2 size = float2(target.get_width(), target.get_height());
    const float2 uv = (floor(float2(gid) / cell) + 0.5) * cell / size;
    constexpr sampler quad(coord::normalized, address::clamp_to_edge, filter::nearest);
    target.write(source.sample(quad, uv), gid);
    (void)tpg;
}

kernel void gaussian_blur(texture2d<float, access::read> inTexture [[texture(0)]],
                          texture2d<float, access::write> outTexture [[texture(1)]],
                          texture2d<float, access::read> weights [[texture(2)]],
                          constant BlurUniforms &uniforms [[buffer(0)]],
                          uint2 gid [[thread_position_in_grid]])
{
    int size = weights.get_width();
    int radius = size / 2;
    float4 accumColor(0, 0, 0, 0);
    for (int j = 0; j < size; ++j)
    {
        for (int i = 0; i < size; ++i)
        {
            uint2 kernelIndex(i, j);
            uint2 textureIndex(gid.x + (i - radius), gid.y + (j - radius));
            float4 color = inTexture.read(textureIndex).rgba;
            float4 weight = weights.read(kernelIndex).rrrr;
            accumColor += weight * color;
        }
    }
    outTexture.write(float4(accumColor.rgb, 1), gid);
}

kernel void sobel(texture2d<half, access::read> input [[texture(0)]],
                  texture2d<half, access::write> output [[texture(1)]],
                  device float *maximum [[buffer(0)]],
                  uint2 gid [[thread_position_in_grid]])
{
    const int kx[3][3] = { { -1, 0, 1 }, { -2, 0, 2 }, { -1, 0, 1 } };
    const int ky[3][3] = { { -1, -2, -1 }, { 0, 0, 0 }, { 1, 2, 1 } };
    half gx = 0.0h, gy = 0.0h;
    for (int y = -1; y <= 1; y++)
        for (int x = -1; x <= 1; x++) {
            const uint2 at = uint2(clamp(int2(gid) + int2(x, y), int2(0), int2(input.get_width() - 1, input.get_height() - 1)));
            const half l = dot(input.read(at).rgb, kLuminance);
            gx += l * half(kx[y + 1][x + 1]);
            gy += l * half(ky[y + 1][x + 1]);
        }
    half g = sqrt(gx * gx + gy * gy);
    output.write(half4(g, g, g, 1.0h), gid);
    if (gid.x == 0 && gid.y == 0) maximum[0] = g;
}

kernel void lookup(texture2d<half, access::read> in [[texture(0)]],
                   texture2d<half, access::write> out [[texture(1)]],
                   texture3d<half> lut [[texture(2)]],
                   constant float &intensity [[buffer(0)]],
                   ushort2 gid [[thread_position_in_grid]])
{
    constexpr sampler s(filter::linear, address::clamp_to_edge);
    const ushort2 size = ushort2(out.get_width(), out.get_height());
    if (any(gid >= size)) return;
    const half4 c = in.read(gid);
    const half4 graded = lut.sample(s, float3(c.rgb));
    out.write(half4(mix(c.rgb, graded.rgb, half(intensity)), c.a), gid);
}
