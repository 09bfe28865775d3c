// A Julia set with smooth colouring: complex arithmetic in a struct with operators, do-while, early return.
// @still 1
// @param zoom 1.3 0.2 2 Half the height of the picture

struct Complex {
    float re;
    float im;
    float norm2() const { return re * re + im * im; }
};

Complex operator+(Complex a, Complex b) { return Complex{ a.re + b.re, a.im + b.im }; }
Complex operator*(Complex a, Complex b) { return Complex{ a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re }; }

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 at = (uv * 2 - 1) * p.zoom;
    at.x *= u.resolution.x / u.resolution.y;
    Complex z = { at.x, at.y };
    Complex c = { -0.78f + 0.04f * sin(u.time * 0.3f), 0.146f };
    int n = 0;
    do {
        z = z * z + c;
        if (z.norm2() > 256.0f) break;
    } while (++n < 160);
    if (n == 160) return float4(0.02, 0.015, 0.03, 1);
    float smooth = float(n) - log2(log2(z.norm2())) + 3.0f;
    float3 phase = float3(0.0, 0.35, 0.6) + 0.055 * smooth;
    float3 colour = 0.5 + 0.5 * cos(6.2831853 * phase);
    return float4(colour * saturate(smooth / 12.0), 1.0);
}
